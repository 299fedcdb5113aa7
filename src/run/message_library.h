// The choice of language and the loading of its message library.
#pragma once

#include "run/language.h"

extern char systemLocale[LANGUAGE_TEXT_BYTES];   // the locale of the system's language
extern char currentLocale[LANGUAGE_TEXT_BYTES];  // the locale in use
extern char messageDir[522];                     // its folder, ending in a backslash
extern char messageLibraryPath[522];

// Chooses the locale (-i, else the system's, else en_US), loads its library into messageModule, or
// that of en_US when it is not installed, and ends the run when there is none.
void loadMessageLibrary();

// Prints the usage text and ends the process with 0.
[[noreturn]] void showUsageAndExit();
