// Where a run's log lies when the command line does not say.
#pragma once

#include <cstddef>
#include <cstdio>
#include <ctime>

// Writes the time of a log's name: "Sun Nov  5 02_26_24 2026", always 24 characters.
void formatLogTime(const tm& time, char* out, size_t size);

// Builds the default log path: the short form of the user's documents folder, "ZELKLOG\", prefix
// ("ZELK" when it is null), "-", the local time as formatLogTime writes it, ".log".
// Returns false, with out unchanged, when the documents folder or its short form cannot be had or
// the whole does not fit outSize bytes. The folder is not made here.
// Windows documentation: "SHGetFolderPathA".
bool buildDefaultLogPath(const char* prefix, char* out, size_t outSize);

// Opens path for writing and empties it. Child processes do not inherit the file: one that
// outlives the run must not hold the log. Null when it cannot be opened; GetLastError tells why.
FILE* openLog(const char* path);
