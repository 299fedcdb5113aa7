// The package's switch tool, which makes a copy the default client interface copy.
#pragma once

// Runs the switch tool for the copy of this run and prints whether it could be called. Its exit
// code is not read.
void switchDefaultClientCopy();
