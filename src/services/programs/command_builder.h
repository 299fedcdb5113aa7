// Turns a command text into a command line. Free of platform headers.
#pragma once

#include <cstddef>
#include <cstdint>

constexpr size_t COMMAND_LINE_BYTES = 780;

// Turns path into its short form in place; leaves it as it is when it has none. size counts bytes.
using ShortenPath = void (*)(char* path, size_t size);

// Builds the command line for command. The first of ".exe", ".bat", ".com", ".cmd" that occurs
// anywhere in it, in upper or lower case, ends the program part: a ".exe" or ".com"
// program is put into double quotes, a ".bat" or ".cmd" program is replaced by its short path. A
// command with none of them is taken as it stands. Returns TEXT_OK, or TEXT_CUT when the command
// does not fit; out must not be run then.
int32_t buildCommandLine(const char* command, ShortenPath shorten, char* out, size_t size);
