#include "run/messages.h"

#include <fcntl.h>
#include <io.h>

#include <filesystem>
#include <fstream>

#include "services/console.h"
#include "tests/modules/import_patch.h"
#include "tests/modules/registry_sandbox.h"

namespace {

using Messages = RegistrySandbox;

// A console that takes at most 100 characters a call, and none after the fifth.
TEST_F(Messages, ConsoleGetsTheWholeLine) {
    std::wstring shown;
    unsigned writes = 0;
    REPLACING(WriteConsoleW, [&](HANDLE, const void* text, DWORD count, DWORD* written, void*) {
        *written = std::min<DWORD>(count, 100);
        shown.append(static_cast<const wchar_t*>(text), *written);
        return BOOL{++writes < 6};
    });
    const std::string longLine(450, 'x');
    EXPECT_TRUE(writeToConsole(nullptr, (longLine + "\n").c_str()));
    EXPECT_EQ(shown, std::wstring(450, L'x') + L"\r\n");
    EXPECT_EQ(writes, 5u);
    writeToConsole(nullptr, longLine.c_str());  // the next call fails, and that ends it
    EXPECT_EQ(writes, 6u);
}

TEST_F(Messages, EachLineIsInTheFileAtOnce) {
    int pipe[2];
    DWORD size = 0;
    _pipe(pipe, 4096, _O_BINARY);
    const int console = _dup(_fileno(stdout));
    fflush(stdout);
    _dup2(pipe[1], _fileno(stdout));
    logFile = fopen("lines.log", "w");
    say(1017, "a");
    PeekNamedPipe(reinterpret_cast<HANDLE>(_get_osfhandle(pipe[0])), nullptr, 0, nullptr, &size,
                  nullptr);
    EXPECT_GE(size, sizeof "[1017] a");
    // Not its size: Windows tells that of an open file as it was when it was last closed.
    std::ifstream file("lines.log");
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), "[1017] a\n");
    file.close();
    fclose(std::exchange(logFile, nullptr));
    std::filesystem::remove("lines.log");
    fflush(stdout);
    _dup2(console, _fileno(stdout));
    for (const int end : {pipe[0], pipe[1], console}) _close(end);
}

extern "C" uintptr_t __stack_chk_guard;
extern "C" [[noreturn]] void __stack_chk_fail();

TEST(StackGuard, IsSetAndEndsTheProgram) {
    EXPECT_NE(__stack_chk_guard, 0u);
    EXPECT_EXIT(__stack_chk_fail(), testing::ExitedWithCode(static_cast<int>(0xC0000409)), "");
}

}  // namespace
