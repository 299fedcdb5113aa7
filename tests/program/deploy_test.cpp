// The command files for administrators, run by the system's command processors of both bitnesses.
#include <filesystem>

#include "tests/program/machine.h"

namespace {

using Texts = std::vector<std::string>;

class Deploy : public Machine {
  protected:
    std::string lay(const std::string& copyName) const {
        const std::string to = scratch + '\\' + copyName;
        copy(to);
        std::filesystem::copy(__argv[0] + "\\..\\..\\package\\deploy"s, to + "\\deploy");
        return to;
    }
    // Expects the exit code, and that the command of the copy says each text, or does not: "!text".
    void expect(int code, std::string command, const Texts& texts,
                const std::string& copyFolder = "", const Start& start = {}) {
        command.insert(command.find(' '), ".cmd\"");
        command = (copyFolder.empty() ? dir : copyFolder) + "\\deploy\\" + command + '"';
        std::string processor = other_;
        if (++calls_ % 2 == 0 || !std::filesystem::exists(other_)) processor = own_;
        const Result result = execute(processor + " /s /c \"\"" + command, start);
        SCOPED_TRACE(command + '\n' + result.console);
        EXPECT_EQ(result.code, code);
        for (const std::string& text : texts)
            EXPECT_EQ(result.console.find(text.substr(text[0] == '!')) == text.npos, text[0] == '!')
                << text;
    }
    static Registry value(const std::string& key, const std::string& title, std::string data) {
        return {key + " | " + title + " = 1:" + data + '\0'};
    }

    const std::string windows_ = getenv("SystemRoot"), own_ = windows_ + "\\System32\\cmd.exe";
    // Of the other bitness; a 32-bit Windows has none.
    const std::string other_ =
        windows_ + (sizeof(void*) == 8 ? "\\SysWOW64\\cmd.exe" : "\\Sysnative\\cmd.exe");
    int calls_ = 0;
    const std::string dir = lay("Copy (1) & two^3, x=y"), log = " -i EN -l \"" + dir + ".log\"";
    const std::string driver = "ORVANE PELLIMAR for ODBC - C:/" + MARK + "/Copy (1) & two^3, x=y/";
};

TEST_F(Deploy, RegistersUpgradesAndUnregisters) {
    expect(1, "verify MYCOPY", {"MISSING  Record ", "MISSING  OleDb ", "!ok       XA"});
    expect(0, "register MYCOPY -d" + log, {"ok       OleDb ", "ok       DefaultCopy", "!MISSING"});
    Registry settings = value(DRIVERS + '\\' + driver, "CPTimeout", "17");
    for (const char* source : {" a", " b & (c)", " d"})
        settings.merge(value(SOURCES, MARK + source, driver));
    Registry others = value(SOURCES, MARK + " other", driver + "other");
    put(settings), put(others);
    const std::string upper = CharUpperA(std::string(dir).data());
    expect(0, "upgrade mycopy" + log, {"ok       DefaultCopy      MYCOPY", "!MISSING"}, upper);
    settings.merge(readRegistry());
    EXPECT_EQ(settings, readRegistry());
    expect(0, "unregister MYCOPY" + log, {"removed  DataSource       " + MARK, "!LEFT"}, upper);
    Registry left = readRegistry();
    std::erase_if(left, [&](const std::string& line) {
        return line.ends_with(" |") || line.find("Pooling |") != line.npos;
    });
    EXPECT_EQ(left, others);
    expect(0, "unregister MYCOPY" + log, {"!LEFT"});
}

TEST_F(Deploy, NamesDamage) {
    const Texts parts = {"Record ", "RecordR",  "RecordO",  "Driver ", "DriverL",
                         "SetupL",  "PoolingP", "PoolingR", "XA ",     "UninstallE"};
    const Texts lines = {"Path Name =", "RemoteCopy =", "Lookup =",    ":Installed", "| Driver =",
                         "Setup =",     "PerfMon =",    "RetryWait =", ".DLL =",     "UninstallS"};
    expect(0, "register MYCOPY" + log, {});
    const Registry whole = readRegistry();
    for (const size_t half : {0, 1}) {
        Texts texts;
        for (size_t i = 0; i < parts.size(); ++i) {
            texts.push_back((i % 2 == half ? "MISSING  " : "ok       ") + parts[i]);
            for (const std::string& line : whole) {
                if (i % 2 != half || line.find(lines[i]) == line.npos) continue;
                const size_t bar = line.find(" | "), end = line.find(" = ") - bar - 3;
                RegDeleteKeyValueA(HKEY_LOCAL_MACHINE, line.substr(0, bar).c_str(),
                                   line.substr(bar + 3, end).c_str());
            }
        }
        expect(1, "verify MYCOPY", texts);
        put(whole);
    }
    put(value(UNINSTALL + "\\MYCOPY", "UninstallString", "\"C:\\a & b\\x.exe\" /u"));
    DeleteFileA((dir + "\\bin\\zelkcli.dll").c_str());
    expect(-101, "register MYCOPY" + log, {"Entry   C:\\a & b\\x.exe /u (", "MISSING  DriverL"});
    removeKey(COPIES + "\\MYCOPY");
    expect(-102, "unregister MYCOPY" + log, {"LEFT     UninstallEntry", "LEFT     Driver "});
}

TEST_F(Deploy, Refuses) {
    for (const std::string arguments :
         {"", "1COPY", "MY-COPY", "\"A&B\"", "MYCOPY -un", "MYCOPY /C OTHER", "MYCOPY -r"})
        expect(87, "upgrade " + arguments, {});
    expect(87, "verify " + std::string(65, 'A'), {"up to 64"});
    expect(0, "upgrade MYCOPY /?", {"upgrade.cmd NAME", "!MISSING"});
    put(value(UNINSTALL + "\\ORVDBCL1", "DisplayName", "Another product"));
    expect(183, "register ORVDBCL1" + log, {"another product"});
    expect(0, "unregister ORVDBCL1" + log, {"!LEFT"});
    expect(183, "upgrade ORVDBCL1" + log, {"another product"});  // its entry is still there

    const std::string other = lay("Other");
    expect(0, "register MYCOPY -d" + log, {});
    expect(-106, "upgrade OTHER" + log, {"also registered as MYCOPY"});
    expect(-108, "upgrade MYCOPY" + log, {"registered for another folder"}, other);
    expect(1, "upgrade MYCOPY -l", {"previous record is restored"});
    const int code = isWine() ? -113 : ERROR_ACCESS_DENIED;
    expect(code, "upgrade MYCOPY" + log, {}, dir, {.administrator = false});
    expect(0, "register MYCOPY -d" + log, {"already registered", "!MISSING"});
    expect(0, "register OTHER" + log, {}, other);
    expect(-104, "unregister MYCOPY" + log, {"!LEFT"});
    DeleteFileA((other + "\\bin\\zelkpmreg.exe").c_str());
    expect(2, "unregister OTHER" + log, {"File not found"}, other);

    SetEnvironmentVariableA("ProgramData", scratch.c_str());
    expect(-101, "register OTHER", {"WRONG    Record ", scratch + "\\Orvane\\Logs\\OTHER-reg"});
    std::filesystem::rename(scratch + "\\Orvane", scratch + "\\Old");
    std::filesystem::copy(dir + "\\deploy\\verify.cmd", scratch + "\\Orvane");
    expect(5, "register OTHER", {"Not a folder"});
    SetEnvironmentVariableA("ProgramData", getenv("ProgramData"));  // the one of the start
}

}  // namespace
