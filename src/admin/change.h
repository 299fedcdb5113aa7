// What the commands that change something share: who may run them, the lock, the log, and the
// programs that they run.
#pragma once

#include <windows.h>

#include "admin/action_log.h"
#include "admin/command.h"
#include "admin/registered_copy.h"
#include "odbc/attribute_list.h"

constexpr int PARTS_NOT_RIGHT = 1;

// A run of such a command.
struct Change {
    const Command& command;
    ActionLog log = {};
    ProtectedFolder temporary = {};  // of the programs that are run
    char folder[PATH_BYTES] = "";    // of this program's copy
    CopyList copies = {};            // of all views
    RegisteredCopy copy = {};        // that the command is for, as findThisCopy returned it
    RegisteredCopy other = {};
    CopyFound found = CopyFound::NOT_REGISTERED;
    char driver[DESCRIPTION_BYTES] = "";
    int regsvr32Code = -1;  // of the call for the provider; -1: there was none
    char end[1024] = "";    // the last line of the log
};

// Runs a command: refuses it without administrator rights, makes the folder of the logs, takes the
// lock, opens the log, puts back what an interrupted command left, and calls body, which returns
// the exit code.
int runChange(const Command& command, int (*body)(Change& change));

// Says why the run is refused, on standard error and in the log, and returns code.
int refuse(Change& change, int code, const char* format, ...) TEXT_PRINTF(3, 4);

// Prints the result of the run as its last line, and writes it to the log; returns code.
int finish(Change& change, int code, const char* format, ...) TEXT_PRINTF(3, 4);

// Prints a line, and writes it to the log.
void note(Change& change, const char* format, ...) TEXT_PRINTF(2, 3);

// Reads the registered copies again, and finds the one of the command.
void findCopy(Change& change);

// Refuses a run when the program of the copy is not there, or when its name or its folder is
// registered in another way; 0 when it may go on. replacing: such a registration may be replaced.
int checkCopy(Change& change, bool replacing);

// Exports the system data sources of the driver and says where they are. Returns 0, or the exit
// code of a refusal.
int keepDataSources(Change& change);

// Runs zelkpmreg.exe: action is "-c" or "-u -c", and options follow the name. Its lines are printed
// and written to the log. False, with the code of a refusal, when it cannot be started.
bool runProgram(Change& change, const char* action, const char* options, int* code);

// After the program registered the copy: writes what inventories read, has regsvr32.exe register
// the provider once more, checks the parts, and returns the exit code of the run. code is that of
// the program.
int completeRegistration(Change& change, int code, bool wantDefault);

// Prints the state of a part and writes it to the log.
void reportPart(Change& change, const char* state, const char* part, const char* text);
