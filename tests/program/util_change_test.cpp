// The commands of zelkpmutil that change something, as programs.
#include <filesystem>
#include <fstream>
#include <regex>

#include "services/owners.h"
#include "tests/program/machine.h"

namespace {

using Texts = std::vector<std::string>;

class UtilChange : public Machine {
  protected:
    ~UtilChange() override { removeKey(UNINSTALL + '\\' + longName); }

    std::string lay(const std::string& copyName) const {
        const std::string to = scratch + '\\' + copyName;
        copy(to);
        return to;
    }
    static std::string program(const std::string& copyFolder) {
        return '"' + copyFolder + "\\bin\\zelkpmutil.exe\" ";
    }
    // The file that a line of the output names.
    static std::string named(const std::string& console, const std::string& before) {
        std::smatch found;
        return std::regex_search(console, found, std::regex(before + "(.*)")) ? found[1] : ""s;
    }
    // Expects the exit code, and that the command says each text, or does not: "!text". Keeps its
    // log, and the data sources that it exported.
    void expect(int code, const std::string& command, const Texts& texts,
                const std::string& copyFolder = "", const Start& start = {}) {
        const Result result =
            execute(program(copyFolder.empty() ? dir : copyFolder) + command, start);
        SCOPED_TRACE(command + '\n' + result.console);
        EXPECT_EQ(result.code, code);
        for (const std::string& text : texts)
            EXPECT_EQ(result.console.find(text.substr(text[0] == '!')) == text.npos, text[0] == '!')
                << text;
        const std::string log = named(result.console, "Log: "),
                          file = named(result.console, "exported: ");
        log_ = readFile(log);
        if (!log.empty()) {
            EXPECT_EQ(log_.find("\xEF\xBB\xBF"), 0U);
            EXPECT_NE(log_.find(" end   " + std::to_string(code) + " after "), log_.npos) << log_;
        }
        DeleteFileA(log.c_str());
        if (!file.empty()) std::filesystem::rename(file, exported);
    }
    static Registry value(const std::string& key, const std::string& title, std::string data,
                          int type = REG_SZ) {
        if (type == REG_SZ) data += '\0';
        return {key + " | " + title + " = " + std::to_string(type) + ':' + data};
    }
    static Registry only(const Registry& lines, const std::string& text) {
        Registry found;
        for (const std::string& line : lines)
            if (line.find(text) != line.npos) found.insert(line);
        return found;
    }
    void import() {
        const std::string view = sizeof(void*) == 8 ? " /reg:64" : " /reg:32";
        EXPECT_EQ(execute(windows_ + "\\System32\\reg.exe import \"" + exported + '"' + view).code,
                  0);
    }

