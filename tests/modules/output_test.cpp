// The lines of zelkpmutil in the code page of the console that reads them.
#include "admin/output.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/modules/import_patch.h"

namespace {

TEST(Output, IsOneLineWhateverTheTextHolds) {
    testing::internal::CaptureStdout();
    printLine("%s", "a\tb\r\nok\x1b[2J\x7f");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "a\tb??ok?[2J?\n");
}

TEST(Output, IsInTheCodePageOfTheConsole) {
    // Of 1252: e with an acute accent, the euro sign, typographic quotes.
    const std::string text = "\xe9 \x80 \x93\x94";
    const std::pair<UINT, std::string> cases[] = {
        {850, "\x82 ? ??\n"},  // no look-alikes: a quote would end a text
        {65001, "\xc3\xa9 \xe2\x82\xac \xe2\x80\x9c\xe2\x80\x9d\n"},
        {0, text + "\n"},  // without a console
    };
    if (GetACP() != 1252) GTEST_SKIP() << "of another code page";
    for (const auto& [page, expected] : cases) {
        REPLACING(GetConsoleOutputCP, [&] { return page; });
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        printLine("%s", text.c_str());
        setQuiet(true);
        printLine("not printed");
        printRefusal("%s", text.c_str());
        setQuiet(false);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), expected) << page;
        EXPECT_EQ(testing::internal::GetCapturedStderr(), expected) << page;
    }
}

}  // namespace
