#include "services/system_library.h"

#include "services/path.h"
#include "services/text.h"

HMODULE loadSystemLibrary(const char* name) {
    char directory[PATH_BYTES] = "";
    const UINT length = GetSystemDirectoryA(directory, sizeof directory);
    if (length == 0 || length >= sizeof directory) return nullptr;
    char path[LIBRARY_PATH_BYTES];
    // A path that was cut names no file, so the load fails as it should.
    formatText(path, sizeof path, "%s\\%s", directory, name);
    return LoadLibraryA(path);
}

HMODULE loadTrustedLibrary(const char* name) {
    return LoadLibraryExA(name, nullptr,
                          LOAD_LIBRARY_SEARCH_APPLICATION_DIR | LOAD_LIBRARY_SEARCH_SYSTEM32);
}
