// One call of the system fails: what the steps then return and print, and what they leave.
#include <process.h>

#include <algorithm>

#include "driver/administrator.h"
#include "driver/install_directory.h"
#include "odbc/odbc_driver_setup.h"
#include "odbc/odbc_registration_step.h"
#include "odbc/trace.h"
#include "registration/copy_record.h"
#include "registration/default_copy.h"
#include "registration/dotnet_configuration.h"
#include "registration/oledb_provider.h"
#include "registration/uninstall_entry.h"
#include "services/guid.h"
#include "services/log_file.h"
#include "services/process_runner.h"
#include "services/registry.h"
#include "services/system_library.h"
#include "services/temporary_file.h"
#include "services/text.h"
#include "tests/modules/import_patch.h"
#include "tests/modules/open_handles.h"
#include "tests/modules/registry_sandbox.h"

namespace {

constexpr LSTATUS NO_RESOURCES =
    ERROR_NO_SYSTEM_RESOURCES;  // any code without a meaning of its own
const std::string COPIES = "SOFTWARE\\Orvane\\Zelk\\InstalledCopies";
const std::string COPY = COPIES + "\\MYCOPY";
const std::string OLEDB = COPY + "\\InstallData\\OLEDB";

// Process runner -----------------------------------------------------------------------------

// What run returned, and whether standard output and standard error had a reader.
using Ran = std::tuple<int, bool, bool>;

Ran runAndJoin(ProcessRunner& runner) {
    const int result = runner.run(true, false);
    runner.joinReaders();
    return {result, runner.standardOutput() != nullptr, runner.standardError() != nullptr};
}

// Runs a program that does nothing; expects that no handle and no thread is left of it.
Ran runChild() {
    const HANDLE output = GetStdHandle(STD_OUTPUT_HANDLE);
    const HANDLE error = GetStdHandle(STD_ERROR_HANDLE);
    const unsigned handles = countOpenHandles();
    const unsigned threads = countThreads();
    Ran ran;
    {
        ProcessRunner runner("cmd /c rem", false, false, false);
        ran = runAndJoin(runner);
    }
    EXPECT_EQ(GetStdHandle(STD_OUTPUT_HANDLE), error) << "whatever failed";
    EXPECT_EQ(countOpenHandles(), handles);
    EXPECT_EQ(countThreads(), threads);
    SetStdHandle(STD_OUTPUT_HANDLE, output);
    SetStdHandle(STD_ERROR_HANDLE, error);
    return ran;
}

TEST(RunnerFaults, WithoutPipesNothingIsRunAndNothingIsWrong) {
    runChild();
    for (const int call : {1, 2}) {
        {
            FAILING(CreatePipe, FALSE, call);
            EXPECT_EQ(runChild(), (Ran{0, false, false}));
        }
        {
            FAILING(SetStdHandle, FALSE, call);
            ProcessRunner runner("cmd /c rem", false, false, false);
            EXPECT_EQ(runner.run(true, false), 0);
            EXPECT_EQ(runner.standardError(), nullptr);
        }
        {
            FAILING(DuplicateHandle, FALSE, call);
            EXPECT_EQ(runChild(), (Ran{0, false, false}));
        }
    }
    FAILING(CreateProcessA, FALSE);
    EXPECT_EQ(runChild(), (Ran{0, true, true}));
}

int threadStarts;
int failingThreadStart;  // counted from 1; -1: every second one, which is that of standard error
decltype(_beginthreadex)* beginThread;
uintptr_t failToBeginThread(void* security, unsigned stack, _beginthreadex_proc_type function,
                            void* argument, unsigned flags, unsigned* id) {
    ++threadStarts;
    if (threadStarts == failingThreadStart || (failingThreadStart < 0 && threadStarts % 2 == 0)) {
        return 0;
    }
    return beginThread(security, stack, function, argument, flags, id);
}

class ThreadFaults : public RegistrySandbox {
  protected:
    ThreadFaults() {
        beginThread = patch_.original<decltype(_beginthreadex)>();
        threadStarts = 0;
        threadFailureHook = [](uint32_t component, const char* function, int32_t error) {
            failures += std::to_string(component) + function + std::to_string(error) + ' ';
        };
        failures.clear();
    }
    ~ThreadFaults() override { threadFailureHook = nullptr; }
    static inline std::string failures;

