// The steps that register a copy, except the ODBC driver.
#include <process.h>

#include <filesystem>
#include <fstream>
#include <functional>

#include "registration/copy_record.h"
#include "registration/default_copy.h"
#include "registration/dotnet_configuration.h"
#include "registration/installed_copies_keys.h"
#include "registration/oledb_provider.h"
#include "registration/uninstall_entry.h"
#include "services/process_runner.h"
#include "services/registry.h"
#include "services/text.h"
#include "tests/modules/import_patch.h"
#include "tests/modules/registry_sandbox.h"

namespace {

constexpr LSTATUS NO_RESOURCES = ERROR_NO_SYSTEM_RESOURCES;  // a code with no meaning here
const std::string COPIES = INSTALLED_COPIES_KEY;
const std::string COPY = COPIES + "\\MYCOPY";
const std::string OLEDB = COPY + "\\InstallData\\OLEDB";

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
    EXPECT_EQ(remove(false), Outcome(ERROR_FILE_NOT_FOUND, "[1047]\n"));
    EXPECT_EQ(add(true), Outcome(0, "[1048]\n"));
    makeKey(COPIES + "\\OTHER");
    {
        FAILING(RegEnumKeyExA, ERROR_ACCESS_DENIED);  // no failure, and what holds them stays
        EXPECT_EQ(remove(false), Outcome(0, "[1076]\n"));
        EXPECT_TRUE(keyExists(OLEDB));
    }
    EXPECT_EQ(remove(false), Outcome(0, "[1076]\n"));
    EXPECT_FALSE(keyExists(COPY));
    EXPECT_TRUE(keyExists(COPIES + "\\OTHER"));
    expectValues(COPIES, {{"defaultClientInterfaceCopy", REG_SZ, "MYCOPY\0"s}});
    // Only the removal of the product key counts when it is asked for.
    EXPECT_EQ(remove(true), Outcome(0, "[1076]\n"));
    EXPECT_FALSE(keyExists(PRODUCT_KEY));
    EXPECT_TRUE(keyExists("SOFTWARE\\Orvane"));
    EXPECT_EQ(outcomeOf([] { return writeCopyRecord(2, "C:\\P\\", "MYCOPY", true, true); }),
              Outcome(0, "[1076]\n"));
    EXPECT_FALSE(keyExists(PRODUCT_KEY));
}

TEST_F(CopyRecord, WhichKeysDecide) {
    for (const LSTATUS code : {LSTATUS{ERROR_ACCESS_DENIED}, NO_RESOURCES}) {
        const uint32_t returned = code == ERROR_ACCESS_DENIED ? 5 : ZELKI_REGISTRY_ERROR;
        const Outcome expected[] = {{0, "[1048]\n"},
                                    {0, "[1047]\n[1048]\n"},
                                    {0, "[1047]\n[1048]\n"},
                                    {returned, "[1047]\n[1047]\n"}};
        for (int call = 1; call <= 4; ++call) {
            FAILING(RegCreateKeyExA, code, call);
            EXPECT_EQ(add(), expected[call - 1]);
        }
    }
}

TEST_F(CopyRecord, WhichValuesDecide) {
    const struct {
        int first, last;  // of the writes that fail
        bool makeDefault;
        Outcome expected;
    } cases[] = {{1, 17, false, {0, "[1048]\n"}},
                 {18, 18, false, {ZELKI_REGISTRY_ERROR, "[1047]\n"}},  // the last identifier
                 {18, 18, true, {0, "[1048]\n"}},
                 {19, 19, true, {static_cast<uint32_t>(NO_RESOURCES), "[1047]\n"}}};
    for (const auto& test : cases) {
        for (int call = test.first; call <= test.last; ++call) {
            FAILING(RegSetValueExA, NO_RESOURCES, call);
            EXPECT_EQ(add(test.makeDefault), test.expected) << call;
            EXPECT_EQ(failing_RegSetValueExA.calls(), test.makeDefault ? 19 : 18);
        }
    }
}

