// Whether files and folders exist, and making folders. Paths are in the ANSI code page.
#pragma once

// True when path names an existing regular file, or an existing folder. A double quote at the
// beginning or at the end of path, each by itself, is left out. False when the system fails.
bool fileExists(const char* path);
bool directoryExists(const char* path);

// Creates the folder and the missing ones above it, at most 260 characters; a longer path creates
// nothing. Returns no result: the open of the caller reports the failure.
void createDirectoryTree(const char* path);
