// Where the package is: in the parent of the folder that holds the executable.
#pragma once

// Fills the global installDir (run/run_settings.h), which ends in a backslash. When the path of the
// executable is not known, a line on the console says so and installDir is a single backslash.
void deriveInstallDirectory();

// The same for a given path of an executable.
void setInstallDirectory(const char* executable);
