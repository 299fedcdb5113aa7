#pragma once

// Writes the short form of path to out, which holds 261 bytes, and returns 0; a path that has none
// is copied unchanged (at most 260 characters), and the result is -1.
// Windows documentation: "GetShortPathNameA".
int toShortPath(const char* path, char* out);
