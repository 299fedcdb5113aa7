#include "registration/oledb_provider.h"

#include <windows.h>

#include "run/messages.h"
#include "run/mode.h"
#include "run/package_names.h"
#include "run/run_settings.h"
#include "services/path.h"
#include "services/programs/process_runner.h"
#include "services/text.h"

namespace {

constexpr int OLEDB_FAILURE = -103;  // what the failure messages show

bool hasUnregistered = false;  // -r unregisters at most once in a process

int runRegsvr32(int mode, const char* installDirectory) {
    char command[PATH_BYTES] = "";
    int32_t formatted = TEXT_OK;
    if (mode == REGISTER) {
        formatted = formatText(command, sizeof command, "regsvr32 /s \"%sbin\\%s\"",
                               installDirectory, PROVIDER_FILE);
    } else if (mode == UNREGISTER) {
        formatted = formatText(command, sizeof command, "regsvr32 /s /u \"%sbin\\%s\"",
                               installDirectory, PROVIDER_FILE);
    }
    sayVerbose(MSG_OLEDB_COMMAND, command);
    if (formatted != TEXT_OK)
        return ERROR_FILENAME_EXCED_RANGE;  // a cut path names another library
    ProcessRunner runner(command, false, false, false);
    return runner.run(true, false);
}

}  // namespace

int registerOleDbProvider(int mode, const char* installDirectory, bool passThrough) {
    if (mode == REGISTER && replaceExisting && !hasUnregistered) {
        hasUnregistered = true;
        registerOleDbProvider(UNREGISTER, installDirectory, passThrough);
    }
    const int result = runRegsvr32(mode, installDirectory);
    if (result != 0) {
        const Decimal code(OLEDB_FAILURE);
        say(mode == REGISTER ? MSG_OLEDB_REGISTER_FAILED : MSG_OLEDB_UNREGISTER_FAILED, code.text);
    } else {
        say(mode == REGISTER ? MSG_OLEDB_REGISTERED : MSG_OLEDB_UNREGISTERED);
    }
    return result;
}
