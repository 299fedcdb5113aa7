// Where Windows and Wine differ: a line for each says how this machine does it, and neither way is
// a failure. docs/windows.md explains the lines.
#include <windows.h>

#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

#include "acceptance/checks.h"
#include "services/owners.h"
#include "services/system_library.h"

namespace {

using namespace std::string_literals;

const std::string DRIVERS = "SOFTWARE\\ODBC\\ODBCINST.INI\\", DRIVER = "zelkpmreg-tests-windows";
const std::string KEY = DRIVERS + DRIVER;

// What is seen, and how it is documented for Windows and known of Wine.
void see(const std::string& what, long seen, long documented, long wine) {
    const char* way = seen == documented ? seen == wine ? "as both" : "as documented"
                      : seen == wine     ? "as Wine"
                                         : "as neither";
    report(std::string(way).append(14 - strlen(way), ' ') + what + ": " + std::to_string(seen));
}

long count(const std::string& name) {
    DWORD data = 0, size = sizeof data;
    const LSTATUS status = RegGetValueA(HKEY_LOCAL_MACHINE, KEY.c_str(), name.c_str(),
                                        RRF_RT_REG_DWORD, nullptr, &data, &size);
    return status == ERROR_SUCCESS ? static_cast<long>(data) : -status;
}

void seeOdbcInstaller() {
    const auto library = LoadLibraryExA("odbccp32.dll", nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32);
    const auto install =
        findFunction<BOOL WINAPI(LPCSTR, LPCSTR, LPSTR, WORD, WORD*, WORD, DWORD*)>(
            library, "SQLInstallDriverEx");
    const auto remove = findFunction<BOOL WINAPI(LPCSTR, BOOL, DWORD*)>(library, "SQLRemoveDriver");
    if (!install || !remove) return report("FAILED  there is no ODBC installer");
    const std::string driver = DRIVER + "\0Driver=zelkcli.dll\0Setup=zelkodbc.dll\0\0"s;
    const std::string programs = _pgmptr + "\\.."s;
    char text[MAX_PATH] = "";
    DWORD usage = 0, one = 1;
    const auto put = [&] {
        install(driver.c_str(), programs.c_str(), text, MAX_PATH, nullptr, 2, &usage);
        return count("UsageCount");
    };
    see("removing a driver that is not there", remove(DRIVER.c_str(), FALSE, &usage), 0, 1);
    see("usage count of a new driver", put(), 1, 1);
    RegSetKeyValueA(HKEY_LOCAL_MACHINE, KEY.c_str(), "Own", REG_DWORD, &one, sizeof one);
    see("usage count when it is installed again", put(), 2, 2);
    see("a value of its own after that, or the error", count("Own"), -ERROR_FILE_NOT_FOUND, 1);
    RegDeleteKeyValueA(HKEY_LOCAL_MACHINE, KEY.c_str(), "UsageCount");
    see("usage count where there was none", put(), 2, 1);
    RegCreateKeyA(HKEY_LOCAL_MACHINE, (KEY + "\\Below").c_str(), OwnedKey().put());
    for (int i = 0; i < 2; ++i)
        see("removing it while it has a subkey", remove(DRIVER.c_str(), FALSE, &usage), 1, 1);
    see("its key is deleted", RegDeleteTreeA(HKEY_LOCAL_MACHINE, KEY.c_str()), 0, 0);
    RegDeleteKeyValueA(HKEY_LOCAL_MACHINE, (DRIVERS + "ODBC Drivers").c_str(), DRIVER.c_str());
}

void seeRegistry() {
    OwnedKey own;
    RegCreateKeyA(HKEY_CURRENT_USER, ("Software\\" + DRIVER).c_str(), own.put());
    const HKEY key = own.get();
    for (const char* text : {"YES", "YES more"}) {
        DWORD size = 3;
        RegSetValueExA(key, "x", 0, REG_SZ, reinterpret_cast<const BYTE*>(text), size);
        RegQueryValueExA(key, "x", nullptr, nullptr, nullptr, &size);
        see("stored size of 3 bytes of \""s + text + '"', static_cast<long>(size), text[3] ? 3 : 4,
            text[3] ? 3 : 4);
    }
    RegCreateKeyA(key, "Below\\Deeper", OwnedKey().put());
    see("deleting a key with subkeys", RegDeleteKeyA(key, "Below"), 5, 5);
    const std::string path = "a\\" + std::string(200, 'b') + '\\' + std::string(200, 'c');
    see("a key path of 400 characters", RegCreateKeyA(key, path.c_str(), OwnedKey().put()), 0, 234);
    RegDeleteTreeA(HKEY_CURRENT_USER, ("Software\\" + DRIVER).c_str());
}

void seeFilesAndConsole() {
    const std::string folder = getenv("SystemRoot") + "\\Temp\\"s + DRIVER;
    CreateDirectoryA(folder.c_str(), nullptr);
    char name[MAX_PATH] = "";
    GetShortPathNameA(folder.c_str(), name, MAX_PATH);
    see("there are short names", strchr(name, '~') != nullptr, 1, 1);
    RemoveDirectoryA(folder.c_str());
    tm day = {};
    day.tm_mday = 5;
    see("the fifth day begins with a blank", asctime(&day)[8] == ' ', 1, 0);
    see("code page of the console", static_cast<long>(GetConsoleOutputCP()),
        static_cast<long>(GetOEMCP()), 0);
}

}  // namespace

void seeDifferences() {
    seeOdbcInstaller();
    seeRegistry();
    seeFilesAndConsole();
}
