#include "services/files/same_file.h"

#include <windows.h>

#include <cstring>

#include "services/owners.h"
#include "services/same_name.h"

namespace {

OwnedHandle openForIdentity(const char* path) {
    constexpr DWORD SHARE_ALL = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    return ownFile(CreateFileA(path, 0, SHARE_ALL, nullptr, OPEN_EXISTING,
                               FILE_FLAG_BACKUP_SEMANTICS, nullptr));
}

struct Identity {
    explicit Identity(const char* path)
        : handle(openForIdentity(path)),
          known(handle && GetFileInformationByHandle(handle.get(), &information)) {}
    OwnedHandle handle;  // stays open, because a closed file's number may be given to another one
    BY_HANDLE_FILE_INFORMATION information = {};
    bool known;
};

}  // namespace

bool isSameFile(const char* left, const char* right) {
    if (strcmp(left, right) == 0) return true;
    const Identity one(left);
    const Identity other(right);
    if (!one.known || !other.known) return isSameName(left, right);
    return one.information.dwVolumeSerialNumber == other.information.dwVolumeSerialNumber &&
           one.information.nFileIndexHigh == other.information.nFileIndexHigh &&
           one.information.nFileIndexLow == other.information.nFileIndexLow;
}
