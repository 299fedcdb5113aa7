#pragma once

// Sets up this process and, through what they inherit, the programs that it starts.
// - The current directory is taken out of the library search and the program search.
// - Variables that make a .NET program load a library or write a file are removed, unless they are
//   as the machine's own environment has them, and those that name parts of Windows are set to the
//   system's own values: the variables of an elevated program come from the user, whose other
//   programs may run without elevation.
// - A program that crashes, or finds no disk in a drive, ends with an error instead of a message
//   box, which would wait for an answer.
// Windows documentation: "SetDllDirectoryA", "NeedCurrentDirectoryForExePathA", "SetErrorMode",
// "Debugging and profiling configuration settings" (.NET).
void prepareProcess();

// Sets the variables that name the folders of programs and of their data to the system's own
// values, for the programs that are started and the libraries of others. Call it after
// prepareProcess, and only when there will be some: reading the values costs as much as a refusal.
void prepareFolderVariables();
