// Why a protected folder is not used, in words.
#pragma once

#include <windows.h>

#include "services/files/protected_folder.h"

// Writes the reason, with the path, to out, which is empty without a fault. Returns 0, the code of
// a folder that could not be made, or ERROR_ACCESS_DENIED.
DWORD describeFault(const ProtectedFolder& folder, FolderFault fault, char* out, size_t size);

// Opens a folder below the Windows folder; out and the result are those of describeFault.
DWORD openProtected(ProtectedFolder& folder, const wchar_t* belowWindows, char* out, size_t size);

template <size_t N>
DWORD describeFault(const ProtectedFolder& folder, FolderFault fault, char (&out)[N]) {
    return describeFault(folder, fault, out, N);
}
template <size_t N>
DWORD openProtected(ProtectedFolder& folder, const wchar_t* belowWindows, char (&out)[N]) {
    return openProtected(folder, belowWindows, out, N);
}
