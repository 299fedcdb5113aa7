// Names of temporary files and short forms of paths, for commands that stage a file first.
#pragma once

#include <cstddef>

// Makes an empty file with a fresh name in the temporary folder and writes its path to out, which
// holds at least 261 bytes. Returns 0, or -1 when the system gives no name. The result is 0 with
// out untouched when the temporary folder cannot be told: callers look at out as well.
// Windows documentation: "GetTempPathA", "GetTempFileNameA".
int makeTempFileName(const char* prefix, char* out);

// Writes the short form of path to out, which holds 261 bytes, and returns 0; a path that has none
// is copied unchanged (at most 260 characters), and the result is -1.
int toShortPath(const char* path, char* out);
