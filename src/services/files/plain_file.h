// Files in folders that other users, or the same user without elevation, can write to.
#pragma once

#include <windows.h>

#include "services/path.h"

// A path as GetFinalPathNameByHandleW returns it, without a link in it, and with "\\?\" before it.
struct FinalPath {
    static constexpr DWORD CHARACTERS = 1024;
    wchar_t text[CHARACTERS] = L"";
};

// True for a file on a disk that is not itself a link and has no second name (hard link), so that
// writing to it, or starting it, reaches no other file.
bool isPlainFile(HANDLE file);

// Writes the final path of an open file or folder to path; false when the system has none.
// Windows documentation: "GetFinalPathNameByHandleW".
bool readFinalPath(HANDLE file, FinalPath& path);
