// Where Windows and Wine are known to differ: a line for each says how this machine does it.
// Neither way is a failure, because the program gets along with both. docs/windows.md explains the
// lines.
#include <windows.h>

#include <gtest/gtest.h>

#include <ctime>
#include <string>

namespace {

using namespace std::string_literals;

const std::string DRIVER = "zelkpmreg-tests-windows";
const std::string DRIVERS = "SOFTWARE\\ODBC\\ODBCINST.INI\\", KEY = "Software\\zelkpmreg-windows";

// What is seen, and how it is documented for Windows and known of Wine.
void see(const std::string& what, const std::string& seen, const std::string& documented,
         const std::string& wine) {
    const std::string way = seen == documented ? seen == wine ? "as both" : "as documented"
                            : seen == wine     ? "as Wine"
                                               : "differs";
    printf("[ SEEN     ] %-13s %s: %s\n", way.c_str(), what.c_str(), seen.c_str());
}
void see(const std::string& what, long seen, long documented, long wine) {
    see(what, std::to_string(seen), std::to_string(documented), std::to_string(wine));
}

std::string folder() {
    char path[MAX_PATH] = "";
    GetModuleFileNameA(nullptr, path, MAX_PATH);
    return path;
}

long run(const std::string& arguments) {
    return system(("%SystemRoot%\\System32\\cmd.exe " + arguments).c_str());
}

std::string value(const std::string& name, DWORD type) {
    char data[MAX_PATH] = "";
    DWORD size = sizeof data;
    RegGetValueA(HKEY_LOCAL_MACHINE, (DRIVERS + DRIVER).c_str(), name.c_str(), type, nullptr, data,
                 &size);
    return type == RRF_RT_REG_SZ ? data : std::to_string(data[0]);
}

TEST(Windows, OdbcInstaller) {
    const HMODULE library = LoadLibraryExA("odbccp32.dll", nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32);
    const auto find = [&](const char* name) {
        return reinterpret_cast<void*>(GetProcAddress(library, name));
    };
    const auto install =
        reinterpret_cast<BOOL(WINAPI*)(LPCSTR, LPCSTR, LPSTR, WORD, WORD*, WORD, DWORD*)>(
            find("SQLInstallDriverEx"));
    const auto remove =
        reinterpret_cast<BOOL(WINAPI*)(LPCSTR, BOOL, DWORD*)>(find("SQLRemoveDriver"));
    ASSERT_TRUE(install && remove);
    const std::string to = folder() + "\\..\\..\\programs";
    const auto put = [&] {
        char path[MAX_PATH] = "";
        DWORD usage = 0;
        install((DRIVER + "\0Driver=zelkcli.dll\0Setup=zelkodbc.dll\0\0"s).c_str(), to.c_str(),
                path, MAX_PATH, nullptr, 2, &usage);
        return value("UsageCount", RRF_RT_REG_DWORD);
    };
    DWORD usage = 0;
    see("removing a driver that is not there", remove(DRIVER.c_str(), TRUE, &usage), 0, 1);
    see("usage count of a new driver", put(), "1", "1");
    see("its library", value("Driver", RRF_RT_REG_SZ), to + "\\zelkcli.dll", to + "\\zelkcli.dll");
    RegSetKeyValueA(HKEY_LOCAL_MACHINE, (DRIVERS + DRIVER).c_str(), "Own", REG_SZ, "1", 2);
    see("usage count when it is installed again", put(), "2", "2");
    see("a value of its own, after that", value("Own", RRF_RT_REG_SZ), "", "1");
    RegDeleteKeyValueA(HKEY_LOCAL_MACHINE, (DRIVERS + DRIVER).c_str(), "UsageCount");
    see("usage count where there was none", put(), "2", "1");
    for (int left = 2; left > 0; --left)
        see("removing it", remove(DRIVER.c_str(), TRUE, &usage), 1, 1);
    RegDeleteTreeA(HKEY_LOCAL_MACHINE, (DRIVERS + DRIVER).c_str());
    RegDeleteKeyValueA(HKEY_LOCAL_MACHINE, (DRIVERS + "ODBC Drivers").c_str(), DRIVER.c_str());
}

TEST(Windows, Registry) {
    HKEY key = nullptr, below = nullptr;
    RegCreateKeyA(HKEY_CURRENT_USER, KEY.c_str(), &key);
    RegCreateKeyA(key, "Below\\Deeper", &below);
    RegCloseKey(below);
    DWORD size = 0;
    for (const char* text : {"YES\0", "YES more"}) {
        RegSetValueExA(key, "x", 0, REG_SZ, reinterpret_cast<const BYTE*>(text), 3);
        RegQueryValueExA(key, "x", nullptr, nullptr, nullptr, &size);
        see("stored size of a text of 3 bytes", static_cast<long>(size), text[3] ? 3 : 4,
            text[3] ? 3 : 4);
    }
    see("deleting a key with subkeys", RegDeleteKeyA(key, "Below"), ERROR_ACCESS_DENIED,
        ERROR_ACCESS_DENIED);
    const std::string path = "a\\" + std::string(200, 'b') + '\\' + std::string(200, 'c');
    see("a key path of 400 characters", RegCreateKeyA(key, path.c_str(), &below), 0,
        ERROR_MORE_DATA);
    RegDeleteTreeA(HKEY_CURRENT_USER, KEY.c_str());
}

TEST(Windows, FilesAndCommands) {
    char name[MAX_PATH] = "";
    const std::string own = getenv("SystemRoot") + "\\Temp\\zelkpmreg windows"s;
    CreateDirectoryA(own.c_str(), nullptr);
    GetShortPathNameA(own.c_str(), name, MAX_PATH);
    see("short names", strchr(name, '~') ? "on" : "off", "on", "on");
    see("a junction", run("/d /c mklink /J \"" + own + "\\j\" C:\\ >nul 2>&1"), 0, 1);
    see("a path of 300 characters",
        CreateDirectoryA((own + '\\' + std::string(300, 'x')).c_str(), nullptr)
            ? 0
            : static_cast<long>(GetLastError()),
        ERROR_FILENAME_EXCED_RANGE, ERROR_FILENAME_EXCED_RANGE);
    RemoveDirectoryA((own + "\\j").c_str());
    RemoveDirectoryA(own.c_str());
    tm day = {};
    day.tm_mday = 5;
    see("the fifth day in the name of a log", std::string(asctime(&day)).substr(8, 2), "05", " 5");
    see("console in the OEM code page", GetConsoleOutputCP() == GetOEMCP(), 1, 1);
}

}  // namespace
