// The cases of the test programs, each run as one process.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

// How a program ended, and what it printed.
struct Ended {
    DWORD error = 0;  // why it could not be started
    DWORD code = 0;
    bool late = false;  // it was ended, with all that it started
    std::string output = {};
};

// Runs a program in the current folder, for at most so many seconds.
Ended runProgram(const std::wstring& program, const std::wstring& arguments, unsigned seconds);

// Starts a program without letting it run; returns 0, or why Windows does not start it.
DWORD tryToStart(const std::wstring& program);

// The names of the cases that the filter (of GoogleTest) selects.
std::vector<std::string> listCases(const std::string& output);

// What became of a case, why in a few words, and what the test program says of a failure.
struct Verdict {
    enum { PASSED, SKIPPED, FAILED } state = FAILED;
    std::string reason = {};
    std::vector<std::string> details = {};
};
Verdict judge(const std::string& name, const Ended& ended);

// Ends the running program, and lets no other one start.
void interrupt();
bool isInterrupted();
