#include "driver/command_line.h"

#include <cstring>

#include "run/copy_name.h"
#include "run/run_settings.h"
#include "services/text.h"

namespace {

// True for "-x", "-X", "/x" and "/X" with anything behind: an option is its first two characters.
bool isOption(const char* argument, char letter) {
    if (argument[0] != '-' && argument[0] != '/') return false;
    return argument[1] == letter || argument[1] == letter - 'a' + 'A';
}

bool isUsageOption(const char* argument) {
    return isOption(argument, 'h') || strncmp(argument, "/?", 2) == 0;
}

bool readCopyName(const char* value) {
    return value && isValidCopyName(value) && copyText(copyName, value) == TEXT_OK;
}

// Reads the value of -l or -i. The value is checked in its trimmed form, but taken with its leading
// blanks: a file name may begin with blanks, though it cannot end with them.
bool readText(char* value, char* out, size_t size) {
    if (!value) return false;
    const char* trimmed = trimCharacters(value, " ");
    if (*trimmed == '\0' || *trimmed == '-' || *trimmed == '/') return false;
    if (strlen(value) >= size) return false;  // a cut value would name something else
    return copyText(out, size, value) == TEXT_OK;
}

// argument is one of argv, value the one after it or null.
void readArgument(const char* argument, char* value, CommandLine& line) {
    bool accepted = argument != nullptr;
    if (!accepted) {
        // a character that the code page lacks
    } else if (isOption(argument, 'u')) {
        line.unregister = 1;
    } else if (isUsageOption(argument)) {
        line.showUsage = true;
    } else if (isOption(argument, 'c')) {
        accepted = readCopyName(value);
        line.copyNameGiven |= accepted;
    } else if (isOption(argument, 'd')) {
        makeDefaultCopy = true;
    } else if (isOption(argument, 'l')) {
        accepted = readText(value, line.logPath, sizeof line.logPath);
        line.logPathGiven |= accepted;
    } else if (isOption(argument, 'r')) {
        replaceExisting = true;
        // Only what came before counts: with -r first and -u later the run goes on with both.
        line.replaceAfterUnregister |= line.unregister == 1;
    } else if (isOption(argument, 'i')) {
        accepted = readText(value, languageCode, sizeof languageCode);
    } else if (isOption(argument, 'f')) {
        line.forceUnregister = true;
    } else if (isOption(argument, 's')) {
        silent = true;
    } else if (isOption(argument, 'v')) {
        verbose = true;
    } else if (isOption(argument, 'p')) {
        pauseBeforeExit = true;
    }
    line.showUsage |= !accepted;
}

}  // namespace

CommandLine parseCommandLine(int argc, char** argv) {
    CommandLine line;
    resetRunSettings();
    line.showUsage = !argv;
    // One argument at a time, also after an option that took a value: the value is read once more
    // and matches nothing, because no valid one begins with "-" or "/". A refused one is then an
    // option in its own right, so that "-l -v" still means -v.
    for (int i = 1; argv && i < argc; ++i) {
        readArgument(argv[i], i + 1 < argc ? argv[i + 1] : nullptr, line);
    }
    return line;
}
