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

namespace {

// What the arguments (with "|" between them; "null" could not be converted) change: "u c=X"
// unregisters the copy X, "?" shows the usage text, "!" is -u before -r.
std::string parsed(const std::string& text) {
    std::vector<std::string> arguments = {"zelkpmreg"};
    std::istringstream stream(text);
    for (std::string argument; getline(stream, argument, '|');) arguments.push_back(argument);
    std::vector<char*> argv;
    for (std::string& argument : arguments)
        argv.push_back(argument == "null" ? nullptr : argument.data());
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

TEST(CommandLine, Arguments) {
    const std::string name64(64, 'n');
    const std::string path260(260, 'p');
    // clang-format off
    const std::pair<std::string, std::string> cases[] = {
        {"", ""}, {"/?x", "?"}, {"-?", ""}, {"-x|u|-|--v", ""}, {"-uninstall|-c|X", "u c=X"},
        // each option in its forms
        {"-u", "u"}, {"/u", "u"}, {"/U", "u"}, {"-d|/f|-s", "dfs"}, {"/D|-F|/S", "dfs"}, {"/r|-v|/p", "rvp"},
        {"-Rx|/Vx|-Px", "rvp"}, {"-h", "?"}, {"/H", "?"}, {"/C|a|-L|b|/I|c", " c=a l=b i=c"},
        {"-u|-r|-c|X", "ur! c=X"}, {"-r|-u|-c|X", "ur c=X"},
        {"null", "?"}, {"-u|null|-s", "u?s"}, {"-c|null", "?"}, {"-l|null", "?"}, {"-i|null", "?"},
        // names
        {"-c|abc_123", " c=abc_123"}, {"-c", "?"}, {"-c||-s", "?s"}, {"-c|0abc", "?"},
        {"-c|9abc", "?"}, {"-c|a-b", "?"}, {"-c|n\xe4me", "?"}, {"-c|A|-c|B", " c=B"}, {"-c|A|-c|b b", "? c=A"},
        {"-c|" + name64, " c=" + name64}, {"-c|" + name64 + "n", "?"},
        // a refused value is looked at again as an option
        {"-c|-u", "u?"}, {"-l|-v", "?v"}, {"-l|a|-s", "s l=a"},
        // paths and languages
        {"-l|  log  ", " l=  log"}, {"-i| DE ", " i= DE"}, {"-l", "?"}, {"-l|   ", "?"},
        {"-l|  /x", "?"}, {"-l|" + path260, " l=" + path260}, {"-l|" + path260 + "p", "?"},
        {"-i|" + std::string(2047, 'i'), " i=" + std::string(2047, 'i')}, {"-i|" + std::string(2048, 'i'), "?"}};
    // clang-format on
    for (const auto& [arguments, expected] : cases) {
        EXPECT_EQ(parsed(arguments), expected) << arguments;
    }
    EXPECT_TRUE(parseCommandLine(3, nullptr).showUsage);
}

// The languages that are supported have tests on systems of these languages.
TEST(Language, TextsOfALanguageIdAndOfACode) {
    constexpr char KEPT[] = "kept";  // what a failed look-up leaves
    const std::tuple<uint16_t, int, const char*> ids[] = {
        {2057, 4, "en_us"}, {2067, 4, "nl_nl"}, {3084, 4, KEPT}, {3076, 4, KEPT},
        {1046, 4, "pt_br"}, {2070, 4, "pt_pt"}, {0, 4, KEPT},    {1036, 1, "1036"},
        {1036, 2, "040c"},  {1036, 3, "FR"},    {1036, 0, KEPT}, {1036, 5, KEPT}};
    char text[LANGUAGE_TEXT_BYTES];
    for (const auto& [id, column, expected] : ids) {
        strcpy(text, KEPT);
        EXPECT_EQ(lookupLanguage(id, column, text), expected != KEPT) << id;
        EXPECT_STREQ(text, expected) << id;
    }
    EXPECT_FALSE(lookupLanguage(1036, LANGUAGE_LOCALE, nullptr));
    const std::pair<const char*, const char*> codes[] = {
        {"tW", "Zh_tw"}, {"pt", "pt_pt"}, {"xx", KEPT}, {"E", KEPT}, {"ENG", KEPT}, {" DE", KEPT}};
    for (const auto& [code, expected] : codes) {
        strcpy(text, KEPT);
        EXPECT_EQ(lookupLanguageCode(code, text), expected != KEPT ? 0 : -1);
        EXPECT_STREQ(text, expected) << code;
    }
}

// Formats with the arguments "one" and "%d", in a buffer of size bytes.
std::string formatted(const char* format, size_t size) {
    char buffer[100];
    memset(buffer, '#', sizeof buffer);
    char* const out = buffer + 1;
    const char* const arguments[] = {"one", "%d"};
    const size_t length = formatMessage(out, size, format, arguments);
    EXPECT_EQ(std::min(length, size - 1), strlen(out)) << format;
    EXPECT_TRUE(out[-1] == '#' && out[size] == '#') << format;
    return out;
}

TEST(MessageFormat, ConversionsAndCutTexts) {
    // clang-format off
    const std::tuple<const char*, size_t, const char*> cases[] = {
        {"%s, %s, %s\n", 60, "one, %d, (null)\n"}, {"100%%", 60, "100%"}, {"[%-4s|%3.2s]", 60, "[one|%d]"},
        {"a%nb%hn%s", 60, "ab(null)"}, {"%-+ #0-+ #0-+ #0d|%c", 60, "0|"}, {"%*d", 60, "%*d"},
        {"%d %5u %x %ld %I64d %I32u %.d", 60, "0 0 0 0 0 0 0"},
        // shown as they are written
        {"%.2f %p %s", 60, "%.2f %p one"}, {"%y %-5k %", 60, "%y %-5k %"},
        // cut
        {"abcdef\n", 7, "abcde\n"}, {"%s%s\n", 5, "one\n"}, {"%s%s", 5, "one%"}, {"ab\n", 2, "\n"}, {"ab\n", 1, ""}};
    // clang-format on
    for (const auto& [format, size, expected] : cases) EXPECT_EQ(formatted(format, size), expected);
    const std::string tooLong(1018, 'x');  // by one byte, with "(null)", for the short buffer
    const FormattedMessage message((tooLong + "%s").c_str(), {});
    EXPECT_EQ(message.text(), tooLong + "(null)");
}

TEST(InstallDirectory, FromTheExecutable) {
    const std::string longest = "C:\\" + std::string(250, 'p');
    const std::pair<std::string, std::string> cases[] = {
        {"C:\\a b\\c.d\\bin\\t.exe", "C:\\a b\\c.d"},
        {"C:\\bin\\tool.exe", "C:"},
        {"C:\\tool.exe", ""},
        {"tool.exe", ""},
        {longest + "\\b\\t.e", longest}};
    for (const auto& [executable, expected] : cases) {
        setInstallDirectory(executable.c_str());
        EXPECT_EQ(installDir, expected + "\\") << executable;
    }
}

}  // namespace
