// The help texts.
#pragma once

#include "admin/command.h"

void printHelp(Verb verb);  // of a command, or of the program
void printVersion();
