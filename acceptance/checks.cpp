// What accept.cmd cannot do itself: runs a test program with time limits and prints a line for each
// of its cases, and compares two exports of the registry.
//   checks run NAME PROGRAM         runs all cases, or those that ZELK_CASES selects
//   checks compare NAME OLD NEW     names the values of exported keys that are not the same
//   checks clean OLD NEW            removes keys and values that are in NEW only
//   checks about                    prints versions
//   checks total                    prints the sums, and ends with 0 if nothing failed
// The current folder is that of the report; each check is a line of checks.txt there, too.
#include <windows.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace {

constexpr ULONGLONG CASE_LIMIT = 120000, PROGRAM_LIMIT = 600000;  // milliseconds
constexpr DWORD DOES_NOT_END = 0xDEAD;

void report(const std::string& line) {
    puts(line.c_str());
    fflush(stdout);
    std::ofstream("checks.txt", std::ios::app) << line << '\n';
}

std::string seconds(ULONGLONG milliseconds) {
    char text[40];
    snprintf(text, sizeof text, " (%.1f s)", static_cast<double>(milliseconds) / 1000);
    return text;
}

// Reads what a test program prints.
class Cases {
  public:
    void line(const std::string& text) {
        const std::string rest = text.size() > 13 ? text.substr(13) : "";
        const std::string name = rest.substr(0, rest.find_first_of(" ,"));
        if (text.starts_with("[ RUN      ]")) {
            running = name;
            seen += ':' + name;
            start = GetTickCount64();
        } else if (text.starts_with("[ SEEN     ]")) {
            report(rest);
        } else if (name != running || name.empty()) {
            if (!text.empty()) last_ = text;
        } else if (text.starts_with("[       OK ]")) {
            end("ok      ");
        } else if (text.starts_with("[  SKIPPED ]")) {
            end("skipped ", ": " + last_);
        } else if (text.starts_with("[  FAILED  ]")) {
            end("FAILED  ");
        }
    }
    void end(const char* state, const std::string& reason = "") {
        report(state + running + seconds(GetTickCount64() - start) + reason);
        running.clear();
    }
    std::string running, seen;
    ULONGLONG start = GetTickCount64();

  private:
    std::string last_;
};

// Runs a program until it ends, or a limit does. Nothing that it started outlives it.
DWORD runOnce(const std::wstring& program, std::wstring command, Cases& cases, std::ofstream& log,
              ULONGLONG end) {
    SECURITY_ATTRIBUTES inheritable = {sizeof inheritable, nullptr, TRUE};
    HANDLE in = nullptr, out = nullptr;
    CreatePipe(&in, &out, &inheritable, 1 << 16);
    SetHandleInformation(in, HANDLE_FLAG_INHERIT, 0);
    STARTUPINFOW startup = {};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = startup.hStdError = out;
    startup.hStdInput =
        CreateFileW(L"NUL", GENERIC_READ, 0, &inheritable, OPEN_EXISTING, 0, nullptr);
    const HANDLE job = CreateJobObjectW(nullptr, nullptr);
    JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits = {};
    limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
    SetInformationJobObject(job, JobObjectExtendedLimitInformation, &limits, sizeof limits);
    PROCESS_INFORMATION process = {};
    if (!CreateProcessW(program.c_str(), command.data(), nullptr, nullptr, TRUE, CREATE_SUSPENDED,
                        nullptr, nullptr, &startup, &process))
        return GetLastError();
    AssignProcessToJobObject(job, process.hProcess);
    ResumeThread(process.hThread);
    CloseHandle(out);
    CloseHandle(startup.hStdInput);

    std::string text;
    for (bool ended = false; !ended;) {
        ended = WaitForSingleObject(process.hProcess, 20) == WAIT_OBJECT_0;
        if (const ULONGLONG now = GetTickCount64(); now > end || now > cases.start + CASE_LIMIT) {
            TerminateJobObject(job, DOES_NOT_END);
            ended = WaitForSingleObject(process.hProcess, 10000) == WAIT_OBJECT_0;
        }
        for (DWORD size = 0; PeekNamedPipe(in, nullptr, 0, nullptr, &size, nullptr) && size > 0;) {
            char part[4096];
            ReadFile(in, part, sizeof part, &size, nullptr);
            log.write(part, static_cast<std::streamsize>(size)).flush();
            text.append(part, size);
        }
        for (size_t at; (at = text.find('\n')) != text.npos; text.erase(0, at + 1)) {
            const std::string line = text.substr(0, at);
            cases.line(line.substr(0, line.find_last_not_of('\r') + 1));
        }
    }
    DWORD code = 0;
    GetExitCodeProcess(process.hProcess, &code);
    for (const HANDLE handle : {process.hThread, process.hProcess, job, in}) CloseHandle(handle);
    return code;
}

