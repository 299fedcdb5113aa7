#include "admin/folder_fault.h"

#include "services/text.h"

DWORD describeFault(const ProtectedFolder& folder, FolderFault fault, char* out, size_t size) {
    out[0] = '\0';
    const char* path = folder.text();
    switch (fault) {
        case FolderFault::NONE:
            return ERROR_SUCCESS;
        case FolderFault::NOT_MADE:
            formatText(out, size, "The folder cannot be made or opened (error %lu): %s",
                       folder.error(), path);
            return folder.error() != ERROR_SUCCESS ? folder.error() : ERROR_ACCESS_DENIED;
        case FolderFault::NOT_FOLDER:
            formatText(out, size, "Not a folder, or a link. Delete it: %s", path);
            break;
        case FolderFault::OWNER:
            formatText(out, size, "The folder belongs to %s. Delete it: %s", folder.other(), path);
            break;
        case FolderFault::RIGHTS:
            formatText(out, size, "The folder lets %s in. Delete it: %s",
                       *folder.other() != '\0' ? folder.other() : "everybody", path);
            break;
    }
    return ERROR_ACCESS_DENIED;
}

DWORD openProtected(ProtectedFolder& folder, const wchar_t* belowWindows, char* out, size_t size) {
    return describeFault(folder, folder.open(belowWindows), out, size);
}
