#include "run/run_log.h"

#include <windows.h>

#include "run/messages.h"
#include "run/refusal.h"
#include "run/run_settings.h"
#include "services/file_system.h"
#include "services/log_file.h"
#include "services/path.h"
#include "services/text.h"

namespace {

void makeFolderOf(const char* path) {
    char folder[PATH_BYTES];
    copyText(folder, path);
    if (!findLastBackslash(folder)) return;  // a file of the current directory
    cutLastComponent(folder);
    if (!directoryExists(folder)) createDirectoryTree(folder);
}

}  // namespace

void openRunLog(const CommandLine& line, char (&path)[PATH_BYTES]) {
    path[0] = '\0';
    if (line.logPathGiven) {
        copyText(path, line.logPath);
    } else {
        // Where no default place can be told the path stays empty, and the open fails.
        buildDefaultLogPath("quenlet", path, sizeof path);
    }
    makeFolderOf(path);
    logFile = openLog(path);
    if (logFile) return;

    const Decimal error(static_cast<long>(GetLastError()));
    char text[64];
    formatText(text, sizeof text, "Could not open log file. error: %s", error.text);
    printToConsole(text);  // even with -s: there is no other place left to say it
    endWithError(EXIT_NO_LOG_FILE);
}

void closeRunLog() {
    if (logFile) fclose(logFile);
    logFile = nullptr;
}
