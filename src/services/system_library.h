// Libraries of the system that are loaded when they are needed, and their functions.
#pragma once

#include <windows.h>

#include "services/path.h"

// The path of a file in the Windows system directory, or with an empty name the directory with a
// backslash at its end. Empty when it is not known or does not fit.
struct SystemPath {
    explicit SystemPath(const char* name);
    char path[LIBRARY_PATH_BYTES];
};

// The Windows folder, without a backslash at its end; empty when it is not known or does not fit.
struct WindowsFolder {
    WindowsFolder();
    wchar_t path[PATH_BYTES];
};

// Loads a library from the Windows system directory, by its full path. Returns null when the
// directory is not known or the library cannot be loaded; the caller owns the module.
HMODULE loadSystemLibrary(const char* name);

// Loads a library from the program's folder or else from the Windows system directory, and from
// nowhere else: the folders of the PATH variable belong to the user, whose other programs may run
// without the rights that this one has. Returns null when there is none; the caller owns the
// module. Windows documentation: "LoadLibraryExA".
HMODULE loadTrustedLibrary(const char* name);

// The address of a module's function as a pointer of the function's own type; null when the module
// is null or has no such function.
template <typename Function>
Function* findFunction(HMODULE module, const char* name) {
    if (!module) return nullptr;
    // The cast in between avoids -Wcast-function-type.
    return reinterpret_cast<Function*>(reinterpret_cast<void (*)()>(GetProcAddress(module, name)));
}

// A function of ntdll.dll, which is in every process; null when it has none of that name.
template <typename Function>
Function* findNativeFunction(const char* name) {
    return findFunction<Function>(GetModuleHandleA("ntdll.dll"), name);
}

// The Windows code for the status that such a function returned.
DWORD toWindowsCode(LONG status);
