#include "services/path.h"

#include "services/system_locale.h"

namespace {

// The character after the one at position.
template <typename Char>
Char* nextCharacter(Char* position) {
    return position + (isLeadByte(position[0]) && position[1] != '\0' ? 2 : 1);
}

}  // namespace

const char* findLastBackslash(const char* path) {
    const char* last = nullptr;
    for (; *path != '\0'; path = nextCharacter(path)) {
        if (*path == '\\') last = path;
    }
    return last;
}

char* findLastBackslash(char* path) {
    return const_cast<char*>(findLastBackslash(static_cast<const char*>(path)));
}

bool isBackslashAt(const char* path, size_t position) {
    const char* wanted = path + position;
    while (*path != '\0' && path < wanted) path = nextCharacter(path);
    return path == wanted && *path == '\\';
}

void cutLastComponent(char* path) {
    char* end = findLastBackslash(path);
    *(end ? end : path) = '\0';
}

void cutTrailingBackslash(char* path) {
    char* last = findLastBackslash(path);
    if (last && last[1] == '\0') *last = '\0';
}

void replaceBackslashes(char* path) {
    for (; *path != '\0'; path = nextCharacter(path)) {
        if (*path == '\\') *path = '/';
    }
}
