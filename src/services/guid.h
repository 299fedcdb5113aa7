#pragma once

#include <cstddef>

// The registry form of a GUID: braces, hyphens and upper-case digits, with the terminating zero.
constexpr size_t GUID_TEXT_BYTES = 39;

// Creates a new GUID and writes its registry form to out. Returns false, with out unchanged, when
// the system fails to create one. Windows documentation: "CoCreateGuid", "StringFromGUID2".
bool makeGuidText(char (&out)[GUID_TEXT_BYTES]);
