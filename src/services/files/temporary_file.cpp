#include "services/files/temporary_file.h"

#include <cstdlib>
#include <cstring>

#include "services/files/plain_file.h"
#include "services/programs/command_builder.h"
#include "services/same_name.h"
#include "services/text.h"

namespace {

constexpr wchar_t FINAL_PREFIX[] = L"\\\\?\\";
constexpr size_t FINAL_PREFIX_LENGTH = 4;

// True for the final path of a file on a disk of this computer. A server could return an empty file
// first and a program later.
bool isLocal(const FinalPath& path) {
    const wchar_t* drive = path.text + FINAL_PREFIX_LENGTH;
    if (wcsncmp(path.text, FINAL_PREFIX, FINAL_PREFIX_LENGTH) != 0 || drive[1] != L':')
        return false;
    const wchar_t root[] = {drive[0], L':', L'\\', L'\0'};
    return GetDriveTypeW(root) != DRIVE_REMOTE;
}

// True when no link is in path: its long form is then the final path. The held file keeps every
// folder of the final path from being renamed, so this stays true.
bool isWithoutLinks(const char* path, const FinalPath& final) {
    FinalPath asWritten;  // stays empty, and is then no path, when it cannot be converted
    FinalPath longForm;
    MultiByteToWideChar(CP_ACP, 0, path, -1, asWritten.text, FinalPath::CHARACTERS);
    const DWORD length = GetLongPathNameW(asWritten.text, longForm.text, FinalPath::CHARACTERS);
    return length > 0 && length < FinalPath::CHARACTERS &&
           CompareStringOrdinal(longForm.text, -1, final.text + FINAL_PREFIX_LENGTH, -1, TRUE) ==
               CSTR_EQUAL;
}

// Writes path in the ANSI code page to out. False when the code page cannot represent it.
bool toAnsi(const wchar_t* path, char (&out)[PATH_BYTES]) {
    // Without the flag Windows substitutes similar characters. UTF-8 does not accept it.
    const DWORD flags = GetACP() == CP_UTF8 ? 0 : WC_NO_BEST_FIT_CHARS;
    BOOL replaced = FALSE;
    return WideCharToMultiByte(CP_ACP, flags, path, -1, out, PATH_BYTES, nullptr,
                               flags ? &replaced : nullptr) != 0 &&
           !replaced;
}

const char* lastComponent(const char* path) {
    const char* backslash = findLastBackslash(path);
    return backslash ? backslash + 1 : path;
}

OwnedHandle openWithoutLinks(const char* path, DWORD access, DWORD share, DWORD disposition) {
    return ownFile(CreateFileA(path, access, share, nullptr, disposition,
                               FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
}

// A virus scanner may have the new file open for a moment.
OwnedHandle openNewFile(const char* path) {
    constexpr int MOST_TRIES = 20;
    constexpr DWORD PAUSE_MS = 25;
    for (int tries = 1;; ++tries) {
        OwnedHandle file =
            openWithoutLinks(path, GENERIC_READ | DELETE, FILE_SHARE_READ, OPEN_EXISTING);
        if (file || GetLastError() != ERROR_SHARING_VIOLATION || tries == MOST_TRIES) return file;
        Sleep(PAUSE_MS);
    }
}

bool deleteOpenFile(HANDLE file) {
    FILE_DISPOSITION_INFO disposition = {TRUE};
    return SetFileInformationByHandle(file, FileDispositionInfo, &disposition, sizeof disposition);
}

// Deletes a plain file, and nothing else. True when the path is free afterwards.
bool makeRoom(const char* path) {
    const OwnedHandle file =
        openWithoutLinks(path, DELETE | FILE_READ_ATTRIBUTES, FILE_SHARE_READ, OPEN_EXISTING);
    if (!file) return GetLastError() == ERROR_FILE_NOT_FOUND;
    return isPlainFile(file.get()) && deleteOpenFile(file.get());
}

bool copyContents(HANDLE source, HANDLE target) {
    constexpr DWORD BLOCK = 65536;
    const OwnedBuffer block(static_cast<char*>(malloc(BLOCK)));
    if (!block) return false;
    for (;;) {
        DWORD count = 0;
        DWORD written = 0;
        if (!ReadFile(source, block.get(), BLOCK, &count, nullptr)) return false;
        if (count == 0) return true;
        if (!WriteFile(target, block.get(), count, &written, nullptr) || written != count) {
            return false;
        }
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
    if (holdsProgramSuffix(folder)) return 0;
    if (GetTempFileNameA(folder, prefix, 0, out) == 0) return -1;
    if (out[0] == '\0') return 0;

    // With room for three characters the call only returns the size that it would need, so the name
    // keeps its long form. That is required: the command shows the name as it was made.
    constexpr DWORD TOO_SMALL = 4;
    return GetShortPathNameA(out, out, TOO_SMALL) == 0 ? -1 : 0;
}

bool HeldTemporaryFile::make(const char* prefix) {
    if (makeTempFileName(prefix, path_) != 0 || path_[0] == '\0') return false;
    file_ = openNewFile(path_);
    LARGE_INTEGER size = {};
    return file_ && isPlainFile(file_.get()) && GetFileSizeEx(file_.get(), &size) &&
           size.QuadPart == 0 && choosePath();
}

bool HeldTemporaryFile::choosePath() {
    FinalPath final;
    if (!readFinalPath(file_.get(), final) || !isLocal(final)) return false;
    if (isWithoutLinks(path_, final)) return true;
    char named[PATH_BYTES];
    // A file of another name is not the one that was created: a link was set in between.
    if (!toAnsi(final.text + FINAL_PREFIX_LENGTH, named) || holdsProgramSuffix(named) ||
        !isSameName(lastComponent(named), lastComponent(path_))) {
        return false;
    }
    return copyText(path_, named) == TEXT_OK;
}

void HeldTemporaryFile::remove() {
    if (file_) deleteOpenFile(file_.get());
    file_.reset();
}

bool copyWithoutLinks(const char* source, const char* target) {
    const OwnedHandle from = ownFile(
        CreateFileA(source, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                    nullptr, OPEN_EXISTING, FILE_FLAG_SEQUENTIAL_SCAN, nullptr));
    if (!from || !makeRoom(target)) return false;
    const OwnedHandle to = openWithoutLinks(target, GENERIC_WRITE | DELETE, 0, CREATE_NEW);
    if (!to) return false;
    if (copyContents(from.get(), to.get()) && copyTimes(from.get(), to.get())) return true;
    deleteOpenFile(to.get());
    return false;
}
