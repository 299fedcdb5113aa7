// Rows of runs, and what each run says and changes, compared with transcripts.txt. The copies have
// a message library without texts, so a line of the log is a message's number and argument. When a
// transcript differs, a run of all tests writes a new transcripts.txt to the current folder.
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>

#include "msg/message_ids.h"
#include "tests/program/machine.h"

namespace {

const std::string TRANSCRIPTS =
#include "tests/program/transcripts.txt"
    ;

// The keys of copies, and values that show whose the rest is.
const std::regex BRIEFLY("^[>=]|LOG|Copies\\\\\\w+ \\||Uninstall|CLSID.*dll");

class Transcript : public Machine {
  protected:
    Transcript() {
        for (char* c = driver.data(); *c; c = CharNextA(c))
            if (*c == '\\') *c = '/';
        lay(folder);
    }
    void TearDown() override {
        static std::string all;
        const auto& tests = *testing::UnitTest::GetInstance();
        const std::string title = "\n== "s + tests.current_test_info()->name() + '\n';
        const size_t start = std::min(TRANSCRIPTS.find(title), TRANSCRIPTS.size());
        EXPECT_EQ(title + text_,
                  TRANSCRIPTS.substr(start, TRANSCRIPTS.find("\n== ", start + 1) - start));
        all += title + text_;
        if (tests.Failed())
            std::ofstream("transcripts.txt", std::ios::binary) << "R\"~(" << all << "\n== )~\"\n";
    }
    void lay(const std::string& to, const std::vector<std::string>& more = {}) const {
        copy(to, more);
        const std::string library = to + "\\msg\\en_US\\zelkpmreg.dll";
        CopyFileA((to + "\\bin\\zelkcli.dll").c_str(), library.c_str(), FALSE);
    }
    // Runs the program, or a command line that begins with a path.
    void zelkpmreg(const std::string& arguments, const Start& start = {}) {
        const Registry before = readRegistry();
        const Result result =
            arguments.starts_with(scratch) ? execute(arguments, start) : run(arguments, start);
        const Registry after = readRegistry();
        add("> ", arguments + "   " + start.orders);
        add("", result.log);
        if (result.console != result.log && !result.inputWasRead)
            add("console: ", result.console.empty() ? "nothing" : result.console);
        add("= ", std::to_string(result.code) + (result.inputWasRead ? ", key read" : ""));
        for (const std::string& line : before)
            if (!after.contains(line)) add("- ", line);
        for (const std::string& line : after)
            if (!before.contains(line)) add("+ ", line);
        for (const auto& standIn : {"zelkswtch"s, "odbccp32"s, "ZELKOSSE"s}) {
            const std::string file = folder + "\\bin\\" + standIn + ".asked";
            add(standIn + ": ", readFile(file));
            DeleteFileA(file.c_str());
        }
    }
    // Those lines that are shown, in a form that is the same on each machine.
    void add(const std::string& prefix, std::string lines) {
        static const std::regex log(
            "[A-Z]:.*.ZELKLOG.quenlet-... ... [ 1-3]\\d (\\d\\d[_ ]){3}20\\d\\d.log");
        static const std::regex unique(
            "\\{[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}\\}|ZEL[0-9A-Fa-f]+(?=.tmp)");
        lines = std::regex_replace(std::regex_replace(lines, log, "DEFAULT LOG"), unique, "UNIQUE");
        const auto replace = [&](const std::string& part, const std::string& with) {
            for (size_t at; (at = lines.find(part)) != lines.npos;)
                lines.replace(at, part.size(), with);
        };
        replace(folder, "FOLDER");
        replace(driver.substr(6), "...");  // ORVANE...
        replace(longName_, "LONG");
        replace(NAME, "NAME_");
        replace(scratch, "SCRATCH");
        replace(MARK, "MARK");
        for (char c = 0; c < '\t'; ++c) replace({c}, "<0" + std::to_string(c) + '>');
        std::istringstream stream(lines);
        for (std::string line; getline(stream, line);) {
            line = prefix + line.substr(0, line.find_last_not_of(' ') + 1);
            if (std::regex_search(line, shown_)) text_ += line + '\n';
        }
    }
    std::string driver = "ORVANE PELLIMAR for ODBC - " + folder + '/';
    std::string longName_ = "no name";
    std::regex shown_{"^(?!\\[100[68]|The specified)"};  // not the language of the system

