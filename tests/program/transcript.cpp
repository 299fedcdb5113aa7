#include "tests/program/transcript.h"

#include <filesystem>
#include <fstream>
#include <sstream>

#include "tests/support/names.h"

namespace {

namespace fs = std::filesystem;

// The lines of a text, each with its prefix and no blanks at the end.
std::vector<std::string> linesOf(const std::string& text, const std::string& prefix = "") {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; getline(stream, line);)
        lines.push_back(prefix + line.substr(0, line.find_last_not_of(' ') + 1));
    return lines;
}

void replaceAll(std::string& text, const std::string& part, const std::string& with) {
    for (size_t at = 0; (at = text.find(part, at)) != text.npos; at += with.size())
        text.replace(at, part.size(), with);
}

bool isBelow(const std::string& line, const std::string& key) {
    return line.starts_with(key + " | ") || line.starts_with(key + '\\');
}

// The key of a line "key |", else "".
std::string keyAlone(const std::string& line) {
    return line.ends_with(" |") ? line.substr(0, line.size() - 2) : "";
}

// The lines that are in one state only. Where a key went, what was below it is left out; where
// something came, the keys above it are.
std::vector<std::string> only(const Registry& in, const Registry& notIn, bool went) {
    std::vector<std::string> lines;
    std::set_difference(in.begin(), in.end(), notIn.begin(), notIn.end(),
                        std::back_inserter(lines));
    const std::vector<std::string> all = lines;
    std::erase_if(lines, [&](const std::string& line) {
        return std::any_of(all.begin(), all.end(), [&](const std::string& other) {
            const std::string key = keyAlone(went ? other : line);
            return !key.empty() && isBelow(went ? line : other, key);
        });
    });
    return lines;
}

// Makes one line of the name and the values of a driver that is as a first registration leaves it.
void foldDrivers(std::vector<std::string>& lines) {
    static const std::regex listed("(.*INI\\\\)ODBC Drivers \\| (ORVANE.*) = Installed");
    for (std::string& line : lines) {
        std::smatch part;
        if (!std::regex_match(line, part, listed)) continue;
        const std::string key = part.str(1) + part.str(2) + " | ", name = part[2];
        std::vector<std::string> values;
        for (const std::string& other : lines)
            if (other.starts_with(key)) values.push_back(other.substr(key.size()));
        if (values.size() != 4 || !values[1].ends_with("\\BIN\\zelkcli.dll")) continue;
        const std::string bin = values[1].substr(9, values[1].size() - 9 - strlen("zelkcli.dll"));
        if (values != std::vector<std::string>{"CPTimeout = 60", "Driver = " + bin + "zelkcli.dll",
                                               "Setup = " + bin + "zelkodbc.dll",
                                               "UsageCount = number <01><00><00><00>"})
            continue;
        line = "driver " + name + " in " + bin;
        std::erase_if(lines, [&](const std::string& other) { return other.starts_with(key); });
        return foldDrivers(lines);
    }
}

// Calls that do nothing but begin and end, and error records that are asked for one after the
// other.
std::string shortened(std::string calls) {
    static const std::pair<std::regex, const char*> shorter[] = {
        {std::regex("entry 4711 0 (\\w+) 0 1000000\n"), "into $1\n"},
        {std::regex("exit 4711 0 (\\w+) (-?\\d+) 0 0\n"), "out of $1: $2\n"},
        {std::regex("into (\\w+)\nout of \\1: 0\n"), "through $1\n"},
        {std::regex("error\t1\t260\n(error\t\\d\t260\n)*error\t(\\d)\t260\n"),
         "error\t1 to $2\t260\n"}};
    for (const auto& [part, with] : shorter) calls = std::regex_replace(calls, part, with);
    return calls;
}

}  // namespace

Transcript::Transcript() {
    lay(folder);
    show("all but the language", "^(?!\\[(LANGUAGE|LIBRARY)\\]|The specified)");
    whole_ = true;
}

void Transcript::TearDown() {
    const std::string name = testing::UnitTest::GetInstance()->current_test_info()->name();
    const std::string expected = readFile(_pgmptr + "\\..\\transcripts\\"s + name + ".txt");
    const fs::path received = "received/" + name + ".txt";
    fs::remove(received);
    if (text_.empty() || text_ == expected) return;
    fs::create_directory("received");
    std::ofstream(received, std::ios::binary) << text_;
    ADD_FAILURE() << "is not as in transcripts/" << name << ".txt:\n"
                  << testing::internal::edit_distance::CreateUnifiedDiff(linesOf(expected),
                                                                         linesOf(text_));
}

