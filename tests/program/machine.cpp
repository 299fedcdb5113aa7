#include "tests/program/machine.h"

#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>

#include "services/owners.h"
#include "services/system_library.h"

namespace {

const std::string BUILD = _pgmptr + "\\..\\..\\"s;
const std::string DOTNET = "SOFTWARE\\Microsoft\\.NETFramework";
const std::string POOLING = DRIVERS + "\\ODBC Connection Pooling";
const std::regex LINE("(.*?) \\|( (.*) = (\\d+):([^]*))?");
SECURITY_ATTRIBUTES inheritable = {sizeof inheritable, nullptr, TRUE};

// With letters that are not ASCII, as far as the code page of the system has them.
std::string defaultName() {
    char name[32] = "";
    WideCharToMultiByte(CP_ACP, 0, L"Copy One \u00e4\u044f\u8868", -1, name, 32, nullptr, nullptr);
    return std::regex_replace(name, std::regex("[?]"), "_");
}

void readKey(const std::string& path, Registry& lines) {
    OwnedKey key;
    if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ, key.put())) return;
    lines.insert(path + " |");
    std::string name(16384, '\0'), data(1 << 16, '\0');
    for (DWORD i = 0, type = 0;; ++i) {
        DWORD nameSize = 16384, size = 1 << 16;
        if (RegEnumValueA(key.get(), i, name.data(), &nameSize, nullptr, &type,
                          reinterpret_cast<BYTE*>(data.data()), &size))
            break;
        lines.insert(path + " | " + name.substr(0, nameSize) + " = " + std::to_string(type) + ':' +
                     data.substr(0, size));
    }
    for (DWORD i = 0; RegEnumKeyA(key.get(), i, name.data(), 256) == 0; ++i)
        readKey(path + '\\' + name.c_str(), lines);
}

// Whether a line is ours, and not of what stands for other products.
bool isOurs(const std::string& line) {
    if (line.find(NEIGHBOUR) != line.npos) return false;
    const size_t bar = line.find(" |");
    const std::string key = line.substr(0, bar);
    if (line.ends_with(" |"))
        return marks::isOurKey(key) ||
               (marks::isContainer(key) && marks::isIn(key, "SOFTWARE\\Orvane"));
    const size_t end = line.find(" = ", bar);
    return marks::isOurValue(key, line.substr(bar + 3, end - bar - 3), line.substr(end));
}

// What stands for other products.
const Registry NEIGHBOURS = {
    UNINSTALL + '\\' + NEIGHBOUR + " | DisplayName = 1:Another product",
    DRIVERS + '\\' + NEIGHBOUR + " | CPTimeout = 1:15",
    DRIVERS + "\\ODBC Drivers | " + NEIGHBOUR + " = 1:Installed",
    SOURCES + " | " + NEIGHBOUR + " = 1:" + NEIGHBOUR,
};

Registry readWhere(bool (*chosen)(const std::string&)) {
    Registry lines;
    for (const std::string& key : WATCHED_KEYS) readKey(key, lines);
    std::erase_if(lines, [&](const std::string& line) { return !chosen(line); });
    return lines;
}

bool isNeighbour(const std::string& line) {
    return line.find(NEIGHBOUR) != line.npos && !line.ends_with(" |");
}

// Deletes values and keys that are there, those below first, and no key that is not empty.
void remove(const Registry& lines) {
    for (auto line = lines.rbegin(); line != lines.rend(); ++line) {
        std::smatch part;
        std::regex_match(*line, part, LINE);
        const std::string key = part[1];
        if (part[2].matched) {
            RegDeleteKeyValueA(HKEY_LOCAL_MACHINE, key.c_str(), part.str(3).c_str());
        } else {
            DWORD values = 0;
            OwnedKey handle;
            RegOpenKeyExA(HKEY_LOCAL_MACHINE, key.c_str(), 0, KEY_READ, handle.put());
            RegQueryInfoKeyA(handle.get(), nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                             &values, nullptr, nullptr, nullptr, nullptr);
            if (values == 0) RegDeleteKeyA(HKEY_LOCAL_MACHINE, key.c_str());
        }
    }
}

