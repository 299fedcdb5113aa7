#include "run/messages.h"

#include <cstring>

#include "run/language.h"
#include "run/run_settings.h"
#include "services/console.h"
#include "services/message_format.h"
#include "services/text.h"

HMODULE messageModule;

namespace {

constexpr int MESSAGE_BYTES = 256;                  // a text of the message library
constexpr size_t FORMAT_BYTES = MESSAGE_BYTES + 1;  // the same with a line end

// Loaded when a text is missing for the first time, and kept to the end of the process.
HMODULE englishLibrary() {
    static HMODULE library = nullptr;
    if (!library) {
        char path[LIBRARY_PATH_BYTES];
        formatText(path, sizeof path, MESSAGE_FOLDER_FORMAT, installDir, FALLBACK_LOCALE);
        appendText(path, MESSAGE_LIBRARY_FILE);
        library = LoadLibraryA(path);
    }
    return library;
}

void loadFormat(HMODULE module, unsigned id, const char* arg1, const char* arg2,
                char (&format)[FORMAT_BYTES]) {
    if (!module || !loadMessageText(module, id, format, MESSAGE_BYTES)) {
        // A missing text must not hide what happened.
        formatText(format, sizeof format, "[%u]%s%s", id, arg1 ? " %s" : "", arg2 ? " %s" : "");
    }
    appendText(format, "\n");
}

}  // namespace

bool loadMessageText(HMODULE module, unsigned id, char* out, int size) {
    if (LoadStringA(module, id, out, size) > 0) return true;
    const HMODULE english = englishLibrary();
    return english && LoadStringA(english, id, out, size) > 0;
}

void printToConsole(const char* text) {
    static const HANDLE console = findConsole();
    if (console && writeToConsole(console, text)) return;
    fwrite(text, 1, strlen(text), stdout);
    fflush(stdout);
}

void printMessage(FILE* log, unsigned id, const char* literalFormat, const char* arg1,
                  const char* arg2, HMODULE module, bool verboseOnly, bool literal) {
    if (verboseOnly && !verbose) return;
    char format[FORMAT_BYTES] = "";
    if (!literal) loadFormat(module, id, arg1, arg2, format);
    const char* arguments[] = {arg1, arg2};
    const FormattedMessage line(literal ? literalFormat : format, arguments);
    if (log) {
        fwrite(line.text(), strlen(line.text()), 1, log);
        fflush(log);
    }
    if (silent) return;
    // Required, and only for the console: the finished line is a format once more. A name with a
    // per cent sign is in the log as it is.
    printToConsole(FormattedMessage(line.text(), {}).text());
}

void say(unsigned id, const char* arg1, const char* arg2) {
    printMessage(logFile, id, nullptr, arg1, arg2, messageModule, false, false);
}

void sayVerbose(unsigned id, const char* arg1, const char* arg2) {
    printMessage(logFile, id, nullptr, arg1, arg2, messageModule, true, false);
}

void sayLiteral(const char* format, const char* arg1, const char* arg2) {
    printMessage(logFile, 0, format, arg1, arg2, nullptr, false, true);
}

void sayVerboseLiteral(const char* format, const char* arg1) {
    printMessage(logFile, 0, format, arg1, nullptr, nullptr, true, true);
}

ExitCode refuse(ExitCode code, unsigned id, const char* argument) {
    say(id, argument);
    return code;
}