TEST_F(CopyRecord, IdentifiersThatCannotBeMadeAreLeftOut) {
    FAILING(GetProcAddress, nullptr, 1);
    EXPECT_EQ(add(), Outcome(0, "[1048]\n"));
    EXPECT_EQ(valuesOf(OLEDB).size(), 4u);
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
    EXPECT_EQ(writeEntry(0), "[1051]\n");
    RegDeleteKeyA(HKEY_LOCAL_MACHINE, UNINSTALL.c_str());
    for (const int call : {1, 2}) {  // only the command counts
        FAILING(RegSetValueExA, NO_RESOURCES, call);
        EXPECT_EQ(writeEntry(0), call == 1 ? "[1050]\n" : "[1051]\n");
        RegDeleteKeyA(HKEY_LOCAL_MACHINE, ENTRY.c_str());
    }
    makeKeyWithout(KEY_ENUMERATE_SUB_KEYS, ENTRY + "\\Guarded");
    EXPECT_EQ(writeEntry(1), "[1078]\n");
    makeKeyWithout(0, ENTRY + "\\Guarded");
}

using Tools = RegistrySandbox;

TEST_F(Tools, FrameworkRoot) {
    constexpr char KEY[] = "SOFTWARE\\Microsoft\\.NETFramework";
    char root[256] = "kept";
    putValue(KEY, "other", REG_SZ, "x\0"s);
    EXPECT_FALSE(findDotNetFrameworkRoot(root));
    EXPECT_STREQ(root, "kept");
    for (const auto& [name, data, expected] :
         {std::tuple("InstallRoot", "C:\\Run"s, "C:\\Run"s),
          {"sdkInstallRoot", "C:\\Sdk"s, "C:\\Sdk"s},  // before the one that is there already
          {"sdkInstallRoot", std::string(259, 'r'), ""s}}) {
        putValue(KEY, name, REG_SZ, data + '\0');
        EXPECT_TRUE(findDotNetFrameworkRoot(root));
        EXPECT_EQ(root, expected);
    }
}

int threadStarts;
decltype(_beginthreadex)* beginThread;
uintptr_t startOnlyOutputReaders(void* security, unsigned stack, _beginthreadex_proc_type function,
                                 void* argument, unsigned flags, unsigned* id) {
    return ++threadStarts % 2 == 0 ? 0
                                   : beginThread(security, stack, function, argument, flags, id);
}

TEST_F(Tools, FailuresOfTheRunnerAreReported) {
    const PatchedImport patch("_beginthreadex", startOnlyOutputReaders);
    beginThread = patch.original<decltype(_beginthreadex)>();
    FAILING(CreateProcessA, FALSE);
    const std::string bin = std::filesystem::temp_directory_path().string() + "bin";
    const std::string folder = std::filesystem::path(bin).parent_path().string() + '\\';
    std::filesystem::create_directory(bin);
    std::ofstream(bin + "\\zelknmpcfg.exe") << "tool";
    copyText(copyName, "MYCOPY");
    const char* const path = folder.c_str();
    const std::tuple<std::function<int()>, uint32_t, std::string> cases[] = {
        {[] { return registerOleDbProvider(0, "C:\\P\\", false); }, 5111, "[1046] -103\n"},
        {[] { return registerOleDbProvider(1, "C:\\P\\", false); }, 5111, "[1074] -103\n"},
        {[=] { return runDotNetConfigurationTool(0, path, false); }, -100, "[1035] -100\n"},
        {[=] { return runDotNetConfigurationTool(1, path, false); }, -100, "[1072] -100\n"},
        {[] { return switchDefaultClientCopy(), 0; }, 0, "[1081] MYCOPY\n[1079]\n"}};
    for (const auto& [step, result, printed] : cases) {
        EXPECT_EQ(outcomeOf(step), Outcome(result, printed));
    }
    std::filesystem::remove_all(bin);
}

TEST_F(Tools, ToolThatCannotBeStagedIsNotRun) {
    const auto run = [] { return runDotNetConfigurationTool(0, "C:\\P", false); };
    const Outcome noName(DOTNET_NO_TEMPORARY_NAME, "[1083]\n");
    // The failures are inside: the capture of the output has temporary files of its own.
    EXPECT_EQ(outcomeOf([&] {
                  FAILING(GetTempPathA, 0);
                  return run();
              }),
              noName);
    EXPECT_EQ(outcomeOf([&] {
                  FAILING(GetTempFileNameA, 0);
                  return run();
              }),
              noName);
    EXPECT_EQ(outcomeOf([&] {
                  FAILING(GetShortPathNameA, 0);
                  return run();
              }),
              noName);
    FAILING(CreateProcessA, FALSE);
    EXPECT_EQ(outcomeOf(run), Outcome(DOTNET_TOOL_NOT_COPIED, "[1085]\n"));  // there is no C:\P
    EXPECT_EQ(failing_CreateProcessA.calls(), 0);
}

}  // namespace
