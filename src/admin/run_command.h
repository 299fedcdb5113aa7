#pragma once

// The program: from the arguments to the exit code.
int runCommand(int argc, char** argv);