void Transcript::show(const std::string& words, const std::string& pattern) {
    words_ = words;
    shown_ = pattern;
    whole_ = pattern.empty();
}

void Transcript::has(const std::string& what) {
    if (text_.empty()) text_ = "shows: " + words_ + '\n';
    add("has: ", what, true);
}

void Transcript::startOver() {
    removeKey(COPIES);
    last_.clear();
}

void Transcript::lay(const std::string& to, const std::vector<std::string>& more) {
    copy(to, more);
    const std::string library = to + "\\msg\\en_US\\zelkpmreg.dll";
    CopyFileA((to + "\\bin\\zelkcli.dll").c_str(), library.c_str(), FALSE);
    for (const std::string& file : more) has(file + " in " + to + "\\bin");
}

void Transcript::zelkpmreg(const std::string& arguments, const Start& start) {
    const Registry before = readRegistry();
    if (text_.empty()) text_ = "shows: " + words_ + '\n';
    addChanges(last_, before, "lacks: ", "has: ", true);
    const Result result =
        arguments.starts_with(scratch) ? execute(arguments, start) : run(arguments, start);
    last_ = readRegistry();
    add("> ", arguments + (start.orders.empty() ? "" : "   with " + start.orders), true);
    add("", withNames(result.log));
    if (result.inputWasRead) {
        EXPECT_TRUE(result.console.starts_with(result.log)) << result.console;
    } else if (result.console != result.log) {
        add("console: ", result.console.empty() ? "nothing" : withNames(result.console));
    }
    add("= ", std::to_string(result.code) + (result.inputWasRead ? ", key read" : ""), true);
    addChanges(before, last_, "- ", "+ ", false);
    for (const auto& standIn : {"zelkswtch"s, "odbccp32"s, "ZELKOSSE"s}) {
        const std::string file = folder + "\\bin\\" + standIn + ".asked";
        add(standIn + ": ", shortened(withNames(readFile(file))));
        DeleteFileA(file.c_str());
    }
}

void Transcript::addChanges(const Registry& from, const Registry& to, const std::string& lost,
                            const std::string& gained, bool always) {
    for (const bool went : {true, false}) {
        std::vector<std::string> lines;
        for (const std::string& line : went ? only(from, to, true) : only(to, from, false))
            lines.push_back(inGeneral(line));
        if (!whole_) foldDrivers(lines);
        for (const std::string& line : lines) add(went ? lost : gained, line, always);
    }
}

void Transcript::add(const std::string& prefix, const std::string& lines, bool always) {
    for (const std::string& line : linesOf(inGeneral(lines), prefix))
        if (always || std::regex_search(line, shown_)) text_ += line + '\n';
}

// The same on each machine and in each run.
std::string Transcript::inGeneral(std::string lines) const {
    static const std::pair<std::regex, const char*> changing[] = {
        {std::regex("[A-Z]:.*.ZELKLOG.quenlet-... ... [ 1-3]\\d (\\d\\d[_ ]){3}20\\d\\d.log"),
         "DEFAULT LOG"},
        {std::regex("\\{[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}\\}|ZEL[0-9A-Fa-f]+(?=.tmp)"),
         "UNIQUE"},
        {std::regex(" = 1:([^\\x00]*)\\x00$"), " = $1"},
        {std::regex(" = 1:"), " = bytes "},
        {std::regex(" = 4:"), " = number "},
        {std::regex("x{20,}"), "xxx..."},
        {std::regex("n{20,}"), "nnn..."},
        {std::regex(NAME), "NAME_"},
    };
    for (const auto& [part, with] : changing) lines = std::regex_replace(lines, part, with);
    replaceAll(lines, folder, "FOLDER");
    replaceAll(lines, 'c' + folder.substr(1), "FOLDER, with c: for C:,");
    replaceAll(lines, driver.substr(6), "...");  // ORVANE...
    replaceAll(lines, scratch, "SCRATCH");
    replaceAll(lines, driverOf(scratch).substr(27, scratch.size()), "SCRATCH");
    replaceAll(lines, MARK, "MARK");
    for (char c = 0; c < '\t'; ++c) replaceAll(lines, {c}, "<0" + std::to_string(c) + '>');
    return lines;
}
