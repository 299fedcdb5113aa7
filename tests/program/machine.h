// A Windows machine as the tests of the whole program see it: copies of the package, runs of the
// program, and the part of the registry that a run may change. It uses Windows alone, so the tests
// run on Windows and under Wine. The package and the stand-ins for its other files are in folders
// next to the one of the test program: ..\package and ..\programs.
#pragma once

#include <windows.h>

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

using namespace std::string_literals;

// Keys below HKEY_LOCAL_MACHINE, in lines "key |" and "key | name = type:data" with the exact
// bytes.
using Registry = std::set<std::string>;
inline const std::string COPIES = "SOFTWARE\\Orvane\\Zelk\\InstalledCopies";
inline const std::string UNINSTALL = "SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall";
inline const std::string DRIVERS = "SOFTWARE\\ODBC\\ODBCINST.INI";
inline const std::string SOURCES = "SOFTWARE\\ODBC\\ODBC.INI\\ODBC Data Sources";
// In the name or the data of all that a test makes, unless it is the product's own. Nothing else on
// the machine is changed.
inline const std::string MARK = sizeof(void*) == 8 ? "zelkpmreg-tests-64" : "zelkpmreg-tests-32";

void put(const Registry& values);
void removeKey(const std::string& key);
bool isWine();
std::string readFile(const std::string& path);  // lines end with "\n"
std::string message(unsigned id);               // in English

enum Rights { ADMINISTRATOR, NO_ADMINISTRATOR, FILTERED_ADMINISTRATOR };

struct Start {
    std::string folder = {};      // of the copy; empty: Machine::folder
    std::string log = "run.log";  // below Machine::scratch; empty: no option -l
    std::string input = {};       // what is in the pipe that is standard input
    HANDLE output = nullptr;  // null: a pipe; INVALID_HANDLE_VALUE: there are no standard handles
    Rights rights = ADMINISTRATOR;
};

struct Result {
    DWORD startError = 0;  // why the program could not be started
    int code = -1;
    bool inputWasRead = false;
    std::string console = {};  // standard output and standard error, from the pipe
    std::string log = {};
};

// Nothing of ours is registered when a test begins and when it ends, and all else in the registry
// is then as it was. The .NET Framework is installed.
class Machine : public testing::Test {
  protected:
    Machine();
    ~Machine() override;

    // Lays a copy of the package, with more stand-ins in its bin folder, and returns its folder.
    std::string copy(const std::string& name, const std::vector<std::string>& more = {}) const;
    Result run(const std::string& arguments, const Start& start = {}) const;
    Result execute(std::string command, const Start& start = {}) const;  // as it stands
    Registry ours() const;

    const std::string scratch;
    const std::string name;    // of the default copy: blanks and letters that are not ASCII
    const std::string folder;  // its folder

  private:
    Registry pooling_, others_;  // as they were
};