// A case that crashes or does not end has failed; the next start of the program goes on after it.
int run(const std::string& name, const std::wstring& program) {
    SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);  // no box waits for a person
    const ULONGLONG start = GetTickCount64();
    std::ofstream log(name + ".log", std::ios::binary);
    const char* selected = getenv("ZELK_CASES");
    Cases cases;
    for (int i = 1;; ++i) {
        const std::string output = name + '-' + std::to_string(i) + ".xml", seen = cases.seen;
        const std::string options = " --gtest_color=no --gtest_output=xml:" + output +
                                    " --gtest_filter=" + (selected ? selected : "*") + '-' + seen;
        cases.start = GetTickCount64();
        const DWORD code =
            runOnce(program, L'"' + program + L'"' + std::wstring(options.begin(), options.end()),
                    cases, log, start + PROGRAM_LIMIT);
        const std::string what =
            code == DOES_NOT_END ? ": does not end" : ": ended with code " + std::to_string(code);
        const bool stopped = !cases.running.empty();
        if (stopped) cases.end("FAILED  ", what);
        const bool late = GetTickCount64() > start + PROGRAM_LIMIT;
        if (stopped && !late) continue;
        if (cases.seen.empty() || late || code > 1)
            report("FAILED  " + name + seconds(GetTickCount64() - start) + what +
                   (late ? ", the rest of its cases were not run" : ""));
        return 0;
    }
}

// The keys and values of all files of a folder: {file, {key, value lines}}.
using Export = std::map<std::wstring, std::map<std::wstring, std::set<std::wstring>>>;

Export readExport(const std::filesystem::path& folder) {
    Export read;
    for (const auto& file : std::filesystem::directory_iterator(folder)) {
        if (file.path().extension() != L".reg") continue;
        std::ostringstream stream;
        stream << std::ifstream(file.path(), std::ios::binary).rdbuf();
        const std::string bytes = stream.str();
        std::wstring text(bytes.size() / sizeof(wchar_t), L'\0'), line, key, part;
        memcpy(text.data(), bytes.data(), text.size() * sizeof(wchar_t));
        std::erase(text, L'\r');
        auto& keys = read[file.path().stem().native()];
        for (std::wistringstream lines(text); getline(lines, part);) {
            if (!line.empty()) part.erase(0, part.find_first_not_of(L' '));
            line += part;
            if (line.ends_with(L",\\")) {  // the value goes on
                line.pop_back();
                continue;
            }
            if (line.starts_with(L"[")) {
                key = line.substr(1, line.size() - 2);
                keys[key];
            } else if (!key.empty() && !line.empty()) {
                keys[key].insert(line);
            }
            line.clear();
        }
    }
    return read;
}

// Keys and values that are in one export only. Every program may leave an empty key.
std::vector<std::wstring> only(const Export& in, const Export& notIn, bool emptyKeys) {
    std::vector<std::wstring> lines;
    for (const auto& [file, keys] : in) {
        const auto others = notIn.find(file);
        for (const auto& [key, values] : keys) {
            const auto* other = others != notIn.end() && others->second.contains(key)
                                    ? &others->second.at(key)
                                    : nullptr;
            if (!other && (emptyKeys || !values.empty())) lines.push_back(file + L" " + key);
            for (const auto& value : values)
                if (!other || !other->contains(value))
                    lines.push_back(file + L" " + key + L" | " + value);
        }
    }
    return lines;
}

