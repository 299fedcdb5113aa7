// zelkpmutil as administrators run it: what list and verify say of a machine.
#include <filesystem>
#include <fstream>
#include <regex>

#include "services/owners.h"
#include "tests/program/machine.h"

namespace {

const bool IS_64 = sizeof(void*) == 8;
const std::string VIEW = IS_64 ? "64-bit" : "32-bit", OTHER_VIEW = IS_64 ? "32-bit" : "64-bit";
constexpr REGSAM OTHER_FLAG = sizeof(void*) == 8 ? KEY_WOW64_32KEY : KEY_WOW64_64KEY;
const std::string LONG_NAME = "ORVDBCL1_" + std::string(54, 'x') + '_';

class Util : public Machine {
  protected:
    ~Util() override {
        OwnedKey software;
        RegOpenKeyExA(HKEY_LOCAL_MACHINE, "SOFTWARE", 0, KEY_ALL_ACCESS | OTHER_FLAG,
                      software.put());
        RegDeleteTreeA(software.get(), "Orvane");
        removeKey(UNINSTALL + '\\' + LONG_NAME);
    }
    Result util(const std::string& arguments, const std::string& copyFolder,
                const Start& start = {}) const {
        return execute('"' + copyFolder + "\\bin\\zelkpmutil.exe\" " + arguments, start);
    }
    // Expects the exit code and the whole output.
    void expect(int code, const std::string& arguments, const std::string& output,
                const std::string& copyFolder = "", const Start& start = {}) const {
        const Result result = util(arguments, copyFolder.empty() ? dir : copyFolder, start);
        EXPECT_EQ(result.code, code) << arguments << '\n' << result.console;
        EXPECT_EQ(result.console, output) << arguments;
    }
    void registerCopy(const std::string& copyFolder, const std::string& options) const {
        const Result result =
            execute('"' + copyFolder + "\\bin\\zelkpmreg.exe\" -s -i EN " + options);
        EXPECT_EQ(result.code, 0) << result.log;
    }
    static std::string slashes(std::string path) {
        std::replace(path.begin(), path.end(), '\\', '/');
        return path;
    }
    // The lines of verify, from the first part to an empty line.
    std::string parts(const std::string& defaultCopy) const {
        const std::string machine = IS_64 ? "x64: " : "x86: ", at = dir + '\\';
        std::string lines = "ok       Record            names this folder and is complete\n";
        lines += "ok       Driver            ORVANE PELLIMAR for ODBC - " + slashes(at);
        lines += "\nok       DriverLibrary     there, " + machine + at + "BIN\\zelkcli.dll";
        lines += "\nok       SetupLibrary      there, " + machine + at + "BIN\\zelkodbc.dll";
        lines += "\nok       PoolingPerfMon    the value exists";
        lines += "\nok       PoolingRetryWait  the value exists\n";
        if (IS_64 || !hasTwoViews)
            lines += "ok       XA                listed, and the library is there, " + machine +
                     at + "BIN\\ZELKAPP.DLL";
        else
            lines +=
                "info     XA                listed in the 32-bit view; the coordinator is a "
                "64-bit program and reads the 64-bit view";
        lines +=
            "\nok       UninstallEntry    command of this copy\ninfo     UninstallVersion  "
            "none; zelkpmutil writes it, zelkpmreg.exe alone does not\nok       OleDb";
        lines += "             server of class {5D3C9B7A-1F60-4E8B-9B5E-0A7C31E6D2F4}: " + at;
        return lines + "bin\\orvanedazelk.dll\n" + defaultCopy + "\n\n";
    }

