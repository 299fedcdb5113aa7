// Lines: the arguments.
#include "driver/command_line.h"
#include "run/run_settings.h"
#include "tests/fuzz/fuzz.h"

namespace {

// All that a command line comes to: the flags, copy name, log path and language.
std::vector<std::string> outcome(std::vector<std::string>& arguments) {
    std::vector<Exact> copies;
    std::vector<char*> argv = {nullptr};
    for (const std::string& argument : arguments) {
        copies.emplace_back(argument);
        argv.push_back(copies.back().get());
    }
    // Exactly as many as argc says: not even the null behind them may be read.
    const std::unique_ptr<char*[]> exact(new char*[argv.size()]);
    memcpy(exact.get(), argv.data(), argv.size() * sizeof exact[0]);
    const CommandLine line = parseCommandLine(static_cast<int>(argv.size()), exact.get());

    for (size_t i = 0; i < arguments.size(); ++i) arguments[i] = copies[i].get();
    DEMAND(line.unregister == 0 || line.unregister == 1);
    DEMAND(!line.replaceAfterUnregister || (replaceExisting && line.unregister == 1));
    DEMAND(line.logPathGiven == (line.logPath[0] != '\0'));
    const bool flags[] = {line.unregister == 1,
                          line.showUsage,
                          line.copyNameGiven,
                          line.replaceAfterUnregister,
                          line.forceUnregister,
                          makeDefaultCopy,
                          replaceExisting,
                          silent,
                          verbose,
                          pauseBeforeExit};
    std::string text;
    for (const bool flag : flags) text += flag ? '1' : '0';
    return {text, copyName, line.logPath, languageCode};
}

// The copy name goes into registry keys and command lines.
void demandCopyName(const std::string& name) {
    DEMAND(!name.empty() && name.size() <= 64);
    DEMAND(
        name.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_") ==
        std::string::npos);
    DEMAND(name[0] < '0' || name[0] > '9');
}

// A value is taken whole, with no blank at its end, and never is an option.
void demandValue(const std::string& value, size_t most) {
    DEMAND(value.size() <= most);
    if (value.empty()) return;
    const size_t first = value.find_first_not_of(' ');
    DEMAND(first != std::string::npos && value[first] != '-' && value[first] != '/');
    DEMAND(value.back() != ' ');
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::vector<std::string> arguments = fields(data, size, 1);
    const std::vector<std::string> given = arguments;
    const std::vector<std::string> first = outcome(arguments);
    demandCopyName(first[1]);
    demandValue(first[2], 260);
    demandValue(first[3], 2047);
    // The blanks that were cut from the arguments change nothing.
    DEMAND(outcome(arguments) == first);

    // A dash is a slash, and a letter's case is nothing, in every option but "-?".
    std::vector<std::string> others = given;
    for (std::string& argument : others) {
        if (argument.size() < 2 || (argument[0] != '-' && argument[0] != '/')) continue;
        if (isalpha(static_cast<unsigned char>(argument[1])) == 0) continue;
        argument[0] = argument[0] == '-' ? '/' : '-';
        argument[1] = static_cast<char>(argument[1] ^ 0x20);
    }
    DEMAND(outcome(others) == first);
    return 0;
}