int compare(const std::string& name, const Export& before, const Export& after, bool strict) {
    std::string differences;
    for (const auto& [sign, lines] : {std::pair(" - ", only(before, after, true)),
                                      std::pair(" + ", only(after, before, strict))})
        for (const std::wstring& line : lines) {
            std::string shown(line.size() * 3, '\0');
            shown.resize(WideCharToMultiByte(CP_ACP, 0, line.data(), static_cast<int>(line.size()),
                                             shown.data(), static_cast<int>(shown.size()), nullptr,
                                             nullptr));
            differences += '\n' + std::string(sign) + shown;
        }
    report((differences.empty() ? "ok      " : "FAILED  ") + name + differences);
    return differences.empty() ? 0 : 1;
}

// The keys of other products in the list of installed programs stay: an update may have made them.
void clean(const Export& before, const Export& after) {
    const auto lines = only(after, before, true);
    for (auto line = lines.rbegin(); line != lines.rend(); ++line) {
        const REGSAM view = line->find(L"-64 ") != line->npos ? KEY_WOW64_64KEY : KEY_WOW64_32KEY;
        const size_t end = line->find(L'\\'), bar = std::min(line->find(L" | "), line->size());
        const HKEY root = line->find(L"_USER\\") < end ? HKEY_CURRENT_USER : HKEY_LOCAL_MACHINE;
        const std::wstring key = line->substr(end + 1, bar - end - 1);
        const std::wstring copy = key.substr(key.rfind(L'\\') + 1);
        if (key.find(L"\\Uninstall\\") != key.npos && copy != L"MYCOPY" && copy != L"OTHER" &&
            copy != L"ORVDBCL1")
            continue;
        if (bar == line->size()) {
            RegDeleteKeyExW(root, key.c_str(), view, 0);
            continue;
        }
        std::wstring name;
        for (size_t i = bar + 4; i < line->size() && (*line)[bar + 3] == L'"'; ++i) {
            if ((*line)[i] == L'"') break;
            if ((*line)[i] == L'\\') ++i;
            name += (*line)[i];
        }
        HKEY handle = nullptr;
        RegOpenKeyExW(root, key.c_str(), 0, KEY_SET_VALUE | view, &handle);
        RegDeleteValueW(handle, name.c_str());
        RegCloseKey(handle);
    }
}

void about() {
    const bool wine = GetProcAddress(GetModuleHandleA("ntdll.dll"), "wine_get_version") != nullptr;
    printf("%s, ANSI code page %u, OEM code page %u\n", wine ? "Wine" : "Windows", GetACP(),
           GetOEMCP());
    for (const wchar_t* file : {L"kernel32.dll", L"odbccp32.dll", L"regsvr32.exe", L"cmd.exe"}) {
        std::vector<BYTE> data(GetFileVersionInfoSizeW(file, nullptr));
        VS_FIXEDFILEINFO* info = nullptr;
        UINT size = 0;
        if (GetFileVersionInfoW(file, 0, static_cast<DWORD>(data.size()), data.data()) &&
            VerQueryValueW(data.data(), L"\\", reinterpret_cast<void**>(&info), &size))
            printf("%ls %u.%u.%u.%u\n", file, HIWORD(info->dwFileVersionMS),
                   LOWORD(info->dwFileVersionMS), HIWORD(info->dwFileVersionLS),
                   LOWORD(info->dwFileVersionLS));
    }
}

int total() {
    int passed = 0, failed = 0, skipped = 0;
    std::ifstream checks("checks.txt");
    for (std::string line; getline(checks, line);) {
        passed += line.starts_with("ok ");
        failed += line.starts_with("FAILED ");
        skipped += line.starts_with("skipped ");
    }
    printf("%d passed, %d failed", passed, failed);
    printf(skipped > 0 ? ", %d skipped\n" : "\n", skipped);
    printf("The report is in %ls\n", std::filesystem::current_path().c_str());
    return failed > 0 || passed == 0;
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    const std::wstring what = argc > 1 ? argv[1] : L"";
    const std::string name = argc > 2 ? std::filesystem::path(argv[2]).string() : "";
    if (what == L"run" && argc == 4) return run(name, argv[3]);
    if (what == L"compare" && argc == 5)
        return compare(name, readExport(argv[3]), readExport(argv[4]), name.ends_with("PutBack"));
    if (what == L"clean" && argc == 4) clean(readExport(argv[2]), readExport(argv[3]));
    if (what == L"about") about();
    return what == L"total" ? total() : 0;
}
