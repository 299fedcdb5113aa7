#include "services/process_runner.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "services/capture.h"
#include "tests/modules/open_handles.h"

namespace {

const std::string NO_PROGRAM = "C:\\not there.exe /s";

std::filesystem::path childProgram() {
    char self[261] = "";
    GetModuleFileNameA(nullptr, self, sizeof self);
    return std::filesystem::path(self).replace_filename("children.exe");
}

std::string child(const std::string& arguments) {
    return childProgram().string() + ' ' + arguments;
}

// Returns the texts of standard output and standard error.
std::pair<std::string, std::string> run(const std::string& command) {
    ProcessRunner runner(command.c_str(), false, false, false);
    EXPECT_EQ(runner.run(true, false), 0) << command;
    runner.joinReaders();
    const auto text = [](const char* captured) { return captured ? captured : "no reader"; };
    return {text(runner.standardOutput()), text(runner.standardError())};
}

TEST(ProcessRunner, ArgumentsArrive) {
    const auto folder = std::filesystem::temp_directory_path() /
                        ("zelkpmreg runner " + std::to_string(GetCurrentProcessId()));
    std::filesystem::create_directory(folder);
    const std::string program = (folder / "a program.exe").string();
    const std::string batch = (folder / "a batch file.bat").string();
    std::filesystem::copy_file(childProgram(), program);
    std::ofstream(batch) << "@echo [%1][%2]\n";
    EXPECT_EQ(run(program + " arguments \"a b\" c \"\" d\\").first, "[a b][c][][d\\]");
    EXPECT_EQ(run('"' + program + "\" arguments x").first, "[x]");
    EXPECT_EQ(run(batch + " one two").first, "[one][two]\r\n");
    std::filesystem::remove_all(folder);
}

// A figure that the environment can raise for a longer trial.
size_t figure(const char* variable, size_t usual) {
    const char* text = getenv(variable);
    return text ? strtoul(text, nullptr, 10) : usual;
}

TEST(ProcessRunner, BothStreamsArrive) {
    const size_t flood = figure("ZELK_FLOOD", 18'000'000);  // 1100000000 for the longer trial
    for (const size_t size : {size_t{100'000}, flood}) {
        const auto [output, error] = run(child("flood " + std::to_string(size)));
        std::string expected(std::min(size, output.size()), ' ');
        for (size_t i = 0; i < expected.size(); ++i) expected[i] = static_cast<char>('a' + i % 23);
        EXPECT_TRUE(output == expected);  // EXPECT_EQ would print them
        EXPECT_TRUE(error == expected);
        EXPECT_GE(output.size(), std::min(size, Capture::MOST_BYTES - 512));
    }
}

TEST(ProcessRunner, CommandThatIsTooLongIsNotRun) {
    ProcessRunner runner(child("arguments " + std::string(780, 'x')).c_str(), false, false, false);
    EXPECT_EQ(runner.run(true, false), ERROR_FILENAME_EXCED_RANGE);
    EXPECT_EQ(runner.standardOutput(), nullptr);
}

TEST(ProcessRunner, ProgramLeftBehindHoldsNothingUp) {
    const std::string event = "zelkpmreg-tests-" + std::to_string(GetCurrentProcessId());
    const OwnedHandle holderMayEnd(CreateEventA(nullptr, TRUE, FALSE, event.c_str()));
    const DWORD start = GetTickCount();
    EXPECT_EQ(run(child("leave " + event)).first, "left\r\n");
    const DWORD taken = GetTickCount() - start;
    EXPECT_GE(taken, ProcessRunner::IDLE_PATIENCE) << "nothing held the pipe";
    EXPECT_LE(taken, 6000u);
    SetEvent(holderMayEnd.get());
}

TEST(ProcessRunner, NoInputForTheProgram) {
    OwnedHandle read, write;
    SECURITY_ATTRIBUTES inheritable = {sizeof inheritable, nullptr, TRUE};
    CreatePipe(read.receive(), write.receive(), &inheritable, 0);
    DWORD written = 0;
    WriteFile(write.get(), "x", 1, &written, nullptr);
    SetStdHandle(STD_INPUT_HANDLE, read.get());
    EXPECT_EQ(run(child("input")).first, "no input\r\n");
}

TEST(ProcessRunner, StandardHandlesAfterwards) {
    for (const std::string& command : {child("nothing"), NO_PROGRAM}) {
        const OwnedHandle output(CreateEventA(nullptr, FALSE, FALSE, nullptr));
        const OwnedHandle error(CreateEventA(nullptr, FALSE, FALSE, nullptr));
        SetStdHandle(STD_OUTPUT_HANDLE, output.get());
        SetStdHandle(STD_ERROR_HANDLE, error.get());
        EXPECT_EQ(run(command), (std::pair<std::string, std::string>()));
        // Both are put back into the output slot, that of the error stream last.
        EXPECT_EQ(GetStdHandle(STD_OUTPUT_HANDLE), error.get());
        EXPECT_NE(GetStdHandle(STD_ERROR_HANDLE), error.get());
    }
}

TEST(ProcessRunner, ManyRunsLeaveNothing) {
    run(child("nothing"));
    const unsigned handles = countOpenHandles();
    const unsigned threads = countThreads();
    const size_t runs = figure("ZELK_RUNS", 500);  // 10000 for the longer trial
    for (size_t i = 0; i < runs; ++i) run(i % 4 == 0 ? child("nothing") : NO_PROGRAM);
    EXPECT_EQ(countOpenHandles(), handles);
    EXPECT_EQ(countThreads(), threads);
}

}  // namespace
