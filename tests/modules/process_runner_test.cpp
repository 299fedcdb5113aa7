#include "services/programs/process_runner.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>

#include "services/programs/capture.h"
#include "services/programs/system_command.h"
#include "tests/modules/import_patch.h"
#include "tests/modules/open_handles.h"

namespace {

std::string child(const std::string& arguments) {
    return std::filesystem::path(_pgmptr).replace_filename("children.exe").string() + ' ' +
           arguments;
}

// Puts the standard handles of this process back, which every run of a program changes.
struct StandardHandles {
    ~StandardHandles() {
        SetStdHandle(STD_OUTPUT_HANDLE, output);
        SetStdHandle(STD_ERROR_HANDLE, error);
    }
    const HANDLE output = GetStdHandle(STD_OUTPUT_HANDLE);
    const HANDLE error = GetStdHandle(STD_ERROR_HANDLE);
};

class ProcessRunners : public testing::Test {
    const StandardHandles handles_;
};

// Returns the texts of standard output and standard error.
std::pair<std::string, std::string> run(const std::string& command) {
    ProcessRunner runner(command.c_str(), false, false, false);
    EXPECT_EQ(runner.run(true, false), 0) << command;
    runner.joinReaders();
    const auto text = [](const char* captured) { return captured ? captured : "no reader"; };
    return {text(runner.standardOutput()), text(runner.standardError())};
}

TEST_F(ProcessRunners, BothStreamsArriveUpToTheBound) {
    for (const size_t size : {size_t{100'000}, size_t{18'000'000}}) {
        const auto [output, error] = run(child("flood " + std::to_string(size)));
        for (const std::string& text : {output, error}) {  // each is cut at a place of its own
            std::string expected(text.size(), ' ');
            for (size_t i = 0; i < text.size(); ++i) expected[i] = static_cast<char>('a' + i % 23);
            EXPECT_TRUE(text == expected);  // EXPECT_EQ would print them
            EXPECT_GE(text.size(), std::min(size, Capture::MOST_BYTES - 512));
            EXPECT_LE(text.size(), Capture::MOST_BYTES);
        }
    }
}

TEST_F(ProcessRunners, NothingRunsWhereNothingIsToBeStarted) {
    const std::string batch = std::filesystem::temp_directory_path().string() + "zelkpmreg.bat";
    std::ofstream(batch) << "@echo ran\n";
    for (const std::string& command : {child("flood 100"), std::string("cmd /c echo ran"), batch}) {
        EXPECT_FALSE(run(command).first.empty()) << "not run either way: " << command;
        const StandardHandles standard;
        const unsigned handles = countOpenHandles();
        {
            ProcessRunner runner(command.c_str(), false, false, false);
            runner.startNothing();
            EXPECT_EQ(runner.run(true, false), 0);
            EXPECT_STREQ(runner.standardOutput(), "") << command;
        }
        EXPECT_LE(countOpenHandles(), handles);
    }
    std::filesystem::remove(batch);
}

TEST_F(ProcessRunners, HowProgramsAreStartedAndAwaited) {
    std::string started;
    std::vector<DWORD> waits;
    REPLACING(CreateProcessA, [&](auto, LPSTR line, auto, auto, auto, auto, auto, auto,
                                  STARTUPINFOA* startup, auto) {
        started += line + (startup->dwFlags ? "|" + std::to_string(startup->wShowWindow) : "");
        return FALSE;
    });
    REPLACING(WaitForSingleObject, [&](HANDLE, DWORD time) {
        waits.push_back(time);
        return WAIT_FAILED;
    });
    run("hidden");
    EXPECT_EQ(started, "hidden|0");
    EXPECT_EQ(waits.at(0), INFINITE) << "a slow program is left alone";
    started.clear();
    runSystemCommand("pause");
    EXPECT_TRUE(started.ends_with("\\cmd.exe\" /d /c pause")) << started;
    EXPECT_EQ(ProcessRunner::READER_JOIN_TIMEOUT_MS, 30000u);
}

TEST_F(ProcessRunners, CommandThatIsTooLongIsNotRun) {
    ProcessRunner runner(child(std::string(780, 'x')).c_str(), false, false, false);
    EXPECT_EQ(runner.run(true, false), ERROR_FILENAME_EXCED_RANGE);
    EXPECT_EQ(runner.standardOutput(), nullptr);
}

// Runs a child that leaves another one behind with its pipes, and returns how long that took.
DWORD timeWithPipesHeld(const std::string& expected) {
    const std::string event = "zelkpmreg-tests-" + std::to_string(GetCurrentProcessId());
    const OwnedHandle mayEnd(CreateEventA(nullptr, TRUE, FALSE, event.c_str()));
    const unsigned handles = countOpenHandles();
    const DWORD start = GetTickCount();
    EXPECT_EQ(run(child("leave " + event)).first, expected);
    const DWORD taken = GetTickCount() - start;
    SetEvent(mayEnd.get());
    // Readers that were given up end now.
    for (int i = 0; i < 300 && countOpenHandles() > handles; ++i) Sleep(10);
    EXPECT_LE(taken, 6000u);
    return taken;
}

TEST_F(ProcessRunners, ProgramLeftBehindHoldsNothingUp) {
    EXPECT_GE(timeWithPipesHeld("left\r\n"), ProcessRunner::READER_IDLE_TIMEOUT_MS);
    // Reads that cannot be cancelled, and waits that fail: the readers are given up.
    {
        FAILING(CancelSynchronousIo, FALSE);
        timeWithPipesHeld("no reader");
    }
    FAILING(WaitForMultipleObjects, WAIT_FAILED);
    timeWithPipesHeld("no reader");
}

// What run returned, and whether standard output and standard error had a reader.
using Ran = std::tuple<int, bool, bool>;

// Runs a program that does nothing; expects that no handle is left, and so no reader.
Ran runChild() {
    const StandardHandles standard;
    const unsigned handles = countOpenHandles();
    Ran ran;
    {
        ProcessRunner runner("cmd /c rem", false, false, false);
        const int result = runner.run(true, false);
        runner.joinReaders();
        ran = {result, runner.standardOutput() != nullptr, runner.standardError() != nullptr};
    }
    // Both are put back into the output slot, that of the error stream last.
    EXPECT_EQ(GetStdHandle(STD_OUTPUT_HANDLE), standard.error);
    EXPECT_LE(countOpenHandles(), handles);
    return ran;
}

#define EXPECT_RAN(result, output, error, ...)                               \
    {                                                                        \
        FAILING(__VA_ARGS__);                                                \
        EXPECT_EQ(runChild(), (Ran{result, output, error})) << #__VA_ARGS__; \
    }

TEST_F(ProcessRunners, FailuresOfTheSystem) {
    static std::string failures;
    threadFailureHook = [](int error) { failures += std::to_string(error) + ' '; };
    EXPECT_EQ(runChild(), (Ran{0, true, true}));
    EXPECT_RAN(0, true, true, CreateProcessA, FALSE);
    for (const int call : {1, 2}) {
        EXPECT_RAN(0, false, false, CreatePipe, FALSE, call);
        EXPECT_RAN(0, false, false, DuplicateHandle, FALSE, call);
        FAILING(SetStdHandle, FALSE, call);
        ProcessRunner runner("cmd /c rem", false, false, false);
        EXPECT_EQ(runner.run(true, false), 0);
        EXPECT_EQ(runner.standardError(), nullptr);
    }
    // Only the reader of standard error decides.
    EXPECT_RAN(0, false, true, CreateThread, nullptr, 1, 0, "msvcrt.dll");
    EXPECT_RAN(THREAD_NOT_STARTED, true, false, CreateThread, nullptr, 2, 0, "msvcrt.dll");
    ThreadRecord record;
    EXPECT_EQ(startThread(nullptr, nullptr, record), THREAD_NO_FUNCTION);
    unsigned ran = 0;
    const auto work = [](void* done) { return Sleep(50), *static_cast<unsigned*>(done) = 1; };
    EXPECT_EQ(startThread(work, &ran, record), 0);
    joinThread(record);
    EXPECT_TRUE(ran == 1 && !record.handle && record.id == 0);
    threadFailureHook = nullptr;
    EXPECT_EQ(failures, "5111 5111 5003 ");
}

}  // namespace
