#include "run/message_library.h"

#include <windows.h>

#include "run/messages.h"
#include "run/run_settings.h"
#include "services/files/file_system.h"
#include "services/text.h"

char systemLocale[LANGUAGE_TEXT_BYTES];
char currentLocale[LANGUAGE_TEXT_BYTES];
char messageDir[LIBRARY_PATH_BYTES];
char messageLibraryPath[LIBRARY_PATH_BYTES];

namespace {

constexpr int PROBE_BYTES = 2048;
constexpr int USAGE_BYTES = 4096;

void chooseLocale() {
    if (!lookupSystemLanguage(LANGUAGE_LOCALE, systemLocale)) {
        copyText(systemLocale, FALLBACK_LOCALE);
    }
    copyText(currentLocale, systemLocale);
    // A code that the table does not have leaves the system's language in force, silently.
    if (languageCode[0] != '\0') lookupLanguageCode(languageCode, currentLocale);
}

void buildLibraryPath() {
    formatText(messageDir, sizeof messageDir, MESSAGE_FOLDER_FORMAT, installDir, currentLocale);
    formatText(messageLibraryPath, sizeof messageLibraryPath, "%s%s", messageDir,
               MESSAGE_LIBRARY_FILE);
}

}  // namespace

ExitCode loadMessageLibrary() {
    chooseLocale();
    buildLibraryPath();
    if (!fileExists(messageLibraryPath)) {
        sayLiteral("The specified language %s is not installed.  Falling back on %s\n",
                   currentLocale, FALLBACK_LOCALE);
        copyText(currentLocale, FALLBACK_LOCALE);
        copyText(languageCode, FALLBACK_LANGUAGE);
        buildLibraryPath();
    }
    sayVerboseLiteral("\n==== Testing LoadString ====\n");
    // A path without a drive would be searched for on the current one, where others can write.
    if (installDir[1] != '\0') messageModule = LoadLibraryA(messageLibraryPath);
    if (!messageModule) {
        sayLiteral("Could not load the message dll %s\n", messageLibraryPath);
        return EXIT_NO_MESSAGE_LIBRARY;
    }
    // The line above announces this. The result is not used: a library without the text is
    // accepted, and its messages are shown by their ids.
    char probe[PROBE_BYTES];
    LoadStringA(messageModule, MSG_PROBE, probe, PROBE_BYTES);
    return NOT_REFUSED;
}

void showUsage() {
    char usage[USAGE_BYTES] = "";
    loadMessageText(messageModule, MSG_USAGE, usage, USAGE_BYTES);
    printToConsole(usage);
}
