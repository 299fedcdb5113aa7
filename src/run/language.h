// The supported languages. Free of platform headers but for the system's answer.
#pragma once

#include <cstddef>
#include <cstdint>

constexpr size_t LANGUAGE_TEXT_BYTES = 6;    // every text of the table, with its zero
constexpr char FALLBACK_LOCALE[] = "en_US";  // for a language without a library
constexpr char FALLBACK_LANGUAGE[] = "en";

// The columns of the table, as lookupSystemLanguage counts them.
enum LanguageColumn {
    LANGUAGE_DECIMAL_ID = 1,
    LANGUAGE_HEX_ID = 2,
    LANGUAGE_CODE = 3,
    LANGUAGE_LOCALE = 4,
};

// Writes one text of the row that matches a Windows language id (Windows documentation, "Language
// Identifiers") to out, which holds LANGUAGE_TEXT_BYTES. Returns false, with out unchanged, when
// no row matches, column is not one of the four, or out is null.
bool lookupLanguage(uint16_t languageId, int column, char* out);

// The same for the language of the system.
bool lookupSystemLanguage(int column, char* out);

// Writes the locale name of a two-letter code, in any case, to out, which holds
// LANGUAGE_TEXT_BYTES. Returns 0, or -1 with out unchanged when the table has no such code.
int lookupLanguageCode(const char* code, char* out);
