#include "services/files/plain_file.h"

bool isPlainFile(HANDLE file) {
    BY_HANDLE_FILE_INFORMATION information = {};
    return GetFileType(file) == FILE_TYPE_DISK && GetFileInformationByHandle(file, &information) &&
           information.nNumberOfLinks <= 1 &&
           (information.dwFileAttributes &
            (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT)) == 0;
}

bool readFinalPath(HANDLE file, FinalPath& path) {
    // On a network share the normalized form needs access to every folder of the path.
    constexpr DWORD FORMS[] = {FILE_NAME_NORMALIZED, FILE_NAME_OPENED};
    for (const DWORD form : FORMS) {
        const DWORD length = GetFinalPathNameByHandleW(file, path.text, FinalPath::CHARACTERS,
                                                       form | VOLUME_NAME_DOS);
        if (length > 0 && length < FinalPath::CHARACTERS) return true;
    }
    return false;
}
