// Who counts as an administrator, and a program that does not know its own path.
#include "services/administrator.h"

#include "driver/install_directory.h"
#include "driver/run_sequence.h"
#include "odbc/trace.h"
#include "run/exit_codes.h"
#include "services/programs/thread.h"
#include "tests/modules/import_patch.h"
#include "tests/modules/open_handles.h"
#include "tests/modules/registry_sandbox.h"

namespace {

TEST(InstallDirectory, ProgramWithoutAPath) {
    for (const DWORD length : {DWORD{0}, DWORD{261}}) {
        FAILING(GetModuleFileNameA, length, EACH_CALL, ERROR_INSUFFICIENT_BUFFER);
        EXPECT_EQ(outcomeOf([] { return deriveInstallDirectory(), 0; }).second,
                  "Error getting executable name, directory not found.  Return code is 122\n");
        EXPECT_STREQ(installDir, "\\");
        // Nothing is loaded from the root of the current drive then.
        char log[] = "-l", file[] = "no path.log", unregister[] = "-u";  // which is refused later
        char* arguments[] = {nullptr, log, file, unregister, nullptr};
        FAILING(LoadLibraryA, GetModuleHandleA(nullptr));
        EXPECT_EQ(outcomeOf([&] { return runSequence(4, arguments); }).first,
                  static_cast<uint32_t>(EXIT_NO_MESSAGE_LIBRARY));
        EXPECT_EQ(failingLoadLibraryA.calls, 0);
        DeleteFileA(file);
    }
    EXPECT_EQ(std::exchange(threadFailureHook, nullptr), traceThreadFailure);
}

struct Account {
    bool member;
    DWORD elevated;
    bool linkedMember;
    bool administrator;
};

TEST(Administrators, KindsOfAccountsAndFailures) {
    Account account;
    REPLACING(CheckTokenMembership, [&](HANDLE token, PSID, PBOOL member) {
        *member = token ? account.linkedMember : account.member;
        return TRUE;
    });
    const auto answer = [&](HANDLE, TOKEN_INFORMATION_CLASS kind, LPVOID out, DWORD, PDWORD size) {
        *size = sizeof(TOKEN_LINKED_TOKEN);
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        if (out && kind == TokenElevation) *static_cast<DWORD*>(out) = account.elevated;
        if (out && kind == TokenLinkedToken)
            *static_cast<HANDLE*>(out) = CreateEventA(nullptr, FALSE, FALSE, nullptr);
        return BOOL{out != nullptr};
    };
    REPLACING(GetTokenInformation, answer);
    for (const Account& test : {Account{true, 1, false, true}, Account{true, 0, false, true},
                                Account{false, 0, false, false}, Account{false, 1, true, false},
                                Account{false, 0, true, true}}) {
        account = test;
        const unsigned handles = countOpenHandles();
        EXPECT_EQ(isUserAdministrator(), test.administrator);
        EXPECT_EQ(countOpenHandles(), handles);
    }
    // The last one is none when the system fails.
#define EXPECT_NOBODY(...)                                   \
    {                                                        \
        FAILING(__VA_ARGS__);                                \
        EXPECT_FALSE(isUserAdministrator()) << #__VA_ARGS__; \
    }
    EXPECT_NOBODY(AllocateAndInitializeSid, FALSE);
    EXPECT_NOBODY(GetVersionExA, FALSE);
    EXPECT_NOBODY(OpenThreadToken, FALSE, EACH_CALL, ERROR_ACCESS_DENIED);
    EXPECT_NOBODY(OpenProcessToken, FALSE);
    for (const int call : {1, 2}) {
        EXPECT_NOBODY(VirtualAlloc, nullptr, call);
        EXPECT_NOBODY(CheckTokenMembership, FALSE, call);
        EXPECT_NOBODY(GetTokenInformation, TRUE, 2 * call - 1);  // of no size
    }
    for (int call = 1; call <= 4; ++call) {
        EXPECT_NOBODY(GetTokenInformation, FALSE, call, ERROR_ACCESS_DENIED);
    }
}

}  // namespace
