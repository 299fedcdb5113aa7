// Whether files and folders exist, and making folders. Paths are in the ANSI code page.
#pragma once

// True when path names an existing regular file, or an existing folder. A double quote at the
// beginning of path is ignored, and so is one at its end. False also when the system fails.
bool fileExists(const char* path);
bool directoryExists(const char* path);

// Creates the folder and the missing folders above it. A path of more than 260 characters creates
// nothing. Failures are not returned: opening a file in the folder reports them.
void createDirectoryTree(const char* path);