  private:
    const PatchedImport patch_{"_beginthreadex", failToBeginThread};
};

TEST_F(ThreadFaults, OnlyTheReaderOfStandardErrorDecides) {
    failingThreadStart = 1;
    EXPECT_EQ(runChild(), (Ran{0, false, true}));
    failingThreadStart = 4;
    EXPECT_EQ(runChild(), (Ran{THREAD_NOT_STARTED, true, false}));
    EXPECT_EQ(failures, "67108865ureCreateThread5111 67108865ureCreateThread5111 ");
    ThreadRecord record;
    EXPECT_EQ(startThread(nullptr, nullptr, record), THREAD_NO_FUNCTION);
}

TEST_F(ThreadFaults, StepsTellOfIt) {
    failingThreadStart = -1;
    threadFailureHook = traceThreadFailure;  // as in the program; here nobody traces
    FAILING(CreateProcessA, FALSE);          // what the steps run is another test's matter
    FAILING(CopyFileA, TRUE);
    const std::tuple<std::function<int()>, uint32_t, std::string> cases[] = {
        {[] { return registerOleDbProvider(0, "C:\\P\\", false); }, 5111, "[1046] -103\n"},
        {[] { return registerOleDbProvider(1, "C:\\P\\", false); }, 5111, "[1074] -103\n"},
        {[] { return runDotNetConfigurationTool(0, "C:\\P", false); }, -100, "[1035] -100\n"},
        {[] { return runDotNetConfigurationTool(1, "C:\\P", false); }, -100, "[1072] -100\n"},
        {[] { return switchDefaultClientCopy(), 0; }, 0, "[1081] MYCOPY\n[1079]\n"}};
    copyText(copyName, "MYCOPY");
    for (const auto& [step, result, printed] : cases) {
        EXPECT_EQ(outcomeOf(step), Outcome(result, printed));
    }
}

int allocationsLeft = -1;
DWORD allocatingThread;
decltype(malloc)* allocate;
void* failToAllocate(size_t size) {
    if (GetCurrentThreadId() == allocatingThread && allocationsLeft >= 0 &&
        allocationsLeft-- == 0) {
        return nullptr;
    }
    return allocate(size);
}

TEST(RunnerFaults, OutOfMemory) {
    const PatchedImport patch("malloc", failToAllocate);
    allocate = patch.original<decltype(malloc)>();
    allocatingThread = GetCurrentThreadId();
    // The state that both readers share, and then two records for each of the readers.
    const Ran expected[] = {{THREAD_NO_MEMORY, false, false},
                            {0, false, true},
                            {0, false, true},
                            {THREAD_NO_MEMORY, true, false},
                            {THREAD_NO_MEMORY, true, false}};
    for (int allocation = 0; allocation < 5; ++allocation) {
        const unsigned handles = countOpenHandles();
        ProcessRunner runner("cmd /c rem", false, false, false);
        allocationsLeft = allocation;
        const Ran ran = runAndJoin(runner);
        EXPECT_EQ(allocationsLeft, -1) << "none failed";
        EXPECT_EQ(ran, expected[allocation]) << allocation;
        runner.cleanup();
        EXPECT_EQ(countOpenHandles(), handles);
    }
}

// Files --------------------------------------------------------------------------------------

TEST(FileFaults, ToolThatCannotBeStagedIsNotRun) {
    const auto run = [] { return runDotNetConfigurationTool(0, "C:\\P", false); };
    const Outcome noName(DOTNET_NO_TEMPORARY_NAME, "[1083]\n");
    resetRunSettings();
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

TEST(FileFaults, CommandThatDoesNotFitIsNotRun) {
    FAILING(CreateProcessA, FALSE);
    const std::string longest = "C:\\" + std::string(256, 'p') + '\\';
    copyText(installDir, longest.c_str());
    copyText(copyName, "MYCOPY");
    EXPECT_EQ(outcomeOf([] { return switchDefaultClientCopy(), 0; }).second,
              "[1081] MYCOPY\n[1079]\n");
    EXPECT_EQ(outcomeOf([] { return registerOleDbProvider(0, installDir, false); }).second,
              "[1046] -103\n");
    EXPECT_EQ(outcomeOf([] { return runDotNetConfigurationTool(0, installDir, false); }),
              Outcome(DOTNET_TOOL_NOT_COPIED, "[1085]\n"));
    EXPECT_EQ(failing_CreateProcessA.calls(), 0);
}

TEST(FileFaults, NoDefaultLog) {
    const auto isBuilt = [] {
        char path[261] = "kept";
        const bool built = buildDefaultLogPath("quenlet", path, sizeof path);
        EXPECT_EQ(path == "kept"s, !built);
        return built;
    };
    EXPECT_TRUE(isBuilt());
    {
        FAILING(LoadLibraryA, nullptr);
        EXPECT_FALSE(isBuilt());
    }
    {
        FAILING(GetProcAddress, nullptr);
        EXPECT_FALSE(isBuilt());
    }
    {
        FAILING(GetShortPathNameA, 0);
        EXPECT_FALSE(isBuilt());
    }
    {
        FAILING(GetShortPathNameA, 261);  // what a longer one would need
        EXPECT_FALSE(isBuilt());
    }
    FAILING(GetSystemDirectoryA, 0);
    EXPECT_EQ(loadSystemLibrary("kernel32.dll"), nullptr);
}

TEST(FileFaults, ProgramWithoutAPath) {
    const auto derive = [] {
        char withoutBackslash[261] = "";
        deriveInstallDirectory(withoutBackslash);
        EXPECT_STREQ(installDir, "\\");
        return static_cast<uint32_t>(strlen(withoutBackslash));
    };
    constexpr char LINE[] =
        "Error getting executable name, directory not found.  Return code is 122\n";
    for (const DWORD length : {DWORD{0}, DWORD{261}}) {
        FAILING(GetModuleFileNameA, length, EACH_CALL, ERROR_INSUFFICIENT_BUFFER);
        EXPECT_EQ(outcomeOf(derive), Outcome(0, LINE));
    }
}

// Registry -----------------------------------------------------------------------------------

using RegistryFaults = RegistrySandbox;

TEST_F(RegistryFaults, WhichKeysDecide) {
    for (const LSTATUS code : {LSTATUS{ERROR_ACCESS_DENIED}, NO_RESOURCES}) {
        const uint32_t told = code == ERROR_ACCESS_DENIED ? 5 : ZELKI_REGISTRY_ERROR;
        const Outcome expected[] = {{0, "[1048]\n"},
                                    {0, "[1047]\n[1048]\n"},
                                    {0, "[1047]\n[1048]\n"},
                                    {told, "[1047]\n[1047]\n"}};
        for (int call = 1; call <= 4; ++call) {
            FAILING(RegCreateKeyExA, code, call);
            EXPECT_EQ(
                outcomeOf([] { return writeCopyRecord(0, "C:\\P\\", "MYCOPY", false, false); }),
                expected[call - 1]);
        }
    }
}

TEST_F(RegistryFaults, WhichValuesDecide) {
    for (const LSTATUS code : {LSTATUS{ERROR_ACCESS_DENIED}, NO_RESOURCES}) {
        const uint32_t told = code == ERROR_ACCESS_DENIED ? 5 : ZELKI_REGISTRY_ERROR;
        const struct {
            int first, last;  // of the writes that fail
            bool makeDefault;
            Outcome expected;
        } cases[] = {{1, 17, false, {0, "[1048]\n"}},
                     {18, 18, false, {told, "[1047]\n"}},  // the last identifier
                     {18, 18, true, {0, "[1048]\n"}},
                     {19, 19, true, {static_cast<uint32_t>(code), "[1047]\n"}}};
        for (const auto& test : cases) {
            for (int call = test.first; call <= test.last; ++call) {
                FAILING(RegSetValueExA, code, call);
                EXPECT_EQ(outcomeOf([&] {
                              return writeCopyRecord(0, "C:\\P\\", "MYCOPY", test.makeDefault,
                                                     false);
                          }),
                          test.expected)
                    << call;
                EXPECT_EQ(failing_RegSetValueExA.calls(), test.makeDefault ? 19 : 18);
            }
        }
    }
}

TEST_F(RegistryFaults, UninstallEntryNeedsItsCommandAlone) {
    const std::string key = "Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\MYCOPY";
    for (const int call : {1, 2}) {
        FAILING(RegSetValueExA, NO_RESOURCES, call);
        EXPECT_EQ(outcomeOf([] { return writeUninstallEntry(0, "C:\\P\\", "MYCOPY"), 0; }).second,
                  call == 1 ? "[1050]\n" : "[1051]\n");
        RegDeleteKeyA(HKEY_LOCAL_MACHINE, key.c_str());
    }
}

TEST_F(RegistryFaults, Removal) {
    const auto remove = [](bool root) {
        return outcomeOf([=] { return writeCopyRecord(1, "", "MYCOPY", false, root); });
    };
    makeKey(OLEDB);
    {
        // Subkeys that cannot be read are no failure, and what holds them stays.
        FAILING(RegEnumKeyExA, ERROR_ACCESS_DENIED);
        EXPECT_EQ(remove(false), Outcome(0, "[1076]\n"));
    }
    {
        FAILING(RegDeleteKeyA, NO_RESOURCES);
        EXPECT_EQ(remove(true), Outcome(static_cast<uint32_t>(NO_RESOURCES), "[1047]\n"));
    }
    EXPECT_TRUE(keyExists(OLEDB));
}

TEST_F(RegistryFaults, WalksAndReads) {
    putValue("K", "V", REG_SZ, std::string(300, 'x') + '\0');
    const ZELKiCopyNameRegistry key(HKEY_LOCAL_MACHINE, "K", false, nullptr, REGISTRY_READ, 0);
    bool found = true;
    unsigned index = 3;
    {
        FAILING(RegEnumValueA, NO_RESOURCES);  // for ever: the walk must end all the same
        EXPECT_EQ(key.FindValue("V", &found, &index), 0u);
        EXPECT_FALSE(found);
    }
    EXPECT_EQ(ZELKiRegistry().FindValue("V", &found, &index), 0u);
    EXPECT_FALSE(found);
    // A value that goes between asking for its size and reading it
    char out[10] = "old";
    FAILING(RegQueryValueExA, ERROR_FILE_NOT_FOUND, 2);
    EXPECT_FALSE(readRegistryText(key, "V", out, sizeof out));
    EXPECT_STREQ(out, "");
}

// Identifiers and libraries ------------------------------------------------------------------

std::string missingFunction;
std::string failingGuids;  // the calls that fail, as digits
int guidCalls;
decltype(GetProcAddress)* lookUp;

HRESULT WINAPI makeGuid(GUID* guid) {
    *guid = {};
    return failingGuids.find(std::to_string(++guidCalls)) == std::string::npos ? S_OK : E_FAIL;
}

FARPROC WINAPI lookUpOrNot(HMODULE module, LPCSTR name) {
    if (name == missingFunction) return nullptr;
    if (strcmp(name, "CoCreateGuid") == 0) {
        return reinterpret_cast<FARPROC>(reinterpret_cast<void (*)()>(makeGuid));
    }
    return lookUp(module, name);
}

class LibraryFaults : public RegistrySandbox {
  protected:
    LibraryFaults() {
        lookUp = patch_.original<decltype(GetProcAddress)>();
        missingFunction.clear();
        failingGuids.clear();
        guidCalls = 0;
    }

  private:
    const PatchedImport patch_{"GetProcAddress", lookUpOrNot};
};

TEST_F(LibraryFaults, IdentifiersThatCannotBeMadeAreLeftOut) {
    const struct {
        const char* failing;
        const char* missing;
        size_t values;
    } cases[] = {{"3", "", 4},
                 {"15", "", 3},
                 {"12345", "", 0},
                 {"", "CoCreateGuid", 0},
                 {"", "StringFromGUID2", 0}};
    for (const auto& test : cases) {
        failingGuids = test.failing;
        missingFunction = test.missing;
        guidCalls = 0;
        RegDeleteTreeA(HKEY_LOCAL_MACHINE, COPY.c_str());
        EXPECT_EQ(outcomeOf([] { return writeCopyRecord(0, "C:\\P\\", "MYCOPY", false, false); }),
                  Outcome(0, "[1048]\n"));
        EXPECT_TRUE(keyExists(OLEDB));
        EXPECT_EQ(valuesOf(OLEDB).size(), test.values) << test.failing << test.missing;
    }
}

std::string boxes;
int WINAPI noteBox(HWND, LPCSTR text, LPCSTR caption, UINT type) {
    boxes += "["s + caption + "|" + text + "|" + std::to_string(type) + "]";
    return IDOK;
}

const std::string SOURCES = "SOFTWARE\\ODBC\\ODBC.INI\\ODBC Data Sources";

std::string stepPrints(int unregister) {
    return outcomeOf([=] { return OdbcRegistrationStep(unregister, "C:\\P\\", false); }).second;
}

TEST_F(LibraryFaults, NoInstallDirectoryForTheDriver) {
    OdbcDriverSetup* setup = OdbcDriverSetup::GetInstance();
    EXPECT_EQ(setup->failed, 0);
    PrepareDriver(setup, "C:\\P\\", "");
    for (const char* directory : {"", static_cast<const char*>(nullptr)}) {
        PrepareDriver(setup, directory, "");
        EXPECT_EQ(setup->failed, 1);
        EXPECT_STREQ(setup->binDir, "C:\\P\\BIN");
    }
    EXPECT_EQ(OdbcDriverSetup::GetInstance(), setup);
    OdbcDriverSetup::DestroyInstance();
    OdbcDriverSetup::DestroyInstance();
    EXPECT_EQ(OdbcDriverSetup::GetInstance()->failed, 0);
    OdbcDriverSetup::DestroyInstance();
}

// The first test of this program that has a data source removed: the library is kept afterwards.
TEST_F(LibraryFaults, OdbcInstallerIsMissing) {
    const PatchedImport patch("MessageBoxA", noteBox);
    putValue(SOURCES, "Sales", REG_SZ, "orvane pellimar for odbc - c:/p/\0"s);
    boxes.clear();
    {
        FAILING(LoadLibraryA, nullptr);
        EXPECT_EQ(stepPrints(0), "[1038] -1879048190\n");
        EXPECT_FALSE(keyExists("SOFTWARE\\ODBC\\ODBCINST.INI\\ODBC Connection Pooling"));
        // A box for the request and one for the error record; the step goes on.
        EXPECT_EQ(stepPrints(1), "[1041]\n[1043]\n");
        EXPECT_EQ(boxes, "[||64][||64]");
    }
    missingFunction = "SQLConfigDataSource";
    boxes.clear();
    EXPECT_EQ(stepPrints(1), "[1041]\n[1043]\n");
    char self[261] = "";
    GetModuleFileNameA(nullptr, self, sizeof self);
    EXPECT_EQ(boxes, "[|"s + self + "|64]");
    missingFunction = "SQLInstallDriverEx";
    EXPECT_EQ(stepPrints(0), "[1038] -1879048190\n");
}

TEST_F(LibraryFaults, OdbcSettingsThatCannotBeWrittenAreNoFailure) {
    for (const bool again : {false, true}) {
        for (int call = 1; call <= (again ? 5 : 4); ++call) {
            RegDeleteTreeA(HKEY_LOCAL_MACHINE, "SOFTWARE");
            if (again) stepPrints(0);
            FAILING(RegSetValueExA, NO_RESOURCES, call);
            EXPECT_EQ(stepPrints(0), "[1039]\n") << call;
            EXPECT_GE(failing_RegSetValueExA.calls(), call);
            EXPECT_FALSE(keyExists("SOFTWARE\\Orvane\\Zelk\\TEMP\\CP_TIMEOUT"));
        }
    }
}

// Administrators -----------------------------------------------------------------------------

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

BOOL WINAPI tellToken(HANDLE, TOKEN_INFORMATION_CLASS kind, LPVOID out, DWORD, PDWORD size) {
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
    const PatchedImport information_{"GetTokenInformation", tellToken};
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

// The stack's guard --------------------------------------------------------------------------

extern "C" uintptr_t __stack_chk_guard;
extern "C" [[noreturn]] void __stack_chk_fail();

TEST(StackGuard, IsSetAndEndsTheProgram) {
    EXPECT_NE(__stack_chk_guard, 0u);
    EXPECT_EQ(__stack_chk_guard & 0xFF, 0u);
    EXPECT_EXIT(__stack_chk_fail(), testing::ExitedWithCode(static_cast<int>(0xC0000409)), "");
}

}  // namespace
