#pragma once

// Takes the current directory out of the library search and the program search, for this process
// and the programs that it starts: it is whatever folder the administrator stood in, and may hold
// anything. The current directory itself stays.
// Windows documentation: "SetDllDirectoryA", "NeedCurrentDirectoryForExePathA".
void leaveCurrentDirectoryOutOfSearches();
