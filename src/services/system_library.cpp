#include "services/system_library.h"

#include "services/text.h"

SystemPath::SystemPath(const char* name) {
    const UINT length = GetSystemDirectoryA(path, PATH_BYTES);
    path[length < PATH_BYTES ? length : 0] = '\0';
    if (path[0] == '\0') return;
    appendText(path, "\\");
    if (appendText(path, name) != TEXT_OK) path[0] = '\0';
}

WindowsFolder::WindowsFolder() {
    const UINT length = GetSystemWindowsDirectoryW(path, PATH_BYTES);
    path[length < PATH_BYTES ? length : 0] = L'\0';
}

HMODULE loadSystemLibrary(const char* name) {
    const SystemPath library(name);
    return library.path[0] != '\0' ? LoadLibraryA(library.path) : nullptr;
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
