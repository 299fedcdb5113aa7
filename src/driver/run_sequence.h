#pragma once

// The program: one pass from the arguments to the exit code. A run that is refused ends the process
// with one of the codes of run/exit_codes.h; otherwise the result is 0.
int runSequence(int argc, char** argv);