    const std::string dir = scratch + "\\Copy (1) & 100% [a] ^b!, x=y";
    BOOL isEmulated = FALSE;
    const bool hasTwoViews =
        IS_64 || (IsWow64Process(GetCurrentProcess(), &isEmulated) && isEmulated);
};

TEST_F(Util, Verifies) {
    copy(dir);
    expect(1, "verify",
           VIEW + ", " + dir +
               "\\ (not registered)\n\nMISSING  Record            no record names "
               "this folder\n\nThis folder is not registered. To register it, run \"zelkpmutil "
               "register NAME\".\n");
    registerCopy(dir, "-c " + LONG_NAME);
    const std::string first =
        LONG_NAME + ", " + VIEW + ", " + dir + "\\ (registered under this name)\n\n";
    const std::string lines = first + parts("info     DefaultCopy       (none)");
    std::string upper = dir;
    CharUpperA(upper.data());
    for (const std::string& place : {dir, upper, dir + "\\bin\\.."})
        expect(0, "verify", lines + "All parts are right.\n", place);
    expect(0, "verify " + LONG_NAME, lines + "All parts are right.\n", "",
           {.administrator = false});
    expect(1, "verify /D " + LONG_NAME,
           first + parts("MISSING  DefaultCopy       (none), expected " + LONG_NAME) +
               "1 part is not right. To repair it, copy the package again and run \"zelkpmutil "
               "upgrade " +
               LONG_NAME + " -d\".\n");
    registerCopy(dir, "-r -d -c " + LONG_NAME);
    expect(0, "verify -d",
           first +
               parts("ok       DefaultCopy       " + LONG_NAME + "; bin\\zelkswtch.exe is there") +
               "All parts are right.\n");

    const auto lastLine = [&](const std::string& arguments, const std::string& place) {
        const Result result = util(arguments, place);
        EXPECT_EQ(result.code, 1) << result.console;
        const std::string text = result.console.substr(0, result.console.size() - 1);
        return text.substr(text.rfind('\n') + 1);
    };
    EXPECT_EQ(lastLine("verify OTHER", dir),
              "2 parts are not right. This folder is registered as " + LONG_NAME +
                  ": run \"zelkpmutil verify " + LONG_NAME + "\".");
    const std::string other = scratch + "\\Other";
    copy(other);
    // Without XA, which is no fault of a 32-bit copy on 64-bit Windows.
    const std::string count = IS_64 || !hasTwoViews ? "7" : "6";
    EXPECT_EQ(lastLine("verify -d " + LONG_NAME, other),
              count +
                  " parts are not right. The name is "
                  "registered for another folder. Use another name, or unregister it there.");
    EXPECT_EQ(lastLine("verify OTHER -d", other),
              count +
                  " parts are not right. To register the copy, run "
                  "\"zelkpmutil register OTHER -d\".");
    put({COPIES + "\\OTHER | Zelk Path Name = 1:" + dir + "\\" + '\0'});
    expect(87, "verify",
           "This folder is registered as " + LONG_NAME + " and as OTHER. Specify one.\n");
}

TEST_F(Util, ListsTheCopiesOfBothViews) {
    copy(dir);
    expect(0, "list", "No copy is registered.\n");
    registerCopy(dir, "-d -c MYCOPY");
    const std::string head = "View    Name    Default  Version  State  Path\n";
    const std::string mine = VIEW + "  MYCOPY  yes      10.1.2   ok     " + dir + "\\\n\n";
    expect(0, "list", head + mine + "1 copy, ok.\n", "", {.administrator = false});
    removeKey(COPIES + "\\MYCOPY");
    expect(1, "list",
           "Parts of the package without a record:\n" + VIEW +
               "  ODBC driver      "
               "ORVANE PELLIMAR for ODBC - " +
               slashes(dir) + "/\n" + VIEW +
               "  Uninstall entry  MYCOPY "
               "(Orvane Pellimar Package - Remote - MYCOPY)\n" +
               VIEW + "  XA library       " + dir +
               "\\BIN\\ZELKAPP.DLL\n\nNo copy is registered, 3 parts without a record.\n");
    registerCopy(dir, "-d -c MYCOPY");

    // A damaged copy whose name and state make the columns wider, and one of the other view.
    const std::string second = scratch + "\\Second";
    copy(second);
    registerCopy(second, "-c " + LONG_NAME);
    DeleteFileA((second + "\\bin\\zelkcli.dll").c_str());
    std::fstream library(second + "\\bin\\zelkodbc.dll",
                         std::ios::binary | std::ios::in | std::ios::out);
    library.seekg(60);
    char offset[4] = "";
    library.read(offset, 1);  // below 256
    library.seekp(static_cast<unsigned char>(offset[0]) + 4);
    library.write(IS_64 ? "\x4c\x01" : "\x64\x86", 2);
    library.close();
    // The class is the last one's that was registered, and the default copy's program is gone.
    DeleteFileA((dir + "\\bin\\zelkpmreg.exe").c_str());
    OwnedKey old;
    RegCreateKeyExA(HKEY_LOCAL_MACHINE, (COPIES + "\\OLD").c_str(), 0, nullptr, 0,
                    KEY_ALL_ACCESS | OTHER_FLAG, nullptr, old.put(), nullptr);
    const std::string gone = scratch + "\\Gone";
    RegSetValueExA(old.get(), "Zelk Path Name", 0, REG_SZ,
                   reinterpret_cast<const BYTE*>(gone.c_str()),
                   static_cast<DWORD>(gone.size() + 1));

    const auto row = [](const std::string& view, const std::string& name, const std::string& more,
                        const std::string& state, const std::string& path) {
        return view + "  " + name + std::string(LONG_NAME.size() - name.size(), ' ') + more +
               state + std::string(37 - state.size(), ' ') + "  " + path + '\n';
    };
    std::string text = row("View  ", "Name", "  Default  Version  ", "State", "Path");
    const std::string own =
        row(VIEW, "MYCOPY", "  yes      -        ", "1 not ok: UninstallEntry", dir + '\\') +
        row(VIEW, LONG_NAME, "  -        10.1.2   ", "2 not ok: DriverLibrary, SetupLibrary",
            second + '\\');
    const std::string others =
        row(OTHER_VIEW, "OLD", "  -        -        ", "folder missing", gone + '\\');
    text += IS_64 ? own + others : (hasTwoViews ? others : "") + own;
    const std::string total = hasTwoViews ? "\n3 copies, 3 not ok." : "\n2 copies, 2 not ok.";
    expect(1, "list",
           text + total + " Details: \"zelkpmutil verify\" in the folder of the copy.\n");
}

// A text of the code page as JSON has it.
std::string escaped(const std::string& text) {
    std::wstring wide(text.size(), L'\0');
    wide.resize(MultiByteToWideChar(CP_ACP, 0, text.data(), static_cast<int>(text.size()),
                                    wide.data(), static_cast<int>(wide.size())));
    std::string result;
    for (const wchar_t character : wide) {
        char code[8];
        snprintf(code, sizeof code, character > L'~' ? "\\u%04x" : "%c", character);
        result += character == L'\\' ? "\\\\" : code;
    }
    return result;
}

TEST_F(Util, PrintsOneJsonObject) {
    // The lines, without what differs from run to run.
    const auto json = [this](const std::string& arguments, const Start& start = {}) {
        const Result result = util(arguments + " --json", folder, start);
        const std::regex varying("\"(time|computer)\": \"([0-9-]+T[0-9:]+Z|[^\"]+)\"");
        return std::to_string(result.code) + std::regex_replace(result.console, varying, "\"$1\"");
    };
    const auto head = [](int code, const std::string& command, const std::string& error,
                         bool elevated = true) {
        return std::to_string(code) +
               "{\n  \"schema\": 1,\n  \"tool\": \"zelkpmutil\",\n"
               "  \"version\": \"10.1.2\",\n  \"command\": " +
               command +
               ",\n  \"time\",\n"
               "  \"computer\",\n  \"elevated\": " +
               (elevated ? "true" : "false") + ",\n  \"exitCode\": " + std::to_string(code) +
               ",\n  \"error\": " + error + ",\n";
    };
    const std::string path = "\"path\": \"" + escaped(folder) + "\\\\\", \"default\": false, ";
    const std::string copyName = "{\"view\": \"" + VIEW + "\", \"name\": \"MYCOPY\", ";
    const std::string none =
        "  \"withoutRecord\": [],\n  \"interrupted\": [],\n  "
        "\"userDataSources\": [],\n  \"profilesNotRead\": 0\n}\n";
    EXPECT_EQ(json("list"), head(0, "\"list\"", "null") + "  \"copies\": [],\n" + none);
    EXPECT_EQ(json("list x"), head(87, "\"list\"",
                                   "{\"code\": 87, \"text\": \"list does not take a "
                                   "name: x\"}") +
                                  "  \"copies\": [],\n" + none);
    EXPECT_EQ(
        json("lst"),
        head(87, "null",
             "{\"code\": 87, \"text\": \"Not a command: lst. The "
             "commands are list, verify, register, upgrade, unregister, files, sources export, "
             "and sources import.\"}") +
            "  \"copy\": null,\n  \"parts\": [],\n  \"interrupted\": []\n}\n");
    EXPECT_EQ(run("-c MYCOPY").code, 0);
    EXPECT_EQ(json("list", {.administrator = false}),
              head(0, "\"list\"", "null", false) + "  \"copies\": [\n    " + copyName + path +
                  "\"version\": \"10.1.2\", \"state\": "
                  "\"ok\", \"notOk\": []}\n  ],\n" +
                  none);
    DeleteFileA((folder + "\\bin\\zelkodbc.dll").c_str());
    const std::string lines = json("verify");
    const std::string begin =
        head(1, "\"verify\"", "null") + "  \"copy\": " + copyName + path +
        "\"version\": \"10.1.2\"},\n  \"parts\": [\n    {\"part\": \"Record\", \"state\": \"ok\", "
        "\"checked\": \"names this folder and is complete\", \"found\": \"" +
        escaped(folder) + "\\\\\", \"expected\": \"" + escaped(folder) + "\\\\\", \"where\": ";
    EXPECT_EQ(lines.substr(0, begin.size()), begin);
    const std::string library = escaped(folder) + "\\\\BIN\\\\zelkodbc.dll";
    EXPECT_NE(lines.find("{\"part\": \"SetupLibrary\", \"state\": \"missing\", "), lines.npos)
        << lines;
    EXPECT_NE(lines.find(", \"where\": \"" + library +
                         "\", \"text\": \"file not found: " + library + "\"},\n"),
              lines.npos);
    EXPECT_EQ(json("list"), head(1, "\"list\"", "null") + "  \"copies\": [\n    " + copyName +
                                path +
                                "\"version\": \"10.1.2\", \"state\": \"wrong\", \"notOk\": "
                                "[\"SetupLibrary\"]}\n  ],\n" +
                                none);
}

TEST_F(Util, RefusesAndHelps) {
    copy(dir);
    expect(87, "list x", "list does not take a name: x\n");
    expect(87, "verify \"A&B\"",
           "Not a valid name: A&B. Use up to 64 letters, digits, and underscores, and no digit "
           "first.\n");
    const auto first = [&](const std::string& arguments) {
        const Result result = util(arguments, dir);
        return std::to_string(result.code) + result.console.substr(0, result.console.find('\n'));
    };
    EXPECT_EQ(first(""), "87zelkpmutil COMMAND [arguments]");
    EXPECT_EQ(first("/?"), "0zelkpmutil COMMAND [arguments]");
    EXPECT_EQ(first("--version"), "0zelkpmutil 10.1.2 (" + VIEW + ')');
    for (const std::string verb :
         {"list [--json]", "verify [NAME] [-d] [--json]", "register NAME [options]",
          "upgrade [NAME] [options]", "unregister [NAME] [options]", "files [FOLDER] [--json]",
          "sources export FILE", "sources import FILE [options]"})
        EXPECT_EQ(first(verb.substr(0, verb.find_first_of("[FN")) + "--help"),
                  "0zelkpmutil " + verb);
}

}  // namespace
