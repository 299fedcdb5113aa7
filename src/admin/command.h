// The command line of zelkpmutil: "VERB [NAME] [options]", and for some "VERB [PATH] [options]".
#pragma once

#include "services/path.h"

enum class Verb {
    HELP,
    VERSION,
    LIST,
    VERIFY,
    REGISTER,
    UPGRADE,
    UNREGISTER,
    FILES,
    EXPORT_SOURCES,
    IMPORT_SOURCES,
};

// An option of the registration program that is handed on.
constexpr size_t PROGRAM_OPTIONS_BYTES = 512;

struct Command {
    Verb verb = Verb::HELP;
    const char* word = "";       // the verb as it is written: "sources import"
    char name[65] = "";          // of the copy; empty when none was given
    char path[PATH_BYTES] = "";  // of a folder or file; empty when none was given
    bool help = false;           // the help of the verb
    bool json = false;
    bool makeDefault = false;                         // -d
    bool replace = false;                             // -r, with register
    bool silent = false;                              // -s
    char logPath[PATH_BYTES] = "";                    // -l
    char programOptions[PROGRAM_OPTIONS_BYTES] = "";  // as they are handed on: " -d -i EN"
    char refusal[256] = "";  // not empty: the arguments are not valid, and why
};

// Reads the arguments, as toAnsiArguments gives them. Prints nothing: what is not valid is in
// refusal, and the program ends with 87 (ERROR_INVALID_PARAMETER).
Command parseCommand(int argc, char** argv);
