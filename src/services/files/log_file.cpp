#include "services/files/log_file.h"

#include <windows.h>

#include <fcntl.h>
#include <io.h>

#include <cstring>

#include "services/files/plain_file.h"
#include "services/owners.h"
#include "services/path.h"
#include "services/text.h"

namespace {

// True for a folder that leads to another one. A cloud service such as OneDrive marks the folders
// that it synchronizes as reparse points too, but they are the folders themselves.
// Windows documentation: "Reparse Point Tags".
bool isLink(HANDLE folder) {
    BY_HANDLE_FILE_INFORMATION information = {};
    if (!GetFileInformationByHandle(folder, &information)) return true;
    if ((information.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0) return false;
    constexpr DWORD CLOUD_TAG = 0x9000001A;       // IO_REPARSE_TAG_CLOUD
    constexpr DWORD CLOUD_TAG_MASK = 0xFFFF0FFF;  // without the number of the service
    FILE_ATTRIBUTE_TAG_INFO tag = {};
    return !GetFileInformationByHandleEx(folder, FileAttributeTagInfo, &tag, sizeof tag) ||
           (tag.ReparseTag & CLOUD_TAG_MASK) != CLOUD_TAG;
}

// Opens the folder so that neither it nor a folder above it can be renamed or deleted until the
// handle is closed. Empty when it is a link.
OwnedHandle holdFolder(const char* folder) {
    OwnedHandle held = ownFile(CreateFileA(
        folder, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
        FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
    if (held && isLink(held.get())) {
        held.reset();
        SetLastError(ERROR_ACCESS_DENIED);
    }
    return held;
}

// True when the file is at path. An empty folder can be turned into a link even while it is held; a
// path through it then opens a file somewhere else.
bool isAt(HANDLE file, const FinalPath& path) {
    FinalPath opened;
    return readFinalPath(file, opened) &&
           CompareStringOrdinal(opened.text, -1, path.text, -1, TRUE) == CSTR_EQUAL;
}

// Opens or creates the file of that name in the folder, without following a link. Empty with
// ERROR_ACCESS_DENIED when it is not a plain file there.
OwnedHandle openInFolder(HANDLE folder, const char* name) {
    FinalPath path;
    if (!readFinalPath(folder, path)) return {};
    const size_t length = wcslen(path.text);
    path.text[length] = L'\\';
    const int room = static_cast<int>(FinalPath::CHARACTERS - length - 1);
    // Without room the conversion would only return the size that it needs.
    if (room == 0 || MultiByteToWideChar(CP_ACP, 0, name, -1, path.text + length + 1, room) == 0) {
        SetLastError(ERROR_FILENAME_EXCED_RANGE);
        return {};
    }
    OwnedHandle file = ownFile(
        CreateFileW(path.text, GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                    OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
    if (file && !(isPlainFile(file.get()) && isAt(file.get(), path))) {
        file.reset();
        SetLastError(ERROR_ACCESS_DENIED);
    }
    return file;
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
        // The error that opening the file itself would give.
        if (GetLastError() == ERROR_FILE_NOT_FOUND) SetLastError(ERROR_PATH_NOT_FOUND);
        return nullptr;
    }
    OwnedHandle file = openInFolder(held.get(), backslash + 1);
    if (!file) return nullptr;
    if (!SetEndOfFile(file.get())) {
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
