// Bounded text in the system's ANSI code page: the copies, appends and formats of the program go
// through here; sizes are in bytes and count the terminating zero. Free of platform headers.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>

// Results of the functions below. The values are the HRESULTs that the platform's own bounded
// string functions give (Windows documentation, "Strsafe.h").
constexpr int32_t TEXT_OK = 0;
constexpr int32_t TEXT_INVALID = static_cast<int32_t>(0x80070057);  // size is 0 or above 2147483647
constexpr int32_t TEXT_CUT = static_cast<int32_t>(0x8007007A);      // the text did not fit

// printf-style checks of the arguments where the compiler offers them.
#if defined(__MINGW32__) && !defined(__clang__)
#define TEXT_PRINTF(text, first) __attribute__((format(gnu_printf, text, first)))
#elif defined(__GNUC__)
#define TEXT_PRINTF(text, first) __attribute__((format(printf, text, first)))
#else
#define TEXT_PRINTF(text, first)
#endif

// Write at most size - 1 characters and a terminating zero to out. Unless the result is
// TEXT_INVALID, out is terminated; on TEXT_CUT it holds the beginning of the text. A null text to
// copy or append is an empty one.
int32_t copyText(char* out, size_t size, const char* text);
int32_t appendText(char* out, size_t size, const char* text);
int32_t formatText(char* out, size_t size, const char* format, ...) TEXT_PRINTF(3, 4);
int32_t formatTextList(char* out, size_t size, const char* format, va_list arguments);

template <size_t N>
int32_t copyText(char (&out)[N], const char* text) {
    return copyText(out, N, text);
}

template <size_t N>
int32_t appendText(char (&out)[N], const char* text) {
    return appendText(out, N, text);
}

// Cuts the characters of set from the end of text and returns a pointer to the first character
// that is not in set. The leading ones stay in text: only the returned pointer is past them.
char* trimCharacters(char* text, const char* set);

// Makes every control character of text but the tab a question mark, so that a text of others, a
// value of the registry for example, cannot begin a line of its own or command a terminal.
void maskControls(char* text);

// Compares at most count characters of both texts, each folded with toupper, as signed values.
// Returns -1, 0 or 1.
int compareFolded(const char* left, const char* right, size_t count = SIZE_MAX);

// A number as decimal text, as the messages show result codes.
struct Decimal {
    explicit Decimal(long long number);
    char text[24];
};
