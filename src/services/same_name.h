#pragma once

// Compares two names in the ANSI code page as the registry compares names: character by character,
// without regard to case. Names that the code page cannot decode, and names of more than 511
// characters, must be the same byte for byte.
// Windows documentation: "CompareStringOrdinal".
bool isSameName(const char* left, const char* right);
bool isSameName(const wchar_t* left, const wchar_t* right);  // of any characters and length
