#include "services/programs/process_setup.h"

#include <windows.h>

#include <algorithm>
#include <cwchar>

#include "services/owners.h"
#include "services/path.h"
#include "services/system_library.h"

namespace {

bool isRuntimeVariable(const wchar_t* variable) {
    static constexpr const wchar_t* PREFIXES[] = {L"COR_", L"CORECLR_", L"COMPLUS_", L"DOTNET_",
                                                  L"COREHOST_"};
    return std::ranges::any_of(PREFIXES, [variable](const wchar_t* prefix) {
        return _wcsnicmp(variable, prefix, wcslen(prefix)) == 0;
    });
}

// variable is an entry of the environment block, "NAME=value".
void removeVariable(const wchar_t* variable) {
    wchar_t name[256];
    const size_t length = wcscspn(variable, L"=");
    if (length >= sizeof name / sizeof *name) return;  // longer than any that a runtime reads
    wmemcpy(name, variable, length);
    name[length] = L'\0';
    SetEnvironmentVariableW(name, nullptr);
}

void removeRuntimeVariables() {
    // A copy, which removals do not change.
    const OwnedEnvironment block(GetEnvironmentStringsW());
    if (!block) return;
    for (const wchar_t* entry = block.get(); *entry != L'\0'; entry += wcslen(entry) + 1) {
        if (isRuntimeVariable(entry)) removeVariable(entry);
    }
}

void setSystemVariables() {
    wchar_t directory[PATH_BYTES];
    UINT length = GetSystemWindowsDirectoryW(directory, PATH_BYTES);
    if (length > 0 && length < PATH_BYTES) {
        SetEnvironmentVariableW(L"SystemRoot", directory);
        SetEnvironmentVariableW(L"windir", directory);
    }
    constexpr wchar_t PROCESSOR[] = L"\\cmd.exe";
    constexpr size_t PROCESSOR_SIZE = sizeof PROCESSOR / sizeof *PROCESSOR;
    length = GetSystemDirectoryW(directory, PATH_BYTES);
    if (length > 0 && length + PROCESSOR_SIZE <= PATH_BYTES) {
        wmemcpy(directory + length, PROCESSOR, PROCESSOR_SIZE);
        SetEnvironmentVariableW(L"ComSpec", directory);
    }
}

}  // namespace

void prepareProcess() {
    // An empty directory is enough on Windows. Wine ignores it and goes on searching the current
    // directory; the system directory is searched in any case.
    SetDllDirectoryA(SystemDirectory().path);
    SetEnvironmentVariableA("NoDefaultCurrentDirectoryInExePath", "1");
    removeRuntimeVariables();
    setSystemVariables();
    SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX | SEM_NOOPENFILEERRORBOX);
}
