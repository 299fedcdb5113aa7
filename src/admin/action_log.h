// The log of a command that changes something: UTF-8 with a byte order mark, one fact a line, the
// kind of the fact in the second column.
#pragma once

#include "services/files/protected_folder.h"
#include "services/text.h"

// Creates a new file in a folder: the time, NAME when it is not empty, and the suffix; where there
// is one of that name, with "-2" and so on before the last dot of the suffix. Writes its path to
// path. Empty when it cannot be made; GetLastError has the reason.
OwnedHandle createNamedFile(const ProtectedFolder& folder, const char* name, const char* suffix,
                            char (&path)[PATH_BYTES]);

class ActionLog {
  public:
    // Creates the log of a run in the folder, or empties the file of the caller, whose folder is
    // made when it is missing. Returns 0 or the Windows code; path() is the file in both cases.
    DWORD openIn(const ProtectedFolder& folder, const char* name, const char* command);
    DWORD openAt(const char* path);

    // Writes a line; nothing while the log is not open. Returns 0 or the Windows code.
    DWORD write(const char* kind, const char* format, ...) TEXT_PRINTF(3, 4);

    const char* path() const { return path_; }

  private:
    DWORD begin();

    OwnedHandle file_;
    char path_[PATH_BYTES] = "";
};
