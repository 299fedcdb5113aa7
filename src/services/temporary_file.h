// Temporary files and short forms of paths, for commands that stage a file first.
#pragma once

#include <cstddef>

#include "services/owners.h"
#include "services/path.h"

// Creates an empty file with a fresh name in the temporary folder and writes its path to out, which
// holds at least 261 bytes. Returns 0, or -1 when the system provides no name. The result is 0 with
// out unchanged when there is no temporary folder, or when its name holds the suffix of a program,
// at which a command would be cut: callers look at out as well.
// Windows documentation: "GetTempPathA", "GetTempFileNameA".
int makeTempFileName(const char* prefix, char* out);

// Writes the short form of path to out, which holds 261 bytes, and returns 0; a path that has none
// is copied unchanged (at most 260 characters), and the result is -1.
int toShortPath(const char* path, char* out);

// A temporary file that stays empty and in its place while the object lives. The folder belongs to
// the user, whose other programs may run without elevation: they could fill the file, or replace it
// or its folder by a link, between its creation and the start of a command that names it.
class HeldTemporaryFile {
  public:
    // Creates and opens the file. False when there is no name, or when the file is not empty, is a
    // link or is not on a disk of this computer.
    bool make(const char* prefix);

    // The path by which the file can be reached: as the system named it, or, where a link is in
    // that path, the final one.
    const char* path() const { return path_; }

    // Deletes the file through its handle; without it the file stays.
    void remove();

  private:
    bool choosePath();

    OwnedHandle file_;
    char path_[PATH_BYTES] = "";
};

// Copies the file source, with its attributes and times, to target, a path in the same folder. A
// plain file at target is replaced. A link there is not followed; the result is then false, as for
// every other failure, and the link stays.
bool copyWithoutLinks(const char* source, const char* target);
