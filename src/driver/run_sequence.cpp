#include "driver/run_sequence.h"

#include "driver/administrator.h"
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
#include "run/exit_codes.h"
#include "run/message_library.h"
#include "run/messages.h"
#include "run/refusal.h"
#include "run/run_log.h"
#include "run/run_settings.h"
#include "services/path.h"
#include "services/text.h"
#include "services/thread.h"

namespace {

void checkOptions(const CommandLine& line) {
    if (line.replaceAfterUnregister) {
        refuse(EXIT_REPLACE_AFTER_UNREGISTER, MSG_REPLACE_AFTER_UNREGISTER);
    }
    if (line.unregister == 1 && !line.copyNameGiven) {
        refuse(EXIT_COPY_NAME_MISSING, MSG_COPY_NAME_MISSING);
    }
    if (!isUserAdministrator()) refuse(EXIT_NOT_ADMINISTRATOR, MSG_NOT_ADMINISTRATOR);
}

// Every step runs, whatever those before it came to: each reports its own result.
void runSteps(int unregister, const char* installDirWithoutBackslash, bool onlyCopy) {
    const auto announce = [unregister](unsigned registering, unsigned unregistering) {
        say(unregister ? unregistering : registering);
    };
    announce(MSG_REGISTERING, MSG_UNREGISTERING);

    char frameworkRoot[PATH_BYTES] = "";  // not needed: only whether there is one
    if (findDotNetFrameworkRoot(frameworkRoot)) {
        runDotNetConfigurationTool(unregister, installDirWithoutBackslash, makeDefaultCopy);
    } else {
        say(MSG_DOTNET_ABSENT);
    }

    announce(MSG_REGISTERING_RECORD, MSG_UNREGISTERING_RECORD);
    writeCopyRecord(unregister, installDir, copyName, makeDefaultCopy, onlyCopy);

    announce(MSG_REGISTERING_ODBC, MSG_UNREGISTERING_ODBC);
    OdbcRegistrationStep(unregister, installDir, makeDefaultCopy);

    announce(MSG_REGISTERING_UNINSTALL_ENTRY, MSG_UNREGISTERING_UNINSTALL_ENTRY);
    writeUninstallEntry(unregister, installDir, copyName);

    announce(MSG_REGISTERING_OLEDB, MSG_UNREGISTERING_OLEDB);
    registerOleDbProvider(unregister, installDir, makeDefaultCopy);

    // When unregistering too: the last copy was the default one, and the switch tool undoes that.
    if (makeDefaultCopy) switchDefaultClientCopy();
}

}  // namespace

int runSequence(int argc, char** argv) {
    threadFailureHook = traceThreadFailure;
    const CommandLine line = parseCommandLine(argc, argv);
    char installDirWithoutBackslash[PATH_BYTES];
    deriveInstallDirectory(installDirWithoutBackslash);
    char logPath[PATH_BYTES];
    openRunLog(line, logPath);
    loadMessageLibrary();
    if (line.showUsage) showUsageAndExit();
    say(MSG_LANGUAGE, currentLocale);
    say(MSG_LIBRARY, messageLibraryPath);
    say(MSG_LOG_FILE, logPath);

    checkOptions(line);
    checkCopyKey(line);
    formatText(displayName, sizeof displayName, "Orvane Pellimar Package - Remote - %s", copyName);
    checkRemoteCopy(line);
    const bool onlyCopy = checkInstalledCopies(line);
    checkDefaultCopy(line, onlyCopy);

    runSteps(line.unregister, installDirWithoutBackslash, onlyCopy);
    closeRunLog();
    return EXIT_DONE;
}
