// The file of a run's log.
#pragma once

#include <cstddef>
#include <cstdio>
#include <ctime>

// Writes the time of a log's name: "Sun Nov  5 02_26_24 2026", always 24 characters.
void formatLogTime(const tm& time, char* out, size_t size);

// Opens path for writing and empties it. Child processes do not inherit the file, because one that
// outlives the run would keep the log open. Null when it cannot be opened; GetLastError has the
// reason.
FILE* openLog(const char* path);

// The same for a path that the user's programs without elevation can predict. Neither the file nor
// its folder may be a link, through which the run would empty a file that only an administrator can
// write to. Null with ERROR_ACCESS_DENIED when one of them is; nothing is left then.
FILE* openLogWithoutLinks(const char* path);
