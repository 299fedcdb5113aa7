// Programs and libraries as files, of any bitness. None of their code runs.
// Windows documentation: "PE Format", "VS_FIXEDFILEINFO structure".
#pragma once

#include <windows.h>

#include <cstddef>

// Reads the machine type of a program or library, IMAGE_FILE_MACHINE_... Returns 0, with which
// machine is not 0, the Windows code of opening the file, or ERROR_BAD_EXE_FORMAT.
DWORD readImageMachine(const char* path, WORD& machine);

// "x64", "x86" or "ARM64", otherwise "another machine type".
const char* machineName(WORD machine);

// Writes the version of a file to out: "10.1.2", or "10.1.2.3" when the fourth number is not 0.
// False, with out empty, when the file has none or cannot be read.
constexpr size_t VERSION_BYTES = 24;
bool readImageVersion(const char* path, char (&out)[VERSION_BYTES]);
