// What the platform-free parts need to know of the system's language and ANSI code page.
#pragma once

#include <cstdint>

// True when value is the first of a two-byte character. In code pages 932, 936, 949 and 950 the
// second byte of such a character can be 0x5C, the code of the backslash.
bool isLeadByte(char value);

// The Windows language id of the system (Windows documentation, "GetSystemDefaultLangID").
uint16_t systemLanguageId();
