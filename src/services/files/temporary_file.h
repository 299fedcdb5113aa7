// Temporary files, for commands that stage a file first.
#pragma once

#include <cstddef>

#include "services/owners.h"
#include "services/path.h"

// Creates an empty file with a fresh name in the temporary folder and writes its path to out, which
// holds at least 261 bytes. Returns 0, or -1 when the system provides no name. Returns 0 with out
// unchanged when there is no temporary folder, or when its name holds the suffix of a program, at
// which a command would be cut. Callers must check out as well.
// Windows documentation: "GetTempPathA", "GetTempFileNameA".
int makeTempFileName(const char* prefix, char* out);

// A temporary file that stays empty and in its place while the object lives. The folder belongs to
// the user, whose other programs may run without elevation. Otherwise they could fill the file, or
// replace it or its folder with a link, before a command that names it starts.
class HeldTemporaryFile {
  public:
    // Creates and opens the file. False when there is no name, or when what was opened is not
    // empty, is a link, is not the file that was created or is not on a disk of this computer.
    bool make(const char* prefix);

    // The path of the file as the system named it or, when that path contains a link, its final
    // path.
    const char* path() const { return path_; }

    // Deletes the file through its handle; without it the file stays.
    void remove();

  private:
    bool choosePath();

    OwnedHandle file_;
    char path_[PATH_BYTES] = "";
};

// Copies the file source, with its attributes and the time of its last write, to target, a path in
// the folder of a held temporary file. Replaces a plain file at target. A link there is not
// followed and stays; the result is then false, as for every other failure.
bool copyWithoutLinks(const char* source, const char* target);
