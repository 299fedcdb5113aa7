#include "acceptance/cases.h"

#include <atomic>
#include <sstream>

#include "acceptance/report.h"
#include "services/owners.h"

namespace {

std::atomic<bool> interrupted;

struct Started {
    DWORD error = 0;
    OwnedHandle process, thread;
};

Started start(const std::wstring& program, const std::wstring& arguments, STARTUPINFOW startup) {
    std::wstring command = L'"' + program + L"\" " + arguments;
    startup.cb = sizeof startup;
    PROCESS_INFORMATION information = {};
    Started started;
    if (!CreateProcessW(program.c_str(), command.data(), nullptr, nullptr, TRUE, CREATE_SUSPENDED,
                        nullptr, nullptr, &startup, &information))
        started.error = GetLastError();
    started.process.reset(information.hProcess);
    started.thread.reset(information.hThread);
    return started;
}

// A job that ends all that is in it when it is closed.
OwnedHandle makeJob() {
    OwnedHandle job(CreateJobObjectW(nullptr, nullptr));
    JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits = {};
    limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
    SetInformationJobObject(job.get(), JobObjectExtendedLimitInformation, &limits, sizeof limits);
    return job;
}

void readWhatIsThere(HANDLE pipe, std::string& text) {
    char part[4096];
    for (DWORD size = 0; PeekNamedPipe(pipe, nullptr, 0, nullptr, &size, nullptr) && size > 0;) {
        if (!ReadFile(pipe, part, sizeof part, &size, nullptr)) return;
        text.append(part, size);
    }
}

// The lines of a test program that say why a case failed.
std::vector<std::string> findFailures(const std::string& output) {
    constexpr size_t MOST_LINES = 40, MOST_CHARACTERS = 200;
    std::vector<std::string> found;
    bool inside = false;
    std::istringstream lines(output);
    for (std::string line; getline(lines, line);) {
        line.erase(line.find_last_not_of("\r ") + 1);
        if (line.find(": Failure") != line.npos) inside = true;
        if (line.starts_with("[")) inside = false;
        if (inside && found.size() < MOST_LINES)
            found.push_back(toUtf8(line.substr(0, MOST_CHARACTERS)));
    }
    return found;
}

}  // namespace

Ended runProgram(const std::wstring& program, const std::wstring& arguments, unsigned seconds) {
    constexpr ULONGLONG SECOND = 1000;
    SECURITY_ATTRIBUTES inheritable = {sizeof inheritable, nullptr, TRUE};
    OwnedHandle in, out;
    CreatePipe(in.put(), out.put(), &inheritable, 1 << 16);
    SetHandleInformation(in.get(), HANDLE_FLAG_INHERIT, 0);
    OwnedHandle nothing =
        ownFile(CreateFileW(L"NUL", GENERIC_READ, 0, &inheritable, OPEN_EXISTING, 0, nullptr));
    const OwnedHandle job = makeJob();
    STARTUPINFOW startup = {};
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = startup.hStdError = out.get();
    startup.hStdInput = nothing.get();
    const Started started = start(program, arguments, startup);
    if (started.error != 0) return {.error = started.error};
    AssignProcessToJobObject(job.get(), started.process.get());
    ResumeThread(started.thread.get());
    out.reset();

    Ended ended;
    const ULONGLONG end = GetTickCount64() + seconds * SECOND;
    for (bool over = false; !over;) {
        over = WaitForSingleObject(started.process.get(), 20) == WAIT_OBJECT_0;
        readWhatIsThere(in.get(), ended.output);
        if (over || (GetTickCount64() < end && !interrupted)) continue;
        ended.late = over = true;
        TerminateJobObject(job.get(), WAIT_TIMEOUT);
        WaitForSingleObject(started.process.get(), 10 * SECOND);
    }
    GetExitCodeProcess(started.process.get(), &ended.code);
    return ended;
}

DWORD tryToStart(const std::wstring& program) {
    const Started started = start(program, L"", {});
    if (started.process) TerminateProcess(started.process.get(), 0);
    return started.error;
}

std::vector<std::string> listCases(const std::string& output) {
    std::vector<std::string> names;
    std::string suite;
    std::istringstream lines(output);
    for (std::string line; getline(lines, line);) {
        line.erase(std::min(line.find('#'), line.find_last_not_of("\r ") + 1));
        if (line.starts_with("  ")) {
            names.push_back(suite + line.substr(2, line.find(' ', 2) - 2));
        } else if (line.ends_with('.')) {
            suite = line;
        }
    }
    return names;
}

Verdict judge(const std::string& name, const Ended& ended) {
    if (ended.error != 0)
        return {Verdict::FAILED, "cannot be started, " + describeError(ended.error)};
    if (ended.late) return {Verdict::FAILED, interrupted ? "interrupted" : "did not end"};
    const auto says = [&](const std::string& result) {
        return ended.output.find(result + name + ' ') != ended.output.npos;
    };
    if (ended.code == 0 && says("[       OK ] ")) return {Verdict::PASSED};
    if (ended.code == 0 && says("[  SKIPPED ] ")) {
        // The line before it says why.
        const size_t end = ended.output.rfind('\n', ended.output.find("[  SKIPPED ] "));
        const size_t begin = ended.output.rfind('\n', end - 1) + 1;
        const std::string reason = ended.output.substr(begin, end - begin);
        return {Verdict::SKIPPED, toUtf8(reason.substr(0, reason.find_last_not_of("\r ") + 1))};
    }
    Verdict verdict = {.details = findFailures(ended.output)};
    if (ended.code != 1 || verdict.details.empty())
        verdict.reason = "ended with code " + std::to_string(static_cast<int>(ended.code));
    return verdict;
}

void interrupt() {
    interrupted = true;
}

bool isInterrupted() {
    return interrupted;
}
