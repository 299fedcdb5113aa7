#include "driver/install_directory.h"

#include <windows.h>

#include "run/messages.h"
#include "run/run_settings.h"
#include "services/path.h"
#include "services/text.h"

void setInstallDirectory(const char* executable) {
    copyText(installDir, executable);
    cutLastComponent(installDir);  // the program's name
    cutLastComponent(installDir);  // its folder, "bin"
    appendText(installDir, "\\");
}

void deriveInstallDirectory() {
    char executable[PATH_BYTES] = {};
    const DWORD length = GetModuleFileNameA(nullptr, executable, sizeof executable);
    // A path that fills the buffer was cut, and would name another place.
    if (length == 0 || length >= sizeof executable) {
        char line[128];
        formatText(line, sizeof line,
                   "Error getting executable name, directory not found.  Return code is %d\n",
                   static_cast<int>(GetLastError()));
        printToConsole(line);
        executable[0] = '\0';
    }
    setInstallDirectory(executable);
}
