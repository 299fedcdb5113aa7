#include <windows.h>

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <tuple>
#include <vector>

#include "services/arguments.h"
#include "services/programs/command_builder.h"
#include "services/registry.h"
#include "services/same_name.h"
#include "services/text.h"

namespace {

TEST(Text, CopyNameInAKeyPath) {
    const std::pair<const char*, const char*> cases[] = {
        {"K\\$CurrentInstallationName$\\V", "K\\A\\V"},
        {"K\\$DefaultInstallationName$", "K\\A"},
        {"$DefaultInstallationName$\\$CurrentInstallationName$", "$DefaultInstallationName$\\A"},
        {"$CurrentInstallationName$$CurrentInstallationName$", "A$CurrentInstallationName$"}};
    char out[100];
    for (const auto& [path, expected] : cases) {
        EXPECT_EQ(substituteCopyName(path, "A", out, sizeof out), TEXT_OK);
        EXPECT_STREQ(out, expected);
        EXPECT_EQ(substituteCopyName(path, nullptr, out, sizeof out), TEXT_OK);
        EXPECT_STREQ(out, path);
    }
    EXPECT_EQ(substituteCopyName("$CurrentInstallationName$", "long", out, 4), TEXT_CUT);
}

TEST(Text, StaysInsideItsBuffer) {
    char text[4] = {'a', 'b', 'c', 'd'};
    EXPECT_EQ(appendText(text, ""), TEXT_OK);
    EXPECT_STREQ(text, "abc");
    char blanks[] = "  ";
    EXPECT_STREQ(trimCharacters(blanks + 1, " "), "");
    EXPECT_EQ(blanks[0], ' ');
}

void markShortened(char* path, size_t size) {
    copyText(path, size, ("<" + std::string(path) + ">").c_str());
}

TEST(Arguments, ConvertedOneByOne) {
    // A quotation mark that looks alike becomes one where the code page has no other.
    const wchar_t* const given[] = {L"zelkpmreg", L"",       L"a\"b \\",
                                    L"\u20ac",    L"\u02ba", L"x\xd800"};
    constexpr int COUNT = sizeof given / sizeof *given;
    char** const texts = toAnsiArguments(COUNT, given);
    for (int i = 0; i < COUNT; ++i) {
        wchar_t back[20] = L"";
        if (texts[i]) MultiByteToWideChar(CP_ACP, 0, texts[i], -1, back, 20);
        EXPECT_EQ(std::wstring(back), texts[i] ? given[i] : L"") << i;
        EXPECT_TRUE(texts[i] || i >= 3) << i;
    }
    EXPECT_EQ(texts[4] != nullptr, GetACP() == CP_UTF8);
    EXPECT_EQ(texts[COUNT - 1], nullptr);
}

TEST(CommandBuilder, ProgramPart) {
    const std::string full(COMMAND_LINE_BYTES - 1, 'x');
    const std::string program = std::string(COMMAND_LINE_BYTES - 7, 'x') + ".exe";
    const std::pair<std::string, std::string> cases[] = {
        {"regsvr32 /s /u \"C:\\a b\\x.dll\"", "regsvr32 /s /u \"C:\\a b\\x.dll\""},
        {"c:\\a b\\t\\a.EXE -x", "\"c:\\a b\\t\\a.EXE\" -x"},
        {"\"C:\\a b\\a.Com\" \"y z\"", "\"C:\\a b\\a.Com\" \"y z\""},
        {"C:\\a b\\t.bat 1", "<C:\\a b\\t.bat> 1"},
        {"C:\\a b\\t.CMD", "<C:\\a b\\t.CMD>"},
        {"a.bat b.exe c", "\"a.bat b.exe\" c"},  // the first suffix of the list, not of the text
        {full, full},
        {program, '"' + program + '"'}};
    char out[COMMAND_LINE_BYTES];
    for (const auto& [command, expected] : cases) {
        EXPECT_EQ(buildCommandLine(command.c_str(), markShortened, out, sizeof out), TEXT_OK);
        EXPECT_EQ(out, expected);
    }
    for (const std::string& longer : {full + "x", "x" + program, program + " "})
        EXPECT_EQ(buildCommandLine(longer.c_str(), markShortened, out, sizeof out), TEXT_CUT);
}

TEST(SameName, ComparedAsInWindows) {
    std::vector<std::tuple<const char*, const char*, bool>> cases = {
        {"D:/Name/", "d:/nAME/", true}, {"D:/Name/", "D:/Name", false}, {"co-op", "coop", false}};
    // The bytes mean something else in other code pages.
    const bool western = GetACP() == 1252, japanese = GetACP() == 932;
    if (western || japanese) {
        cases.emplace_back("D:/\xDCnikat/", "d:/\xFCnikat/", western);
        // Two-byte characters that differ in the second byte alone, 0x41 and 0x61
        cases.emplace_back("\x83\x41", "\x83\x61", western);
    }
    for (const auto& [left, right, same] : cases) EXPECT_EQ(isSameName(left, right), same) << left;
}

}  // namespace
