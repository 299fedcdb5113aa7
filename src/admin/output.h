// Lines on standard output and standard error. They are handed over in the ANSI code page. A
// console gets them as they are; a file or a pipe in the code page of the console, because that is
// how cmd and PowerShell read them (a character that it does not have is a question mark).
#pragma once

#include <windows.h>

#include "services/text.h"

// Print one line; the line end is added. Nothing is printed to standard output while quiet is set.
void printLine(const char* format, ...) TEXT_PRINTF(1, 2);
void printRefusal(const char* format, ...) TEXT_PRINTF(1, 2);  // to standard error
void setQuiet(bool quiet);

// Prints a text of the program's own, which has its line ends but the last, even while quiet is
// set.
void printText(const char* text);

// Prints text as it is, for JSON: ASCII only.
void printRaw(const char* text);
