// How a run ends. The numbers never change, because deployment systems depend on them.
#pragma once

// -103, and -100, -112 and -114, are no exit codes: they are results that the messages of the OLE
// DB provider and of the .NET configuration tool show.
enum ExitCode {
    EXIT_DONE = 0,    // the steps were run, whatever their results, or the usage text was shown
    NOT_REFUSED = 0,  // what a check returns when the run may go on
    EXIT_COPY_EXISTS = -101,
    EXIT_COPY_UNKNOWN = -102,
    EXIT_IS_DEFAULT_COPY = -104,
    EXIT_NOT_REMOTE_COPY = -105,
    EXIT_PATH_TAKEN = -106,
    EXIT_COPY_NAME_MISSING = -107,
    EXIT_OTHER_PATH = -108,
    EXIT_REPLACE_AFTER_UNREGISTER = -109,
    EXIT_NO_MESSAGE_LIBRARY = -110,
    EXIT_NO_LOG_FILE = -111,
    EXIT_NOT_ADMINISTRATOR = -113,
};
