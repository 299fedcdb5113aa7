// The run's settings and shared buffers. The driver writes them before the steps begin; the steps
// only read them.
#pragma once

#include <cstdio>

#include "services/path.h"

constexpr size_t LANGUAGE_CODE_BYTES = 2048;

extern char copyName[128];    // at most 64 letters, digits and "_", no digit first
extern bool makeDefaultCopy;  // -d; the run sequence may force it on
extern bool replaceExisting;  // -r
extern bool silent;           // -s
extern bool verbose;          // -v
extern bool pauseBeforeExit;  // -p
extern char languageCode[LANGUAGE_CODE_BYTES];  // -i, as given; empty when it was not
extern char installDir[PATH_BYTES];             // ends in a backslash
extern char displayName[160];                   // what the list of installed programs shows
extern FILE* logFile;  // null before the log is open and after it is closed

// Sets every setting to its initial value.
void resetRunSettings();
