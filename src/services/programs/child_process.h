// Runs one program and hands on what it prints, line by line, while it runs.
#pragma once

#include <windows.h>

// Gets each line of the program, of its standard output and standard error alike, without its end.
// Lines of more than 4095 bytes come in parts.
using LineReceiver = void (*)(void* context, const char* line);

// Starts the program of that full path, hidden, with empty standard input, and waits until it ends.
// arguments is the command line behind the program's name, with a blank before it, or empty: quote
// in it what is to be one argument. No shell reads it. The program inherits the environment and
// nothing else of this process. Returns 0 and the exit code, or the Windows code of why it could
// not be started, also for a path with a quotation mark.
// A program that it leaves behind can keep the output open: two seconds after the end of the first
// one, what comes is no longer read.
DWORD runChild(const char* path, const char* arguments, LineReceiver receive, void* context,
               DWORD* exitCode);
