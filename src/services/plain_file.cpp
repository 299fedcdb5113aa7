#include "services/plain_file.h"

bool isPlainFile(HANDLE file) {
    BY_HANDLE_FILE_INFORMATION information = {};
    return GetFileType(file) == FILE_TYPE_DISK && GetFileInformationByHandle(file, &information) &&
           information.nNumberOfLinks <= 1 &&
           (information.dwFileAttributes &
            (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT)) == 0;
}

bool readFinalPath(HANDLE file, FinalPath& path) {
    const DWORD length = GetFinalPathNameByHandleW(file, path.text, FinalPath::CHARACTERS,
                                                   FILE_NAME_NORMALIZED | VOLUME_NAME_DOS);
    return length > 0 && length < FinalPath::CHARACTERS;
}
