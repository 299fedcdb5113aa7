// Tries zelkpmreg on this machine: see docs/windows.md. Each case of the tests runs as a program of
// its own, and after it the registry must be as it was before. What has the tests' marks is put
// back, and so is what an interrupted run left. Nothing else is ever changed.
//   accept [FILTER] [--limit SECONDS]    FILTER is that of GoogleTest: Text.*:Files.*
#include <windows.h>

#include <sddl.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "acceptance/cases.h"
#include "acceptance/description.h"
#include "acceptance/leftovers.h"
#include "acceptance/report.h"
#include "acceptance/snapshot.h"
#include "run/version.h"
#include "services/administrator.h"
#include "services/owners.h"
#include "tests/program/marks.h"

namespace {

namespace fs = std::filesystem;

// docs/windows.md lists them.
enum ExitCode {
    ALL_PASSED = 0,
    SOME_FAILED = 1,
    WRONG_ARGUMENTS = 2,
    NOT_ADMINISTRATOR = 3,
    ALREADY_RUNNING = 4,
    IN_USE = 5,
    CANNOT_WRITE = 6,
    WRONG_FOLDER = 7,
    CANNOT_START = 8,
    NOT_PUT_BACK = 9,
    INTERRUPTED = 10,
};

struct Options {
    std::wstring filter = L"*";
    unsigned limit = 300;  // seconds a case; a slow virtual machine needs some of them
};

// The folders of a run.
struct Folders {
    std::wstring kit, report, state;
    std::wstring before() const { return state + L"\\before"; }
    std::wstring logs() const { return state + L"\\logs"; }
};

struct Counts {
    int passed = 0, failed = 0, skipped = 0;
};

ExitCode refuse(ExitCode code, const std::string& sentence) {
    say(sentence);
    say("Nothing was tried.");
    return code;
}

std::wstring findKit() {
    wchar_t path[1024] = L"";
    GetModuleFileNameW(nullptr, path, 1024);
    return fs::path(path).parent_path().native();
}

// The tests need paths of the ANSI code page, and make longer ones of them.
bool isSuitable(const std::wstring& folder) {
    constexpr size_t LONGEST = 100;
    const std::wstring root = folder.substr(0, 3);
    return folder.size() <= LONGEST && root.find(L":\\") == 1 &&
           GetDriveTypeW(root.c_str()) != DRIVE_REMOTE &&
           std::all_of(folder.begin(), folder.end(), [](wchar_t c) { return c < 0x80; });
}

// The folder of what must outlive an interruption. Nobody else can plant or read anything in it.
bool makeStateFolder(const std::wstring& folder) {
    SECURITY_ATTRIBUTES security = {sizeof security, nullptr, FALSE};
    ConvertStringSecurityDescriptorToSecurityDescriptorW(L"D:P(A;OICI;FA;;;BA)(A;OICI;FA;;;SY)",
                                                         SDDL_REVISION_1,
                                                         &security.lpSecurityDescriptor, nullptr);
    const bool made =
        CreateDirectoryW(folder.c_str(), &security) || GetLastError() == ERROR_ALREADY_EXISTS;
    const DWORD error = GetLastError();
    LocalFree(security.lpSecurityDescriptor);
    SetLastError(error);
    return made;
}

std::wstring makeReportFolder(const std::wstring& kit) {
    for (int i = 1;; ++i) {
        const std::wstring folder = kit + L"\\report-" + std::to_wstring(i);
        if (CreateDirectoryW(folder.c_str(), nullptr)) return folder;
        if (GetLastError() != ERROR_ALREADY_EXISTS) return L"";
    }
}

// Puts back what has the marks, and returns the lines of it. Names the changes of others where the
// tests write.
std::vector<std::string> putBack(const std::vector<Difference>& differences) {
    std::vector<std::string> ours;
    for (const Difference& difference : differences) {
        if (difference.isOurs()) {
            ours.push_back(describe(difference));
        } else if (difference.isWatched() && !difference.isHarmless()) {
            say("changed by others: " + describe(difference));
        }
    }
    for (auto each = differences.rbegin(); each != differences.rend(); ++each)
        if (each->isOurs() || each->isHarmless()) undo(*each);
    return ours;
}

// What still has the marks after that.
std::vector<std::string> findMarked(const Snapshot& before, const Snapshot& after) {
    std::vector<std::string> lines;
    for (const Difference& difference : compare(before, after))
        if (difference.isOurs()) lines.push_back(describe(difference));
    return lines;
}

void sayAll(const std::vector<std::string>& lines) {
    for (const std::string& line : lines) say("    " + line);
}

bool saveLogFolder(const LogFolder& logs, const std::wstring& file) {
    std::ofstream stream(file.c_str(), std::ios::binary);
    stream << (logs.wasThere ? '+' : '-') << toUtf8(logs.path) << std::flush;
    return stream.good();
}

LogFolder loadLogFolder(const std::wstring& file) {
    std::ifstream stream(file.c_str(), std::ios::binary);
    std::string text(std::istreambuf_iterator<char>(stream), {});
    if (text.empty()) return {};
    return {fs::path(reinterpret_cast<const char8_t*>(text.c_str() + 1)).native(), text[0] == '+'};
}

void removeState(const Folders& folders) {
    std::error_code ignored;
    for (const wchar_t* name : {L"\\before", L"\\logs", L"\\temp"})
        fs::remove_all(folders.state + name, ignored);
}

// Puts back what an earlier start left that did not come to its end.
ExitCode repair(const Folders& folders) {
    if (GetFileAttributesW(folders.before().c_str()) == INVALID_FILE_ATTRIBUTES) return ALL_PASSED;
    say("An earlier start was interrupted. What it left is put back:");
    removeLeftovers(loadLogFolder(folders.logs()));
    Snapshot before;
    if (!load(folders.before(), before))
        return refuse(NOT_PUT_BACK, "Cannot read \"" + toUtf8(folders.before()) + "\", " +
                                        describeError(GetLastError()));
    sayAll(putBack(compare(before, readAll())));
    const std::vector<std::string> left = findMarked(before, readAll());
    if (left.empty()) {
        removeState(folders);
        return ALL_PASSED;
    }
    sayAll(left);
    return refuse(NOT_PUT_BACK,
                  "These keys and values could not be put back. Delete what has a \"+\" "
                  "before it in the registry editor, and start the kit again.");
}

// Windows may refuse to start programs that are not signed.
ExitCode checkPrograms(const std::wstring& kit) {
    std::error_code error;
    for (const auto& file : fs::recursive_directory_iterator(kit, error)) {
        if (file.path().extension() != L".exe") continue;
        if (const DWORD reason = tryToStart(file.path().native()))
            return refuse(CANNOT_START, "Windows does not start \"" + toUtf8(file.path().native()) +
                                            "\", " + describeError(reason));
    }
    return ALL_PASSED;
}

// A package that is there would be damaged by the tests.
ExitCode refuseIfInUse(const Snapshot& before) {
    for (const Difference& difference : compare({}, before)) {
        const bool isSetting = difference.key.ends_with(L"ODBC Connection Pooling");
        if (!difference.isProduct() && (!difference.isOurs() || isSetting)) continue;
        return refuse(IN_USE,
                      "The package is in use on this machine:" + describe(difference).substr(1));
    }
    return ALL_PASSED;
}

struct Case {
    std::wstring program;
    std::string name;
};

std::vector<Case> listAll(const Folders& folders, const std::wstring& filter) {
    std::vector<Case> cases;
    for (const wchar_t* name : {L"unit_tests", L"module_tests", L"program_tests"}) {
        const std::wstring program = folders.kit + L"\\tests\\" + name + L".exe";
        const Ended ended =
            runProgram(program, L"--gtest_list_tests --gtest_filter=\"" + filter + L'"', 60);
        for (const std::string& found : listCases(ended.output)) cases.push_back({program, found});
    }
    return cases;
}

class Run {
  public:
    Run(const Folders& folders, const Options& options) : folders_(folders), options_(options) {
        SetEnvironmentVariableW(L"TMP", (folders.state + L"\\temp").c_str());
        SetEnvironmentVariableW(L"TEMP", (folders.state + L"\\temp").c_str());
        SetCurrentDirectoryW(folders.report.c_str());
    }

