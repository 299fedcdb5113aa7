#include "run/messages.h"

#include <cstring>

#include "run/run_settings.h"
#include "services/console.h"
#include "services/message_format.h"
#include "services/text.h"

HMODULE messageModule;

namespace {

constexpr int MESSAGE_BYTES = 256;                  // a text of the message library
constexpr size_t FORMAT_BYTES = MESSAGE_BYTES + 1;  // the same with a line end

void loadFormat(HMODULE module, unsigned id, const char* arg1, const char* arg2,
                char (&format)[FORMAT_BYTES]) {
    if (!module || LoadStringA(module, id, format, MESSAGE_BYTES) <= 0) {
        // A missing text must not hide what happened.
        formatText(format, sizeof format, "[%u]%s%s", id, arg1 ? " %s" : "", arg2 ? " %s" : "");
    }
    appendText(format, "\n");
}

}  // namespace

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
    // The finished line is a format once more. This is required, and only here: a name with a per
    // cent sign shows in the log as it is.
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
