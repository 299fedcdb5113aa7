// The ODBC step where one call of the system fails; the usual cases run with the whole program.
#include <algorithm>
#include <filesystem>
#include <fstream>

#include "odbc/driver_removal.h"
#include "odbc/odbc_driver_setup.h"
#include "odbc/odbc_keys.h"
#include "odbc/odbc_registration_step.h"
#include "odbc/trace.h"
#include "tests/modules/import_patch.h"
#include "tests/modules/registry_sandbox.h"

namespace {

constexpr LSTATUS NO_RESOURCES = ERROR_NO_SYSTEM_RESOURCES;  // a code with no meaning here
namespace fs = std::filesystem;

// Of a copy; an installer may look whether it is there.
const std::string FOLDER = getenv("TMP") + "\\zelkpmreg-tests-odbc\\"s;

std::string withSlashes(std::string path) {
    std::replace(path.begin(), path.end(), '\\', '/');
    return path;
}
const std::string NAME = "ORVANE PELLIMAR for ODBC - " + withSlashes(FOLDER);
const std::string DRIVER = "SOFTWARE\\ODBC\\ODBCINST.INI\\" + NAME;
const std::string OTHER_CASE = "orvane pellimar" + NAME.substr(15) + '\0';

class Odbc : public RegistrySandbox {
  protected:
    Odbc() {
        fs::create_directories(FOLDER + "BIN");
        makeDrivers();
    }
    ~Odbc() override {
        std::error_code ignored;
        fs::remove_all(FOLDER, ignored);
    }
    // As every Windows has it.
    static void makeDrivers() { makeKey("SOFTWARE\\ODBC\\ODBCINST.INI\\ODBC Drivers"); }
    static int32_t step(int unregister) {
        return OdbcRegistrationStep(unregister, FOLDER.c_str(), false);
    }
    static std::string stepPrints(int unregister) {
        return outcomeOf([=] { return step(unregister); }).second;
    }
    std::string missing;
    REPLACING(GetProcAddress, [this](HMODULE module, LPCSTR name) {
        return name == missing ? nullptr : replacedGetProcAddress.original(module, name);
    });
};

// The first test of this program that removes a data source: the library is kept afterwards.
TEST_F(Odbc, InstallerIsMissing) {
    std::string boxes;
    REPLACING(MessageBoxA, [&](HWND, LPCSTR text, LPCSTR caption, UINT type) {
        boxes += "["s + caption + "|" + text + "|" + std::to_string(type) + "]";
        return IDOK;
    });
    putValue(DATA_SOURCES_KEY, "Sales", REG_SZ, OTHER_CASE);
    {
        FAILING(LoadLibraryA, nullptr);
        EXPECT_EQ(stepPrints(0), "[ODBC_INSTALL_FAILED] -1879048190\n");
        EXPECT_FALSE(keyExists(POOLING_KEY));
        // A box for the request and one for the error record; the step goes on.
        EXPECT_EQ(stepPrints(1), "[ODBC_SOURCES_REMOVED]\n[ODBC_REMOVED]\n");
        EXPECT_EQ(boxes, "[||64][||64]");
    }
    {
        int freed = 0;
        REPLACING(FreeLibrary, [&](HMODULE library) {
            if (library == GetModuleHandleA("odbccp32.dll")) ++freed;
            return replacedFreeLibrary.original(library);
        });
        stepPrints(0);
        EXPECT_EQ(freed, 1);  // Windows may keep it all the same
    }
    missing = "SQLConfigDataSource";
    boxes.clear();
    EXPECT_EQ(stepPrints(1), "[ODBC_SOURCES_REMOVED]\n[ODBC_REMOVED]\n");
    EXPECT_EQ(boxes, "[|"s + _pgmptr + "|64]");
    missing = "SQLInstallDriverEx";
    EXPECT_EQ(outcomeOf([] { return step(0); }), Outcome(1, "[ODBC_INSTALL_FAILED] -1879048190\n"));
    missing = "SQLRemoveDriver";
    makeKey(DRIVER);
    EXPECT_EQ(stepPrints(1), "[ODBC_SOURCES_REMOVED]\n[ODBC_REMOVE_FAILED] -1879048190\n");
    EXPECT_EQ(boxes, "[|"s + _pgmptr + "|64]") << "a box where nothing is missing";
}

std::string asked;
BOOL WINAPI noteRequest(HWND, WORD request, LPCSTR, LPCSTR attributes) {
    asked += std::to_string(request) + attributes;
    return TRUE;
}

TEST_F(Odbc, SystemDataSourcesThatWereReadWhole) {
    FAILING(GetProcAddress, reinterpret_cast<FARPROC>(reinterpret_cast<void (*)()>(noteRequest)));
    const std::string longest(259, 'n');
    putValue(DATA_SOURCES_KEY, longest.c_str(), REG_SZ, NAME + '\0');
    stepPrints(1);
    EXPECT_EQ(std::exchange(asked, ""), "6DSN=" + longest);
    REPLACING(RegEnumValueA, [](HKEY, DWORD i, LPSTR name, auto, auto, auto, BYTE* data, auto) {
        strcpy(name, i == 1 ? "whole" : "undefined");
        strcpy(reinterpret_cast<char*>(data), NAME.c_str());
        constexpr LSTATUS RESULTS[] = {ERROR_MORE_DATA, 0, NO_RESOURCES, ERROR_NO_MORE_ITEMS};
        return RESULTS[i];
    });
    stepPrints(1);
    EXPECT_EQ(asked, "6DSN=whole");
}

TEST_F(Odbc, SettingsThatCannotBeWrittenAreNoFailure) {
    for (const bool again : {false, true}) {
        for (int call = 1; call <= (again ? 5 : 4); ++call) {
            RegDeleteTreeA(HKEY_LOCAL_MACHINE, "SOFTWARE");
            makeDrivers();
            if (again) stepPrints(0);
            FAILING(RegSetValueExA, ERROR_NO_SYSTEM_RESOURCES, call);
            EXPECT_EQ(stepPrints(0), "[ODBC_INSTALLED]\n") << call;
            EXPECT_GE(failingRegSetValueExA.calls, call);
            EXPECT_FALSE(keyExists(SAVED_TIMEOUT_KEY));
        }
    }
}

// A key that exists and cannot be opened is not a driver that is gone, and is looked at once.
TEST_F(Odbc, DriverKeyThatCannotBeOpened) {
    makeKeyWithout(KEY_READ, DRIVER);
    missing = "SQLRemoveDriver";
    COUNTING(RegOpenKeyExA);
    EXPECT_EQ(stepPrints(1), "[ODBC_SOURCES_REMOVED]\n[ODBC_REMOVE_FAILED] -1879048190\n");
    EXPECT_EQ(countedRegOpenKeyExA.calls, 3) << "data sources, XA libraries, driver";
    makeKeyWithout(0, DRIVER);
}

int removals;
DWORD usageCount;
BOOL WINAPI countDown(LPCSTR, BOOL, DWORD*) {
    ++removals;
    if (usageCount > 0) --usageCount;
    putValue(DRIVER, "UsageCount", REG_DWORD,
             std::string(reinterpret_cast<const char*>(&usageCount), sizeof usageCount));
    return TRUE;
}

TEST_F(Odbc, RemovalIsBounded) {
    FAILING(GetProcAddress, reinterpret_cast<FARPROC>(reinterpret_cast<void (*)()>(countDown)));
    for (const auto& [count, expected] : {std::pair(DWORD{0}, 100), {50, 150}, {20000, 10000}}) {
        usageCount = count + 1;
        removals = -1;
        countDown(nullptr, FALSE, nullptr);
        OdbcDriverSetup* setup = OdbcDriverSetup::GetInstance();
        EXPECT_EQ(RemoveDriverEntries(setup, NAME.c_str(), true), ODBC_SETUP_FAILED);
        EXPECT_EQ(removals, expected);
        OdbcDriverSetup::DestroyInstance();
    }
}

// In a process of its own, because the library is looked for once.
TEST_F(Odbc, FailuresAreTraced) {
    const auto programs = fs::path(__argv[0]) / "../../programs";
    fs::remove(programs / "ZELKOSSE.asked");
    const auto fail = [&] {
        REPLACING(LoadLibraryExA, [&](LPCSTR name, HANDLE, DWORD) {
            return LoadLibraryA((programs / name).string().c_str());
        });
        makeKey(SAVED_TIMEOUT_KEY);
        putValue(DATA_SOURCES_KEY, "Sales", REG_SZ, OTHER_CASE);
        FAILING(RegDeleteKeyA, ERROR_ACCESS_DENIED);
        FAILING(RegSetValueExA, ERROR_NO_SYSTEM_RESOURCES);
        traceThreadFailure(5111);
        for (const int unregister : {0, 1}) step(unregister);
        exit(RegDeleteTreeA(HKEY_USERS, scratch.c_str()));
    };
    EXPECT_EXIT(fail(), testing::ExitedWithCode(0), "");
    std::ifstream file(programs / "ZELKOSSE.asked");
    const std::string lines(std::istreambuf_iterator<char>(file), {});
    for (const char* line :
         {"04000001 10 3 1 0 ureCreateThread", "04000001 20 4 0 0 1 0 4 5111",
          "1D900026 10 4 0 0 1 0 4 1450",
          "1D900028 50 3 1 0 SOFTWARE\\Orvane\\Zelk\\TEMP\\CP_TIMEOUT", "1D900029 10 4 0 0 1 0 4 ",
          "1D900021 50 3 1 0 SOFTWARE\\Microsoft\\MSDTC\\XADLL"})
        EXPECT_NE(lines.find(line), lines.npos) << line << '\n' << lines;
}

}  // namespace
