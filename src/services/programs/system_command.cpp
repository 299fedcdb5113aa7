#include "services/programs/system_command.h"

#include "services/owners.h"
#include "services/path.h"
#include "services/system_library.h"
#include "services/text.h"

void runSystemCommand(const char* command) {
    const SystemPath program("cmd.exe");
    char line[2 * PATH_BYTES];
    if (program.path[0] == '\0' ||
        formatText(line, sizeof line, "\"%s\" /d /c %s", program.path, command) != TEXT_OK) {
        return;
    }
    STARTUPINFOA startup = {};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION information = {};
    if (!CreateProcessA(program.path, line, nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup,
                        &information)) {
        return;
    }
    const OwnedHandle process(information.hProcess);
    const OwnedHandle mainThread(information.hThread);
    WaitForSingleObject(process.get(), INFINITE);
}
