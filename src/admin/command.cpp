#include "admin/command.h"

#include <algorithm>
#include <cstring>
#include <span>

#include "run/copy_name.h"
#include "services/text.h"

namespace {

enum class Operand { NONE, NAME, FOLDER, FILE };

// What a command takes.
struct Rule {
    const char* word;
    const char* letters;  // of its options
    Verb verb;
    bool takesJson;
    Operand operand;
};
constexpr Rule RULES[] = {
    {"list", "", Verb::LIST, true, Operand::NONE},
    {"verify", "d", Verb::VERIFY, true, Operand::NAME},
    {"register", "drivspl", Verb::REGISTER, false, Operand::NAME},
    {"upgrade", "divspl", Verb::UPGRADE, false, Operand::NAME},
    {"unregister", "ivspl", Verb::UNREGISTER, false, Operand::NAME},
    {"files", "", Verb::FILES, true, Operand::FOLDER},
    {"sources export", "", Verb::EXPORT_SOURCES, false, Operand::FILE},
    {"sources import", "sl", Verb::IMPORT_SOURCES, false, Operand::FILE},
};
constexpr char SOURCES[] = "sources";

bool isWord(const char* argument, const char* word) {
    return compareFolded(argument, word) == 0;
}

bool isHelp(const char* argument) {
    static constexpr const char* FORMS[] = {"--help", "-h", "-?", "/h", "/?"};
    return std::ranges::any_of(FORMS, [argument](auto form) { return isWord(argument, form); });
}

bool isOption(const char* argument) {
    return argument[0] == '-' || argument[0] == '/';
}

// The small letter of "-x", "-X", "/x" and "/X"; 0 for every other argument.
char optionLetter(const char* argument) {
    if (!isOption(argument) || argument[1] == '\0' || argument[2] != '\0') return '\0';
    const char letter = argument[1];
    return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

// What follows an option, without blanks at its end; null when it is none.
const char* readValue(char* value) {
    if (!value) return nullptr;
    const char* trimmed = trimCharacters(value, " ");
    return *trimmed == '\0' || isOption(trimmed) ? nullptr : value;
}

class Parser {
  public:
    Parser(const Rule& rule, Command& command) : rule_(rule), command_(command) {}

    void readAll(std::span<char*> arguments) {
        for (size_t i = 0; i < arguments.size() && command_.refusal[0] == '\0'; ++i) {
            char* next = i + 1 < arguments.size() ? arguments[i + 1] : nullptr;
            if (readArgument(arguments[i], next)) ++i;
        }
        if (command_.refusal[0] == '\0' && rule_.verb == Verb::REGISTER &&
            command_.name[0] == '\0') {
            refuse("Specify the name of the copy: zelkpmutil register NAME.");
        }
        if (command_.refusal[0] == '\0' && rule_.operand == Operand::FILE &&
            command_.path[0] == '\0') {
            refuse("Specify the file: zelkpmutil %s FILE.", rule_.word);
        }
    }

  private:
    void refuse(const char* text) { copyText(command_.refusal, text); }
    template <typename... Arguments>
    void refuse(const char* format, const char* argument, Arguments... more) {
        formatText(command_.refusal, sizeof command_.refusal, format, argument, more...);
    }

    // True when next, its value, was read as well.
    bool readArgument(const char* argument, char* next) {
        if (!isOption(argument)) {
            readOperand(argument);
        } else if (const char letter = optionLetter(argument); letter != '\0') {
            if (strchr(rule_.letters, letter)) return readOption(letter, next);
            refuseOption(letter);
        } else if (!isWord(argument, "--json")) {
            refuse("Not an option: %.100s", argument);
        } else if (!rule_.takesJson) {
            refuse("%s does not take the option --json.", rule_.word);
        }
        return false;
    }

    void readOperand(const char* argument) {
        if (rule_.operand == Operand::NONE) {
            refuse("%s does not take a name: %.100s", rule_.word, argument);
        } else if (rule_.operand == Operand::NAME) {
            readName(argument);
        } else if (command_.path[0] != '\0') {
            refuse("Specify one path, not two: %.100s, %.100s", command_.path, argument);
        } else if (copyText(command_.path, argument) != TEXT_OK || *argument == '\0') {
            refuse("Not a path of 1 to 260 characters: %.100s", argument);
        }
    }

    void readName(const char* name) {
        if (command_.name[0] != '\0') {
            refuse("Specify one name, not two: %s, %.100s", command_.name, name);
        } else if (!isValidCopyName(name)) {
            refuse(
                "Not a valid name: %.100s. Use up to 64 letters, digits, and underscores, and "
                "no digit first.",
                name);
        } else {
            copyText(command_.name, name);
        }
    }

    void refuseOption(char letter) {
        if (letter == 'c') {
            refuse("Specify the name without -c.");
        } else if (letter == 'u') {
            refuse("To unregister a copy, use the command unregister instead of -u.");
        } else if (letter == 'f') {
            refuse(
                "-f is refused: it would unregister the copy of another folder. Run the "
                "zelkpmutil.exe of that folder.");
        } else if (letter == 'r' && rule_.verb == Verb::UPGRADE) {
            refuse(
                "-r would remove the data sources, which upgrade keeps. To remove them, use "
                "register -r.");
        } else if (strchr("drivspl", letter)) {
            refuse("%s does not take the option -%c.", rule_.word, letter);
        } else {
            const char option[] = {'-', letter, '\0'};
            refuse("Not an option: %s", option);
        }
    }

    bool readOption(char letter, char* next) {
        if (letter == 'l') return readLogPath(readValue(next));
        if (letter == 'i') return readLanguage(readValue(next));
        command_.makeDefault |= letter == 'd';
        command_.replace |= letter == 'r';
        command_.silent |= letter == 's';
        const char option[] = {' ', '-', letter, '\0'};
        if (letter != 's' && !strstr(command_.programOptions, option)) {
            appendText(command_.programOptions, option);
        }
        return false;
    }

    bool readLogPath(const char* path) {
        if (!path) {
            refuse("Specify a file after -l.");
        } else if (copyText(command_.logPath, path) != TEXT_OK) {
            refuse("The path after -l is longer than 260 characters.");
        }
        return true;
    }

    bool readLanguage(const char* code) {
        constexpr char LETTERS[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ";
        if (!code) {
            refuse("Specify a language after -i.");
        } else if (strlen(code) != 2 || strspn(code, LETTERS) != 2) {
            refuse("Not the two letters of a language: %.100s", code);
        } else {
            appendText(command_.programOptions, " -i ");
            appendText(command_.programOptions, code);
        }
        return true;
    }

    const Rule& rule_;
    Command& command_;
};

void readCommand(std::span<char*> arguments, Command& command) {
    const char* word = arguments[0];
    if (isHelp(word)) return;
    if (isWord(word, "--version")) {
        command.verb = Verb::VERSION;
        return;
    }
    const bool hasTwoWords = isWord(word, SOURCES) && arguments.size() > 1;
    if (hasTwoWords && isHelp(arguments[1])) return;
    char words[32];
    formatText(words, sizeof words, "%s%s%s", word, hasTwoWords ? " " : "",
               hasTwoWords ? arguments[1] : "");
    const auto rule =
        std::ranges::find_if(RULES, [&words](const Rule& one) { return isWord(words, one.word); });
    if (rule == std::end(RULES)) {
        formatText(command.refusal, sizeof command.refusal,
                   "Not a command: %.100s. The commands are list, verify, register, upgrade, "
                   "unregister, files, sources export, and sources import.",
                   hasTwoWords ? words : word);
        return;
    }
    command.verb = rule->verb;
    command.word = rule->word;
    const std::span<char*> rest = arguments.subspan(hasTwoWords ? 2 : 1);
    command.help = std::ranges::any_of(rest, isHelp);
    if (!command.help) Parser(*rule, command).readAll(rest);
}

}  // namespace

Command parseCommand(int argc, char** argv) {
    Command command;
    const std::span<char*> arguments =
        argv && argc > 1 ? std::span(argv + 1, static_cast<size_t>(argc - 1)) : std::span<char*>();
    command.json = std::ranges::any_of(
        arguments, [](const char* argument) { return argument && isWord(argument, "--json"); });
    if (std::ranges::find(arguments, nullptr) != arguments.end()) {
        copyText(command.refusal,
                 "An argument has a character that the code page of this system lacks.");
    } else if (arguments.empty()) {
        copyText(command.refusal, "Specify a command.");
    } else {
        readCommand(arguments, command);
    }
    return command;
}
