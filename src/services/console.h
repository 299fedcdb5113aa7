// The console behind standard output.
#pragma once

#include <windows.h>

// Returns the console, or null when standard output is a file, a pipe or nothing.
HANDLE findConsole();

// Writes a text of the ANSI code page as it is, whatever the console's code page, in as few calls
// as the system takes: each makes the console draw again. False when there is no memory for that.
// Windows documentation: "WriteConsole".
bool writeToConsole(HANDLE console, const char* text);
