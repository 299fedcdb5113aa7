// What the kit says: the console gets it, and the file checks.txt of the report.
#pragma once

#include <string>

// Opens the file in a folder; false when that cannot be done.
bool openReport(const std::wstring& folder);

// Says a line, in UTF-8.
void say(const std::string& line);

// Closes the file; false when some of it could not be written.
bool closeReport();

std::string toUtf8(const std::wstring& text);
std::string toUtf8(const std::string& ansi);

// What Windows says about an error: "error 5: Access is denied."
std::string describeError(unsigned long error);
