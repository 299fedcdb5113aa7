#include "services/files/file_system.h"

#include <direct.h>
#include <sys/stat.h>
#include <sys/types.h>

#include <cstdlib>
#include <cstring>

#include "services/owners.h"
#include "services/path.h"
#include "services/text.h"

namespace {

bool hasMode(const char* path, unsigned bit) {
    if (*path == '"') ++path;
    const OwnedBuffer copy(static_cast<char*>(malloc(strlen(path) + 1)));
    if (!copy) return false;
    copyText(copy.get(), strlen(path) + 1, path);
    char* last = copy.get() + strlen(copy.get());
    if (last != copy.get() && last[-1] == '"') last[-1] = '\0';

    struct _stat status = {};
    return _stat(copy.get(), &status) == 0 && (status.st_mode & bit) != 0;
}

}  // namespace

bool fileExists(const char* path) {
    return hasMode(path, _S_IFREG);
}

bool directoryExists(const char* path) {
    return hasMode(path, _S_IFDIR);
}

void createDirectoryTree(const char* path) {
    char parent[PATH_BYTES];
    if (copyText(parent, path) != TEXT_OK) return;  // a cut path would name another folder
    char* backslash = findLastBackslash(parent);
    if (backslash && backslash != parent && backslash[-1] != ':') {
        *backslash = '\0';
        createDirectoryTree(parent);
    }
    _mkdir(path);
}
