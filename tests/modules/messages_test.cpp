#include "run/messages.h"

#include "services/console.h"
#include "tests/modules/import_patch.h"
#include "tests/modules/registry_sandbox.h"

namespace {

std::wstring consoleText;
unsigned consoleWrites;

// A console that takes at most 100 characters a call, and none after the fifth.
BOOL WINAPI writeSome(HANDLE, const void* text, DWORD count, DWORD* written, void*) {
    *written = std::min<DWORD>(count, 100);
    consoleText.append(static_cast<const wchar_t*>(text), *written);
    return ++consoleWrites < 6;
}

using Messages = RegistrySandbox;

TEST_F(Messages, ConsoleGetsTheWholeLine) {
    const PatchedImport patch("WriteConsoleW", writeSome);
    const std::string longLine(450, 'x');
    EXPECT_TRUE(writeToConsole(nullptr, (longLine + "\n").c_str()));
    EXPECT_EQ(consoleText, std::wstring(450, L'x') + L"\r\n");
    EXPECT_EQ(consoleWrites, 5u);
    writeToConsole(nullptr, longLine.c_str());  // the next call fails, and that ends it
    EXPECT_EQ(consoleWrites, 6u);
}

TEST_F(Messages, TextThatALibraryLacksShowsItsNumberAndArguments) {
    const auto printed = [](const char* arg1, const char* arg2) {
        return outcomeOf([=] { return say(1017, arg1, arg2), 0; }).second;
    };
    EXPECT_EQ(printed(nullptr, nullptr), "[1017]\n");
    EXPECT_EQ(printed("a", nullptr), "[1017] a\n");
    EXPECT_EQ(printed("a", "b%d"), "[1017] a b0\n");
    const std::string longest(5000, 'x');
    EXPECT_EQ(printed(longest.c_str(), ""), "[1017] " + longest + " \n");
}

// The stack's guard --------------------------------------------------------------------------

extern "C" uintptr_t __stack_chk_guard;
extern "C" [[noreturn]] void __stack_chk_fail();

TEST(StackGuard, IsSetAndEndsTheProgram) {
    EXPECT_NE(__stack_chk_guard, 0u);
    EXPECT_EQ(__stack_chk_guard & 0xFF, 0u);
    EXPECT_EXIT(__stack_chk_fail(), testing::ExitedWithCode(static_cast<int>(0xC0000409)), "");
}

}  // namespace
