#include "services/files/temporary_file.h"

#include <windows.h>

#include <cstdlib>

#include "services/files/plain_file.h"
#include "services/owners.h"
#include "services/path.h"
#include "services/text.h"

namespace {

OwnedHandle openWithoutLinks(const char* path, DWORD access, DWORD share, DWORD disposition) {
    return ownFile(CreateFileA(path, access, share, nullptr, disposition,
                               FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
}

bool deleteOpenFile(HANDLE file) {
    FILE_DISPOSITION_INFO disposition = {TRUE};
    return SetFileInformationByHandle(file, FileDispositionInfo, &disposition, sizeof disposition);
}

// Deletes a plain file of at most so many bytes, and nothing else. True when the path is free then.
bool makeRoom(const char* path, LONGLONG mostBytes) {
    constexpr DWORD SHARE_ALL = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    const OwnedHandle file =
        openWithoutLinks(path, DELETE | FILE_READ_ATTRIBUTES, SHARE_ALL, OPEN_EXISTING);
    if (!file) return GetLastError() == ERROR_FILE_NOT_FOUND;
    LARGE_INTEGER size = {};
    return isPlainFile(file.get(), path) && GetFileSizeEx(file.get(), &size) &&
           size.QuadPart <= mostBytes && deleteOpenFile(file.get());
}

bool copyContents(HANDLE source, HANDLE target) {
    char block[16384];
    for (;;) {
        DWORD count = 0;
        DWORD written = 0;
        if (!ReadFile(source, block, sizeof block, &count, nullptr)) return false;
        if (count == 0) return true;
        if (!WriteFile(target, block, count, &written, nullptr) || written != count) return false;
    }
}

// As CopyFile: the attributes and the time of the last write; 0 leaves the others as they are.
bool copyTimes(HANDLE source, HANDLE target) {
    FILE_BASIC_INFO information = {};
    if (!GetFileInformationByHandleEx(source, FileBasicInfo, &information, sizeof information)) {
        return false;
    }
    information.CreationTime.QuadPart = 0;
    information.LastAccessTime.QuadPart = 0;
    information.ChangeTime.QuadPart = 0;
    return SetFileInformationByHandle(target, FileBasicInfo, &information, sizeof information);
}

}  // namespace

int makeTempFileName(const char* prefix, char* out) {
    // The early returns report success deliberately: callers notice that a temporary folder is
    // missing because out stays empty.
    const OwnedBuffer path(static_cast<char*>(calloc(PATH_BYTES, 1)));
    if (!path) return 0;
    const DWORD length = GetTempPathA(PATH_BYTES, path.get());
    if (length == 0 || length > PATH_BYTES) return 0;

    char folder[PATH_BYTES];
    copyText(folder, trimCharacters(path.get(), " "));
    if (GetTempFileNameA(folder, prefix, 0, out) == 0) return -1;
    if (out[0] == '\0') return 0;

    // With room for three characters the call only returns the size that it would need, so the name
    // keeps its long form. Required: the command shows the name as it was made.
    constexpr DWORD TOO_SMALL = 4;
    return GetShortPathNameA(out, out, TOO_SMALL) == 0 ? -1 : 0;
}

void removeTempFile(const char* path) {
    makeRoom(path, 0);
}

bool copyWithoutLinks(const char* source, const char* target) {
    const OwnedHandle from = ownFile(
        CreateFileA(source, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                    nullptr, OPEN_EXISTING, FILE_FLAG_SEQUENTIAL_SCAN, nullptr));
    if (!from || !makeRoom(target, MAXLONGLONG)) return false;
    const OwnedHandle to = openWithoutLinks(target, GENERIC_WRITE | DELETE, 0, CREATE_NEW);
    if (!to) return false;
    if (isPlainFile(to.get(), target) && copyContents(from.get(), to.get()) &&
        copyTimes(from.get(), to.get())) {
        return true;
    }
    deleteOpenFile(to.get());
    return false;
}
