#include "services/files/image_file.h"

#include "services/owners.h"
#include "services/text.h"

namespace {

bool readAt(HANDLE file, DWORD offset, void* out, DWORD size) {
    DWORD read = 0;
    return SetFilePointer(file, static_cast<LONG>(offset), nullptr, FILE_BEGIN) == offset &&
           ReadFile(file, out, size, &read, nullptr) && read == size;
}

// The resource of a module's version, or null.
const VS_FIXEDFILEINFO* findVersion(HMODULE module) {
    // The numbers follow two lengths, a type, the name L"VS_VERSION_INFO" and two bytes.
    constexpr size_t OFFSET = 40;
    const HRSRC place = FindResourceA(module, MAKEINTRESOURCEA(VS_VERSION_INFO),
                                      MAKEINTRESOURCEA(16));  // RT_VERSION
    if (!place || SizeofResource(module, place) < OFFSET + sizeof(VS_FIXEDFILEINFO)) return nullptr;
    const auto data = static_cast<const BYTE*>(LockResource(LoadResource(module, place)));
    if (!data) return nullptr;
    const auto version = reinterpret_cast<const VS_FIXEDFILEINFO*>(data + OFFSET);
    return version->dwSignature == VS_FFI_SIGNATURE ? version : nullptr;
}

}  // namespace

DWORD readImageMachine(const char* path, WORD& machine) {
    constexpr DWORD SHARE_ALL = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    const OwnedHandle file =
        ownFile(CreateFileA(path, GENERIC_READ, SHARE_ALL, nullptr, OPEN_EXISTING, 0, nullptr));
    if (!file) return GetLastError();
    IMAGE_DOS_HEADER start = {};
    struct {
        DWORD signature;
        IMAGE_FILE_HEADER header;
    } image = {};
    if (!readAt(file.get(), 0, &start, sizeof start) || start.e_magic != IMAGE_DOS_SIGNATURE ||
        start.e_lfanew < 0 ||
        !readAt(file.get(), static_cast<DWORD>(start.e_lfanew), &image, sizeof image) ||
        image.signature != IMAGE_NT_SIGNATURE || image.header.Machine == 0) {
        return ERROR_BAD_EXE_FORMAT;
    }
    machine = image.header.Machine;
    return ERROR_SUCCESS;
}

const char* machineName(WORD machine) {
    switch (machine) {
        case IMAGE_FILE_MACHINE_AMD64:
            return "x64";
        case IMAGE_FILE_MACHINE_I386:
            return "x86";
        case IMAGE_FILE_MACHINE_ARM64:
            return "ARM64";
        default:
            return "another machine type";
    }
}

bool readImageVersion(const char* path, char (&out)[VERSION_BYTES]) {
    out[0] = '\0';
    const OwnedModule module(LoadLibraryExA(path, nullptr, LOAD_LIBRARY_AS_DATAFILE));
    const VS_FIXEDFILEINFO* version = module ? findVersion(module.get()) : nullptr;
    if (!version) return false;
    formatText(out, sizeof out, "%u.%u.%u", HIWORD(version->dwFileVersionMS),
               LOWORD(version->dwFileVersionMS), HIWORD(version->dwFileVersionLS));
    if (const WORD fourth = LOWORD(version->dwFileVersionLS); fourth != 0) {
        appendText(out, ".");
        appendText(out, Decimal(fourth).text);
    }
    return true;
}
