// What the commands of zelkpmutil that change something are made of.
#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "admin/action_log.h"
#include "admin/data_sources.h"
#include "admin/exit_code_text.h"
#include "admin/folder_fault.h"
#include "admin/run_lock.h"
#include "admin/saved_record.h"
#include "services/programs/child_process.h"
#include "services/registry_tree.h"
#include "tests/modules/import_patch.h"
#include "tests/modules/registry_sandbox.h"

namespace {

const std::string RECORD = "SOFTWARE\\Orvane\\Zelk\\InstalledCopies\\MYCOPY";
const std::string KEPT = "SOFTWARE\\Orvane\\zelkpmutil";
const std::string ENTRY = "Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\MYCOPY";

using KeptKeys = RegistrySandbox;

std::string read(const std::string& path, const char* name) {
    char data[64] = "";
    DWORD size = sizeof data;
    RegGetValueA(HKEY_LOCAL_MACHINE, path.c_str(), name, RRF_RT_ANY, nullptr, data, &size);
    return data;
}

void putRecord(const char* version) {
    putValue(RECORD, "Zelk Path Name", REG_SZ, "C:\\copy\\\0"s);
    putValue(RECORD + "\\CurrentVersion", "Version", REG_SZ, version + "\0"s);
}

// Lets this many changes of the registry happen, and none after them, as when the program is ended.
// The last one, if it deletes a tree, deletes a part of it.
class Ending {
  public:
    explicit Ending(int changes) : left_(changes) {}

