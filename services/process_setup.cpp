#include "services/process_setup.h"

#include <windows.h>

void prepareProcess() {
    SetDllDirectoryA("");
    SetEnvironmentVariableA("NoDefaultCurrentDirectoryInExePath", "1");
    SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX | SEM_NOOPENFILEERRORBOX);
}
