// The log of the run: one file, written anew each time.
#pragma once

#include "driver/command_line.h"
#include "services/path.h"

// Opens the log at the path of -l or else at its default place, making the folder if it is missing,
// and writes the path to path. Ends the run when it cannot be opened.
void openRunLog(const CommandLine& line, char (&path)[PATH_BYTES]);

// Closes the log if it is open.
void closeRunLog();