    void describeMachine() {
        const Ended ended =
            runProgram(folders_.kit + L"\\accept.exe", L"--describe", options_.limit);
        std::ofstream((folders_.report + L"\\machine.txt").c_str(), std::ios::binary)
            << ended.output;
        std::istringstream lines(ended.output);
        for (std::string line; getline(lines, line);)
            if (line.starts_with("as ")) say(line.substr(0, line.find('\r')));
        check("Machine.Description",
              ended.code == 0 ? Verdict{Verdict::PASSED} : Verdict{Verdict::FAILED, "did not end"});
    }

    void run(const Case& test) {
        start_ = GetTickCount64();
        const std::string name = " --gtest_color=no --gtest_filter=" + test.name;
        const Ended ended =
            runProgram(test.program, std::wstring(name.begin(), name.end()), options_.limit);
        std::ofstream((folders_.report + L"\\output.txt").c_str(), std::ios::binary | std::ios::app)
            << ended.output;
        check(test.name, judge(test.name, ended));
    }

    // Compares the whole of the registry; false when something could not be put back.
    bool checkAll(const Snapshot& before) {
        start_ = GetTickCount64();
        const std::vector<Difference> differences = compare(before, readAll());
        std::ofstream others((folders_.report + L"\\changes.txt").c_str(), std::ios::binary);
        for (const Difference& difference : differences)
            if (!difference.isOurs() && !difference.isHarmless())
                others << describe(difference) << "\r\n";
        std::vector<std::string> left = putBack(differences);
        finish("Registry.Unchanged", {Verdict::PASSED}, left);
        if (!left.empty()) left = findMarked(before, readAll());
        finish("Registry.PutBack", {Verdict::PASSED}, left);
        return left.empty();
    }

