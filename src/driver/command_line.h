// The options. Free of platform headers.
#pragma once

#include "services/path.h"

// The settings that only the run sequence uses; the others are in run/run_settings.h.
struct CommandLine {
    int unregister = 0;          // 1 unregisters
    bool showUsage = false;      // asked for, or an option's value was refused
    bool copyNameGiven = false;  // a valid one
    bool logPathGiven = false;
    char logPath[PATH_BYTES] = "";
    bool replaceAfterUnregister = false;  // -r came after -u
    bool forceUnregister = false;
};

// Sets the run settings to their initial values and reads the arguments argv[1] .. argv[argc - 1]
// into them. Prints nothing and always succeeds: a value that is not valid sets showUsage, and so
// does an argument that is null, or argv itself, because it could not be converted.
// Trailing blanks of the values of -l and -i are cut in argv itself.
CommandLine parseCommandLine(int argc, char** argv);
