#include "services/system_library.h"

#include "services/text.h"

SystemDirectory::SystemDirectory() {
    const UINT length = GetSystemDirectoryA(path, sizeof path);
    path[length < sizeof path ? length : 0] = '\0';
}

HMODULE loadSystemLibrary(const char* name) {
    const SystemDirectory directory;
    if (directory.path[0] == '\0') return nullptr;
    char path[LIBRARY_PATH_BYTES];
    // A path that was cut names no file, so the load fails as it should.
    formatText(path, sizeof path, "%s\\%s", directory.path, name);
    return LoadLibraryA(path);
}

HMODULE loadTrustedLibrary(const char* name) {
    return LoadLibraryExA(name, nullptr,
                          LOAD_LIBRARY_SEARCH_APPLICATION_DIR | LOAD_LIBRARY_SEARCH_SYSTEM32);
}

DWORD toWindowsCode(LONG status) {
    using StatusToError = ULONG NTAPI(LONG);
    const auto toError = findNativeFunction<StatusToError>("RtlNtStatusToDosError");
    return toError ? toError(status) : ERROR_MR_MID_NOT_FOUND;
}
