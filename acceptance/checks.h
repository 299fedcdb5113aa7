#pragma once

#include <string>

// Prints a line, and adds it to checks.txt in the current folder.
void report(const std::string& line);

// Reports a line for each thing that Windows and Wine do differently.
void seeDifferences();
