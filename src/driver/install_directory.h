// Where the package lies: the parent of the folder that holds the executable.
#pragma once

#include "services/path.h"

// Fills the global installDir (run_settings.h), which ends in a backslash, and withoutBackslash,
// the same without it. When the executable's path cannot be had, a line on the console says so and
// both are what an empty path gives.
void deriveInstallDirectory(char (&withoutBackslash)[PATH_BYTES]);

// The same for a given path of an executable.
void setInstallDirectory(const char* executable, char (&withoutBackslash)[PATH_BYTES]);
