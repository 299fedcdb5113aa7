// The console behind standard output.
#pragma once

#include <windows.h>

// Returns the console, or null when standard output is a file or a pipe, or is missing.
HANDLE findConsole();

// Writes a text of the ANSI code page as it is, whatever the console's code page, in as few calls
// as possible, because the console draws after each. False when there is no memory for the
// conversion; a write that fails is not reported.
// Windows documentation: "WriteConsole".
bool writeToConsole(HANDLE console, const char* text);
