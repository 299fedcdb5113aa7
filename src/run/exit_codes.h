// How a run ends. The numbers never change, because deployment systems depend on them.
#pragma once

enum ExitCode {
    EXIT_DONE = 0,  // the steps were run, whatever their results, or the usage text was shown
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
