#include "registration/default_copy.h"

#include <windows.h>

#include "run/messages.h"
#include "run/package_names.h"
#include "run/run_settings.h"
#include "services/path.h"
#include "services/programs/process_runner.h"
#include "services/text.h"

namespace {

int runSwitchTool() {
    char command[PATH_BYTES];
    if (formatText(command, sizeof command, "\"%sbin\\%s\" -client -d %s", installDir,
                   SWITCH_TOOL_FILE, copyName) != TEXT_OK) {
        return ERROR_FILENAME_EXCED_RANGE;  // a cut command names another copy
    }
    ProcessRunner runner(command, false, false, false);
    return runner.run(true, false);
}

}  // namespace

void switchDefaultClientCopy() {
    say(MSG_DEFAULT_SWITCHING, copyName);
    if (runSwitchTool() != 0) {
        say(MSG_DEFAULT_SWITCH_FAILED);
    } else {
        say(MSG_DEFAULT_SWITCHED, copyName);
    }
}
