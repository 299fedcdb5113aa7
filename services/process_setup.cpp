#include "services/process_setup.h"

#include <windows.h>

void leaveCurrentDirectoryOutOfSearches() {
    SetDllDirectoryA("");
    SetEnvironmentVariableA("NoDefaultCurrentDirectoryInExePath", "1");
}
