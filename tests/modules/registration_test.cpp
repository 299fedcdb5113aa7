#include "registration/copy_record.h"
#include "registration/dotnet_configuration.h"
#include "registration/uninstall_entry.h"
#include "services/text.h"
#include "tests/modules/registry_sandbox.h"

namespace {

const std::string COPIES = "SOFTWARE\\Orvane\\Zelk\\InstalledCopies";
const std::string COPY = COPIES + "\\MYCOPY";
const std::string VERSION = COPY + "\\CurrentVersion";
const std::string PACKAGE = COPY + "\\Orvane Pellimar Package\\CurrentVersion";
const std::string OLEDB = COPY + "\\InstallData\\OLEDB";
const Values DEFAULT_COPY = {{"defaultClientInterfaceCopy", REG_SZ, "MYCOPY\0"s}};

using CopyRecord = RegistrySandbox;

Outcome registerCopy(bool makeDefault) {
    return outcomeOf([=] { return writeCopyRecord(0, "C:\\P\\", "MYCOPY", makeDefault, false); });
}

Outcome unregisterCopy(bool removeRoot) {
    return outcomeOf([=] { return writeCopyRecord(1, "C:\\P\\", "MYCOPY", false, removeRoot); });
}

TEST_F(CopyRecord, HoldsEveryValue) {
    EXPECT_EQ(registerCopy(false), Outcome(0, "[1048]\n"));
    expectValues(COPIES, {});
    // The system adds the terminating zero that the program's sizes leave out.
    expectValues(COPY, {{"Zelk Path Name", REG_SZ, "C:\\P\\\0"s},
                        {"ClientInterfaceOnlyCopy", REG_SZ, "YES\0"s},
                        {"RemoteCopy", REG_SZ, "YES\0"s}});
    for (const std::string& key : {VERSION, PACKAGE}) {
        expectValues(key, {{"Version", REG_SZ, "10\0"s},
                           {"Release", REG_SZ, "1\0"s},
                           {"Modification", REG_SZ, "2\0\0\0Fix Le"s},
                           {"Fix Level", REG_SZ, "238\0Descri"s},
                           {"Description", REG_SZ, "Orvane Pellimar Package\0"s}});
    }
}

TEST_F(CopyRecord, FreshIdentifiersEachTime) {
    std::set<std::string> names, identifiers;
    for (int registration = 0; registration < 2; ++registration) {
        registerCopy(false);
        for (const auto& [name, type, data] : valuesOf(OLEDB)) {
            names.insert(name);
            identifiers.insert(data);
        }
    }
    EXPECT_EQ(names,
              (std::set<std::string>{"ORVANEDAZELK", "ORVANEDAZELK Advanced Page",
                                     "ORVANEDAZELK Connection Page", "ORVANEDAZELK Enumerator",
                                     "ORVANEDAZELK Error Lookup"}));
    EXPECT_EQ(identifiers.size(), 10u);
    for (std::string text : identifiers) {
        for (char& digit : text)
            digit = isdigit(digit) || (digit >= 'A' && digit <= 'F') ? '0' : digit;
        EXPECT_EQ(text, "{00000000-0000-0000-0000-000000000000}\0"s);
    }
}

TEST_F(CopyRecord, Removal) {
    EXPECT_EQ(unregisterCopy(false), Outcome(ERROR_FILE_NOT_FOUND, "[1047]\n"));
    EXPECT_EQ(registerCopy(true), Outcome(0, "[1048]\n"));
    makeKey(COPIES + "\\OTHER");
    EXPECT_EQ(unregisterCopy(false), Outcome(0, "[1076]\n"));
    EXPECT_FALSE(keyExists(COPY));
    EXPECT_TRUE(keyExists(COPIES + "\\OTHER"));
    expectValues(COPIES, DEFAULT_COPY);
    // Only the removal of the product key counts when it is asked for.
    EXPECT_EQ(unregisterCopy(true), Outcome(0, "[1076]\n"));
    EXPECT_FALSE(keyExists("SOFTWARE\\Orvane\\Zelk"));
    EXPECT_TRUE(keyExists("SOFTWARE\\Orvane"));
    EXPECT_EQ(outcomeOf([] { return writeCopyRecord(2, "C:\\P\\", "MYCOPY", true, true); }),
              Outcome(0, "[1076]\n"));
    EXPECT_FALSE(keyExists("SOFTWARE\\Orvane\\Zelk"));
}

TEST_F(CopyRecord, KeysThatCannotBeWritten) {
    makeKeyWithout(KEY_SET_VALUE, VERSION);
    EXPECT_EQ(registerCopy(false), Outcome(0, "[1047]\n[1048]\n"));
    EXPECT_TRUE(keyExists(PACKAGE));
    RegDeleteTreeA(HKEY_LOCAL_MACHINE, COPY.c_str());
    makeKeyWithout(KEY_SET_VALUE, OLEDB);
    EXPECT_EQ(registerCopy(false), Outcome(ERROR_ACCESS_DENIED, "[1047]\n[1047]\n"));
    EXPECT_EQ(registerCopy(true), Outcome(0, "[1047]\n[1048]\n"));
}

const std::string UNINSTALL = "Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall";
const std::string ENTRY = UNINSTALL + "\\MYCOPY";

using UninstallEntry = RegistrySandbox;

// Returns what is printed.
std::string writeEntry(int mode) {
    copyText(displayName, "Orvane Pellimar Package - Remote - MYCOPY");
    return outcomeOf([=] { return writeUninstallEntry(mode, "C:\\a b\\", "MYCOPY"), 0; }).second;
}

TEST_F(UninstallEntry, ComesAndGoes) {
    EXPECT_EQ(writeEntry(0), "[1050]\n");
    expectValues(ENTRY,
                 {{"DisplayName", REG_SZ, "Orvane Pellimar Package - Remote - MYCOPY\0"s},
                  {"UninstallString", REG_SZ, "C:\\a b\\bin\\zelkpmreg.exe -u -p -c MYCOPY\0"s}});
    makeKey(ENTRY + "\\Added by others");
    makeKey(UNINSTALL + "\\OTHER");
    EXPECT_EQ(writeEntry(1) + writeEntry(1), "[1077]\n[1077]\n");
    EXPECT_FALSE(keyExists(ENTRY));
    EXPECT_TRUE(keyExists(UNINSTALL + "\\OTHER"));
}

TEST_F(UninstallEntry, ExistingEntryStays) {
    putValue(ENTRY, "UninstallString", REG_SZ, "old\0"s);
    EXPECT_EQ(writeEntry(0) + writeEntry(2), "[1050]\n[1077]\n");
    expectValues(ENTRY, {{"UninstallString", REG_SZ, "old\0"s}});
}

TEST_F(UninstallEntry, FailuresAreTold) {
    makeKey("Software\\Microsoft\\Windows\\CurrentVersion");
    makeKey(UNINSTALL, REG_OPTION_VOLATILE);  // nothing lasting can be made below it
    EXPECT_EQ(writeEntry(0), "[1051]\n");
    RegDeleteKeyA(HKEY_LOCAL_MACHINE, UNINSTALL.c_str());
    makeKeyWithout(KEY_ENUMERATE_SUB_KEYS, ENTRY + "\\Guarded");
    EXPECT_EQ(writeEntry(1), "[1078]\n");
    makeKeyWithout(0, ENTRY + "\\Guarded");
}

using DotNetFramework = RegistrySandbox;

TEST_F(DotNetFramework, Root) {
    constexpr char KEY[] = "SOFTWARE\\Microsoft\\.NETFramework";
    const std::string longest(259, 'r');
    char root[256] = "kept";
    EXPECT_FALSE(findDotNetFrameworkRoot(root));
    putValue(KEY, "other", REG_SZ, "x\0"s);
    EXPECT_FALSE(findDotNetFrameworkRoot(root));
    EXPECT_STREQ(root, "kept");
    const std::tuple<const char*, std::string, std::string> cases[] = {
        {"InstallRoot", "C:\\Run", "C:\\Run"},
        {"sdkInstallRoot", "C:\\Sdk", "C:\\Sdk"},  // before the one that is there already
        {"sdkInstallRoot", longest, longest.substr(0, 255)}};
    for (const auto& [name, data, expected] : cases) {
        putValue(KEY, name, REG_SZ, data + '\0');
        EXPECT_TRUE(findDotNetFrameworkRoot(root));
        EXPECT_EQ(root, expected);
    }
}

}  // namespace
