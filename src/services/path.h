// Paths as text of the ANSI code page: a backslash is a character here, never the second byte of
// another one. Free of platform headers.
#pragma once

#include <cstddef>

// The size of a path: 260 characters (MAX_PATH) and a terminating zero.
constexpr size_t PATH_BYTES = 261;

// The size of the path of a library in a folder whose path has PATH_BYTES.
constexpr size_t LIBRARY_PATH_BYTES = 522;

// Returns the last backslash of path, or null when it has none.
char* findLastBackslash(char* path);
const char* findLastBackslash(const char* path);

// True when the character that holds the byte at position is a backslash.
bool isBackslashAt(const char* path, size_t position);

// Cuts the last component of path together with the backslash before it. A path without a
// backslash becomes empty.
void cutLastComponent(char* path);

// Cuts one backslash from the end of path, if there is one.
void cutTrailingBackslash(char* path);

// Makes every backslash of path a forward slash.
void replaceBackslashes(char* path);