    const std::string windows_ = getenv("SystemRoot");
    const std::string longName = '_' + std::string(62, 'A') + '9';
    const std::string exported = scratch + "\\exported.reg";
    const std::string odd =
        "Copy (1) & 100%TEMP% two^3!, x=y" + folder.substr(folder.rfind(' '));  // and not ASCII
    const std::string dir = lay(odd);
    const std::string driver = driverOf(dir);
    std::string log_;
};

TEST_F(UtilChange, RegistersUpgradesAndUnregisters) {
    const std::string record = COPIES + '\\' + longName, entry = UNINSTALL + '\\' + longName;
    expect(0, "register " + longName + " -d -i EN",
           {"ok       OleDb ", "ok       DefaultCopy", "  Registering the copy.",
            "zelkpmreg.exe ended with 0", "regsvr32.exe ended with 0", "!MISSING", "!WRONG"});
    for (const char* kind : {" start zelkpmutil ", " about ", " run   \"", " out   Registering",
                             " code  zelkpmreg.exe 0 (0x00000000)", " code  regsvr32.exe 0",
                             " part  ok       OleDb", "\\Logs\\Orvane\\run-"})
        EXPECT_NE(log_.find(kind), log_.npos) << kind << log_;
    Registry entryValues = value(entry, "Publisher", "Orvane");
    entryValues.merge(value(entry, "InstallLocation", dir + '\\'));
    entryValues.merge(
        value(entry, "QuietUninstallString", program(dir) + "unregister " + longName));
    entryValues.merge(value(entry, "NoModify", "\1\0\0\0"s, REG_DWORD));
    entryValues.merge(value(entry, "NoRepair", "\1\0\0\0"s, REG_DWORD));
    for (const std::string& line : entryValues)
        EXPECT_EQ(readRegistry(false).count(line) + readRegistry().count(line), 1U) << line;

    Registry settings = value(DRIVERS + '\\' + driver, "CPTimeout", "17");
    settings.merge(value(record, "Site setting", "\0\1"s, REG_BINARY));
    settings.merge(value(record + "\\Site", "more", "a\0b\0\0"s, REG_MULTI_SZ));
    for (const char* source : {" a]", " b & (c)", " d \"e\"", " f"})
        settings.merge(value(SOURCES, MARK + source, driver));
    const std::string key = SOURCES.substr(0, SOURCES.rfind('\\') + 1) + MARK + " a]";
    settings.merge(value(key, "Server", "a\\b \"c\" \t\r\n[x]\xE4"));
    settings.merge(value(key, "@", "\xFF\0\1"s + std::string(99, 'x'), REG_BINARY));
    settings.merge(value(key, "Expand", "%PATH%\0"s, REG_EXPAND_SZ));
    settings.merge(value(key, "", "default"));
    settings.merge(value(key, "Number", "\1\2\3\4", REG_DWORD));
    settings.merge(value(key, "Odd", "\1\2\3", 0x1234));
    settings.merge(value(key + "\\below", "Empty", "", REG_NONE));
    const Registry others = value(SOURCES, MARK + " other", driver + "other");
    put(settings), put(others);
    settings = readRegistry();  // as the registry holds them
    const Registry sources = only(settings, "ODBC.INI");
    const std::string upper = CharUpperA(std::string(dir).data());
    expect(0, "upgrade -v -i EN",
           {"ok       DefaultCopy       " + longName, "The switch tool was called", "!MISSING"},
           upper);
    // The temporary files of the program are where only administrators can put any.
    EXPECT_TRUE(std::regex_search(log_, std::regex("Logs.Orvane.run-[0-9]+.ZEL"))) << log_;
    Registry kept = readRegistry();
    std::erase_if(settings, [](const std::string& line) {
        return line.find("ORVANEDAZELK") != line.npos || line.find("UsageCount") != line.npos;
    });
    for (const std::string& line : settings) EXPECT_EQ(kept.count(line), 1U) << line;
    expect(0, "register " + longName + " -d",
           {"ended with -101: the name is already registered", "!exported"});

    expect(0, "register " + longName + " -r",
           {"4 system data sources exported", "ok       DefaultCopy"});
    import();
    EXPECT_EQ(only(readRegistry(), "ODBC.INI"), sources);
    const std::string log = scratch + "\\logs\\a!b.log";
    expect(0, "unregister -s -l \"" + log + '"', {"!a"}, upper);
    log_ = readFile(log);
    for (const char* text :
         {" removed  DataSource  ", " gone     Record", " end   0 after ", " exported: "})
        EXPECT_NE(log_.find(text), log_.npos) << text << log_;
    EXPECT_EQ(log_.find("LEFT"), log_.npos) << log_;
    std::filesystem::rename(named(log_, "exported: "), exported);
    Registry left = readRegistry();
    std::erase_if(left, [&](const std::string& line) {
        // The stand-in of the driver leaves the key of a data source.
        return line.ends_with(" |") || line.find("Pooling |") != line.npos ||
               line.find("ODBC.INI\\" + MARK) != line.npos;
    });
    EXPECT_EQ(left, others);
    import();
    EXPECT_EQ(only(readRegistry(), "ODBC.INI"), sources);
    // What a run that was ended has left: the driver is gone, its data sources are not.
    expect(0, "unregister " + longName,
           {"ended with -102", "removed  DataSource        " + MARK + " a]", "!LEFT"});
    EXPECT_EQ(only(readRegistry(), "ODBC.INI"), only(readRegistry(), " other"));
    for (const auto& file : std::filesystem::directory_iterator(windows_ + "\\Logs\\Orvane"))
        EXPECT_NE(file.path().filename().string().find("run-"), 0U) << file.path();
}

TEST_F(UtilChange, LeavesWhatIsNotOurs) {
    Registry entry = value(UNINSTALL + "\\ORVDBCL1", "DisplayName", "Another product");
    entry.merge(value(UNINSTALL + "\\ORVDBCL1", "UninstallString", "\"C:\\a & b\\x.exe\" /u"));
    entry.merge(value(UNINSTALL + "\\ORVDBCL1\\Below", "odd", "\1\0\2"s, 77));
    put(entry);
    entry = readRegistry();
    expect(183, "register ORVDBCL1", {"The product: \"Another product\"", "!zelkpmreg.exe ended"});
    EXPECT_NE(log_.find("Another product"), log_.npos);
    expect(183, "upgrade ORVDBCL1", {"another product"});
    expect(0, "unregister ORVDBCL1", {"info     UninstallEntry", "ended with -102", "!LEFT"});
    EXPECT_EQ(only(readRegistry(), "ORVDBCL1"), entry);
    // The program itself does not ask whose the entry is.
    execute('"' + dir + "\\bin\\zelkpmreg.exe\" -c ORVDBCL1 -l \"" + scratch + "\\run.log\"");
    // Of two neighbors a run leaves the second one.
    for (const char* source : {" a\\", " tail\\"}) put(value(SOURCES, MARK + source, driver));
    expect(1, "unregister",
           {"info     UninstallEntry", "LEFT     DataSource        " + MARK + " tail\\"});
    const Registry left = readRegistry();
    for (const std::string& line : entry) EXPECT_EQ(left.count(line), 1U) << line;
    EXPECT_EQ(only(left, "zelkpmutil").size(), 0U);
    expect(-102, "unregister ORVDBCL1", {"LEFT     DataSource"});

    // Two names for one folder have one driver.
    expect(0, "register MYCOPY", {});
    expect(0, "register OTHER -r", {});
    expect(87, "upgrade", {"registered as MYCOPY and as OTHER"});
    expect(-106, "upgrade OTHER", {"also registered as MYCOPY"});
    expect(1, "unregister OTHER", {"Run \"zelkpmutil upgrade MYCOPY\""});
    expect(0, "upgrade", {"ok       Driver "});
}

TEST_F(UtilChange, RefusesAndRunsNothingElse) {
    const std::string plant = scratch + "\\plant.exe", other = lay("Other");
    std::filesystem::copy(__argv[0] + "\\..\\..\\programs\\plant.exe"s, plant);
    const std::string text = "x\" & " + plant + " & rem \"";
    expect(0, "register MYCOPY", {});
    // Texts of the registry that a command processor would run.
    for (const auto& [key, title] : std::vector<std::pair<std::string, std::string>>{
             {DRIVERS + '\\' + driver, "Driver"},
             {DRIVERS + '\\' + driver, "Setup"},
             {DRIVERS + "\\ODBC Connection Pooling", "PerfMon"},
             {COPIES + "\\MYCOPY", "RemoteCopy"},
             {COPIES + "\\MYCOPY\\InstallData\\OLEDB", "ORVANEDAZELK"},
             {COPIES + "\\" + text.substr(0, 3), "Zelk Path Name"}})
        put(value(key, title, text));
    expect(-101, "register MYCOPY", {"WRONG    DriverLibrary", "parts are not right (-101)"});
    expect(0, "upgrade MYCOPY", {});
    removeKey(COPIES + "\\" + text.substr(0, 3));
    // Variables that the user sets; the system's own names are not taken from them.
    const Texts names = {"DATE",    "TIME",       "RANDOM", "ProgramData",
                         "ComSpec", "SystemRoot", "windir"};
    std::filesystem::create_directories(scratch + "\\System32");
    for (const char* file : {"cmd", "reg", "icacls", "regsvr32"})
        std::filesystem::copy(plant, scratch + "\\System32\\" + file + ".exe");
    for (const std::string& name : names)
        SetEnvironmentVariableA(name.c_str(),
                                (name < "S" || name == "TIME" ? text : scratch).c_str());
    expect(0, "upgrade MYCOPY", {"Log: " + windows_ + "\\Logs\\Orvane\\"});
    for (const std::string& name : names) {
        const char* const before = getenv(name.c_str());  // the one of the start
        SetEnvironmentVariableA(name.c_str(), before);
    }
    for (const auto& file : std::filesystem::recursive_directory_iterator(scratch))
        EXPECT_NE(file.path().extension(), ".mark") << file.path();

    expect(5, "upgrade MYCOPY", {"Run as administrator", "!Log:"}, dir, {.administrator = false});
    expect(-106, "register OTHER", {"is registered as MYCOPY"});
    expect(-106, "upgrade OTHER", {"is registered as MYCOPY"});
    expect(-102, "unregister OTHER", {"is registered as MYCOPY"});
    expect(-101, "register MYCOPY", {"is registered for another folder: " + dir}, other);
    expect(-108, "upgrade MYCOPY", {"is registered for another folder: " + dir}, other);
    expect(-108, "unregister MYCOPY", {"is registered for another folder: " + dir}, other);
    expect(87, "unregister", {"not registered. Specify the name"}, other);
    expect(ERROR_ACCESS_DENIED, "upgrade MYCOPY -l \"" + dir + '"', {"Cannot write the log"});
    expect(0, "register OTHER -d", {}, other);
    expect(-104, "unregister OTHER", {"not unregistered (-104)", "!LEFT"}, other);
    // A second class with the library stays, and a part that is not right is never 0.
    const std::string classKey = "SOFTWARE\\Classes\\CLSID\\{" + MARK + '}';
    put(value(classKey + "\\InprocServer32", "", dir + "\\bin\\orvanedazelk.dll"));
    expect(1, "unregister MYCOPY", {"LEFT     OleDb"});
    removeKey(classKey);
    DeleteFileA((other + "\\bin\\zelkcli.dll").c_str());
    expect(1, "upgrade", {"MISSING  DriverLibrary", "1 part is not right (1)"}, other);
    std::ofstream(other + "\\bin\\orvanedazelk.dll") << "no library";
    expect(1, "upgrade -d", {"!regsvr32.exe ended"}, other);
    DeleteFileA((other + "\\msg\\en_US\\zelkpmreg.dll").c_str());
    const Registry before = readRegistry();
    expect(-110, "upgrade", {"The previous record is restored"}, other);
    EXPECT_EQ(readRegistry(), before);
    DeleteFileA((other + "\\bin\\zelkpmreg.exe").c_str());
    expect(2, "unregister OTHER", {"File not found"}, other);
    std::ofstream(other + "\\bin\\zelkpmreg.exe") << "no program";
    expect(ERROR_BAD_EXE_FORMAT, "upgrade", {"Cannot start"}, other);
    EXPECT_EQ(readRegistry(), before);
}

TEST_F(UtilChange, OneRunAtATimeAndOneThatIsEndedIsFinished) {
    const std::string tool = dir + "\\bin\\zelkpmreg.exe";
    expect(0, "register MYCOPY -d", {});
    put(value(COPIES + "\\MYCOPY", "Site setting", "x"));
    const Registry before = readRegistry();
    std::filesystem::rename(tool, tool + ".real");
    std::filesystem::copy(__argv[0] + "\\..\\..\\programs\\holder.exe"s, tool);  // does not end
    const OwnedHandle job(CreateJobObjectA(nullptr, nullptr));
    STARTUPINFOA startup = {};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process = {};
    std::string command = program(dir) + "upgrade -s -l \"" + scratch + "\\ended.log\"";
    ASSERT_TRUE(CreateProcessA(nullptr, command.data(), nullptr, nullptr, FALSE, CREATE_SUSPENDED,
                               nullptr, nullptr, &startup, &process));
    const OwnedHandle running(process.hProcess), thread(process.hThread);
    AssignProcessToJobObject(job.get(), running.get());
    ResumeThread(thread.get());
    const auto isThere = [](const std::string& key) {
        OwnedKey opened;
        return RegOpenKeyExA(HKEY_LOCAL_MACHINE, key.c_str(), 0, KEY_READ, opened.put()) == 0;
    };
    for (int i = 0; isThere(COPIES + "\\MYCOPY") && i < 300; ++i) Sleep(100);
    expect(
        1618, "unregister MYCOPY",
        {"Another run is active: upgrade MYCOPY, process " + std::to_string(process.dwProcessId)});
    TerminateJobObject(job.get(), 1);
    WaitForSingleObject(running.get(), INFINITE);
    EXPECT_EQ(readFile(scratch + "\\ended.log").find(" end   "), std::string::npos);
    expect(1, "list", {"upgrade of MYCOPY"});
    for (int i = 0; !DeleteFileA(tool.c_str()) && i < 100; ++i) Sleep(100);
    std::filesystem::rename(tool + ".real", tool);
    expect(0, "register MYCOPY", {"The upgrade of MYCOPY", "is restored", "!WRONG", "!MISSING"});
    Registry after = readRegistry();
    for (const std::string& line : before) EXPECT_EQ(after.count(line), 1U) << line;
    EXPECT_EQ(after, before);
}

}  // namespace
