// Who uses a file: the processes and services that the Restart Manager names.
// Windows documentation: "Restart Manager", "RmGetList".
#pragma once

#include <windows.h>

#include "services/list.h"

struct FileUser {
    DWORD process;
    DWORD session;
    FILETIME since;         // when the process started
    char program[260];      // "EXCEL.EXE"; empty when Windows does not tell
    char application[260];  // "Microsoft Excel"
    char service[64];       // its short name; empty for a process that is no service
};

// Adds the users of count files to users, each process once. Returns 0 or a Windows code, with
// which nothing is known: Windows cannot list the processes on some machines with many users. Under
// Wine the list is always empty.
DWORD listFileUsers(const wchar_t* const* files, UINT count, List<FileUser>& users);