  private:
    bool isOver() { return --left_ < 0; }
    int left_;
    using Result = LSTATUS;
#define LIMITED(function)                                                              \
    REPLACING(function, [this](auto... arguments) -> Result {                          \
        return isOver() ? ERROR_CANCELLED : replaced##function.original(arguments...); \
    })
    LIMITED(RegCreateKeyExA);
    LIMITED(RegCreateKeyExW);
    LIMITED(RegSetValueExA);
    LIMITED(RegSetValueExW);
    LIMITED(RegDeleteKeyValueA);
    LIMITED(RegDeleteKeyA);
    REPLACING(RegDeleteTreeA, [this](HKEY root, const char* path) -> Result {
        if (left_-- > 0) return replacedRegDeleteTreeA.original(root, path);
        if (left_ == -1) {
            replacedRegDeleteTreeA.original(root, (path + "\\CurrentVersion"s).c_str());
            replacedRegDeleteTreeA.original(root, (path + "\\Key\\CurrentVersion"s).c_str());
        }
        return ERROR_CANCELLED;
    });
};

// The steps of an upgrade; false when it was ended. The registration program in the middle makes
// its changes through the same functions.
bool upgrade() {
    bool restored = false;
    if (keepKey(KeptKind::RECORD, "MYCOPY") != 0 || deleteRecord("MYCOPY") != 0) return false;
    OwnedKey key, version;
    const auto make = [](const std::string& path, OwnedKey& made) {
        return RegCreateKeyExA(HKEY_LOCAL_MACHINE, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS,
                               nullptr, made.put(), nullptr) == 0;
    };
    return make(RECORD, key) && writeRegistryText(key.get(), "Zelk Path Name", "C:\\copy\\") == 0 &&
           make(RECORD + "\\CurrentVersion", version) &&
           writeRegistryText(version.get(), "Version", "11") == 0 &&
           putKeptBack(KeptKind::RECORD, "MYCOPY", &restored) == 0;
}

TEST_F(KeptKeys, AnUpgradeThatIsEndedAnywhereIsPutBackOrFinished) {
    bool done = false;
    for (int changes = 0; !done; ++changes) {
        SCOPED_TRACE(changes);
        ASSERT_LT(changes, 60);
        RegDeleteTreeA(HKEY_LOCAL_MACHINE, "SOFTWARE\\Orvane");
        putRecord("10");
        putValue(RECORD, "Site \x81 value", REG_BINARY, "\0\1\2"s);
        putValue(RECORD + "\\Site", "", REG_MULTI_SZ, "a\0b\0\0"s);
        putValue(RECORD + "\\Site", "empty", REG_NONE, "");
        {
            const Ending ending(changes);
            done = upgrade();
        }
        List<Interrupted> interrupted;
        listInterrupted(ownView(), interrupted);
        for (const Interrupted& one : interrupted) {
            EXPECT_STREQ(one.command, "upgrade");
            EXPECT_EQ(strlen(one.since), 20U) << one.since;
            bool restored = false;
            EXPECT_EQ(putKeptBack(KeptKind::RECORD, one.name, &restored), 0U);
        }
        EXPECT_FALSE(isKept(KeptKind::RECORD, "MYCOPY"));
        EXPECT_EQ(read(RECORD, "Zelk Path Name"), "C:\\copy\\");
        EXPECT_EQ(read(RECORD + "\\CurrentVersion", "Version").empty(), false);
        EXPECT_EQ(read(RECORD, "Site \x81 value"), "\0\1\2"s.c_str());
        DWORD size = 0, type = 0;
        EXPECT_EQ(RegGetValueA(HKEY_LOCAL_MACHINE, (RECORD + "\\Site").c_str(), "", RRF_RT_ANY,
                               &type, nullptr, &size),
                  0);
        EXPECT_EQ(type, DWORD{REG_MULTI_SZ});
        EXPECT_TRUE(upgrade());
        EXPECT_EQ(read(RECORD + "\\CurrentVersion", "Version"), "11");
        EXPECT_FALSE(keyExists(KEPT));
    }
}

TEST_F(KeptKeys, WhatCannotBeKeptOrPutBackIsSaid) {
    bool restored = false;
    EXPECT_EQ(keepKey(KeptKind::RECORD, "MYCOPY"), DWORD{ERROR_FILE_NOT_FOUND});
    // The entry of another product, whose values another program changes meanwhile.
    putValue(ENTRY, "DisplayName", REG_SZ, "7-Zip\0"s);
    putValue(ENTRY + "\\Below", "v", REG_DWORD, "\1\2\3\4"s);
    ASSERT_EQ(keepKey(KeptKind::ENTRY, "MYCOPY"), 0U);
    EXPECT_EQ(keepKey(KeptKind::ENTRY, "MYCOPY"), DWORD{ERROR_ALREADY_EXISTS});
    RegDeleteTreeA(HKEY_LOCAL_MACHINE, ENTRY.c_str());
    {
        FAILING(RegSetValueExW, LSTATUS{ERROR_ACCESS_DENIED}, 2);
        EXPECT_EQ(putKeptBack(KeptKind::ENTRY, "MYCOPY", &restored), DWORD{ERROR_ACCESS_DENIED});
    }
    EXPECT_TRUE(isKept(KeptKind::ENTRY, "MYCOPY"));
    {
        // One value does not arrive, and nobody says so.
        FAILING(RegSetValueExW, LSTATUS{ERROR_SUCCESS}, 1);
        RegDeleteTreeA(HKEY_LOCAL_MACHINE, ENTRY.c_str());
        EXPECT_EQ(putKeptBack(KeptKind::ENTRY, "MYCOPY", &restored), DWORD{ERROR_INVALID_DATA});
    }
    EXPECT_EQ(putKeptBack(KeptKind::ENTRY, "MYCOPY", &restored), 0U);
    EXPECT_EQ(read(ENTRY + "\\Below", "v"), "\1\2\3\4");
    // The package's own entry has taken the place.
    ASSERT_EQ(keepKey(KeptKind::ENTRY, "MYCOPY"), 0U);
    putValue(ENTRY, "DisplayName", REG_SZ, "Orvane Pellimar Package - Remote - MYCOPY\0"s);
    EXPECT_EQ(putKeptBack(KeptKind::ENTRY, "MYCOPY", &restored), DWORD{ERROR_FILE_EXISTS});
    {
        // Half of a tree must not be put back, so it loses its mark before it is deleted.
        FAILING(RegDeleteTreeA, LSTATUS{ERROR_ACCESS_DENIED});
        EXPECT_EQ(dropKept(KeptKind::ENTRY, "MYCOPY"), DWORD{ERROR_ACCESS_DENIED});
        EXPECT_FALSE(isKept(KeptKind::ENTRY, "MYCOPY"));
    }
    EXPECT_EQ(dropKept(KeptKind::ENTRY, "MYCOPY"), 0U);
    // A copy that does not match is no copy; a link would lead out of the tree.
    putRecord("10");
    {
        FAILING(RegSetValueExW, LSTATUS{ERROR_SUCCESS}, 2);
        EXPECT_EQ(keepKey(KeptKind::RECORD, "MYCOPY"), DWORD{ERROR_INVALID_DATA});
    }
    putValue(RECORD, "SymbolicLinkValue", REG_LINK, "x");
    EXPECT_EQ(keepKey(KeptKind::RECORD, "MYCOPY"), DWORD{ERROR_NOT_SUPPORTED});
    EXPECT_FALSE(keyExists(KEPT));
}

TEST_F(KeptKeys, DataSourcesThatCannotBeRemovedStay) {
    const std::string list = "SOFTWARE\\ODBC\\ODBC.INI\\ODBC Data Sources";
    for (const char* name : {"A", "a\\b", "ODBC File DSN", "", "other"})
        putValue(list, name, REG_SZ, (*name == 'o' ? "driver2\0"s : "DRIVER\0"s));
    putValue("SOFTWARE\\ODBC\\ODBC.INI\\A\\b", "x", REG_SZ, "y\0"s);
    putValue("SOFTWARE\\ODBC\\ODBC.INI\\a\\b", "z", REG_SZ, "y\0"s);
    putValue("SOFTWARE\\ODBC\\ODBC.INI\\ODBC File DSN", "x", REG_SZ, "y\0"s);
    EXPECT_EQ(countDataSources("driver"), 4U);
    std::string texts;
    removeDataSources(
        "driver",
        [](void* out, const char* name, bool removed) {
            *static_cast<std::string*>(out) += name + (removed ? "-"s : "+"s);
        },
        &texts);
    for (const char* text : {"A-", "a\\b+", "ODBC File DSN+"})
        EXPECT_NE(texts.find(text), texts.npos) << texts;
    EXPECT_EQ(countDataSources("driver"), 3U);
    EXPECT_TRUE(keyExists("SOFTWARE\\ODBC\\ODBC.INI\\ODBC File DSN"));
    EXPECT_TRUE(keyExists(list));
    EXPECT_EQ(countDataSources("driver2"), 1U);
}

TEST(ProtectedFolders, AreUsedOnlyWhenNobodyElseHasRights) {
    const std::string installer = "S-1-5-80-956008885-3418522649-1831038044-1853292631-2271478464";
    PSID windowsOwner = nullptr;
    ConvertStringSidToSidA(installer.c_str(), &windowsOwner);
    const struct {
        std::string rules;
        FolderFault fault;
    } rows[] = {
        {"O:BAG:BAD:PAI(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)", FolderFault::NONE},
        {"O:SYD:(A;;FA;;;" + installer + ")(D;;FW;;;WD)", FolderFault::NONE},
        {"O:" + installer + "D:", FolderFault::NONE},
        {"O:BUD:P(A;OICI;FA;;;SY)", FolderFault::OWNER},
        {"D:P(A;OICI;FA;;;SY)", FolderFault::OWNER},
        {"O:BAD:P(A;OICI;FA;;;BA)(A;;FR;;;BU)", FolderFault::RIGHTS},
        {"O:BAD:P(A;OICIIO;FA;;;CO)", FolderFault::RIGHTS},
        {"O:BA", FolderFault::RIGHTS},
    };
    for (const auto& row : rows) {
        PSECURITY_DESCRIPTOR security = nullptr;
        PSID other = nullptr;
        ConvertStringSecurityDescriptorToSecurityDescriptorA(row.rules.c_str(), SDDL_REVISION_1,
                                                             &security, nullptr);
        EXPECT_EQ(judgeSecurity(security, windowsOwner, &other), row.fault) << row.rules;
        LocalFree(security);
    }
    SECURITY_DESCRIPTOR open = {};
    PSID other = nullptr;
    InitializeSecurityDescriptor(&open, SECURITY_DESCRIPTOR_REVISION);
    SetSecurityDescriptorOwner(&open, windowsOwner, FALSE);
    SetSecurityDescriptorDacl(&open, TRUE, nullptr, FALSE);  // everybody may do everything
    EXPECT_EQ(judgeSecurity(&open, windowsOwner, &other), FolderFault::RIGHTS);
    LocalFree(windowsOwner);

    const std::wstring name = L"Temp\\zelkpmreg-tests";
    char reason[512] = "";
    std::wstring path(PATH_BYTES, L'\0');
    path.resize(GetSystemWindowsDirectoryW(path.data(), PATH_BYTES));
    path += L'\\' + name;
    std::filesystem::remove_all(path);
    {
        ProtectedFolder folder, again, below, taken;
        ASSERT_EQ(openProtected(folder, name.c_str(), reason), 0U) << reason;
        EXPECT_EQ(openProtected(again, name.c_str(), reason), 0U) << reason;
        EXPECT_FALSE(MoveFileW(path.c_str(), (path + L"2").c_str()));
        EXPECT_EQ(below.makeNewBelow(folder, L"run-1"), FolderFault::NONE);
        EXPECT_EQ(taken.makeNewBelow(folder, L"run-1"), FolderFault::NOT_MADE);
        // Two logs of one second have two names.
        char first[PATH_BYTES], second[PATH_BYTES];
        for (int attempt = 0; attempt < 3; ++attempt) {
            createNamedFile(folder, "A", "-x.log", first);
            createNamedFile(folder, "A", "-x.log", second);
            EXPECT_STRNE(first, second);
            if (strstr(second, "-x-2.log")) break;
            EXPECT_LT(attempt, 2) << second;
        }
        RunLock lock, late;
        EXPECT_EQ(lock.take(folder, "register", "A"), 0U);
        EXPECT_EQ(late.take(folder, "upgrade", "B"), DWORD{ERROR_INSTALL_ALREADY_RUNNING});
        EXPECT_EQ(std::string(late.owner()).find("register A, process "), 0U) << late.owner();
        removeFoldersBelow(folder, L"run-2");
        EXPECT_TRUE(std::filesystem::exists(path + L"\\run-1"));
        below.remove();
        EXPECT_FALSE(std::filesystem::exists(path + L"\\run-1"));
    }
    std::filesystem::remove_all(path);
    ProtectedFolder folder;
    CreateDirectoryW(path.c_str(), nullptr);  // with the rights that the folder above hands down
    EXPECT_EQ(openProtected(folder, name.c_str(), reason), DWORD{ERROR_ACCESS_DENIED});
    EXPECT_NE(std::string(reason).find("lets S-1-"), std::string::npos) << reason;
    RemoveDirectoryW(path.c_str());
    ownFile(CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0, nullptr));
    EXPECT_EQ(openProtected(folder, name.c_str(), reason), DWORD{ERROR_ACCESS_DENIED});
    EXPECT_EQ(std::string(reason).find("Not a folder"), 0U) << reason;
    DeleteFileW(path.c_str());
}

