// The command line of zelkpmutil, and its JSON.
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "admin/command.h"
#include "admin/json.h"

namespace {

Command parse(const std::string& text) {
    std::vector<std::string> arguments = {"zelkpmutil"};
    std::istringstream stream(text);
    for (std::string argument; getline(stream, argument, '|');) arguments.push_back(argument);
    std::vector<char*> argv;
    for (std::string& argument : arguments) argv.push_back(argument.data());
    return parseCommand(static_cast<int>(argv.size()), argv.data());
}

// What a valid command line means: "3 NAME [d] -l log", and what is handed on.
std::string parsed(const std::string& text) {
    const Command command = parse(text);
    EXPECT_STREQ(command.refusal, "") << text;
    std::string flags = std::string(command.help ? "h" : "") + (command.json ? "j" : "") +
                        (command.makeDefault ? "d" : "") + (command.replace ? "r" : "") +
                        (command.silent ? "s" : "");
    return command.word + std::string(" ") + command.name + '[' + flags + ']' + command.logPath +
           '|' + command.programOptions;
}

TEST(AdminCommand, WhatIsTaken) {
    const std::string longest = '_' + std::string(61, 'a') + "Z9";
    const std::pair<std::string, std::string> cases[] = {
        {"list", "list []|"},
        {"LIST|--JSON", "list [j]|"},
        {"verify|" + longest + "|/D|--json", "verify " + longest + "[jd]| -d"},
        {"register|X|-d|-R|/i|En|-v|-s|-p|-l|C:\\a b\\x.log",
         "register X[drs]C:\\a b\\x.log| -d -r -i En -v -p"},
        {"register|-l|a.log  |X|-d|-d", "register X[d]a.log| -d"},
        {"upgrade", "upgrade []|"},
        {"upgrade|-i|EN|X", "upgrade X[]| -i EN"},
        {"unregister|X|-p|-v", "unregister X[]| -p -v"},
        {"register|1X|-u|/?", "register [h]|"},
        {"verify|--help", "verify [h]|"},
        {"--help|x", " []|"},
    };
    for (const auto& [text, expected] : cases) EXPECT_EQ(parsed(text), expected) << text;
    EXPECT_EQ(parse("--Version").verb, Verb::VERSION);
    for (const char* help : {"--help", "-h", "-H", "/h", "/?", "-?", "sources|-h"})
        EXPECT_TRUE(parse(help).verb == Verb::HELP && parse(help).refusal[0] == '\0') << help;
}

TEST(AdminCommand, WhatIsRefused) {
    const std::string tooLong(65, 'A'), path(261, 'x');
    const std::pair<std::string, std::string> cases[] = {
        {"", "Specify a command."},
        {"verfy",
         "Not a command: verfy. The commands are list, verify, register, upgrade, unregister, "
         "files, "
         "sources export, and sources import."},
        {"sources|export", "Specify the file: zelkpmutil sources export FILE."},
        {"sources|import|a|--json", "sources import does not take the option --json."},
        {"files|a|b", "Specify one path, not two: a, b"},
        {"files|" + path, "Not a path of 1 to 260 characters: " + path.substr(0, 100)},
        {"list|X", "list does not take a name: X"},
        {"list|-d", "list does not take the option -d."},
        {"verify|-r", "verify does not take the option -r."},
        {"unregister|-D", "unregister does not take the option -d."},
        {"register|X|--json", "register does not take the option --json."},
        {"register|-d", "Specify the name of the copy: zelkpmutil register NAME."},
        {"verify|A|B", "Specify one name, not two: A, B"},
        {"verify|-dx", "Not an option: -dx"},
        {"verify|--default", "Not an option: --default"},
        {"verify|/", "Not an option: /"},
        {"verify|-z", "Not an option: -z"},
        {"register|-c|X", "Specify the name without -c."},
        {"register|X|/U", "To unregister a copy, use the command unregister instead of -u."},
        {"unregister|X|-f",
         "-f is refused: it would unregister the copy of another folder. Run the zelkpmutil.exe of "
         "that folder."},
        {"upgrade|X|-r",
         "-r would remove the data sources, which upgrade keeps. To remove them, use register -r."},
        {"register|X|-l", "Specify a file after -l."},
        {"register|X|-l| ", "Specify a file after -l."},
        {"register|X|-l|-v", "Specify a file after -l."},
        {"register|X|-l|" + path, "The path after -l is longer than 260 characters."},
        {"register|X|-i|/d", "Specify a language after -i."},
        {"register|X|-i|ENG", "Not the two letters of a language: ENG"},
        {"register|X|-i|E\"", "Not the two letters of a language: E\""},
    };
    for (const auto& [text, expected] : cases) EXPECT_EQ(parse(text).refusal, expected) << text;
    for (const std::string& name :
         {tooLong, std::string("1X"), std::string("A-B"), std::string("A&B"), std::string("\xe9")})
        EXPECT_EQ(parse("verify|" + name).refusal,
                  "Not a valid name: " + name +
                      ". Use up to 64 letters, digits, and underscores, and no digit first.");
    char program[] = "zelkpmutil", word[] = "verify";
    char* unreadable[] = {program, word, nullptr};
    EXPECT_STREQ(parseCommand(3, unreadable).refusal,
                 "An argument has a character that the code page of this system lacks.");
    EXPECT_STREQ(parseCommand(3, nullptr).refusal, "Specify a command.") << "without memory";
    EXPECT_TRUE(parse("x|--json").json && parse("--json").json) << "a refusal is JSON too";
    EXPECT_LT(std::string(parse("verify|" + std::string(1000, 'x')).refusal).size(), 255u);
}

TEST(Json, IsOneObjectInAscii) {
    testing::internal::CaptureStdout();
    {
        JsonWriter json;
        json.beginObject();
        json.text("text", "\"\\\x01\x1f\n~\x7f \xe4");
        json.text("none", nullptr);
        json.number("code", -106);
        json.beginObject("copy");
        json.boolean("default", true);
        json.boolean("other", false);
        json.endObject();
        json.beginArray("empty");
        json.endArray();
        json.beginArray("list");
        for (int i = 0; i < 2; ++i) {
            json.beginObject();
            json.null("a");
            json.beginArray("b");
            json.text(nullptr, "x");
            json.text(nullptr, "y");
            json.endArray();
            json.endObject();
        }
        json.endArray();
        json.endObject();
    }
    EXPECT_EQ(testing::internal::GetCapturedStdout(), R"({
  "text": "\"\\\u0001\u001f\u000a~\u007f \u00e4",
  "none": null,
  "code": -106,
  "copy": {"default": true, "other": false},
  "empty": [],
  "list": [
    {"a": null, "b": ["x", "y"]},
    {"a": null, "b": ["x", "y"]}
  ]
}
)");
}

}  // namespace
