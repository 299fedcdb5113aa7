// The files of a copy.
#pragma once

#include <windows.h>

#include "services/list.h"

constexpr size_t FILE_PATH_CHARACTERS = 520;

struct PackageFile {
    wchar_t path[FILE_PATH_CHARACTERS];
    size_t below;  // where the path below the folder of the copy begins
    bool isReadOnly;
};

// Adds every file in the folders bin, deploy, docs and msg of the copy, and below them; links are
// not followed. folder: ANSI, with or without a backslash at its end. Returns 0, also when there is
// no such folder, or the Windows code of what could not be read.
DWORD listPackageFiles(const char* folder, List<PackageFile>& files);
