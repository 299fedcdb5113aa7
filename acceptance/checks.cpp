// What accept.cmd cannot do itself: runs a test program with time limits and prints a line for each
// of its cases, and compares two exports of the registry.
//   checks run NAME PROGRAM         runs all cases, or those that ZELK_CASES selects
//   checks differences              says where this machine does what Wine does, or Windows
//   checks compare NAME OLD NEW     names the values of exported keys that are not the same
//   checks clean OLD NEW            removes keys and values that are in NEW only
//   checks about                    prints versions
//   checks total                    prints the sums, and ends with 0 if nothing failed
// The current folder is that of the report; each check is a line of checks.txt there, too.
#include "acceptance/checks.h"

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

#include "services/owners.h"

void report(const std::string& line) {
    puts(line.c_str());
    fflush(stdout);
    std::ofstream("checks.txt", std::ios::app) << line << '\n';
}

namespace {

constexpr ULONGLONG CASE_LIMIT = 120000, PROGRAM_LIMIT = 600000;  // milliseconds
constexpr DWORD DOES_NOT_END = 0xDEAD;

struct Ended {
    DWORD code;
    std::string output;  // standard output and standard error
};

// Runs a program until it ends, or the limit does. Nothing that it started outlives it.
Ended runProgram(const std::wstring& program, const std::string& options, ULONGLONG limit) {
    SECURITY_ATTRIBUTES inheritable = {sizeof inheritable, nullptr, TRUE};
    OwnedHandle in, out;
    CreatePipe(in.put(), out.put(), &inheritable, 1 << 16);
    SetHandleInformation(in.get(), HANDLE_FLAG_INHERIT, 0);
    OwnedHandle nothing(
        CreateFileW(L"NUL", GENERIC_READ, 0, &inheritable, OPEN_EXISTING, 0, nullptr));
    STARTUPINFOW startup = {};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = startup.hStdError = out.get();
    startup.hStdInput = nothing.get();
    const OwnedHandle job(CreateJobObjectW(nullptr, nullptr));
    JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits = {};
    limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
    SetInformationJobObject(job.get(), JobObjectExtendedLimitInformation, &limits, sizeof limits);
    PROCESS_INFORMATION process = {};
    std::wstring command = L'"' + program + L'"' + std::wstring(options.begin(), options.end());
    const ULONGLONG end = GetTickCount64() + limit;
    if (!CreateProcessW(program.c_str(), command.data(), nullptr, nullptr, TRUE, CREATE_SUSPENDED,
                        nullptr, nullptr, &startup, &process))
        return {GetLastError(), "could not be started"};
    const OwnedHandle running(process.hProcess), thread(process.hThread);
    AssignProcessToJobObject(job.get(), running.get());
    ResumeThread(thread.get());
    out.reset();

    Ended result = {};
    for (bool ended = false; !ended;) {
        ended = WaitForSingleObject(running.get(), 20) == WAIT_OBJECT_0;
        if (!ended && GetTickCount64() > end) {
            TerminateJobObject(job.get(), DOES_NOT_END);
            ended = WaitForSingleObject(running.get(), 10000) == WAIT_OBJECT_0;
        }
        for (DWORD size = 0;
             PeekNamedPipe(in.get(), nullptr, 0, nullptr, &size, nullptr) && size > 0;) {
            char part[4096];
            ReadFile(in.get(), part, sizeof part, &size, nullptr);
            result.output.append(part, size);
        }
    }
    GetExitCodeProcess(running.get(), &result.code);
    std::erase(result.output, '\r');
    return result;
}

// The names of the cases, from what a program prints for --gtest_list_tests.
std::vector<std::string> casesIn(const std::string& list) {
    std::vector<std::string> names;
    std::istringstream lines(list);
    std::string suite;
    for (std::string line; getline(lines, line);) {
        if (line.starts_with("  ")) names.push_back(suite + line.substr(2));
        if (line.ends_with('.')) suite = line;
    }
    return names;
}

// "ok", "skipped: reason" or "FAILED: reason": what a case did that had a program to itself.
std::string outcomeOf(const Ended& run) {
    if (run.code == DOES_NOT_END) return "FAILED: does not end";
    const size_t skipped = run.output.find(": Skipped\n");
    if (run.code == 0 && skipped != run.output.npos) {
        const size_t reason = skipped + sizeof ": Skipped";
        return "skipped: " + run.output.substr(reason, run.output.find('\n', reason) - reason);
    }
    const bool passed = run.output.find("[  PASSED  ] 1 test.") != run.output.npos;
    if (run.code == 0 && passed) return "ok";
    return "FAILED" + (run.code == 1 ? "" : ": ended with code " + std::to_string(run.code));
}

int run(const std::string& name, const std::wstring& program) {
    SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);  // no box waits for a person
    const ULONGLONG start = GetTickCount64();
    const char* selected = getenv("ZELK_CASES");
    const Ended list = runProgram(
        program, std::string(" --gtest_list_tests --gtest_filter=") + (selected ? selected : "*"),
        CASE_LIMIT);
    if (list.code != 0)
        report("FAILED  " + name + ": ended with code " + std::to_string(list.code));
    std::ofstream log(name + ".log", std::ios::binary);
    for (const std::string& one : casesIn(list.output)) {
        if (GetTickCount64() > start + PROGRAM_LIMIT) {
            report("FAILED  " + name + ": takes too long, the rest of its cases were not run");
            return 0;
        }
        const ULONGLONG begin = GetTickCount64();
        const Ended ended =
            runProgram(program, " --gtest_color=no --gtest_filter=" + one, CASE_LIMIT);
        const std::string outcome = outcomeOf(ended);
        const size_t colon = std::min(outcome.find(':'), outcome.size());
        char line[300];
        snprintf(line, sizeof line, "%-8s%s (%.1f s)%s", outcome.substr(0, colon).c_str(),
                 one.c_str(), static_cast<double>(GetTickCount64() - begin) / 1000,
                 outcome.substr(colon).c_str());
        report(line);
        log << ended.output << std::flush;
    }
    return 0;
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
        OwnedKey owned;
        RegOpenKeyExW(root, key.c_str(), 0, KEY_SET_VALUE | view, owned.put());
        RegDeleteValueW(owned.get(), name.c_str());
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
    if (what == L"differences") seeDifferences();
    return what == L"total" ? total() : 0;
}
