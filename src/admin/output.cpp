#include "admin/output.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "services/console.h"
#include "services/memory.h"

namespace {

constexpr size_t LINE_BYTES = 8192;

bool isQuiet = false;

// The text in the code page of the console; empty when it cannot be converted.
OwnedBuffer convert(const char* text) {
    const UINT page = GetConsoleOutputCP() != 0 ? GetConsoleOutputCP() : GetACP();
    const int length = static_cast<int>(strlen(text)) + 1;
    const OwnedWideBuffer wide(
        static_cast<wchar_t*>(malloc(static_cast<size_t>(length) * sizeof(wchar_t))));
    const int room = 4 * length;  // of a character in UTF-8, and in each other code page
    OwnedBuffer bytes(static_cast<char*>(malloc(static_cast<size_t>(room))));
    if (!wide || !bytes) return {};
    const int count = MultiByteToWideChar(CP_ACP, 0, text, length, wide.get(), length);
    // UTF-8 and some others refuse the flag.
    if (count > 0 && (WideCharToMultiByte(page, WC_NO_BEST_FIT_CHARS, wide.get(), count,
                                          bytes.get(), room, nullptr, nullptr) != 0 ||
                      WideCharToMultiByte(page, 0, wide.get(), count, bytes.get(), room, nullptr,
                                          nullptr) != 0)) {
        return bytes;
    }
    return {};
}

void print(FILE* stream, const char* line) {
    if (const HANDLE console = findConsole(stream)) {
        fflush(stream);
        if (writeToConsole(console, line)) return;
    }
    const OwnedBuffer converted = convert(line);
    fputs(converted ? converted.get() : line, stream);
}

void formatLine(char (&line)[LINE_BYTES], const char* format, va_list arguments) {
    formatTextList(line, sizeof line - 1, format, arguments);  // and the line end
    maskControls(line);
    appendText(line, "\n");
}

}  // namespace

void printLine(const char* format, ...) {
    if (isQuiet) return;
    char line[LINE_BYTES];
    va_list arguments;  // NOLINT(cppcoreguidelines-init-variables): a type without a value
    va_start(arguments, format);
    formatLine(line, format, arguments);
    va_end(arguments);
    print(stdout, line);
}

void printRefusal(const char* format, ...) {
    char line[LINE_BYTES];
    va_list arguments;  // NOLINT(cppcoreguidelines-init-variables): a type without a value
    va_start(arguments, format);
    formatLine(line, format, arguments);
    va_end(arguments);
    fflush(stdout);
    print(stderr, line);
    fflush(stderr);
}

void printText(const char* text) {
    print(stdout, text);
    print(stdout, "\n");
}

void setQuiet(bool quiet) {
    isQuiet = quiet;
}

void printRaw(const char* text) {
    fputs(text, stdout);
}
