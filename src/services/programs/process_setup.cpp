#include "services/programs/process_setup.h"

#include <windows.h>

#include <algorithm>
#include <cwchar>
#include <initializer_list>
#include <utility>

#include "services/owners.h"
#include "services/path.h"
#include "services/system_library.h"

namespace {

bool isRuntimeVariable(const wchar_t* variable) {
    static constexpr const wchar_t* PREFIXES[] = {L"COR_",    L"CORECLR_",  L"COMPLUS_",
                                                  L"DOTNET_", L"COREHOST_", L"APPDOMAIN_MANAGER_"};
    return std::ranges::any_of(PREFIXES, [variable](const wchar_t* prefix) {
        return _wcsnicmp(variable, prefix, wcslen(prefix)) == 0;
    });
}

// The entries "NAME=value" that every user gets, without those of this one; null when they are not
// known. They are kept until the process ends.
// Windows documentation: "CreateEnvironmentBlock".
const wchar_t* readMachineVariables() {
    using Create = BOOL WINAPI(void** block, HANDLE token, BOOL inherit);
    const auto create =
        findFunction<Create>(loadSystemLibrary("userenv.dll"), "CreateEnvironmentBlock");
    void* block = nullptr;
    return create && create(&block, nullptr, FALSE) ? static_cast<wchar_t*>(block) : nullptr;
}

// True when the variable has the value that it has for every user.
bool isMachineVariable(const wchar_t* variable) {
    static const wchar_t* const entries = readMachineVariables();
    const size_t name = wcscspn(variable, L"=");
    for (const wchar_t* entry = entries; entry && *entry != L'\0'; entry += wcslen(entry) + 1) {
        if (_wcsnicmp(entry, variable, name) == 0 && wcscmp(entry + name, variable + name) == 0) {
            return true;
        }
    }
    return false;
}

void removeRuntimeVariables() {
    // A copy, which removals do not change.
    const OwnedEnvironment block(GetEnvironmentStringsW());
    for (wchar_t* entry = block.get(); entry && *entry != L'\0';) {
        wchar_t* const next = entry + wcslen(entry) + 1;
        if (isRuntimeVariable(entry) && !isMachineVariable(entry)) {
            entry[wcscspn(entry, L"=")] = L'\0';
            SetEnvironmentVariableW(entry, nullptr);
        }
        entry = next;
    }
}

using Variables = std::initializer_list<std::pair<const wchar_t*, const wchar_t*>>;

// Sets variables to values of a key, in the view of this program's bitness.
void setFromRegistry(const wchar_t* path, Variables variables) {
    OwnedKey key;
    RegOpenKeyExW(HKEY_LOCAL_MACHINE, path, 0, KEY_QUERY_VALUE, key.put());
    for (const auto& [variable, value] : variables) {
        wchar_t folder[PATH_BYTES];
        DWORD size = sizeof folder;
        if (RegGetValueW(key.get(), nullptr, value, RRF_RT_REG_SZ, nullptr, folder, &size) ==
            ERROR_SUCCESS) {
            SetEnvironmentVariableW(variable, folder);
        }
    }
}

void setSystemVariables() {
    WindowsFolder windows;
    if (windows.path[0] != L'\0') {
        SetEnvironmentVariableW(L"SystemRoot", windows.path);
        SetEnvironmentVariableW(L"windir", windows.path);
        windows.path[2] = L'\0';
        SetEnvironmentVariableW(L"SystemDrive", windows.path);
    }
    const SystemPath processor("cmd.exe");
    if (processor.path[0] != '\0') SetEnvironmentVariableA("ComSpec", processor.path);
}

}  // namespace

void prepareProcess() {
    // An empty directory is enough on Windows. Wine ignores it and goes on searching the current
    // directory; the system directory is searched in any case.
    SetDllDirectoryA(SystemPath("").path);
    SetEnvironmentVariableA("NoDefaultCurrentDirectoryInExePath", "1");
    setSystemVariables();
    removeRuntimeVariables();
    SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX | SEM_NOOPENFILEERRORBOX);
}

void prepareFolderVariables() {
    setFromRegistry(L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion",
                    {{L"ProgramFiles", L"ProgramFilesDir"},
                     {L"ProgramFiles(x86)", L"ProgramFilesDir (x86)"},
                     {L"ProgramW6432", L"ProgramW6432Dir"},
                     {L"CommonProgramFiles", L"CommonFilesDir"},
                     {L"CommonProgramFiles(x86)", L"CommonFilesDir (x86)"},
                     {L"CommonProgramW6432", L"CommonW6432Dir"}});
    setFromRegistry(L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\ProfileList",
                    {{L"ProgramData", L"ProgramData"}, {L"ALLUSERSPROFILE", L"ProgramData"}});
}