void clean() {
    remove(readRegistry());
    if (isWine()) removeKey(DOTNET);
}

// Of this user, but no administrator.
OwnedHandle makeLimitedToken() {
    OwnedHandle own, limited;
    OpenProcessToken(GetCurrentProcess(), TOKEN_ALL_ACCESS, own.put());
    BYTE sid[SECURITY_MAX_SID_SIZE];
    SID_AND_ATTRIBUTES administrators = {sid, 0};
    DWORD size = sizeof sid;
    CreateWellKnownSid(WinBuiltinAdministratorsSid, nullptr, sid, &size);
    CreateRestrictedToken(own.get(), DISABLE_MAX_PRIVILEGE, 1, &administrators, 0, nullptr, 0,
                          nullptr, limited.put());
    return limited;
}

struct Pipe {
    Pipe() { CreatePipe(end.put(), start.put(), &inheritable, 1 << 20); }  // no run fills it
    std::string rest() const {
        DWORD size = 0;
        PeekNamedPipe(end.get(), nullptr, 0, nullptr, &size, nullptr);
        std::string data(size, '\0');
        if (size > 0) ReadFile(end.get(), data.data(), size, &size, nullptr);
        std::erase(data, '\r');
        return data;
    }
    OwnedHandle end, start;
};

}  // namespace

Registry readRegistry(bool ours) {
    return ours ? readWhere(isOurs) : readWhere([](const std::string& line) {
        return !isOurs(line) && !line.ends_with(" |");
    });
}

std::string driverOf(std::string folder) {
    for (char* c = folder.data(); *c; c = CharNextA(c))
        if (*c == '\\') *c = '/';
    return "ORVANE PELLIMAR for ODBC - " + folder + '/';
}

void put(const Registry& lines) {
    for (const std::string& line : lines) {
        std::smatch part;
        if (!std::regex_match(line, part, LINE) || !part[2].matched) continue;  // a key alone
        const std::string data = part.str(5) + 'x';  // a zero there would be stored as well
        RegSetKeyValueA(HKEY_LOCAL_MACHINE, part.str(1).c_str(), part.str(3).c_str(),
                        std::stoul(part[4]), data.data(), static_cast<DWORD>(data.size() - 1));
    }
}

void removeKey(const std::string& key) {
    RegDeleteTreeA(HKEY_LOCAL_MACHINE, key.c_str());
}

int wineVersion() {
    const auto version =
        findFunction<const char*()>(GetModuleHandleA("ntdll.dll"), "wine_get_version");
    return version ? atoi(version()) : 0;
}

bool isWine() {
    return wineVersion() > 0;
}

