#include "services/files/log_file.h"

#include <windows.h>

#include <fcntl.h>
#include <io.h>
#include <winternl.h>

#include <cstring>

#include "services/files/plain_file.h"
#include "services/owners.h"
#include "services/path.h"
#include "services/system_library.h"
#include "services/text.h"

namespace {

constexpr DWORD SHARE_ALL = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

OwnedHandle openFolderOf(const char* path) {
    char folder[PATH_BYTES];
    copyText(folder, path);
    cutLastComponent(folder);
    // Without any right of its own: a folder may be one to write to and not to list.
    OwnedHandle opened =
        ownFile(CreateFileA(folder, 0, SHARE_ALL, nullptr, OPEN_EXISTING,
                            FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
    // The error that opening the file itself would give.
    if (GetLastError() == ERROR_FILE_NOT_FOUND) SetLastError(ERROR_PATH_NOT_FOUND);
    return opened;
}

// Opens or creates the file name in the folder, which is found by its handle: a path could lead
// elsewhere by now. Does not follow a link. The error is a Windows code.
// Windows documentation: "NtCreateFile".
OwnedHandle openInFolder(HANDLE folder, const char* name, bool& created) {
    const auto createFile = findNativeFunction<decltype(NtCreateFile)>("NtCreateFile");
    wchar_t wide[PATH_BYTES];
    const int length = MultiByteToWideChar(CP_ACP, 0, name, -1, wide, PATH_BYTES);
    if (!createFile || length == 0) return {};
    const auto bytes = static_cast<USHORT>((length - 1) * sizeof *wide);
    UNICODE_STRING text = {bytes, bytes, wide};
    OBJECT_ATTRIBUTES attributes;
    InitializeObjectAttributes(&attributes, &text, OBJ_CASE_INSENSITIVE, folder, nullptr);
    IO_STATUS_BLOCK block = {};
    HANDLE file = nullptr;
    const NTSTATUS status =
        createFile(&file, FILE_GENERIC_WRITE | FILE_READ_ATTRIBUTES, &attributes, &block, nullptr,
                   FILE_ATTRIBUTE_NORMAL, SHARE_ALL, FILE_OPEN_IF,
                   FILE_SYNCHRONOUS_IO_NONALERT | FILE_NON_DIRECTORY_FILE | FILE_OPEN_REPARSE_POINT,
                   nullptr, 0);
    if (status < 0) SetLastError(toWindowsCode(status));
    created = block.Information == FILE_CREATED;
    return OwnedHandle(status < 0 ? nullptr : file);
}

}  // namespace

void formatLogTime(const tm& time, char* out, size_t size) {
    constexpr size_t DAY = 8;
    // cppcheck-suppress asctimeCalled ; the names of the logs have its form
    const char* text = asctime(&time);
    copyText(out, size, text ? text : "");
    out[strcspn(out, "\n")] = '\0';
    // A file name may not hold colons.
    for (char* colon = out; (colon = strchr(colon, ':')) != nullptr;) *colon = '_';
    // The C standard has a blank here; Microsoft's older runtimes write a zero.
    if (strlen(out) > DAY && out[DAY] == '0') out[DAY] = ' ';
}

FILE* openLog(const char* path) {
    // The error of an earlier call must not be reported as the reason.
    SetLastError(ERROR_SUCCESS);
    FILE* file = fopen(path, "w");
    if (!file) return nullptr;
    const auto handle = reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(file)));
    SetHandleInformation(handle, HANDLE_FLAG_INHERIT, 0);
    return file;
}

FILE* openLogWithoutLinks(const char* path) {
    const char* backslash = findLastBackslash(path);
    if (!backslash) return openLog(path);  // there is no default place, and this fails
    const OwnedHandle folder = openFolderOf(path);
    if (!folder) return nullptr;
    bool created = false;
    OwnedHandle file;
    if (!isLink(folder.get())) {
        file = openInFolder(folder.get(), backslash + 1, created);
        if (!file) return nullptr;
    }
    // The name is checked because the folder can have become a link in between.
    if (!file || !isPlainFile(file.get(), path) || !SetEndOfFile(file.get())) {
        if (created) ownFile(ReOpenFile(file.get(), DELETE, SHARE_ALL, FILE_FLAG_DELETE_ON_CLOSE));
        SetLastError(ERROR_ACCESS_DENIED);
        return nullptr;
    }
    const int descriptor =
        _open_osfhandle(reinterpret_cast<intptr_t>(file.get()), _O_WRONLY | _O_TEXT);
    if (descriptor < 0) return nullptr;
    file.release();  // the descriptor owns it now
    FILE* log = _fdopen(descriptor, "w");
    if (!log) _close(descriptor);
    return log;
}
