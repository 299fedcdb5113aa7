// The checks that may refuse a run, in the order in which they are made. Each prints its own
// message and returns the exit code of the refusal, or NOT_REFUSED when the run may go on.
#pragma once

#include "driver/command_line.h"
#include "run/exit_codes.h"

// Refuses -r after -u, -u without a copy name, and a user without administrator rights.
ExitCode checkOptions(const CommandLine& line);

// Refuses to register a copy that is registered (without -r), and to unregister one that is not.
ExitCode checkCopyKey(const CommandLine& line);

// Refuses to unregister a copy that was not registered as a remote copy.
ExitCode checkRemoteCopy(const CommandLine& line);

// Walks through the installed copies. Refuses to unregister the copy when its name is registered at
// another path (without -f), and to register this path a second time (without -r). onlyCopy becomes
// true when the run unregisters the only installed copy.
ExitCode checkInstalledCopies(const CommandLine& line, bool& onlyCopy);

// Forces makeDefaultCopy on when the copy of this run is the default client interface copy and is
// being unregistered or replaced. Refuses to unregister it while other copies exist.
ExitCode checkDefaultCopy(const CommandLine& line, bool onlyCopy);
