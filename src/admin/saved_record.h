// Keys that a command keeps aside while another program deletes or writes them, so that they can
// be put back also after the command was ended at any point.
#pragma once

#include "admin/registered_copy.h"

enum class KeptKind {
    RECORD,  // of a copy, while upgrade registers it again
    ENTRY,   // of another product in the list of installed programs, while unregister runs
};

// Writes where a key is kept: "SOFTWARE\\Orvane\\zelkpmutil\\Upgrade\\MYCOPY". It is not below the
// product's own key, which goes with the last copy.
void formatKeptPath(KeptKind kind, const char* name, char* out, size_t size);

// Copies the key, compares the copy, and marks it as complete in the end: without the mark it
// counts for nothing. Returns 0 or a Windows code: ERROR_ALREADY_EXISTS when there is a complete
// one, ERROR_INVALID_DATA when the copy is not the same.
DWORD keepKey(KeptKind kind, const char* name);

// True when there is a complete one.
bool isKept(KeptKind kind, const char* name);

// Puts back what is kept: a value or subkey that is there again stays, but a record that names no
// folder is written as it was. Then deletes what was kept. restored becomes true when the key
// itself was gone, or was such a record. Returns 0 or a Windows code; ERROR_INVALID_DATA when what
// was put back is not the same, and ERROR_FILE_EXISTS when an entry of this package has taken the
// place. What was kept then stays.
DWORD putKeptBack(KeptKind kind, const char* name, bool* restored);

// Deletes the record of a copy, or deletes what is kept of it without putting it back.
DWORD deleteRecord(const char* name);
DWORD dropKept(KeptKind kind, const char* name);

// A command that was interrupted.
struct Interrupted {
    const View* view;
    char name[COPY_NAME_BYTES];  // of the copy
    char command[16];            // "upgrade", "unregister"
    char since[32];              // UTC, "2026-11-20T23:10:41Z"
};

// Adds what was interrupted in a view to the list.
void listInterrupted(const View& view, List<Interrupted>& interrupted);
