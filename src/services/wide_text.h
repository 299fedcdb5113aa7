// Text between the ANSI code page and the encodings of files and of the wide functions.
#pragma once

#include <cstddef>

#include "services/memory.h"

// Convert text, with its terminating zero, and return false, with out empty, when it does not fit.
// toAnsi writes a question mark, never a similar character, for what the code page does not have.
bool toWide(const char* text, wchar_t* out, size_t characters);
bool toAnsi(const wchar_t* text, char* out, size_t size);

template <size_t N>
bool toWide(const char* text, wchar_t (&out)[N]) {
    return toWide(text, out, N);
}
template <size_t N>
bool toAnsi(const wchar_t* text, char (&out)[N]) {
    return toAnsi(text, out, N);
}

// Writes left, a backslash and right to out; false, with out unchanged, when that does not fit.
bool joinPath(const wchar_t* left, const wchar_t* right, wchar_t* out, size_t characters);

template <size_t N>
bool joinPath(const wchar_t* left, const wchar_t* right, wchar_t (&out)[N]) {
    return joinPath(left, right, out, N);
}

// The text of the ANSI code page in UTF-8; empty when there is no memory.
OwnedBuffer toUtf8(const char* text);
