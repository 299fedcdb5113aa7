// Files in folders that the same user's programs without elevation can write to. What the system
// cannot tell, as on some RAM disks, is not taken for a sign of a plant.
#pragma once

#include <windows.h>

// True for a file or folder that stands for another name: a junction or a symbolic link, but not
// what a cloud service such as OneDrive marks. The handle was opened without following a link.
// Windows documentation: "IsReparseTagNameSurrogate".
bool isLink(HANDLE file);

// True for a file on a disk that is no link, has no second name (hard link), and has the name that
// path ends in, so that writing to it, or deleting it, reaches no other file. A link above the file
// can lead to a file of another name.
bool isPlainFile(HANDLE file, const char* path);
