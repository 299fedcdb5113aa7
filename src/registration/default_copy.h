// The package's switch tool, which makes a copy the default client interface copy.
#pragma once

// Runs the switch tool for the copy of this run and prints the result. What the tool itself came to
// is not known: its exit code is not read.
void switchDefaultClientCopy();
