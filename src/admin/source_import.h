// Imports system data sources from a .reg file that was exported. Takes nothing but data sources of
// the package from it, and gives them to the driver of a copy, also when the file names that of
// another folder.
#pragma once

#include <windows.h>

#include "services/registry_file.h"

enum class SourceOutcome {
    IMPORTED,
    OTHER_DRIVER,  // one of this name is there; detail is its driver
    KEY_IN_USE,    // a key of this name is there, with another library and no entry in the list
    BAD_NAME,      // no data source can have this name
    FAILED,        // error
};

// Gets each data source of the file, once. Texts are ANSI.
struct ImportedSource {
    const char* name;
    SourceOutcome outcome;
    DWORD error;
    const char* detail;
};
using ImportReceiver = void (*)(void* context, const ImportedSource& source);

// The text of a file. Returns 0, a Windows code, ERROR_FILE_TOO_LARGE above 16 MB, or
// ERROR_INVALID_DATA for a file that is not UTF-16 with its byte order mark.
DWORD readRegistryFile(const char* path, List<RegistryCharacter>& text);

// Whether a text can be imported into the registry view of this program.
enum class FileFault { NONE, SYNTAX, OTHER_VIEW };
FileFault checkSourceFile(const List<RegistryCharacter>& text, size_t* line);

// Imports the data sources of a text that was checked. driver: the description of the driver, and
// its library. Values that a data source of this driver has beyond the file stay.
void importDataSources(const List<RegistryCharacter>& text, const char* driver, const char* library,
                       ImportReceiver receive, void* context);
