// The steps that register a copy, except the ODBC driver, where one call of the system fails.
#include <filesystem>
#include <fstream>

#include "driver/preconditions.h"
#include "registration/copy_record.h"
#include "registration/default_copy.h"
#include "registration/dotnet_configuration.h"
#include "registration/installed_copies_keys.h"
#include "registration/oledb_provider.h"
#include "registration/uninstall_entry.h"
#include "services/programs/process_runner.h"
#include "services/registry.h"
#include "services/text.h"
#include "tests/modules/import_patch.h"
#include "tests/modules/registry_sandbox.h"

namespace {

constexpr LSTATUS NO_RESOURCES = ERROR_NO_SYSTEM_RESOURCES;  // a code with no meaning here
const std::string OLEDB = INSTALLED_COPIES_KEY + "\\MYCOPY\\InstallData\\OLEDB"s;

class CopyRecord : public RegistrySandbox {
  protected:
    static Outcome add(bool makeDefault = false) {
        return outcomeOf(
            [=] { return writeCopyRecord(0, "C:\\P\\", "MYCOPY", makeDefault, false); });
    }
    static Outcome remove(bool productRoot) {
        return outcomeOf(
            [=] { return writeCopyRecord(1, "C:\\P\\", "MYCOPY", false, productRoot); });
    }
};

TEST_F(CopyRecord, Removal) {
    EXPECT_EQ(remove(false), Outcome(ERROR_FILE_NOT_FOUND, "[RECORD_FAILED]\n"));
    EXPECT_EQ(add(), Outcome(0, "[RECORD_WRITTEN]\n"));
    {
        FAILING(RegEnumKeyExA, ERROR_ACCESS_DENIED);  // no failure, and what holds them stays
        EXPECT_EQ(remove(false), Outcome(0, "[RECORD_REMOVED]\n"));
        EXPECT_TRUE(keyExists(OLEDB));
    }
    EXPECT_EQ(remove(false), Outcome(0, "[RECORD_REMOVED]\n"));
    // Only the removal of the product key counts when it is asked for.
    EXPECT_EQ(remove(true), Outcome(0, "[RECORD_REMOVED]\n"));
    EXPECT_FALSE(keyExists(PRODUCT_KEY));
}

TEST_F(CopyRecord, WhichFailuresDecide) {
    const Outcome written(0, "[RECORD_WRITTEN]\n"),
        complained(0, "[RECORD_FAILED]\n[RECORD_WRITTEN]\n");
    const Outcome failed(ZELKI_REGISTRY_ERROR, "[RECORD_FAILED]\n");
    const Outcome keys[] = {
        written, complained, complained, {failed.first, "[RECORD_FAILED]\n[RECORD_FAILED]\n"}};
    for (int call = 1; call <= 4; ++call) {
        FAILING(RegCreateKeyExA, NO_RESOURCES, call);
        EXPECT_EQ(add(), keys[call - 1]) << call;
    }
    // Of the values only the last one counts: an identifier, or the name of the default copy.
    for (const int values : {18, 19}) {
        for (int call = 1; call <= values; ++call) {
            FAILING(RegSetValueExA, NO_RESOURCES, call);
            const Outcome result = add(values == 19);
            EXPECT_EQ(result.second, call == values ? "[RECORD_FAILED]\n" : "[RECORD_WRITTEN]\n")
                << call;
            EXPECT_EQ(failingRegSetValueExA.calls, values);
        }
    }
}

TEST_F(CopyRecord, IdentifiersThatCannotBeMadeAreLeftOut) {
    FAILING(GetProcAddress, nullptr, 1);
    EXPECT_EQ(add(), Outcome(0, "[RECORD_WRITTEN]\n"));
    for (const char* name : {"ORVANEDAZELK", "ORVANEDAZELK Error Lookup"})
        EXPECT_EQ(RegGetValueA(HKEY_LOCAL_MACHINE, OLEDB.c_str(), name, RRF_RT_REG_SZ, nullptr,
                               nullptr, nullptr) == 0,
                  name[12] != 0);
}

using Preconditions = RegistrySandbox;

// What an error hides can be other copies.
TEST_F(Preconditions, OnlyCopyOfAWalkToTheEnd) {
    makeKey(INSTALLED_COPIES_KEY + "\\MYCOPY"s);
    CommandLine line;
    line.unregister = 1;
    for (const LSTATUS status : {ERROR_NO_MORE_ITEMS, ERROR_MORE_DATA, ERROR_ACCESS_DENIED}) {
        FAILING(RegEnumKeyA, status, 2);
        bool onlyCopy = false;
        EXPECT_EQ(checkInstalledCopies(line, onlyCopy), EXIT_DONE);
        EXPECT_EQ(onlyCopy, status == ERROR_NO_MORE_ITEMS) << status;
    }
}

const std::string UNINSTALL = "Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall";
const std::string ENTRY = UNINSTALL + "\\MYCOPY";

using UninstallEntry = RegistrySandbox;

// Returns what is printed.
std::string writeEntry(int mode) {
    return outcomeOf([=] { return writeUninstallEntry(mode, "C:\\a b\\", "MYCOPY"), 0; }).second;
}

TEST_F(UninstallEntry, FailuresAreReported) {
    makeKey("Software\\Microsoft\\Windows\\CurrentVersion");
    makeKey(UNINSTALL, REG_OPTION_VOLATILE);  // nothing lasting can be made below it
    EXPECT_EQ(writeEntry(0), "[UNINSTALL_WRITE_FAILED]\n");
    RegDeleteKeyA(HKEY_LOCAL_MACHINE, UNINSTALL.c_str());
    for (const int call : {1, 2}) {  // only the command counts
        FAILING(RegSetValueExA, NO_RESOURCES, call);
        EXPECT_EQ(writeEntry(0),
                  call == 1 ? "[UNINSTALL_WRITTEN]\n" : "[UNINSTALL_WRITE_FAILED]\n");
        RegDeleteKeyA(HKEY_LOCAL_MACHINE, ENTRY.c_str());
    }
    makeKeyWithout(KEY_ENUMERATE_SUB_KEYS, ENTRY + "\\Guarded");
    EXPECT_EQ(writeEntry(1), "[UNINSTALL_REMOVE_FAILED]\n");
    makeKeyWithout(0, ENTRY + "\\Guarded");
}

using Tools = RegistrySandbox;

TEST_F(Tools, FrameworkRoot) {
    char root[256] = "kept";
    EXPECT_FALSE(findDotNetFrameworkRoot(root));
    EXPECT_STREQ(root, "kept");
    EXPECT_FALSE(keyExists("SOFTWARE\\Microsoft")) << "made by looking";
    for (const std::string name : {"InstallRoot", "sdkInstallRoot"}) {  // the latter counts more
        putValue("SOFTWARE\\Microsoft\\.NETFramework", name.c_str(), REG_SZ, name + '\0');
        EXPECT_TRUE(findDotNetFrameworkRoot(root));
        EXPECT_EQ(root, name);
    }
}

TEST_F(Tools, FailuresOfTheRunnerAreReported) {
    FAILING(CreateThread, nullptr, EACH_CALL, 0, "msvcrt.dll");
    FAILING(CreateProcessA, FALSE);
    const std::string path = std::filesystem::temp_directory_path().string();
    std::filesystem::create_directory(path + "bin");
    std::ofstream(path + "bin\\zelknmpcfg.exe") << "tool";
    copyText(copyName, "MYCOPY");
    for (const int mode : {0, 1}) {
        const auto oleDb = [=] { return registerOleDbProvider(mode, "C:\\P\\", false); };
        EXPECT_EQ(outcomeOf(oleDb), Outcome(5111, mode ? "[OLEDB_UNREGISTER_FAILED] -103\n"
                                                       : "[OLEDB_REGISTER_FAILED] -103\n"));
        const auto dotNet = [=] { return runDotNetConfigurationTool(mode, path.c_str(), false); };
        EXPECT_EQ(outcomeOf(dotNet), Outcome(-100, mode ? "[DOTNET_UNREGISTER_FAILED] -100\n"
                                                        : "[DOTNET_REGISTER_FAILED] -100\n"));
    }
    EXPECT_EQ(outcomeOf([] { return switchDefaultClientCopy(), 0; }).second,
              "[DEFAULT_SWITCHING] MYCOPY\n[DEFAULT_SWITCH_FAILED]\n");
    std::filesystem::remove_all(path + "bin");
}

TEST_F(Tools, ToolThatCannotBeStagedIsNotRun) {
    const auto run = [] { return runDotNetConfigurationTool(0, "C:\\P", false); };
    bool started = false;
    REPLACING(CreateProcessA, [&](auto...) { return started = true; });
    EXPECT_EQ(outcomeOf(run),
              Outcome(DOTNET_TOOL_NOT_COPIED, "[DOTNET_NOT_COPIED]\n"));  // there is no C:\P
// The failure is inside: the capture of the output has temporary files of its own.
#define EXPECT_NO_NAME(function, result)     \
    EXPECT_EQ(outcomeOf([&] {                \
                  FAILING(function, result); \
                  return run();              \
              }),                            \
              Outcome(DOTNET_NO_TEMPORARY_NAME, "[DOTNET_NO_TEMPORARY_NAME]\n"))
    EXPECT_NO_NAME(GetTempPathA, 0);
    EXPECT_NO_NAME(GetTempFileNameA, 0);
    EXPECT_NO_NAME(GetShortPathNameA, 0);
    EXPECT_FALSE(started);
}

}  // namespace
