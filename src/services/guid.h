#pragma once

#include <cstddef>

// Makes a new GUID and writes its registry form (braces, hyphens, upper-case digits: 38
// characters) to out. Returns false, with out unchanged, when the system gives none.
// Windows documentation: "CoCreateGuid", "StringFromGUID2".
bool makeGuidText(char* out, size_t size);