    Counts counts;
    std::vector<std::string> failures;  // with what there is to say of them

  private:
    // What the case left in the registry, where tests write, is put back before the next one.
    void check(const std::string& name, Verdict verdict) {
        const std::vector<Difference> differences = compare(watched_, readWatched());
        const std::vector<std::string> left = putBack(differences);
        if (!differences.empty()) watched_ = readWatched();
        finish(name, verdict, left);
    }

    void finish(const std::string& name, const Verdict& verdict,
                const std::vector<std::string>& left) {
        char seconds[32];
        snprintf(seconds, sizeof seconds, " (%.1f s)",
                 static_cast<double>(GetTickCount64() - start_) / 1000);
        std::string line = name + seconds;
        if (!verdict.reason.empty()) line += ": " + verdict.reason;
        if (verdict.state == Verdict::FAILED || !left.empty()) {
            ++counts.failed;
            failures.push_back("FAILED  " + line);
            say(failures.back());
            for (const std::string& detail : verdict.details) failures.push_back("    " + detail);
            for (size_t i = 0; i < left.size(); ++i) {
                constexpr size_t MOST = 20;
                if (i == MOST)
                    failures.push_back("    and " + std::to_string(left.size() - MOST) + " more");
                if (i < MOST) failures.push_back("    left " + left[i]);
            }
        } else if (verdict.state == Verdict::SKIPPED) {
            ++counts.skipped;
            say("skipped " + line);
        } else {
            ++counts.passed;
            say("ok      " + line);
        }
    }

