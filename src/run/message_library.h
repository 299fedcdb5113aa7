// The choice of language and the loading of its message library.
#pragma once

#include "run/exit_codes.h"
#include "run/language.h"
#include "services/path.h"

extern char systemLocale[LANGUAGE_TEXT_BYTES];   // the locale of the system's language
extern char currentLocale[LANGUAGE_TEXT_BYTES];  // the locale in use
extern char messageDir[LIBRARY_PATH_BYTES];      // its folder, ending in a backslash
extern char messageLibraryPath[LIBRARY_PATH_BYTES];

// Chooses the locale (-i, else the system's, else en_US) and loads its library into messageModule,
// or that of en_US when it is not installed. Returns NOT_REFUSED, or EXIT_NO_MESSAGE_LIBRARY with a
// message when there is none.
ExitCode loadMessageLibrary();

// Prints the usage text to the console alone, also with silent set.
void showUsage();
