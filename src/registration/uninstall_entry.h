// The copy's entry in the list of installed programs.
#pragma once

// REGISTER writes the entry, unless there is one, which stays as it is; UNREGISTER deletes it with
// all below it; any other mode changes nothing. Prints its result.
void writeUninstallEntry(int mode, const char* installDirectory, const char* name);
