#pragma once

// The program: one pass from the arguments, as parseCommandLine takes them, to the exit code, which
// is 0 or, for a run that was refused, one of the codes of run/exit_codes.h.
int runSequence(int argc, char** argv);
