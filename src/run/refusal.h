// The end of a run that may not go on.
#pragma once

#include "run/exit_codes.h"

// Prints the message of the refusal and ends the process as endWithError does.
[[noreturn]] void refuse(ExitCode code, unsigned messageId, const char* argument = nullptr);

// Prints the exit code (with verbose), closes the log, waits for a key if that was asked for, and
// ends the process with code.
[[noreturn]] void endWithError(ExitCode code);
