// The commands. Each prints its output and returns the exit code: 0, 1 when a part is not right, a
// code of Windows for its own refusals, or a code of the registration program.
#pragma once

#include "admin/command.h"

int listCopiesCommand(const Command& command);
int verifyCommand(const Command& command);
int registerCommand(const Command& command);
int upgradeCommand(const Command& command);
int unregisterCommand(const Command& command);
int filesCommand(const Command& command);
int exportSourcesCommand(const Command& command);
int importSourcesCommand(const Command& command);