TEST(ActionLogs, AFullDiskIsAFailure) {
    const std::string path = std::filesystem::temp_directory_path().string() + "zelkpmutil.log";
    ActionLog log;
    ASSERT_EQ(log.openAt(path.c_str()), 0U);
    EXPECT_EQ(log.write("start", "x"), 0U);
    {
        FAILING(WriteFile, FALSE, EACH_CALL, ERROR_DISK_FULL);
        EXPECT_EQ(log.write("start", "x"), DWORD{ERROR_DISK_FULL});
    }
    log = ActionLog();
    DeleteFileA(path.c_str());
    EXPECT_EQ(log.openAt((path + '?').c_str()), DWORD{ERROR_INVALID_NAME});
}

TEST(ChildProcesses, AreReadLineByLineAndNeverWaitedForTooLong) {
    const std::string program =
        std::filesystem::path(_pgmptr).replace_filename("children.exe").string();
    std::vector<std::string> lines;
    const LineReceiver receive = [](void* out, const char* line) {
        static_cast<std::vector<std::string>*>(out)->push_back(line);
    };
    DWORD code = 0;
    EXPECT_EQ(runChild(program.c_str(), " flood 20000", receive, &lines, &code), 0U);
    EXPECT_EQ(code, 3U);
    size_t total = 0;
    for (const std::string& line : lines) total += line.size();
    EXPECT_EQ(total, 40000U);
    EXPECT_EQ(lines.size(), 10U);  // of 4095 bytes at most

    // A program that it leaves behind has its output, but none of this process's own handles.
    lines.clear();
    SECURITY_ATTRIBUTES inheritable = {sizeof inheritable, nullptr, TRUE};
    OwnedHandle end, start;
    CreatePipe(end.put(), start.put(), &inheritable, 0);
    const OwnedHandle release(CreateEventA(nullptr, TRUE, FALSE, "zelkpmutil-tests"));
    const DWORD began = GetTickCount();
    EXPECT_EQ(runChild(program.c_str(), " leave zelkpmutil-tests", receive, &lines, &code), 0U);
    EXPECT_LT(GetTickCount() - began, 20000U);
    EXPECT_EQ(lines, std::vector<std::string>{"left"});
    start.reset();
    char byte = 0;
    DWORD count = 0;
    EXPECT_FALSE(ReadFile(end.get(), &byte, 1, &count, nullptr));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_BROKEN_PIPE});
    SetEvent(release.get());

    EXPECT_EQ(runChild("C:\\no\\such.exe", "", receive, &lines, &code),
              DWORD{ERROR_PATH_NOT_FOUND});
    EXPECT_EQ(runChild("C:\\a\" & b.exe", "", receive, &lines, &code), DWORD{ERROR_INVALID_NAME});
    EXPECT_EQ(runChild(program.c_str(), std::string(2000, ' ').c_str(), receive, &lines, &code),
              DWORD{ERROR_FILENAME_EXCED_RANGE});
    EXPECT_STREQ(regsvr32CodeText(3), "the library, or one that it needs, could not be loaded");
    EXPECT_STREQ(programCodeText(-103), "not known");
}

}  // namespace
