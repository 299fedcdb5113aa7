// Linked into a zelkpmreg.exe that is wrong in ten ways, one for each of ten tests, for the
// acceptance kit to notice. The tests say which of them runs.
#include <windows.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "tests/modules/import_patch.h"
#include "tests/program/marks.h"

namespace {

using namespace std::string_literals;

const std::string NEIGHBOUR = MARKS + (sizeof(void*) == 8 ? "64-neighbour" : "32-neighbour");
const std::string UNINSTALL = "SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\";
const std::string SOURCES = "SOFTWARE\\ODBC\\ODBC.INI\\ODBC Data Sources";

void writeToEntry(const char* copyName, const char* name) {
    RegSetKeyValueA(HKEY_LOCAL_MACHINE, (UNINSTALL + copyName).c_str(), name, REG_SZ, "x", 2);
}

// Where no test looks.
void leaveKeyElsewhere() {
    RegSetKeyValueA(HKEY_LOCAL_MACHINE, ("SOFTWARE\\" + NEIGHBOUR).c_str(), "x", REG_SZ, "x", 2);
}

void startPlant() {
    STARTUPINFOA startup = {};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process = {};
    char command[] = "regsvr32.exe";
    CreateProcessA(command, command, nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                   &process);
    WaitForSingleObject(process.hProcess, 10000);
}

int flushNothing(FILE*) {
    return 0;
}

void endAtOnce(int code) {
    TerminateProcess(GetCurrentProcess(), static_cast<UINT>(code));
}

void loseTheLog() {
    for (const char* name : {"fflush", "fclose"}) replaceImport(nullptr, name, flushNothing);
    replaceImport(nullptr, "exit", endAtOnce);
}

struct Fault {
    const char* test;
    void (*atStart)();
    void (*atEnd)();
};
const Fault FAULTS[] = {
    // A value that is wrong, one too many, one too few
    {"RegisterAndUnregister", nullptr, [] { writeToEntry("MYCOPY", "DisplayName"); }},
    {"NoOptionsAndAnEntryThatIsThere", nullptr, [] { writeToEntry("ORVDBCL1", "Another"); }},
    {"OverriddenRefusals", nullptr,
     [] { RegDeleteKeyValueA(HKEY_LOCAL_MACHINE, (UNINSTALL + "MYCOPY").c_str(), "DisplayName"); }},
    // A crash, a program that does not end, a wrong code, a log that is not on the disk
    {"LanguagesAndLogs", [] { RaiseException(EXCEPTION_ACCESS_VIOLATION, 0, 0, nullptr); },
     nullptr},
    {"CopiesSideBySide", nullptr, [] { Sleep(INFINITE); }},
    {"Replace", leaveKeyElsewhere, [] { _exit(7); }},
    {"ProviderThatCannotBeRegistered", loseTheLog, nullptr},
    // What is another product's or another driver's, and a program that was planted
    {"AmongOtherDrivers", nullptr,
     [] { RegDeleteTreeA(HKEY_LOCAL_MACHINE, (UNINSTALL + NEIGHBOUR).c_str()); }},
    {"Traces", nullptr,
     [] { RegDeleteKeyValueA(HKEY_LOCAL_MACHINE, SOURCES.c_str(), NEIGHBOUR.c_str()); }},
    {"ProgramsAndLibrariesOfTheUser", startPlant, nullptr}};

// Made before main().
const struct Breaker {
    Breaker() {
        const char* test = getenv("ZELK_TEST");
        for (const Fault& fault : FAULTS) {
            if (!test || fault.test != std::string(test)) continue;
            if (fault.atStart) fault.atStart();
            if (fault.atEnd) atexit(fault.atEnd);
        }
    }
} BREAKER;

}  // namespace
