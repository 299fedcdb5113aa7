// What refuses a run: rights, and what the registry holds of the installed copies.
#include <functional>

#include "driver/administrator.h"
#include "driver/install_directory.h"
#include "driver/preconditions.h"
#include "registration/installed_copies_keys.h"
#include "services/text.h"
#include "tests/modules/import_patch.h"
#include "tests/modules/open_handles.h"
#include "tests/modules/registry_sandbox.h"

namespace {

const std::string COPIES = INSTALLED_COPIES_KEY;
const std::string MINE = COPIES + "\\MYCOPY";

class Refusals : public RegistrySandbox {
  protected:
    Refusals() {
        copyText(copyName, "MYCOPY");
        copyText(installDir, "C:\\P\\");
        verbose = true;
    }
    static void putCopy(const std::string& name, const std::string& path,
                        const std::string& remote = "YES") {
        putValue(COPIES + '\\' + name, "Zelk Path Name", REG_SZ, path + '\0');
        putValue(COPIES + '\\' + name, "RemoteCopy", REG_SZ, remote);
    }
};

using Check = std::function<int(const CommandLine&)>;

int installedCopies(const CommandLine& line) {
    bool onlyCopy = false;
    const int code = checkInstalledCopies(line, onlyCopy);
    return code != 0 ? code : onlyCopy;
}

CommandLine unregistering(bool force = false) {
    CommandLine line;
    line.unregister = 1;
    line.forceUnregister = force;
    return line;
}

TEST_F(Refusals, DecideByTheRegistry) {
    const CommandLine add, remove = unregistering(), force = unregistering(true);
    const auto defaultCopy = [](bool onlyCopy) {
        return [=](const CommandLine& line) -> int { return checkDefaultCopy(line, onlyCopy); };
    };
    const auto none = [] {};
    const auto mine = [] { putCopy("MYCOPY", "C:\\P\\"); };
    const auto elsewhere = [] { putCopy("MYCOPY", "c:\\p\\"); };
    const auto other = [] { putCopy("OTHER", "C:\\P\\"); };
    const auto tooLong = [] { putCopy("MYCOPY", "C:\\P\\", "YES\0"s + std::string(4092, 'x')); };
    const auto isDefault = [](const std::string& name) {
        return [=] { putValue(COPIES, "defaultClientInterfaceCopy", REG_SZ, name + '\0'); };
    };
    const struct {
        std::function<void()> prepare;
        Check check;
        CommandLine line;
        bool replace;
        int code;
        bool makeDefault = false;
    } cases[] = {
        {none, checkCopyKey, add, false, 0},
        {none, checkCopyKey, remove, false, -102},
        {mine, checkCopyKey, add, false, -101},
        {mine, checkCopyKey, add, true, 0},
        {mine, checkCopyKey, remove, false, 0},
        {mine, checkRemoteCopy, remove, false, 0},
        {[] { putCopy("MYCOPY", "", "yes"); }, checkRemoteCopy, remove, false, -105},
        {[] { putCopy("MYCOPY", "", "yes"); }, checkRemoteCopy, add, false, 0},
        {tooLong, checkRemoteCopy, remove, false, -105},  // longer than its buffer: absent
        {mine, installedCopies, add, false, -106},
        {other, installedCopies, add, true, 0},
        {mine, installedCopies, remove, false, 1},
        {elsewhere, installedCopies, add, false, 0},
        {elsewhere, installedCopies, remove, false, -108},  // compared with case
        {elsewhere, installedCopies, force, false, 1},
        {[=] { mine(), other(); }, installedCopies, remove, false, 0},
        {isDefault("MYCOPY"), defaultCopy(true), remove, false, 0, true},
        {isDefault("MYCOPY"), defaultCopy(false), remove, false, -104, true},
        {isDefault("MYCOPY"), defaultCopy(false), add, true, 0, true},
        {isDefault("MYCOPY"), defaultCopy(false), add, false, 0},
        {isDefault("mycopy"), defaultCopy(false), remove, false, 0},
        {isDefault("MYCOPY\0"s + std::string(200, 'x')), defaultCopy(false), remove, false, 0}};
    for (const auto& test : cases) {
        RegDeleteTreeA(HKEY_LOCAL_MACHINE, "SOFTWARE");
        test.prepare();
        replaceExisting = test.replace;
        makeDefaultCopy = false;
        const Outcome outcome =
            outcomeOf([&] { return static_cast<uint32_t>(test.check(test.line)); });
        EXPECT_EQ(static_cast<int>(outcome.first), test.code) << &test - cases;
        EXPECT_EQ(makeDefaultCopy, test.makeDefault) << &test - cases;
    }
}

TEST_F(Refusals, InTheirOrder) {
    CommandLine line = unregistering();
    line.replaceAfterUnregister = true;
    const auto options = [&] { return static_cast<uint32_t>(checkOptions(line)); };
    FAILING(CheckTokenMembership, FALSE);
    EXPECT_EQ(outcomeOf(options), Outcome(-109, "[1010]\n"));
    line.replaceAfterUnregister = false;
    EXPECT_EQ(outcomeOf(options), Outcome(-107, "[1011]\n"));
    line.copyNameGiven = true;
    EXPECT_EQ(outcomeOf(options), Outcome(-113, "[1084]\n"));
}

TEST_F(Refusals, ProgramWithoutAPath) {
    for (const DWORD length : {DWORD{0}, DWORD{261}}) {
        FAILING(GetModuleFileNameA, length, EACH_CALL, ERROR_INSUFFICIENT_BUFFER);
        EXPECT_EQ(outcomeOf([] { return deriveInstallDirectory(), 0; }).second,
                  "Error getting executable name, directory not found.  Return code is 122\n");
        EXPECT_STREQ(installDir, "\\");
    }
}

struct Account {
    bool member;
    DWORD elevated;
    bool linkedMember;
    bool administrator;
};
Account account;

BOOL WINAPI isMemberOfAdministrators(HANDLE token, PSID, PBOOL member) {
    *member = token ? account.linkedMember : account.member;
    return TRUE;
}

BOOL WINAPI queryToken(HANDLE, TOKEN_INFORMATION_CLASS kind, LPVOID out, DWORD, PDWORD size) {
    *size = sizeof(TOKEN_LINKED_TOKEN);
    if (!out) {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return FALSE;
    }
    if (kind == TokenElevation) *static_cast<DWORD*>(out) = account.elevated;
    if (kind == TokenLinkedToken) {
        static_cast<TOKEN_LINKED_TOKEN*>(out)->LinkedToken =
            CreateEventA(nullptr, FALSE, FALSE, nullptr);
    }
    return TRUE;
}

class Administrators : public testing::Test {
    const PatchedImport membership_{"CheckTokenMembership", isMemberOfAdministrators};
    const PatchedImport information_{"GetTokenInformation", queryToken};
};

TEST_F(Administrators, KindsOfAccounts) {
    for (const Account& test : {Account{true, 1, false, true}, Account{true, 0, false, true},
                                Account{false, 0, true, true}, Account{false, 0, false, false},
                                Account{false, 1, true, false}}) {
        account = test;
        const unsigned handles = countOpenHandles();
        EXPECT_EQ(isUserAdministrator(), test.administrator);
        EXPECT_EQ(countOpenHandles(), handles);
    }
}

TEST_F(Administrators, NobodyIsOneWhenTheSystemFails) {
    account = {false, 0, true, true};
    EXPECT_TRUE(isUserAdministrator());
#define EXPECT_NOBODY(...)                                   \
    {                                                        \
        FAILING(__VA_ARGS__);                                \
        EXPECT_FALSE(isUserAdministrator()) << #__VA_ARGS__; \
    }
    EXPECT_NOBODY(AllocateAndInitializeSid, FALSE);
    EXPECT_NOBODY(GetVersionExA, FALSE);
    EXPECT_NOBODY(OpenThreadToken, FALSE, EACH_CALL, ERROR_ACCESS_DENIED);
    EXPECT_NOBODY(OpenProcessToken, FALSE);
    EXPECT_NOBODY(VirtualAlloc, nullptr, 1);
    EXPECT_NOBODY(VirtualAlloc, nullptr, 2);
    EXPECT_NOBODY(GetTokenInformation, TRUE, 1);  // of no size
    EXPECT_NOBODY(GetTokenInformation, TRUE, 3);
    for (int call = 1; call <= 4; ++call) {
        EXPECT_NOBODY(GetTokenInformation, FALSE, call, ERROR_ACCESS_DENIED);
    }
    EXPECT_NOBODY(CheckTokenMembership, FALSE, 1);
    EXPECT_NOBODY(CheckTokenMembership, FALSE, 2);
}

}  // namespace
