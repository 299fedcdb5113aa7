// The copy's entry in the list of installed programs.
#pragma once

// mode 0 writes the entry, unless there is one, which stays as it is; mode 1 deletes it with all
// below it; any other mode changes nothing. Prints its result.
void writeUninstallEntry(int mode, const char* installDirectory, const char* name);
