// A machine with Windows or Wine, for tests of the whole program: copies of the package, runs of
// the program, and what a run may change in the registry. The package and the stand-ins for its
// other files are next to the folder of the test program, in ..\package and ..\programs.
#pragma once

#include <windows.h>

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "tests/program/marks.h"

using namespace std::string_literals;

// Keys below HKEY_LOCAL_MACHINE: lines "key |" and "key | name = type:data" with the exact bytes.
using Registry = std::set<std::string>;
inline const std::string COPIES = "SOFTWARE\\Orvane\\Zelk\\InstalledCopies";
inline const std::string UNINSTALL = "SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall";
inline const std::string DRIVERS = "SOFTWARE\\ODBC\\ODBCINST.INI";
inline const std::string SOURCES = "SOFTWARE\\ODBC\\ODBC.INI\\ODBC Data Sources";
inline const std::string MARK = MARKS + (sizeof(void*) == 8 ? "64" : "32");
// In the names of what stands for other products.
inline const std::string NEIGHBOUR = MARK + "-neighbour";

// What is there where a run writes: all that tests and runs made, or the values of others.
Registry readRegistry(bool ours = true);
// The name of the driver that a copy in the folder gets.
std::string driverOf(std::string folder);
void put(const Registry& values);
void removeKey(const std::string& key);
bool isWine();
int wineVersion();                              // 8, say; 0 on Windows
std::string readFile(const std::string& path);  // lines end with "\n"

struct Start {
    std::string log = "run.log";  // below Machine::scratch
    std::string input = {};       // what is in the pipe that is standard input
    std::string orders = {};      // for the stand-in of the ODBC installer
    HANDLE output = nullptr;      // null: a pipe
    bool administrator = true;
    bool deleteLog = false;  // before the input comes, which needs a log that was closed
};

struct Result {
    DWORD startError = 0;  // why the program could not be started
    int code = -1;
    bool inputWasRead = false;
    std::string console = {};  // standard output and standard error, from the pipe
    std::string log = {};
};

// Nothing of ours is registered when a test begins and when it ends. Another product, another
// driver and its data source are there all the time. The .NET Framework is installed.
class Machine : public testing::Test {
  protected:
    Machine();
    ~Machine() override;

    // Lays a copy of the package, with more stand-ins in its bin folder.
    void copy(const std::string& to, const std::vector<std::string>& more = {}) const;
    Result run(const std::string& arguments, const Start& start = {}) const;  // in English
    // Runs a command line as it stands. The log is the default one, if the console names that.
    Result execute(std::string command, const Start& start = {}) const;

    const std::string scratch;
    const std::string folder;  // of a copy; its name has blanks and letters that are not ASCII

  private:
    Registry pooling_;  // as it was
};
