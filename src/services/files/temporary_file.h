// Temporary files, for commands that stage a file first. Their folder belongs to the user, whose
// other programs may run without elevation and can put anything in place of a file there, or make
// the folder lead elsewhere, at any time.
#pragma once

// Creates an empty file with a fresh name in the temporary folder and writes its path to out, which
// holds at least 261 bytes. Returns 0, or -1 when the system provides no name. Returns 0 with out
// unchanged when there is no temporary folder: callers must check out as well.
// Windows documentation: "GetTempPathA", "GetTempFileNameA".
int makeTempFileName(const char* prefix, char* out);

// Deletes the file at path if it is a plain one and empty; otherwise it stays.
void removeTempFile(const char* path);

// Copies the file source, with its attributes and the time of its last write, to target. Replaces a
// plain file at target. Anything else there, such as a link, is not followed and stays; the result
// is then false, as for every other failure.
bool copyWithoutLinks(const char* source, const char* target);
