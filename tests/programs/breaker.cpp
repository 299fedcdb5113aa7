// Loaded into the program under test, ends it right after its n-th change to the registry, as a
// power cut or an impatient administrator would. The program and the ODBC installer in it change
// the registry through the imports of kernelbase.dll, and the program deletes keys by a function
// that it looks up.
#include <windows.h>
#include <winternl.h>

#include <cstdlib>

#include "tests/modules/import_patch.h"

namespace {

constexpr UINT BROKEN = 99;
LONG changesLeft;

LONG counted(LONG status, bool changed = true) {
    if (status >= 0 && changed && --changesLeft == 0) TerminateProcess(GetCurrentProcess(), BROKEN);
    return status;
}

using CreateKey = LONG NTAPI(HANDLE*, ACCESS_MASK, OBJECT_ATTRIBUTES*, ULONG, UNICODE_STRING*,
                             ULONG, ULONG*);
using SetValueKey = LONG NTAPI(HANDLE, UNICODE_STRING*, ULONG, ULONG, const void*, ULONG);
using DeleteKey = LONG NTAPI(HANDLE);
using DeleteValueKey = LONG NTAPI(HANDLE, UNICODE_STRING*);
using GetFunction = void* WINAPI(HMODULE, const char*);
CreateKey* createKey;
SetValueKey* setValueKey;
DeleteKey* deleteKey;
DeleteValueKey* deleteValueKey;
GetFunction* getProcAddress;

LONG NTAPI watchCreateKey(HANDLE* key, ACCESS_MASK access, OBJECT_ATTRIBUTES* attributes,
                          ULONG index, UNICODE_STRING* type, ULONG options, ULONG* disposition) {
    ULONG own = 0;
    if (!disposition) disposition = &own;
    const LONG status = createKey(key, access, attributes, index, type, options, disposition);
    return counted(status, *disposition == REG_CREATED_NEW_KEY);
}

LONG NTAPI watchSetValueKey(HANDLE key, UNICODE_STRING* name, ULONG index, ULONG type,
                            const void* data, ULONG size) {
    return counted(setValueKey(key, name, index, type, data, size));
}

LONG NTAPI watchDeleteKey(HANDLE key) {
    return counted(deleteKey(key));
}

LONG NTAPI watchDeleteValueKey(HANDLE key, UNICODE_STRING* name) {
    return counted(deleteValueKey(key, name));
}

void* WINAPI watchGetProcAddress(HMODULE module, const char* name) {
    void* found = getProcAddress(module, name);
    if (found != reinterpret_cast<void*>(deleteKey)) return found;
    return reinterpret_cast<void*>(watchDeleteKey);
}

}  // namespace

BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID) {
    if (reason != DLL_PROCESS_ATTACH) return TRUE;
    char number[16] = "";
    GetEnvironmentVariableA("ZELK_BREAK_AFTER", number, sizeof number);
    changesLeft = atol(number);
    constexpr const char* BASE = "kernelbase.dll";
    createKey = replaceImport(BASE, "NtCreateKey", watchCreateKey);
    setValueKey = replaceImport(BASE, "NtSetValueKey", watchSetValueKey);
    deleteKey = replaceImport(BASE, "NtDeleteKey", watchDeleteKey);
    deleteValueKey = replaceImport(BASE, "NtDeleteValueKey", watchDeleteValueKey);
    getProcAddress = replaceImport(nullptr, "GetProcAddress", watchGetProcAddress);
    return TRUE;
}
