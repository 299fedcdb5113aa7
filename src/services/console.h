// The console behind standard output or standard error.
#pragma once

#include <windows.h>

#include <cstdio>

// Returns the console, or null when the stream is a file or a pipe, or is missing.
HANDLE findConsole(FILE* stream = stdout);

// Writes a text of the ANSI code page as it is, whatever the console's code page, in as few calls
// as possible, because the console draws after each. False when there is no memory for the
// conversion; a write that fails is not reported.
// Windows documentation: "WriteConsole".
bool writeToConsole(HANDLE console, const char* text);
