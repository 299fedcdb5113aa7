#include <windows.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "driver/command_line.h"
#include "driver/install_directory.h"
#include "run/language.h"
#include "run/run_settings.h"
#include "services/message_format.h"
#include "services/path.h"

namespace {

// What the arguments (with "|" between them) change: "u c=X" unregisters the copy X, "?" shows the
// usage text, "!" is -u before -r.
std::string parsed(const std::string& text) {
    std::vector<std::string> arguments = {"zelkpmreg"};
    std::istringstream stream(text.empty() ? "" : text + "|");
    for (std::string argument; getline(stream, argument, '|');) arguments.push_back(argument);
    std::vector<char*> argv;
    for (std::string& argument : arguments) argv.push_back(argument.data());
    const CommandLine line = parseCommandLine(static_cast<int>(argv.size()), argv.data());

    std::string result = line.unregister == 1 ? "u" : "";
    if (line.showUsage) result += '?';
    if (makeDefaultCopy) result += 'd';
    if (replaceExisting) result += 'r';
    if (line.replaceAfterUnregister) result += '!';
    if (line.forceUnregister) result += 'f';
    if (silent) result += 's';
    if (verbose) result += 'v';
    if (pauseBeforeExit) result += 'p';
    const bool named = line.copyNameGiven || strcmp(copyName, "ORVDBCL1") != 0;
    if (named) result += std::string(" c=") + copyName;
    if (line.logPathGiven || *line.logPath) result += std::string(" l=") + line.logPath;
    if (*languageCode) result += std::string(" i=") + languageCode;
    return result;
}

TEST(CommandLine, EveryOptionHasFourForms) {
    for (const std::string form : {"-", "/"}) {
        for (const std::string letters : {"uU", "dD", "rR", "fF", "sS", "vV", "pP"}) {
            EXPECT_EQ(parsed(form + letters[0]), letters.substr(0, 1));
            EXPECT_EQ(parsed(form + letters[1] + "ny"), letters.substr(0, 1));
        }
        for (const std::string letters : {"cC", "lL", "iI"}) {
            EXPECT_EQ(parsed(form + letters[0] + "|a"), " " + letters.substr(0, 1) + "=a");
            EXPECT_EQ(parsed(form + letters[1] + "|a"), " " + letters.substr(0, 1) + "=a");
        }
        EXPECT_EQ(parsed(form + "h") + parsed(form + "H"), "??");
    }
}

TEST(CommandLine, Arguments) {
    const std::string name64(64, 'n');
    const std::string path260(260, 'p');
    // clang-format off
    const std::pair<std::string, std::string> cases[] = {
        {"", ""}, {"/?", "?"}, {"/?x", "?"}, {"-?", ""}, {"-x|u|-|--v", ""}, {"-uninstall|-c|X", "u c=X"},
        {"-u|-r|-c|X", "ur! c=X"}, {"-r|-u|-c|X", "ur c=X"},
        // names
        {"-c|abc_123", " c=abc_123"}, {"-c", "?"}, {"-c||-s", "?s"}, {"-c|1abc", "?"},
        {"-c|a-b", "?"}, {"-c|n\xe4me", "?"}, {"-c|A|-c|B", " c=B"}, {"-c|A|-c|b b", "? c=A"},
        {"-c|" + name64, " c=" + name64}, {"-c|" + name64 + "n", "?"},
        // a refused value is looked at again as an option
        {"-c|-u", "u?"}, {"-l|-v", "?v"}, {"-l|a|-s", "s l=a"},
        // paths and languages
        {"-l|  log  ", " l=  log"}, {"-i| DE ", " i= DE"}, {"-l", "?"}, {"-l|   ", "?"},
        {"-l|  /x", "?"}, {"-l|" + path260, " l=" + path260}, {"-l|" + path260 + "p", "?"},
        {"-i|" + std::string(2048, 'i'), "?"}};
    // clang-format on
    for (const auto& [arguments, expected] : cases) {
        EXPECT_EQ(parsed(arguments), expected) << arguments;
    }
}

constexpr char KEPT[] = "kept";  // what a failed look-up leaves

TEST(Language, TextsOfALanguageId) {
    const std::tuple<uint16_t, int, const char*> cases[] = {
        {1033, 4, "en_us"}, {2057, 4, "en_us"}, {2067, 4, "nl_nl"}, {2068, 4, "no_no"},
        {2074, 4, "hr_hr"}, {1036, 4, "fr_fr"}, {3084, 4, KEPT},    {1046, 4, "pt_br"},
        {2070, 4, "pt_pt"}, {1028, 4, "Zh_tw"}, {2052, 4, "zh_cn"}, {3076, 4, KEPT},
        {1039, 4, KEPT},    {0, 4, KEPT},       {1036, 1, "1036"},  {1036, 2, "040c"},
        {1036, 3, "FR"},    {1036, 0, KEPT},    {1036, 5, KEPT}};
    for (const auto& [id, column, expected] : cases) {
        char text[LANGUAGE_TEXT_BYTES] = "kept";
        EXPECT_EQ(lookupLanguage(id, column, text), expected != KEPT);
        EXPECT_STREQ(text, expected) << id;
    }
    EXPECT_FALSE(lookupLanguage(1036, LANGUAGE_LOCALE, nullptr));
}

TEST(Language, LocaleOfACode) {
    const std::pair<const char*, const char*> cases[] = {
        {"EN", "en_us"}, {"en", "en_us"}, {"tW", "Zh_tw"}, {"pt", "pt_pt"}, {"IW", "iw_il"},
        {"xx", KEPT},    {"E", KEPT},     {"ENG", KEPT},   {" DE", KEPT},   {"", KEPT}};
    for (const auto& [code, expected] : cases) {
        char locale[LANGUAGE_TEXT_BYTES] = "kept";
        EXPECT_EQ(lookupLanguageCode(code, locale), expected != KEPT ? 0 : -1);
        EXPECT_STREQ(locale, expected) << code;
    }
}

// Formats with the arguments "one" and "%d", in a buffer of size bytes.
std::string formatted(const char* format, size_t size) {
    char out[100];
    memset(out, '#', sizeof out);
    const char* const arguments[] = {"one", "%d"};
    const size_t length = formatMessage(out, size, format, arguments, 2);
    EXPECT_EQ(std::min(length, size - 1), strlen(out)) << format;
    EXPECT_EQ(out[size], '#') << format;
    return out;
}

TEST(MessageFormat, Conversions) {
    const std::pair<const char*, const char*> cases[] = {
        {"%s, %s, %s\n", "one, %d, (null)\n"},
        {"100%%", "100%"},
        {"[%-4s|%3s]", "[one | %d]"},
        {"%.2s", "on"},
        {"%d %5u %x %ld %I64d", "0     0 0 0 0"},
        {"a%nb%hn%s", "ab(null)"},
        {"%-+ #0-+ #0-+ #0d|%c", "+0|"},
        {"%.2f %p %*d %s", "%.2f %p %*d one"},  // not taken for conversions
        {"%y %-5k %", "%y %-5k %"}};
    for (const auto& [format, expected] : cases) EXPECT_EQ(formatted(format, 60), expected);
    EXPECT_EQ(formatted("%99999d", 60), std::string(59, ' '));
    const FormattedMessage wide("%99999d%2000s", nullptr, 0);
    EXPECT_EQ(wide.text(), std::string(999, ' ') + "0" + std::string(994, ' ') + "(null)");
}

TEST(MessageFormat, CutTexts) {
    EXPECT_EQ(formatted("abcdef", 6), "abcde");
    EXPECT_EQ(formatted("abcdef\n", 8), "abcdef\n");
    EXPECT_EQ(formatted("abcdef\n", 7), "abcde\n");  // a cut line still ends the line
    EXPECT_EQ(formatted("%s%s\n", 5), "one\n");
}

void expectInstallDirectory(const std::string& executable, const std::string& expected) {
    setInstallDirectory(executable.c_str());
    EXPECT_EQ(installDir, expected + "\\") << executable;
}

TEST(InstallDirectory, FromTheExecutable) {
    expectInstallDirectory("C:\\a b\\c.d\\bin\\t.exe", "C:\\a b\\c.d");
    expectInstallDirectory("\\\\server\\share\\bin\\t.exe", "\\\\server\\share");
    expectInstallDirectory("C:\\bin\\tool.exe", "C:");
    expectInstallDirectory("C:\\tool.exe", "");
    expectInstallDirectory("tool.exe", "");
    const std::string longest = "C:\\" + std::string(250, 'p');
    expectInstallDirectory(longest + "\\b\\t.e", longest);
}

TEST(InstallDirectory, InJapaneseASecondByteIsNoBackslash) {
    if (GetACP() != 932) GTEST_SKIP() << "needs the ANSI code page 932";
    expectInstallDirectory("C:\\\x95\\\\bin\\t.exe", "C:\\\x95\\");
    expectInstallDirectory("C:\\P\\\x95\\\\t.exe", "C:\\P");
    expectInstallDirectory("C:\\P\\bin\\\x95\\.exe", "C:\\P");
    char path[] = "C:\\\x95\\\\x\\";
    cutTrailingBackslash(path);
    replaceBackslashes(path);
    EXPECT_STREQ(path, "C:/\x95\\/x");
    char lead[] = "C:\\\x95\\";
    cutTrailingBackslash(lead);
    EXPECT_STREQ(lead, "C:\\\x95\\");
}

}  // namespace
