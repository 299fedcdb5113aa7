// The names that a copy can have. Free of platform headers.
#pragma once

#include <cstddef>

constexpr size_t LONGEST_COPY_NAME = 64;

// True for up to 64 letters, digits and underscores without a digit at the beginning.
bool isValidCopyName(const char* name);
