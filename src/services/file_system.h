// Questions about files and folders, and the making of folders. Paths are in the ANSI code page.
#pragma once

// True when path names an existing regular file, respectively a folder. A double quote at the
// beginning or at the end of path, each by itself, is left out. False when the system cannot tell.
bool fileExists(const char* path);
bool directoryExists(const char* path);

// Makes the folder and those above it that are missing. Tells no result: a folder that could not
// be made shows itself when something is to be put into it. At most 260 characters; a longer path
// makes nothing.
void createDirectoryTree(const char* path);
