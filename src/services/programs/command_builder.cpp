#include "services/programs/command_builder.h"

#include <cstring>

#include "services/text.h"

namespace {

// In the order of the search, which is not the order in the text.
constexpr const char* SUFFIXES[] = {".exe", ".bat", ".com", ".cmd"};
constexpr size_t SUFFIX_LENGTH = 4;

const char* findSuffix(const char* command, const char* suffix) {
    for (; *command != '\0'; ++command) {
        if (compareFolded(command, suffix, SUFFIX_LENGTH) == 0) return command;
    }
    return nullptr;
}

// The end of the program part, or null when command holds no suffix.
const char* findProgramEnd(const char* command, const char** suffix) {
    for (const char* candidate : SUFFIXES) {
        *suffix = candidate;
        if (const char* found = findSuffix(command, candidate)) return found + SUFFIX_LENGTH;
    }
    return nullptr;
}

bool isBatch(const char* suffix) {
    return compareFolded(suffix, ".bat") == 0 || compareFolded(suffix, ".cmd") == 0;
}

}  // namespace

int32_t buildCommandLine(const char* command, ShortenPath shorten, char* out, size_t size) {
    const char* suffix = nullptr;
    const char* rest = findProgramEnd(command, &suffix);
    if (!rest) return copyText(out, size, command);

    const auto length = static_cast<int>(rest - command);
    const bool batch = isBatch(suffix);
    const char* quote = batch ? "" : "\"";
    const int32_t result =
        formatText(out, size, "%s%.*s%s", *command == '"' ? "" : quote, length, command, quote);
    if (result != TEXT_OK) return result;
    if (batch) {
        shorten(out, size);
    } else if (*rest == '"') {
        ++rest;
    }
    return appendText(out, size, rest);
}
