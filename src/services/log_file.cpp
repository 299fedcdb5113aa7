#include "services/log_file.h"

#include <windows.h>

#include <fcntl.h>
#include <io.h>

#include <cstring>

#include "services/owners.h"
#include "services/path.h"
#include "services/plain_file.h"
#include "services/text.h"

namespace {

// Opens the folder so that neither it nor a folder above it can be renamed or deleted until the
// handle is closed. Empty when it is a link.
OwnedHandle holdFolder(const char* folder) {
    OwnedHandle held = ownFile(CreateFileA(
        folder, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
        FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
    BY_HANDLE_FILE_INFORMATION information = {};
    if (!held || !GetFileInformationByHandle(held.get(), &information)) return {};
    if ((information.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0) {
        held.reset();
        SetLastError(ERROR_ACCESS_DENIED);
    }
    return held;
}

// Opens or creates the file of that name in the folder, without following a link.
OwnedHandle openInFolder(HANDLE folder, const char* name) {
    FinalPath path;
    if (!readFinalPath(folder, path)) return {};
    const size_t length = wcslen(path.text);
    path.text[length] = L'\\';
    const int room = static_cast<int>(FinalPath::CHARACTERS - length - 1);
    if (MultiByteToWideChar(CP_ACP, 0, name, -1, path.text + length + 1, room) == 0) return {};
    return ownFile(CreateFileW(path.text, GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                               nullptr, OPEN_ALWAYS,
                               FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
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
    char folder[PATH_BYTES];
    copyText(folder, path);
    cutLastComponent(folder);
    const OwnedHandle held = holdFolder(folder);
    if (!held) {
        // What the open of the file itself would have given.
        if (GetLastError() == ERROR_FILE_NOT_FOUND) SetLastError(ERROR_PATH_NOT_FOUND);
        return nullptr;
    }
    OwnedHandle file = openInFolder(held.get(), backslash + 1);
    if (!file) return nullptr;
    if (!isPlainFile(file.get()) || !SetEndOfFile(file.get())) {
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
