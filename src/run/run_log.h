// The log of the run: one file, written anew each time.
#pragma once

#include <cstddef>

#include "run/exit_codes.h"
#include "services/path.h"

// Builds the default log path: the short form of the user's documents folder, "ZELKLOG\", prefix
// ("ZELK" when it is null), "-", the local time as formatLogTime writes it, ".log".
// Returns false, with out unchanged, when the documents folder or its short form is not known or
// the path does not fit outSize bytes. The folder is not created here.
bool buildDefaultLogPath(const char* prefix, char* out, size_t outSize);

// Opens the log at givenPath or, when that is null, at its default place, creates its folder if it
// is missing, and writes the path to path. Returns NOT_REFUSED, or EXIT_NO_LOG_FILE with a line on
// the console when it cannot be opened.
ExitCode openRunLog(const char* givenPath, char (&path)[PATH_BYTES]);

// Closes the log if it is open.
void closeRunLog();
