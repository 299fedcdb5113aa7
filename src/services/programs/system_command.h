#pragma once

// Has the system's command processor run a command on this console and waits until it ends. The
// processor is the one of the system directory, whatever the variable ComSpec names, and does not
// run the commands that the user's AutoRun value holds: both belong to the user, whose other
// programs may run without elevation. Does nothing when it cannot be started.
// Windows documentation: "cmd".
void runSystemCommand(const char* command);
