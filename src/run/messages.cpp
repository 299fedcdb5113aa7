#include "run/messages.h"

#include <io.h>

#include <cstring>

#include "run/run_settings.h"
#include "services/message_format.h"
#include "services/text.h"

HMODULE messageModule;

namespace {

constexpr int TEXT_BYTES = 256;
// A line is kept whole even when its arguments are the longest that the program has: two texts of
// the registry, or a command line.
constexpr size_t LINE_BYTES = 8192;
// The second formatting can make a line longer ("%s" becomes "(null)").
constexpr size_t CONSOLE_BYTES = 32768;

void loadFormat(HMODULE module, unsigned id, bool hasArgument, char (&format)[TEXT_BYTES]) {
    if (module && LoadStringA(module, id, format, TEXT_BYTES) > 0) return;
    // A library without this text still must not hide what happened.
    formatText(format, sizeof format, hasArgument ? "[%u] %%s" : "[%u]", id);
}

// Formats the line of one message to out and returns its length.
size_t formatLine(unsigned id, const char* literalFormat, const char* arg1, const char* arg2,
                  HMODULE module, bool literal, char (&out)[LINE_BYTES]) {
    const char* arguments[] = {arg1, arg2};
    if (literal) return formatMessage(out, sizeof out, literalFormat, arguments, 2);
    char format[TEXT_BYTES] = "";
    loadFormat(module, id, arg1 != nullptr, format);
    const size_t length = formatMessage(out, sizeof out - 1, format, arguments, 2);
    appendText(out, "\n");
    return length + 1;
}

// The console behind standard output, or null when that is a file, a pipe or nothing.
HANDLE findConsole() {
    // The C runtime's handle, not the process's: running a program changes the latter.
    const int file = _fileno(stdout);
    const intptr_t handle = file < 0 ? -1 : _get_osfhandle(file);
    DWORD mode = 0;
    const auto console = reinterpret_cast<HANDLE>(handle);
    return handle >= 0 && GetConsoleMode(console, &mode) ? console : nullptr;
}

// Writes text in one call: each call of its own makes the console draw again.
void writeToConsole(HANDLE console, const char* text) {
    static char lines[2 * CONSOLE_BYTES];
    size_t length = 0;
    for (; *text != '\0' && length + 2 < sizeof lines; ++text) {
        if (*text == '\n') lines[length++] = '\r';
        lines[length++] = *text;
    }
    static wchar_t wide[2 * CONSOLE_BYTES];
    const int count = MultiByteToWideChar(CP_ACP, 0, lines, static_cast<int>(length), wide,
                                          static_cast<int>(2 * CONSOLE_BYTES));
    DWORD written = 0;
    WriteConsoleW(console, wide, static_cast<DWORD>(count), &written, nullptr);
}

}  // namespace

void printToConsole(const char* text) {
    static const HANDLE console = findConsole();
    if (console) {
        writeToConsole(console, text);
        return;
    }
    fwrite(text, 1, strlen(text), stdout);
    fflush(stdout);
}

void printMessage(FILE* log, unsigned id, const char* literalFormat, const char* arg1,
                  const char* arg2, HMODULE module, bool verboseOnly, bool literal) {
    if (verboseOnly && !verbose) return;
    static char line[LINE_BYTES];
    const size_t length = formatLine(id, literalFormat, arg1, arg2, module, literal, line);
    if (log) {
        fwrite(line, length, 1, log);
        fflush(log);
    }
    if (silent) return;
    // The finished line is a format once more. This is intended: established callers write "%%" in
    // names to have a single per cent sign on the console.
    static char shown[CONSOLE_BYTES];
    formatMessage(shown, sizeof shown, line, nullptr, 0);
    printToConsole(shown);
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
