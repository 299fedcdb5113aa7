// The system data sources of a driver: those whose entry in the list names exactly this driver, in
// any case.
#pragma once

#include <windows.h>

#include "services/owners.h"
#include "services/path.h"

unsigned countDataSources(const char* driver);

// Exports them to a new .reg file in a folder of their own below the Windows folder, which a
// cleaning of logs does not reach. Writes its path to path, and why it failed to reason. Returns 0
// or a Windows code; then no file is left. Call it when there are data sources.
DWORD exportDataSources(const char* driver, const char* name, char (&path)[PATH_BYTES],
                        char (&reason)[PATH_BYTES + 128]);

// Writes the same to the new file at path, as creating it returned it; a file that could not be
// written is deleted. Returns 0 or a Windows code, also that of a file that could not be created.
DWORD writeDataSources(const char* driver, OwnedHandle file, const char* path);

// Why writeDataSources failed, in words.
const char* describeExportError(DWORD error);

// Gets the name of each data source, and whether it was removed.
using SourceReceiver = void (*)(void* context, const char* source, bool removed);

// Removes them. One whose name holds a backslash, which would name a key of another one, or is that
// of a key that ODBC itself has there, stays, and so does one that cannot be removed.
void removeDataSources(const char* driver, SourceReceiver receive, void* context);

// False for a name that a data source cannot have: one with a backslash, or of a key that ODBC
// itself has there.
bool isSourceName(const wchar_t* name);

// Where the data sources are, and their list, as DATA_SOURCES_KEY names it.
constexpr wchar_t SOURCES_PATH[] = L"SOFTWARE\\ODBC\\ODBC.INI";
constexpr wchar_t SOURCE_LIST[] = L"ODBC Data Sources";