  private:
    std::string text_;
};

TEST_F(Transcript, RegisterAndUnregister) {
    zelkpmreg("-c MYCOPY -d -p", {.input = "\n"});
    EXPECT_FALSE(std::filesystem::is_empty(scratch + "\\temp"));
    for (const auto& file : std::filesystem::directory_iterator(scratch + "\\temp"))
        EXPECT_TRUE(file.path().native().ends_with(L".tmp.exe"));
    for (int i = 0; i < 2; ++i)  // the entry's command, which has no quotes
        zelkpmreg(folder + "\\bin\\zelkpmreg.exe -u -p -c MYCOPY", {.input = "\n"});
}

TEST_F(Transcript, Replace) {
    shown_ = "^[[>=]|InstallData|default|^zelkswtch";
    zelkpmreg("-c MYCOPY -d");
    zelkpmreg("-r -v -c MYCOPY");
    std::set<std::string> identifiers;
    for (const std::string& line : readRegistry())
        if (line.find("OLEDB | ") != line.npos) identifiers.insert(line.substr(line.find('{')));
    EXPECT_EQ(identifiers.size(), 5u);
}

TEST_F(Transcript, CopiesSideBySide) {
    shown_ = "^[>=]|LOG|^zelkswtch|default|Copies\\\\\\w+ \\||Uninstall|CLSID.*dll";
    const std::string other = scratch + "\\Other (2) & more", names[] = {NAME + '1', NAME + '2'};
    lay(other);
    zelkpmreg("-d -c " + names[0]);
    zelkpmreg(other + "\\bin\\zelkpmreg.exe -c " + names[1]);
    zelkpmreg("-u -c " + names[0]);
    zelkpmreg(other + "\\bin\\zelkpmreg.exe -u -c " + names[1]);
    zelkpmreg("-u -c " + names[0]);
}

TEST_F(Transcript, NoOptionsAndAnEntryThatIsThere) {
    shown_ = BRIEFLY;
    put({UNINSTALL + "\\ORVDBCL1\\Below | x = 1:y"});
    zelkpmreg(folder + "\\bin\\zelkpmreg.exe");
    zelkpmreg("-u -c ORVDBCL1");
}

// A step that the path does not fit is refused: nothing may hold the beginning of a path only.
TEST_F(Transcript, LongInstallPaths) {
    shown_ = "^(?!- .*ggg)([>=]|.*(ggg|LONG|\\] -|1079))";  // not what was left before
    for (const size_t length : {205, 206, 222, 223, 225, 226, 236}) {
        removeKey(COPIES);
        longName_ = std::string(length - scratch.size() - 1, 'g');
        const std::string longer = scratch + '\\' + longName_;
        lay(longer);
        for (const auto& arguments : {" -i EN -c MYCOPY -d"s, " -i EN -u -c MYCOPY"s})
            zelkpmreg(longer + "\\bin\\zelkpmreg.exe" + arguments);
        std::filesystem::remove_all(longer);
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
        removeKey(COPIES);
        put(before);
        zelkpmreg(arguments);
    }
    zelkpmreg("-u -p", {.input = "\n", .deleteLog = true});
    DeleteFileA((folder + "\\msg\\en_US\\zelkpmreg.dll").c_str());
    zelkpmreg("-c MYCOPY -v");
}

TEST_F(Transcript, OverriddenRefusals) {
    shown_ = BRIEFLY;
    // A name that does not fit its buffer is no name.
    put({COPIES + "\\MYCOPY | RemoteCopy = 1:YES",
         COPIES + "\\OTHER | Zelk Path Name = 1:" + folder + '\\',
         COPIES + " | defaultClientInterfaceCopy = 1:MYCOPY\0"s + std::string(122, 'x')});
    zelkpmreg("-u -f -c MYCOPY");
    zelkpmreg("-r -c MYCOPY");
    zelkpmreg("-r -u -c MYCOPY");
}

TEST_F(Transcript, LanguagesAndLogs) {
    shown_ = "";
    const Start start = {.log = "new folder\\deeper\\%n%s%d%%.log"};
    const std::string libraries = folder + "\\msg\\", file = "\\zelkpmreg.dll";
    CreateDirectoryA((libraries + "de_de").c_str(), nullptr);
    CopyFileA((libraries + "en_US" + file).c_str(), (libraries + "de_de" + file).c_str(), FALSE);
    zelkpmreg("-u -i dE");
    zelkpmreg("-u -i FR");
    zelkpmreg("-u -s", start);
    zelkpmreg("-u", start);
    for (const auto& help : {"-h"s, "/?x -s"s, "-c 1abc"s}) zelkpmreg(help);
}

class Odbc : public Transcript {
  protected:
    Odbc() { shown_ = "^[>=]|ODBC|XADLL|TIMEOUT|^\\[10(38|39|4[0123])|^odbccp32"; }
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
    for (const auto& library : {"zelkodbc.dll"s, standIn}) {
        lay(folder, {library});
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
    shown_ = "^[>=]|^ZELKOSSE";
    lay(folder, {standIn, "ZELKOSSE.dll"});
    put({SOURCES + " | " + MARK + " = 1:Another"});  // without any, there may be no key
    zelkpmreg("-c MYCOPY");
    zelkpmreg("-r -c MYCOPY", {.orders = "remove-fails=1 record=2"});
    put({SOURCES + " | " + MARK + " = 1:" + driver});
    zelkpmreg("-u -c MYCOPY");
    for (const char* mode : {"off", "null", ""}) {
        SetEnvironmentVariableA("ZELK_TRACE", mode);
        if (*mode) zelkpmreg("-c MYCOPY -r");
    }
}

// A run does not depend on what regsvr32 returns, nor on whether it can be started.
TEST_F(Transcript, ProviderThatCannotBeRegistered) {
    shown_ = "^[>=]|CLSID|^\\[10(4[4-6]|7[34])";
    const std::string bin = folder + "\\bin\\", provider = bin + "orvanedazelk.dll";
    CopyFileA((bin + "zelkcli.dll").c_str(), provider.c_str(), FALSE);  // has no function for it
    zelkpmreg("-c MYCOPY");
    DeleteFileA(provider.c_str());
    zelkpmreg("-u -c MYCOPY");
    std::ofstream(bin + "regsvr32.exe") << "no program";
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
    std::ofstream(task) << "@\"%~dp0bin\\zelkpmreg.exe\" -c MYCOPY -d -i EN -l " << log
                        << "\n@echo %errorlevel%, %username%> " << done << '\n';
    const auto schtasks = [this](const std::string& arguments) {
        return execute("schtasks " + arguments + " /tn " + MARK).code == 0;
    };
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
    const Result refused = run("-c MYCOPY", {.administrator = false});
    EXPECT_EQ(readRegistry(), Registry());
    if (refused.startError == ELEVATION_REQUIRED) return;
    EXPECT_EQ(refused.code, -113);
    EXPECT_TRUE(refused.console.ends_with("\n[" + std::to_string(MSG_NOT_ADMINISTRATOR) + "]\n"));
}

}  // namespace
