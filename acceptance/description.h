// What the machine is like, for the report: nothing that is secret, and nothing of other products.
#pragma once

#include <string>

// One line: the version and edition of Windows, and the code pages.
std::string describeWindows();

// Prints versions of libraries, settings, and for each row of the table in docs/windows.md how this
// machine does it. programs is the folder of the stand-ins. Writes to the registry with the tests'
// marks, and takes that back.
void printDescription(const std::string& programs);
