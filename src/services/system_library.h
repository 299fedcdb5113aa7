// Libraries of the system that are loaded when they are needed, and their functions.
#pragma once

#include <windows.h>

// Loads a library from the Windows system directory, by its full path. Returns null when the
// directory cannot be told or the library cannot be loaded; the caller owns the module.
HMODULE loadSystemLibrary(const char* name);

// The address of a module's function as a pointer of the function's own type; null when the module
// is null or has no such function.
template <typename Function>
Function* findFunction(HMODULE module, const char* name) {
    if (!module) return nullptr;
    // By way of a pointer to a function without arguments, the type that compilers agree not to
    // warn about.
    return reinterpret_cast<Function*>(reinterpret_cast<void (*)()>(GetProcAddress(module, name)));
}
