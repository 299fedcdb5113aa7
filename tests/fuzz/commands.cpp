// Lines: a command; a size.
#include "services/programs/command_builder.h"
#include "services/text.h"
#include "tests/fuzz/fuzz.h"

namespace {

void keep(char*, size_t) {}

// As a short path would be, down to nothing.
void shortenByHalf(char* path, size_t size) {
    DEMAND(strlen(path) < size);
    path[strlen(path) / 2] = '\0';
}

std::string withoutQuotes(std::string text) {
    std::erase(text, '"');
    return text;
}

int32_t build(const std::string& command, ShortenPath shorten, size_t size, std::string& out) {
    const Exact exact(command);
    const Room room(size);
    const int32_t result = buildCommandLine(exact.get(), shorten, room.get(), size);
    out = room.text();
    return result;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::vector<std::string> lines = fields(data, size, 2);
    const std::string& command = lines[0];
    std::string line;
    const size_t enough = command.size() + 3;
    DEMAND(build(command, keep, enough, line) == TEXT_OK);
    // Nothing but quotes is added or taken away, and what has been quoted is not quoted again.
    DEMAND(withoutQuotes(line) == withoutQuotes(command));
    std::string again;
    DEMAND(build(line, keep, line.size() + 3, again) == TEXT_OK);
    DEMAND(again == line);

    const size_t little = numberIn(lines[1], COMMAND_LINE_BYTES - 1) + 1;
    std::string cut;
    const int32_t result = build(command, keep, little, cut);
    DEMAND(result == (line.size() < little ? TEXT_OK : TEXT_CUT));
    DEMAND(result != TEXT_OK || cut == line);
    build(command, shortenByHalf, little, cut);
    return 0;
}
