// Small move-only owners of what the system hands out. They alone call the closing functions.
#pragma once

#include <windows.h>

#include "services/memory.h"  // IWYU pragma: export

struct HandleCloser {
    void operator()(HANDLE handle) const { CloseHandle(handle); }
};
struct KeyCloser {
    void operator()(HKEY key) const { RegCloseKey(key); }
};
struct ModuleCloser {
    void operator()(HMODULE module) const { FreeLibrary(module); }
};
struct EnvironmentCloser {
    void operator()(wchar_t* block) const { FreeEnvironmentStringsW(block); }
};

using OwnedHandle = Owner<HANDLE, HandleCloser>;
using OwnedKey = Owner<HKEY, KeyCloser>;
using OwnedModule = Owner<HMODULE, ModuleCloser>;
using OwnedEnvironment = Owner<wchar_t*, EnvironmentCloser>;

// Owns what CreateFile returned; empty when it failed.
inline OwnedHandle ownFile(HANDLE file) {
    return OwnedHandle(file == INVALID_HANDLE_VALUE ? nullptr : file);
}
