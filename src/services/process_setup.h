#pragma once

// What holds for this process and the programs that it starts. The current directory, whatever
// folder the administrator stood in, is taken out of the library search and the program search; it
// stays the current directory. A program that crashes or misses a disk ends with an error instead
// of a box that nobody closes.
// Windows documentation: "SetDllDirectoryA", "NeedCurrentDirectoryForExePathA", "SetErrorMode".
void prepareProcess();
