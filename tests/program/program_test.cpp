// What users do and what goes wrong for them, as rows of runs: see transcript.h.
#include <filesystem>
#include <fstream>

#include "tests/program/transcript.h"
#include "tests/support/names.h"

namespace {

TEST_F(Transcript, RegisterAndUnregister) {
    zelkpmreg("-c MYCOPY -d -p", {.input = "\n"});
    EXPECT_FALSE(std::filesystem::is_empty(scratch + "\\temp"));
    for (const auto& file : std::filesystem::directory_iterator(scratch + "\\temp"))
        EXPECT_TRUE(file.path().native().ends_with(L".tmp.exe"));
    for (int i = 0; i < 2; ++i)  // the entry's command, which has no quotes
        zelkpmreg(folder + "\\bin\\zelkpmreg.exe -u -p -c MYCOPY", {.input = "\n"});
}

TEST_F(Transcript, Replace) {
    show("messages, identifiers, the default copy", "^\\[|OLEDB|default|^zelkswtch");
    zelkpmreg("-c MYCOPY -d");
    zelkpmreg("-r -v -c MYCOPY");
    std::set<std::string> identifiers;
    for (const std::string& line : readRegistry())
        if (line.find("OLEDB | ") != line.npos) identifiers.insert(line.substr(line.find('{')));
    EXPECT_EQ(identifiers.size(), 5u);
}

const std::pair<std::string, std::string> BRIEFLY(
    "copies, entries in the list of programs, drivers, whose provider is registered",
    "DEFAULT LOG|Zelk(\\\\InstalledCopies(\\\\\\w+)?)? \\||Uninstall|[Dd]river|CLSID.*(dll|UNIQUE "
    "\\|)$");

TEST_F(Transcript, CopiesSideBySide) {
    show(BRIEFLY.first + ", the default copy", BRIEFLY.second + "|default|^zelkswtch");
    const std::string other = scratch + "\\Other (2) & more", names[] = {NAME + '1', NAME + '2'};
    lay(other);
    zelkpmreg("-d -c " + names[0]);
    zelkpmreg(other + "\\bin\\zelkpmreg.exe -c " + names[1]);
    zelkpmreg("-u -c " + names[0]);
    zelkpmreg(other + "\\bin\\zelkpmreg.exe -u -c " + names[1]);
    zelkpmreg("-u -c " + names[0]);
}

TEST_F(Transcript, NoOptionsAndAnEntryThatIsThere) {
    show(BRIEFLY.first, BRIEFLY.second);
    put({UNINSTALL + "\\ORVDBCL1\\Below | x = 1:y"});
    zelkpmreg(folder + "\\bin\\zelkpmreg.exe");
    zelkpmreg("-u -c ORVDBCL1");
}

class LongPath : public Transcript {
  protected:
    std::string failuresOf(const std::string& command) const;
};

// The messages of steps that failed in a run that ends well.
std::string LongPath::failuresOf(const std::string& command) const {
    const Result result = execute(command);
    EXPECT_EQ(result.code, 0);
    std::istringstream lines(withNames(result.log));
    std::string failures;
    for (std::string line; getline(lines, line);)
        if (const size_t end = line.find("_FAILED]"); end != line.npos)
            failures += line.substr(1, end + 6) + ' ';
    return failures;
}

// A step that the path does not fit is refused: nothing may hold the beginning of a path only.
TEST_F(LongPath, IsWholeOrNowhere) {
    const std::string odbc = "ODBC_INSTALL_FAILED ", oleDb = "OLEDB_REGISTER_FAILED ",
                      removal = "OLEDB_UNREGISTER_FAILED ", tool = "DEFAULT_SWITCH_FAILED ";
    const std::tuple<size_t, std::string, std::string> cases[] = {
        {205, "", ""},
        {206, odbc, ""},
        {222, odbc, ""},
        {223, odbc + tool, removal + tool},
        {225, odbc + tool, removal + tool},
        {226, odbc + oleDb + tool, removal + tool},
        {235, odbc + oleDb + tool, removal + tool}};
    for (const auto& [length, registering, unregistering] : cases) {
        SCOPED_TRACE(length);
        if (length == 205 && !isWine()) continue;  // its installer may have limits of its own
        const std::string name(length - scratch.size() - 1, 'g'), longer = scratch + '\\' + name;
        lay(longer);
        const Registry before = readRegistry();  // what could not be removed of the last copy
        EXPECT_EQ(failuresOf(longer + "\\bin\\zelkpmreg.exe -i EN -c MYCOPY -d"), registering);
        for (const std::string& line : readRegistry())
            EXPECT_TRUE(before.contains(line) || line.find("ggg") == line.npos ||
                        line.find(name + '\\') != line.npos || line.find(name + '/') != line.npos)
                << line;
        EXPECT_EQ(failuresOf(longer + "\\bin\\zelkpmreg.exe -i EN -u -c MYCOPY"), unregistering);
        for (const std::string& line : readRegistry()) {
            const bool provider = !unregistering.empty() && line.find("CLSID") != line.npos;
            EXPECT_TRUE(before.contains(line) || line.find("ggg") == line.npos || provider) << line;
        }
        std::error_code ignored;
        std::filesystem::remove_all(longer, ignored);
    }
}

TEST_F(Transcript, Refusals) {
    const std::string path = " | Zelk Path Name = 1:", mine = COPIES + "\\MYCOPY",
                      other = COPIES + "\\OTHER", remote = mine + " | RemoteCopy = 1:YES";
    const std::string here = path + folder + '\\', elsewhere = path + 'c' + folder.substr(1) + '\\';
    const std::string isDefault = COPIES + " | defaultClientInterfaceCopy = 1:MYCOPY";
    // A value that ends with its buffer counts, and a longer one does not.
    const auto fill = [](const std::string& line, size_t bytes) {
        const std::string data = line.substr(line.find(" = 1:") + 5) + '\0';
        return line + '\0' + std::string(bytes - data.size(), 'x');
    };
    const std::string longer = '\0' + std::string(4092, 'x');
    const std::pair<std::string, Registry> cases[] = {
        {"-c MYCOPY", {mine + here}},
        {"-u -c MYCOPY", {other + here}},
        {"-u -f -c MYCOPY", {remote, other + here, fill(isDefault, 128)}},
        {"-u -c MYCOPY", {mine + here, mine + " | RemoteCopy = 1:yes"}},
        {"-u -c MYCOPY", {mine + here, remote + longer}},
        {"-c MYCOPY", {fill(COPIES + '\\' + std::string(257 - COPIES.size(), 'n') + here, 261)}},
        {"-u -v", {COPIES + "\\ORVDBCL1" + here}},
        {"-u -c MYCOPY", {fill(remote, 2048), mine + elsewhere}},
        {"-u -r -c MYCOPY", {remote, mine + here}},
        {"-s -c MYCOPY -l " + scratch, {}},
    };
    for (const auto& [arguments, before] : cases) {
        startOver();
        put(before);
        zelkpmreg(arguments);
    }
    zelkpmreg("-u -p", {.input = "\n", .deleteLog = true});
    DeleteFileA((folder + "\\msg\\en_US\\zelkpmreg.dll").c_str());
    has("no message library");
    zelkpmreg("-c MYCOPY -v");
}

TEST_F(Transcript, OverriddenRefusals) {
    show(BRIEFLY.first, BRIEFLY.second);
    // A name that does not fit its buffer is no name.
    put({COPIES + "\\MYCOPY | RemoteCopy = 1:YES",
         COPIES + "\\OTHER | Zelk Path Name = 1:" + folder + '\\',
         COPIES + " | defaultClientInterfaceCopy = 1:MYCOPY\0"s + std::string(122, 'x')});
    zelkpmreg("-u -f -c MYCOPY");
    zelkpmreg("-r -c MYCOPY");
    zelkpmreg("-r -u -c MYCOPY");
}

TEST_F(Transcript, LanguagesAndLogs) {
    show("all", "");
    const Start start = {.log = "new folder\\deeper\\%n%s%d%%.log"};
    const std::string libraries = folder + "\\msg\\", file = "\\zelkpmreg.dll";
    CreateDirectoryA((libraries + "de_de").c_str(), nullptr);
    CopyFileA((libraries + "en_US" + file).c_str(), (libraries + "de_de" + file).c_str(), FALSE);
    has("message libraries en_US and de_de");
    zelkpmreg("-u -i dE");
    zelkpmreg("-u -i FR");
    zelkpmreg("-u -s", start);
    zelkpmreg("-u", start);
    for (const auto& help : {"-h"s, "/?x -s"s, "-c 1abc"s}) zelkpmreg(help);
}

class Odbc : public Transcript {
  protected:
    Odbc() { show("what is of ODBC", "^\\[ODBC|\\\\ODBC|XADLL|TIMEOUT|driver|^odbccp32"); }
    // As when the copy's record was lost: nothing is removed first.
    void installAgain(const Start& start = {}) {
        removeKey(COPIES);
        zelkpmreg("-c MYCOPY", start);
    }
    const std::string standIn = "odbccp32\\odbccp32.dll", key = DRIVERS + '\\' + driver;
};

TEST_F(Odbc, AmongOtherDrivers) {
    put({DRIVERS + '\\' + MARK + " | CPTimeout = 1:15", SOURCES + " | " + MARK + " = 1:" + MARK,
         DRIVERS + "\\ODBC Drivers | " + MARK + " = 1:Installed"});
    zelkpmreg("-c MYCOPY");
    installAgain();
    put({key + " | CPTimeout = 1:90", key + " | UsageCount = 4:x\0\0\0"s});
    zelkpmreg("-r -c MYCOPY");
    zelkpmreg("-u -c MYCOPY");
    zelkpmreg("-c MYCOPY");
    removeKey(key);  // counts as removed, and its XA library goes
    zelkpmreg("-u -c MYCOPY");
}

TEST_F(Odbc, TimeoutIsKept) {
    installAgain();
    // The system's installer leaves the value where it is, the stand-in empties the key.
    for (const bool standsIn : {false, true}) {
        if (standsIn) lay(folder, {standIn});
        for (const auto& timeout : {"1:90"s, "4:Z\0\0\0"s}) {
            put({key + " | CPTimeout = " + timeout});
            installAgain();
        }
    }
    installAgain({.orders = "install-fails"});
    removeKey(key);
    installAgain();
}

TEST_F(Odbc, DataSources) {
    const std::string source = SOURCES + " | " + MARK;
    zelkpmreg("-c MYCOPY");
    put({source + "a = 1:" + driver, source + "b = 1:" + driver, source + "c = 1:Another",
         source + "d = 1:" + driver + " and more", source + "e = 1:orvane" + driver.substr(6),
         source + "f = 1:" + std::string(300, 'x'),
         source + std::string(260 - MARK.size(), 'g') + " = 1:" + driver});  // too long
    zelkpmreg("-u -c MYCOPY");  // b moves into the place of a, and is not looked at
    installAgain();
    zelkpmreg("-u -c MYCOPY");
}

TEST_F(Odbc, InstallerThatFails) {
    lay(folder, {standIn});
    zelkpmreg("-c MYCOPY");
    zelkpmreg("-r -c MYCOPY", {.orders = "install-fails remove-fails=1 record=3"});
    zelkpmreg("-r -c MYCOPY", {.orders = "install-fails"});
}

TEST_F(Odbc, Traces) {
    show("traces", "^ZELKOSSE");
    lay(folder, {standIn, "ZELKOSSE.dll"});
    put({SOURCES + " | " + MARK + " = 1:Another"});  // without any, there may be no key
    zelkpmreg("-c MYCOPY");
    put({SOURCES + " | " + MARK + " = 1:" + driver,
         DRIVERS + "\\ODBC Drivers | " + driver + " = 1:Installed"});  // the stand-in makes none
    zelkpmreg("-u -c MYCOPY", {.orders = "remove-fails=1 record=2"});
    for (const char* mode : {"off", "null", ""}) {
        SetEnvironmentVariableA("ZELK_TRACE", mode);
        if (*mode) has("tracing: "s + mode), zelkpmreg("-c MYCOPY -r");
    }
}

// A run does not depend on what regsvr32 returns, nor on whether it can be started.
TEST_F(Transcript, ProviderThatCannotBeRegistered) {
    show("what is of the provider", "CLSID|^\\[OLEDB");
    const std::string bin = folder + "\\bin\\", provider = bin + "orvanedazelk.dll";
    CopyFileA((bin + "zelkcli.dll").c_str(), provider.c_str(), FALSE);  // has no function for it
    has("a provider without a function that registers it");
    zelkpmreg("-c MYCOPY");
    DeleteFileA(provider.c_str());
    has("no provider");
    zelkpmreg("-u -c MYCOPY");
    std::ofstream(bin + "regsvr32.exe") << "no program";
    has("a regsvr32.exe that is no program in FOLDER\\bin");
    for (const auto& arguments : {"-c MYCOPY"s, "-u -c MYCOPY"s}) zelkpmreg(arguments);
}

TEST_F(Transcript, OtherOutputs) {
    const std::string command =
        '"' + folder + "\\bin\\zelkpmreg.exe\" -u -l \"" + scratch + "\\run.log\"";
    const std::string expected = execute(command).console, file = scratch + "\\file.txt";
    execute("cmd /c \"" + command + " > " + file + '"');
    EXPECT_EQ(readFile(file), expected);

    SECURITY_ATTRIBUTES inheritable = {sizeof inheritable, nullptr, TRUE};
    const HANDLE screen = CreateConsoleScreenBuffer(GENERIC_READ | GENERIC_WRITE, 0, &inheritable,
                                                    CONSOLE_TEXTMODE_BUFFER, nullptr);
    if (screen == INVALID_HANDLE_VALUE) GTEST_SKIP() << "The tests have no console.";
    execute(command, {.output = screen});
    std::string shown(4000, ' ');
    DWORD count = 0;
    ReadConsoleOutputCharacterA(screen, shown.data(), 4000, {0, 0}, &count);
    CloseHandle(screen);
    EXPECT_NE(shown.find("[1011]"), shown.npos) << shown;
}

// As deployment systems run it.
TEST_F(Machine, RegistersAsTheSystemAccount) {
    const std::string task = folder + "\\task.cmd", log = scratch + "\\run.log",
                      done = log + ".done";
    std::ofstream(task) << "@set TMP=" << scratch
                        << "\\temp\n@\"%~dp0bin\\zelkpmreg.exe\" -c MYCOPY -d -i EN -l " << log
                        << "\n@echo %errorlevel%, %username%> " << done << '\n';
    const auto schtasks = [this](const std::string& arguments) {
        return execute("schtasks " + arguments + " /tn " + MARK).code == 0;
    };
    SYSTEM_POWER_STATUS power = {};
    if (GetSystemPowerStatus(&power) && power.ACLineStatus == 0)
        GTEST_SKIP() << "Windows starts no task on battery.";
    const std::string expected = run("-c MYCOPY -d").log;
    const size_t count = readRegistry().size();
    run("-u -c MYCOPY");
    if (!schtasks("/create /f /ru SYSTEM /sc once /st 00:00 /tr \"\\\"" + task + "\\\"\""))
        GTEST_SKIP() << "No task can be scheduled here.";
    schtasks("/run");
    for (int i = 0; i < 300 && readFile(done).empty(); ++i) Sleep(100);
    schtasks("/delete /f");
    EXPECT_EQ(readFile(done), "0, "s + getenv("COMPUTERNAME") + "$\n");
    EXPECT_EQ(readFile(log), expected);
    EXPECT_EQ(readRegistry().size(), count);
}

// Windows itself may refuse, so this is not in the transcript.
TEST_F(Transcript, Rights) {
    constexpr DWORD ELEVATION_REQUIRED = 740;
    if (wineVersion() >= 10) GTEST_SKIP() << "This Wine starts the program elevated.";
    const Result refused = run("-c MYCOPY", {.administrator = false});
    EXPECT_EQ(readRegistry(), Registry());
    if (refused.startError == ELEVATION_REQUIRED) return;
    EXPECT_EQ(refused.code, -113);
    EXPECT_TRUE(withNames(refused.console).ends_with("\n[NOT_ADMINISTRATOR]\n"));
}

}  // namespace