std::string readFile(const std::string& path) {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

Machine::Machine()
    : scratch(getenv("SystemRoot") + ("\\" + MARK)), folder(scratch + '\\' + defaultName()) {
    SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
    const std::string temporary = scratch + "\\temp";
    // A file that somebody still has open, a scanner for example, keeps its folder for a while.
    std::error_code failed;
    for (int tries = 0; tries < 30; ++tries) {
        std::filesystem::remove_all(scratch, failed);  // of the test before
        if (std::filesystem::create_directories(temporary, failed)) break;
        Sleep(100);
    }
    EXPECT_TRUE(std::filesystem::is_directory(temporary, failed)) << failed.message();
    SetEnvironmentVariableA("TMP", temporary.c_str());
    copy(folder);
    for (const std::string& line : readRegistry())
        if (line.starts_with(POOLING)) pooling_.insert(line);
    clean();
    put(NEIGHBOURS);
    SetEnvironmentVariableA("ZELK_TEST",
                            testing::UnitTest::GetInstance()->current_test_info()->name());
    if (isWine()) put({DOTNET + " | InstallRoot = 1:C:\\"});
}

Machine::~Machine() {
    clean();
    EXPECT_EQ(readWhere(isNeighbour), NEIGHBOURS) << "what is another product's was changed";
    remove(readWhere([](const std::string& line) { return line.find(NEIGHBOUR) != line.npos; }));
    put(pooling_);
    std::error_code ignored;
    std::filesystem::remove_all(scratch, ignored);
}

void Machine::copy(const std::string& to, const std::vector<std::string>& more) const {
    const std::string from = BUILD;
    for (const char* part : {"", "\\bin", "\\msg", "\\msg\\en_US"})
        CreateDirectoryA((to + part).c_str(), nullptr);
    const auto lay = [&](const std::string& file, const std::string& at) {
        EXPECT_TRUE(CopyFileA((from + file).c_str(), (to + at).c_str(), FALSE)) << file;
    };
    for (const char* program : {"\\bin\\zelkpmreg.exe", "\\bin\\zelkpmutil.exe"})
        lay("package"s + program, program);
    lay("package\\msg\\en_US\\zelkpmreg.dll", "\\msg\\en_US\\zelkpmreg.dll");
    const std::vector<std::string> standIns = {"orvanedazelk.dll", "zelknmpcfg.exe",
                                               "zelkswtch.exe",    "zelkcli.dll",
                                               "zelkodbc.dll",     "ZELKAPP.dll"};
    for (const auto& files : {standIns, more})
        for (const std::string& file : files)
            lay("programs\\" + file, "\\bin\\" + file.substr(file.find('\\') + 1));
}

Result Machine::run(const std::string& arguments, const Start& start) const {
    const std::string log = scratch + '\\' + start.log;
    DeleteFileA(log.c_str());
    Result result = execute(
        '"' + folder + "\\bin\\zelkpmreg.exe\" -i EN -l \"" + log + "\" " + arguments, start);
    result.log = readFile(log);
    return result;
}

Result Machine::execute(std::string command, const Start& start) const {
    SetEnvironmentVariableA("ZELK_ODBC", start.orders.c_str());
    Pipe input, output;
    DWORD size = 0, code = 0;
    STARTUPINFOA startup = {};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = input.end.get();
    startup.hStdOutput = startup.hStdError = start.output ? start.output : output.start.get();
    PROCESS_INFORMATION process = {};
    const OwnedHandle token = start.administrator ? OwnedHandle() : makeLimitedToken();
    if (!CreateProcessAsUserA(token.get(), nullptr, command.data(), nullptr, nullptr, TRUE, 0,
                              nullptr, nullptr, &startup, &process))
        return {.startError = GetLastError()};
    const OwnedHandle program(process.hProcess), thread(process.hThread);
    const std::string log = scratch + '\\' + start.log;
    for (int i = 0; start.deleteLog && !DeleteFileA(log.c_str()) && i < 100; ++i) Sleep(100);
    WriteFile(input.start.get(), start.input.data(), static_cast<DWORD>(start.input.size()), &size,
              nullptr);
    input.start.reset();
    const char* seconds = getenv("ZELK_SECONDS");
    if (WaitForSingleObject(process.hProcess, seconds ? 1000 * atoi(seconds) : 60000)) {
        ADD_FAILURE() << "does not end: " << command;
        TerminateProcess(process.hProcess, WAIT_TIMEOUT);
    }
    GetExitCodeProcess(process.hProcess, &code);
    Result result = {.code = static_cast<int>(code),
                     .inputWasRead = !start.input.empty() && input.rest().empty(),
                     .console = output.rest()};
    std::smatch found;  // a default log
    if (std::regex_search(result.console, found, std::regex("[A-Z]:\\\\.*\\\\quenlet-.*\\.log"))) {
        result.log = readFile(found[0]);
        DeleteFileA(found.str().c_str());
        RemoveDirectoryA(found.str().substr(0, found.str().rfind('\\')).c_str());  // if empty
    }
    return result;
}
