#include "registration/oledb_provider.h"

#include <windows.h>

#include "run/messages.h"
#include "run/run_settings.h"
#include "services/process_runner.h"
#include "services/text.h"

namespace {

constexpr size_t COMMAND_BYTES = 261;
constexpr int OLEDB_FAILURE = -103;  // what the failure messages show

int unregistrationsBeforeRegistering;  // at most one in a process

int runRegsvr32(int mode, const char* installDirectory) {
    char command[COMMAND_BYTES] = "";
    int32_t fits = TEXT_OK;
    if (mode == 0) {
        fits = formatText(command, sizeof command, "regsvr32 /s \"%sbin\\orvanedazelk.dll\"",
                          installDirectory);
    } else if (mode == 1) {
        fits = formatText(command, sizeof command, "regsvr32 /s /u \"%sbin\\orvanedazelk.dll\"",
                          installDirectory);
    }
    sayVerbose(MSG_OLEDB_COMMAND, command);
    if (fits != TEXT_OK) return ERROR_FILENAME_EXCED_RANGE;  // a cut path is another library's
    ProcessRunner runner(command, false, false, false);
    return runner.run(true, false);
}

}  // namespace

int registerOleDbProvider(int mode, const char* installDirectory, bool passThrough) {
    if (mode == 0 && replaceExisting && unregistrationsBeforeRegistering == 0) {
        ++unregistrationsBeforeRegistering;
        registerOleDbProvider(1, installDirectory, passThrough);
    }
    const int result = runRegsvr32(mode, installDirectory);
    if (result != 0) {
        const Decimal code(OLEDB_FAILURE);
        say(mode == 0 ? MSG_OLEDB_REGISTER_FAILED : MSG_OLEDB_UNREGISTER_FAILED, code.text);
    } else {
        say(mode == 0 ? MSG_OLEDB_REGISTERED : MSG_OLEDB_UNREGISTERED);
    }
    return result;
}
