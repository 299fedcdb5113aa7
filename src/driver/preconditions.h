// What the registry says of the installed copies, and the refusals that follow from it.
#pragma once

#include "driver/command_line.h"

// Refuses to register a copy that is registered (without -r), and to unregister one that is not.
void checkCopyKey(const CommandLine& line);

// Refuses to unregister a copy that was not registered as a remote copy.
void checkRemoteCopy(const CommandLine& line);

// Walks through the installed copies. Refuses to unregister the copy when its name is registered at
// another path (without -f), and to register this path a second time (without -r). Returns true
// when the run unregisters the only installed copy.
bool checkInstalledCopies(const CommandLine& line);

// Forces makeDefaultCopy on when the copy of this run is the default client interface copy and is
// being unregistered or replaced. Refuses to unregister it while other copies exist.
void checkDefaultCopy(const CommandLine& line, bool onlyCopy);
