#include "driver/run_sequence.h"

#include "driver/command_line.h"
#include "driver/install_directory.h"
#include "driver/preconditions.h"
#include "odbc/odbc_registration_step.h"
#include "odbc/trace.h"
#include "registration/copy_record.h"
#include "registration/default_copy.h"
#include "registration/dotnet_configuration.h"
#include "registration/oledb_provider.h"
#include "registration/uninstall_entry.h"
#include "registration/uninstall_keys.h"
#include "run/message_library.h"
#include "run/messages.h"
#include "run/run_log.h"
#include "run/run_settings.h"
#include "services/path.h"
#include "services/programs/process_setup.h"
#include "services/programs/system_command.h"
#include "services/programs/thread.h"
#include "services/text.h"

namespace {

void printLanguageAndLog(const char* logPath) {
    say(MSG_LANGUAGE, currentLocale);
    say(MSG_LIBRARY, messageLibraryPath);
    say(MSG_LOG_FILE, logPath);
}

ExitCode checkPreconditions(const CommandLine& line, bool& onlyCopy) {
    ExitCode code = checkOptions(line);
    if (code == NOT_REFUSED) code = checkCopyKey(line);
    if (code == NOT_REFUSED) code = checkRemoteCopy(line);
    if (code == NOT_REFUSED) code = checkInstalledCopies(line, onlyCopy);
    if (code == NOT_REFUSED) code = checkDefaultCopy(line, onlyCopy);
    return code;
}

// Every step runs, whatever the results of those before it: each reports its own result.
void runSteps(int unregister, bool onlyCopy) {
    const auto announce = [unregister](unsigned registering, unsigned unregistering) {
        say(unregister ? unregistering : registering);
    };
    prepareFolderVariables();
    announce(MSG_REGISTERING, MSG_UNREGISTERING);

    char frameworkRoot[PATH_BYTES] = "";  // only whether there is one matters
    if (findDotNetFrameworkRoot(frameworkRoot)) {
        runDotNetConfigurationTool(unregister, installDir, makeDefaultCopy);
    } else {
        say(MSG_DOTNET_ABSENT);
    }

    announce(MSG_REGISTERING_RECORD, MSG_UNREGISTERING_RECORD);
    writeCopyRecord(unregister, installDir, copyName, makeDefaultCopy, onlyCopy);

    announce(MSG_REGISTERING_ODBC, MSG_UNREGISTERING_ODBC);
    OdbcRegistrationStep(unregister, installDir, makeDefaultCopy);

    announce(MSG_REGISTERING_UNINSTALL_ENTRY, MSG_UNREGISTERING_UNINSTALL_ENTRY);
    formatText(displayName, sizeof displayName, DISPLAY_NAME_FORMAT, copyName);
    writeUninstallEntry(unregister, installDir, copyName);

    announce(MSG_REGISTERING_OLEDB, MSG_UNREGISTERING_OLEDB);
    registerOleDbProvider(unregister, installDir, makeDefaultCopy);

    // Also when unregistering: -d, or the check of the default copy, may have set it.
    if (makeDefaultCopy) switchDefaultClientCopy();
}

// The run from its log to its last step.
ExitCode runLogged(const CommandLine& line) {
    char logPath[PATH_BYTES];
    ExitCode code = openRunLog(line.logPathGiven ? line.logPath : nullptr, logPath);
    if (code == NOT_REFUSED) code = loadMessageLibrary();
    if (code != NOT_REFUSED) return code;
    if (line.showUsage) {
        showUsage();
        return EXIT_DONE;
    }
    printLanguageAndLog(logPath);
    bool onlyCopy = false;
    code = checkPreconditions(line, onlyCopy);
    if (code == NOT_REFUSED) runSteps(line.unregister, onlyCopy);
    return code;
}

}  // namespace

int runSequence(int argc, char** argv) {
    threadFailureHook = traceThreadFailure;
    const CommandLine line = parseCommandLine(argc, argv);
    deriveInstallDirectory();
    const ExitCode code = runLogged(line);
    if (code != EXIT_DONE) {
        sayVerboseLiteral("Exiting with error code %s\n", Decimal(code).text);
    }
    closeRunLog();
    if (code != EXIT_DONE && pauseBeforeExit) runSystemCommand("pause");
    return code;
}
