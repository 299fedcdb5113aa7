#include "services/process_setup.h"

#include <windows.h>

#include "services/path.h"

void prepareProcess() {
    // An empty directory would do on Windows. Wine takes it for none and goes on searching the
    // current directory; the system directory is searched in any case.
    char directory[PATH_BYTES] = "";
    const UINT length = GetSystemDirectoryA(directory, sizeof directory);
    SetDllDirectoryA(length < sizeof directory ? directory : "");
    SetEnvironmentVariableA("NoDefaultCurrentDirectoryInExePath", "1");
    SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX | SEM_NOOPENFILEERRORBOX);
}
