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
struct SearchCloser {
    void operator()(HANDLE search) const { FindClose(search); }
};
struct LocalMemoryCloser {
    void operator()(void* memory) const { LocalFree(memory); }
};
struct EnvironmentCloser {
    void operator()(wchar_t* block) const { FreeEnvironmentStringsW(block); }
};

using OwnedHandle = Owner<HANDLE, HandleCloser>;
using OwnedKey = Owner<HKEY, KeyCloser>;
using OwnedModule = Owner<HMODULE, ModuleCloser>;
using OwnedSearch = Owner<HANDLE, SearchCloser>;           // of FindFirstFile
using OwnedLocalMemory = Owner<void*, LocalMemoryCloser>;  // of a function that uses LocalAlloc
using OwnedEnvironment = Owner<wchar_t*, EnvironmentCloser>;

// Own what CreateFile and FindFirstFile returned; empty when it failed.
inline OwnedHandle ownFile(HANDLE file) {
    return OwnedHandle(file == INVALID_HANDLE_VALUE ? nullptr : file);
}
inline OwnedSearch ownSearch(HANDLE search) {
    return OwnedSearch(search == INVALID_HANDLE_VALUE ? nullptr : search);
}
