#include "run/run_log.h"

#include <windows.h>

#include <cstring>
#include <ctime>

#include "run/messages.h"
#include "run/run_settings.h"
#include "services/files/documents_folder.h"
#include "services/files/file_system.h"
#include "services/files/log_file.h"
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

bool buildDefaultLogPath(const char* prefix, char* out, size_t outSize) {
    char folder[PATH_BYTES] = "";
    if (!findDocumentsFolder(folder)) return false;
    char path[PATH_BYTES] = "";
    const DWORD length = GetShortPathNameA(folder, path, sizeof path);
    if (length == 0 || length >= sizeof path) return false;

    // Required: the long form is asked whether it has a backslash where the short form ends. Where
    // the forms differ in length, the separator can be doubled, which Windows accepts, or missing:
    // the folder is then beside Documents, "DOCUME~1ZELKLOG".
    const char* separator = isBackslashAt(folder, length - 1) ? "" : "\\";

    char stamp[PATH_BYTES] = "";
    const __time64_t now = _time64(nullptr);
    if (const tm* local = _localtime64(&now)) formatLogTime(*local, stamp, sizeof stamp);
    char whole[2 * PATH_BYTES];
    formatText(whole, sizeof whole, "%s%sZELKLOG\\%s-%s.log", path, separator,
               prefix ? prefix : "ZELK", stamp);
    if (strlen(whole) >= outSize) return false;  // a cut path would be another file
    return copyText(out, outSize, whole) == TEXT_OK;
}

ExitCode openRunLog(const char* givenPath, char (&path)[PATH_BYTES]) {
    path[0] = '\0';
    if (givenPath) {
        copyText(path, givenPath);
    } else {
        // Without a default place the path stays empty, and the open fails.
        buildDefaultLogPath("quenlet", path, sizeof path);
    }
    makeFolderOf(path);
    logFile = givenPath ? openLog(path) : openLogWithoutLinks(path);
    if (logFile) return NOT_REFUSED;

    const Decimal error(static_cast<long>(GetLastError()));
    char text[64];
    formatText(text, sizeof text, "Could not open log file. error: %s", error.text);
    printToConsole(text);  // also with -s: there is no other place for it
    return EXIT_NO_LOG_FILE;
}

void closeRunLog() {
    if (logFile) fclose(logFile);
    logFile = nullptr;
}