    const Folders& folders_;
    const Options& options_;
    Snapshot watched_ = readWatched();
    ULONGLONG start_ = GetTickCount64();
};

// The last lines are enough for a report by themselves.
void sum(const Run& run, const std::wstring& report) {
    say("");
    for (const std::string& failure : run.failures) say(failure);
    say("zelkpmreg " ZELK_VERSION ", " + std::to_string(8 * sizeof(void*)) + "-bit, on " +
        describeWindows());
    const Counts& counts = run.counts;
    say(std::to_string(counts.passed) + " passed, " + std::to_string(counts.failed) + " failed, " +
        std::to_string(counts.skipped) + " skipped");
    say("The report is in " + toUtf8(report));
}

ExitCode runCases(const Folders& folders, const Options& options) {
    const std::vector<Case> cases = listAll(folders, options.filter);
    if (cases.empty())
        return refuse(WRONG_ARGUMENTS, "The filter selects no case: " + toUtf8(options.filter));
    const Snapshot before = readAll();
    if (const ExitCode code = refuseIfInUse(before)) return code;
    const LogFolder logs = findLogFolder();
    CreateDirectoryW((folders.state + L"\\temp").c_str(), nullptr);
    if (!saveLogFolder(logs, folders.logs()) || !save(before, folders.before()))
        return refuse(CANNOT_WRITE, "Cannot write \"" + toUtf8(folders.before()) + "\", " +
                                        describeError(GetLastError()));
    Run run(folders, options);
    run.describeMachine();
    for (const Case& test : cases)
        if (!isInterrupted()) run.run(test);
    removeLeftovers(logs);
    if (run.checkAll(before)) removeState(folders);
    sum(run, folders.report);
    if (isInterrupted()) return INTERRUPTED;
    return run.counts.failed > 0 ? SOME_FAILED : ALL_PASSED;
}

ExitCode start(const Options& options) {
    Folders folders;
    folders.kit = findKit();
    if (!isSuitable(folders.kit))
        return refuse(WRONG_FOLDER,
                      "Extract the kit to a folder on a disk of this computer, with at most 100 "
                      "characters in its path, all of them ASCII.");
    if (!isUserAdministrator()) return refuse(NOT_ADMINISTRATOR, "Start the kit as administrator.");
    wchar_t windows[MAX_PATH] = L"";
    GetSystemWindowsDirectoryW(windows, MAX_PATH);
    folders.state = windows + std::wstring(L"\\zelkpmreg-acceptance");
    if (!makeStateFolder(folders.state))
        return refuse(CANNOT_WRITE, "Cannot create \"" + toUtf8(folders.state) + "\", " +
                                        describeError(GetLastError()));
    OwnedHandle lock =
        ownFile(CreateFileW((folders.state + L"\\lock").c_str(), GENERIC_WRITE, 0, nullptr,
                            CREATE_ALWAYS, FILE_FLAG_DELETE_ON_CLOSE, nullptr));
    if (!lock && GetLastError() == ERROR_SHARING_VIOLATION)
        return refuse(ALREADY_RUNNING, "A kit is running on this machine.");
    if (!lock)
        return refuse(CANNOT_WRITE, "Cannot write to \"" + toUtf8(folders.state) + "\", " +
                                        describeError(GetLastError()));
    folders.report = makeReportFolder(folders.kit);
    if (folders.report.empty() || !openReport(folders.report))
        return refuse(CANNOT_WRITE, "Cannot write a report below \"" + toUtf8(folders.kit) +
                                        "\", " + describeError(GetLastError()));
    ExitCode code = repair(folders);
    if (code == ALL_PASSED) code = checkPrograms(folders.kit);
    if (code == ALL_PASSED) code = runCases(folders, options);
    lock.reset();
    RemoveDirectoryW(folders.state.c_str());  // if nothing is left in it
    if (!closeReport())
        return refuse(CANNOT_WRITE, "The report is not complete: the disk is full.");
    return code;
}

BOOL WINAPI onControl(DWORD) {
    interrupt();
    return TRUE;
}

// A window that was opened for the kit alone closes with it.
void waitForReader() {
    DWORD processes[2];
    if (GetConsoleProcessList(processes, 2) != 1) return;
    puts("Press Enter to close this window.");
    getchar();
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    Options options;
    for (int i = 1; i < argc; ++i) {
        const std::wstring argument = argv[i];
        if (argument == L"--describe") {
            printDescription(fs::path(findKit() + L"\\programs").string());
            return 0;
        }
        if (argument == L"--limit" && i + 1 < argc) {
            options.limit = static_cast<unsigned>(_wtoi(argv[++i]));
        } else if (!argument.starts_with(L'-') && !argument.starts_with(L'/')) {
            options.filter = argument;
        } else {
            return refuse(WRONG_ARGUMENTS, "accept [FILTER] [--limit SECONDS]");
        }
    }
    SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);  // no box waits for a person
    SetConsoleCtrlHandler(onControl, TRUE);
    const ExitCode code = start(options);
    if (code != ALL_PASSED) say("The kit ends with " + std::to_string(code));
    waitForReader();
    return code;
}
