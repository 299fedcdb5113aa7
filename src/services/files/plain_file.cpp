#include "services/files/plain_file.h"

#include "services/path.h"

namespace {

// The system gives the path of an open file without its drive.
bool hasName(HANDLE file, const char* path) {
    wchar_t name[PATH_BYTES];
    const char* backslash = findLastBackslash(path);
    alignas(FILE_NAME_INFO) char memory[sizeof(FILE_NAME_INFO) + 1024 * sizeof(wchar_t)] = {};
    const auto& opened = *reinterpret_cast<const FILE_NAME_INFO*>(memory);
    if (!GetFileInformationByHandleEx(file, FileNameInfo, memory, sizeof memory)) {
        return GetLastError() != ERROR_MORE_DATA;  // longer than any path that is written here
    }
    const int length =
        MultiByteToWideChar(CP_ACP, 0, backslash ? backslash + 1 : path, -1, name, PATH_BYTES) - 1;
    const auto whole = static_cast<int>(opened.FileNameLength / sizeof(wchar_t));
    const wchar_t* end = opened.FileName + whole;
    return length > 0 && length < whole && end[-length - 1] == L'\\' &&
           CompareStringOrdinal(end - length, length, name, length, TRUE) == CSTR_EQUAL;
}

}  // namespace

bool isLink(HANDLE file) {
    FILE_ATTRIBUTE_TAG_INFO information = {};
    return GetFileInformationByHandleEx(file, FileAttributeTagInfo, &information,
                                        sizeof information) &&
           (information.FileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0 &&
           IsReparseTagNameSurrogate(information.ReparseTag);
}

bool isPlainFile(HANDLE file, const char* path) {
    FILE_STANDARD_INFO information = {};
    const bool known =
        GetFileInformationByHandleEx(file, FileStandardInfo, &information, sizeof information);
    return GetFileType(file) == FILE_TYPE_DISK && !isLink(file) && hasName(file, path) &&
           !(known && (information.Directory || information.NumberOfLinks > 1));
}
