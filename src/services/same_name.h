#pragma once

// True when Windows takes two names, in the ANSI code page and of at most 511 bytes, for the same
// one: without regard to case, character by character, as the registry compares names. Names that
// the code page cannot decode are the same only byte for byte.
// Windows documentation: "CompareStringOrdinal".
bool isSameName(const char* left, const char* right);
