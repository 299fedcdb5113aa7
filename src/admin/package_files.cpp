#include "admin/package_files.h"

#include <cwchar>

#include "services/owners.h"
#include "services/path.h"
#include "services/wide_text.h"

namespace {

constexpr const wchar_t* FOLDERS[] = {L"bin", L"deploy", L"docs", L"msg"};
constexpr int MOST_LEVELS = 16;

bool isDotName(const wchar_t* name) {
    return wcscmp(name, L".") == 0 || wcscmp(name, L"..") == 0;
}

DWORD addFiles(const wchar_t* folder, size_t below, int level, List<PackageFile>& files);

DWORD addEntry(const wchar_t* folder, const WIN32_FIND_DATAW& entry, size_t below, int level,
               List<PackageFile>& files) {
    if (isDotName(entry.cFileName)) return ERROR_SUCCESS;
    PackageFile file = {};
    if (!joinPath(folder, entry.cFileName, file.path)) return ERROR_FILENAME_EXCED_RANGE;
    const bool isLink = (entry.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
    if ((entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
        return isLink ? ERROR_SUCCESS : addFiles(file.path, below, level + 1, files);
    }
    file.below = below;
    file.isReadOnly = (entry.dwFileAttributes & FILE_ATTRIBUTE_READONLY) != 0;
    return files.add(file) ? ERROR_SUCCESS : ERROR_NOT_ENOUGH_MEMORY;
}

DWORD addFiles(const wchar_t* folder, size_t below, int level, List<PackageFile>& files) {
    wchar_t pattern[FILE_PATH_CHARACTERS];
    if (level > MOST_LEVELS || !joinPath(folder, L"*", pattern)) return ERROR_FILENAME_EXCED_RANGE;
    WIN32_FIND_DATAW entry = {};
    const OwnedSearch search = ownSearch(FindFirstFileW(pattern, &entry));
    DWORD error = GetLastError();
    if (!search) {
        const bool isMissing = error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND;
        return isMissing ? ERROR_SUCCESS : error;
    }
    do {
        error = addEntry(folder, entry, below, level, files);
        if (error != ERROR_SUCCESS) return error;
    } while (FindNextFileW(search.get(), &entry));
    error = GetLastError();
    return error == ERROR_NO_MORE_FILES ? ERROR_SUCCESS : error;
}

}  // namespace

DWORD listPackageFiles(const char* folder, List<PackageFile>& files) {
    wchar_t top[FILE_PATH_CHARACTERS];
    if (!toWide(folder, top)) return ERROR_FILENAME_EXCED_RANGE;
    size_t length = wcslen(top);
    if (length > 0 && top[length - 1] == L'\\') top[--length] = L'\0';
    for (const wchar_t* name : FOLDERS) {
        wchar_t path[FILE_PATH_CHARACTERS];
        if (!joinPath(top, name, path)) return ERROR_FILENAME_EXCED_RANGE;
        if (const DWORD error = addFiles(path, length + 1, 1, files)) return error;
    }
    return ERROR_SUCCESS;
}
