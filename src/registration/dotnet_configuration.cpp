#include "registration/dotnet_configuration.h"

#include <windows.h>

#include "run/messages.h"
#include "run/mode.h"
#include "run/package_names.h"
#include "run/run_settings.h"
#include "run/version.h"
#include "services/files/temporary_file.h"
#include "services/path.h"
#include "services/programs/process_runner.h"
#include "services/registry.h"
#include "services/text.h"

namespace {

constexpr char DOTNET_KEY[] = "SOFTWARE\\Microsoft\\.NETFramework";
constexpr size_t ROOT_BYTES = 256;
constexpr size_t COMMAND_BYTES = 2568;
constexpr char TEMPORARY_PREFIX[] = "ZELKRC";

bool hasUnregistered = false;  // -r unregisters at most once in a process

bool copyTool(const char* installDirectory, const char* temporaryName) {
    char copy[PATH_BYTES];
    char tool[PATH_BYTES];
    return formatText(copy, sizeof copy, "%s.exe", temporaryName) == TEXT_OK &&
           formatText(tool, sizeof tool, "%s\\bin\\%s", installDirectory, DOTNET_TOOL_FILE) ==
               TEXT_OK &&
           copyWithoutLinks(tool, copy);
}

// Runs the command and prints the result. Required: the command names the temporary file itself,
// which is empty, and not the ".exe" copy beside it. So nothing is to be started.
int runTool(int mode, const char* installDirectory, const char* temporaryName) {
    char command[COMMAND_BYTES] = "";
    formatText(command, sizeof command,
               "\"%s\" %s -level " ZELK_VERSION " -zelkpath \"%s\" -logfile zelknmpcfg.log",
               temporaryName, mode == REGISTER ? "-register" : "-unregister", installDirectory);
    sayVerbose(MSG_DOTNET_COMMAND, command);
    ProcessRunner runner(command, false, false, false);
    runner.startNothing();
    const int result = runner.run(true, false) != 0 ? DOTNET_TOOL_NOT_RUN : 0;

    const Decimal code(result);
    sayVerbose(MSG_DOTNET_RESULT, code.text);
    if (result == 0) {
        say(mode == REGISTER ? MSG_DOTNET_REGISTERED : MSG_DOTNET_UNREGISTERED);
    } else {
        say(mode == REGISTER ? MSG_DOTNET_REGISTER_FAILED : MSG_DOTNET_UNREGISTER_FAILED,
            code.text);
    }
    return result;
}

}  // namespace

bool findDotNetFrameworkRoot(char* out) {
    for (const char* name : {"sdkInstallRoot", "InstallRoot"}) {
        const ZELKiCopyNameRegistry key(HKEY_LOCAL_MACHINE, DOTNET_KEY, false, nullptr,
                                        REGISTRY_READ, 0);
        bool found = false;
        unsigned index = 0;
        key.FindValue(name, &found, &index);
        if (!found) continue;
        readRegistryText(key, name, out, ROOT_BYTES);
        return true;
    }
    return false;
}

int runDotNetConfigurationTool(int mode, const char* installDirectory, bool makeDefault) {
    char folder[PATH_BYTES];
    copyText(folder, installDirectory);
    cutTrailingBackslash(folder);
    char temporaryName[PATH_BYTES] = "";
    if (makeTempFileName(TEMPORARY_PREFIX, temporaryName) != 0 || temporaryName[0] == '\0') {
        say(MSG_DOTNET_NO_TEMPORARY_NAME);
        return DOTNET_NO_TEMPORARY_NAME;
    }
    if (!copyTool(folder, temporaryName)) {
        say(MSG_DOTNET_NOT_COPIED);
        return DOTNET_TOOL_NOT_COPIED;
    }
    if (mode == REGISTER && replaceExisting && !hasUnregistered) {
        hasUnregistered = true;
        runDotNetConfigurationTool(UNREGISTER, folder, makeDefault);
    }
    const int result = runTool(mode, folder, temporaryName);
    // Required: the ".exe" copy stays in the temporary folder.
    removeTempFile(temporaryName);
    return result;
}
