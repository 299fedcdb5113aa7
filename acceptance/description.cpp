#include "acceptance/description.h"

#include <windows.h>

#include <cstdio>
#include <ctime>
#include <vector>

#include "acceptance/report.h"
#include "services/owners.h"
#include "services/system_library.h"
#include "tests/program/marks.h"

namespace {

using namespace std::string_literals;

constexpr char VERSION_KEY[] = "SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion";
constexpr char POLICIES_KEY[] = "SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Policies\\System";
constexpr char FILES_KEY[] = "SYSTEM\\CurrentControlSet\\Control\\FileSystem";
constexpr char LANGUAGE_KEY[] = "SYSTEM\\CurrentControlSet\\Control\\Nls\\Language";
constexpr char INTEGRITY_KEY[] = "SYSTEM\\CurrentControlSet\\Control\\CI\\Policy";
const std::string DRIVERS = "SOFTWARE\\ODBC\\ODBCINST.INI\\", DRIVER = MARKS + "windows";
const std::string KEY = DRIVERS + DRIVER;

// A text or a number; empty if there is none.
std::string readSetting(const char* key, const char* name) {
    char text[256] = "";
    DWORD size = sizeof text, number = 0;
    constexpr DWORD VIEW = RRF_SUBKEY_WOW6464KEY;
    if (RegGetValueA(HKEY_LOCAL_MACHINE, key, name, RRF_RT_REG_SZ | VIEW, nullptr, text, &size) ==
        0)
        return text;
    size = sizeof number;
    if (RegGetValueA(HKEY_LOCAL_MACHINE, key, name, RRF_RT_REG_DWORD | VIEW, nullptr, &number,
                     &size) == 0)
        return std::to_string(number);
    return "";
}

void printSettings() {
    const std::pair<const char*, const char*> settings[] = {
        {VERSION_KEY, "ProductName"},
        {VERSION_KEY, "EditionID"},
        {VERSION_KEY, "DisplayVersion"},
        {VERSION_KEY, "CurrentBuild"},
        {VERSION_KEY, "UBR"},
        {VERSION_KEY, "InstallationType"},
        {POLICIES_KEY, "EnableLUA"},
        {POLICIES_KEY, "ConsentPromptBehaviorAdmin"},
        {FILES_KEY, "LongPathsEnabled"},
        {FILES_KEY, "NtfsDisable8dot3NameCreation"},
        {LANGUAGE_KEY, "Default"},
        {LANGUAGE_KEY, "InstallLanguage"},
        {INTEGRITY_KEY, "VerifiedAndReputablePolicyState"}};
    for (const auto& [key, name] : settings)
        printf("%s: %s\n", name, readSetting(key, name).c_str());
    SYSTEM_POWER_STATUS power = {};
    GetSystemPowerStatus(&power);
    printf("on battery: %d\n", power.ACLineStatus == 0);
}

void printVersions() {
    for (const char* file :
         {"kernel32.dll", "msvcrt.dll", "odbccp32.dll", "regsvr32.exe", "cmd.exe"}) {
        std::vector<BYTE> data(GetFileVersionInfoSizeA(file, nullptr));
        VS_FIXEDFILEINFO* info = nullptr;
        UINT size = 0;
        if (GetFileVersionInfoA(file, 0, static_cast<DWORD>(data.size()), data.data()) &&
            VerQueryValueA(data.data(), "\\", reinterpret_cast<void**>(&info), &size))
            printf("%s: %u.%u.%u.%u\n", file, HIWORD(info->dwFileVersionMS),
                   LOWORD(info->dwFileVersionMS), HIWORD(info->dwFileVersionLS),
                   LOWORD(info->dwFileVersionLS));
    }
}

// What is seen, and how it is documented for Windows and known of Wine.
void see(const std::string& what, long seen, long documented, long wine) {
    const char* way = seen == documented ? seen == wine ? "as both" : "as documented"
                      : seen == wine     ? "as Wine"
                                         : "as neither";
    printf("%-13s %s: %ld\n", way, what.c_str(), seen);
}

long count(const std::string& name) {
    DWORD data = 0, size = sizeof data;
    const LSTATUS status = RegGetValueA(HKEY_LOCAL_MACHINE, KEY.c_str(), name.c_str(),
                                        RRF_RT_REG_DWORD, nullptr, &data, &size);
    return status == ERROR_SUCCESS ? static_cast<long>(data) : -status;
}

using InstallDriver = BOOL WINAPI(LPCSTR, LPCSTR, LPSTR, WORD, WORD*, WORD, DWORD*);
using RemoveDriver = BOOL WINAPI(LPCSTR, BOOL, DWORD*);

// Installs a driver of that name, and returns whether Windows did.
long install(InstallDriver* function, const std::string& name, const std::string& folder) {
    const std::string driver = name + "\0Driver=zelkcli.dll\0Setup=zelkodbc.dll\0\0"s;
    char path[MAX_PATH] = "";
    DWORD usage = 0;
    return function(driver.c_str(), folder.c_str(), path, MAX_PATH, nullptr, 2, &usage);
}

void seeOdbcInstaller(const std::string& programs) {
    OwnedModule library(loadSystemLibrary("odbccp32.dll"));
    const auto installer = findFunction<InstallDriver>(library.get(), "SQLInstallDriverEx");
    const auto remover = findFunction<RemoveDriver>(library.get(), "SQLRemoveDriver");
    if (!installer || !remover) {
        puts("The ODBC installer is missing.");
        return;
    }
    DWORD usage = 0, one = 1;
    const auto remove = [&](const std::string& name) {
        return remover(name.c_str(), FALSE, &usage);
    };
    const auto put = [&] { return install(installer, DRIVER, programs), count("UsageCount"); };
    see("removing a driver that is not there", remove(DRIVER), 0, 1);
    see("usage count of a new driver", put(), 1, 1);
    RegSetKeyValueA(HKEY_LOCAL_MACHINE, KEY.c_str(), "Own", REG_DWORD, &one, sizeof one);
    see("usage count when it is installed again", put(), 2, 2);
    see("a value of its own after that, or the error", count("Own"), -ERROR_FILE_NOT_FOUND, 1);
    RegDeleteKeyValueA(HKEY_LOCAL_MACHINE, KEY.c_str(), "UsageCount");
    see("usage count where there was none", put(), 2, 1);
    OwnedKey below;
    RegCreateKeyA(HKEY_LOCAL_MACHINE, (KEY + "\\Below").c_str(), below.put());
    for (int i = 0; i < 2; ++i) see("removing it while it has a subkey", remove(DRIVER), 1, 1);
    see("its key is deleted", RegDeleteTreeA(HKEY_LOCAL_MACHINE, KEY.c_str()), 0, 0);
    RegDeleteKeyValueA(HKEY_LOCAL_MACHINE, (DRIVERS + "ODBC Drivers").c_str(), DRIVER.c_str());
    see("a driver in a folder that is not there is installed",
        install(installer, DRIVER, programs + "\\missing"), 0, 1);
    remove(DRIVER);
    const std::string longName = DRIVER + std::string(233 - DRIVER.size(), 'x');
    see("a driver name of 233 characters is installed", install(installer, longName, programs), 1,
        1);
    remove(longName);
    for (const std::string& name : {DRIVER, longName}) {  // where it was not removed
        RegDeleteTreeA(HKEY_LOCAL_MACHINE, (DRIVERS + name).c_str());
        RegDeleteKeyA(HKEY_LOCAL_MACHINE, (DRIVERS + name).c_str());
        RegDeleteKeyValueA(HKEY_LOCAL_MACHINE, (DRIVERS + "ODBC Drivers").c_str(), name.c_str());
    }
    library.reset();
    see("the installer is unloaded", GetModuleHandleA("odbccp32.dll") == nullptr, 1, 1);
}

void seeRegistry() {
    const std::string path = ".DEFAULT\\Software\\" + DRIVER;
    OwnedKey key, below;
    RegCreateKeyA(HKEY_USERS, path.c_str(), key.put());
    for (const char* text : {"YES", "YES more"}) {
        DWORD size = 3;
        RegSetValueExA(key.get(), "x", 0, REG_SZ, reinterpret_cast<const BYTE*>(text), size);
        RegQueryValueExA(key.get(), "x", nullptr, nullptr, nullptr, &size);
        see("stored size of 3 bytes of \""s + text + '"', static_cast<long>(size), text[3] ? 3 : 4,
            text[3] ? 3 : 4);
    }
    for (const char* name : {"b", "c", "a"})
        RegSetValueExA(key.get(), name, 0, REG_SZ, reinterpret_cast<const BYTE*>(""), 1);
    RegDeleteValueA(key.get(), "x");
    std::string order;
    char name[16] = "";
    for (DWORD i = 0, size = sizeof name;
         RegEnumValueA(key.get(), i, name, &size, nullptr, nullptr, nullptr, nullptr) == 0;
         ++i, size = sizeof name)
        order += name;
    see("values come in the order of their making", order == "bca", 1, 0);
    RegCreateKeyA(key.get(), "Below\\Deeper", below.put());
    see("deleting a key with subkeys", RegDeleteKeyA(key.get(), "Below"), 5, 5);
    const std::string longPath = "a\\" + std::string(200, 'b') + '\\' + std::string(200, 'c');
    see("a key path of 400 characters", RegCreateKeyA(key.get(), longPath.c_str(), below.put()), 0,
        234);
    RegDeleteTreeA(HKEY_USERS, path.c_str());
}

void seeFilesAndConsole() {
    char folder[MAX_PATH] = "", name[MAX_PATH] = "";
    GetTempPathA(MAX_PATH, folder);
    const std::string made = folder + DRIVER;
    CreateDirectoryA(made.c_str(), nullptr);
    GetShortPathNameA(made.c_str(), name, MAX_PATH);
    see("there are short names", strchr(name, '~') != nullptr, 1, 1);
    RemoveDirectoryA(made.c_str());
    tm day = {};
    day.tm_mday = 5;
    see("the fifth day begins with a blank", asctime(&day)[8] == ' ', 1, 0);
    see("code page of the console", static_cast<long>(GetConsoleOutputCP()),
        static_cast<long>(GetOEMCP()), 0);
}

}  // namespace

std::string describeWindows() {
    const bool wine = GetProcAddress(GetModuleHandleA("ntdll.dll"), "wine_get_version") != nullptr;
    SYSTEM_INFO system = {};
    GetNativeSystemInfo(&system);
    const char* processor = system.wProcessorArchitecture == PROCESSOR_ARCHITECTURE_AMD64 ? "x64"
                            : system.wProcessorArchitecture == PROCESSOR_ARCHITECTURE_INTEL
                                ? "x86"
                                : "ARM64";
    return toUtf8(readSetting(VERSION_KEY, "ProductName") + ' ' +
                  readSetting(VERSION_KEY, "DisplayVersion") + ", build " +
                  readSetting(VERSION_KEY, "CurrentBuild") + '.' +
                  readSetting(VERSION_KEY, "UBR")) +
           (wine ? " (Wine), " : ", ") + processor + ", code pages " + std::to_string(GetACP()) +
           " and " + std::to_string(GetOEMCP());
}

void printDescription(const std::string& programs) {
    printSettings();
    printVersions();
    seeOdbcInstaller(programs);
    seeRegistry();
    seeFilesAndConsole();
}
