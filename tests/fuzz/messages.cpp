// Lines: the size of the output; the format, with a line end if the third line says so; the third
// line; up to three arguments.
#include "services/message_format.h"
#include "tests/fuzz/fuzz.h"

namespace {

constexpr size_t LARGE = 32768;

std::string format(const std::string& text, const std::vector<Exact>& arguments, size_t size) {
    std::vector<const char*> pointers;
    for (const Exact& argument : arguments) pointers.push_back(argument.get());
    const Room room(size);
    const Exact exact(text);
    const size_t length = formatMessage(room.get(), size, exact.get(), pointers);
    DEMAND(room.text().size() == std::min(length, size - 1));
    const FormattedMessage message(exact.get(), pointers);
    DEMAND(strlen(message.text()) == length);
    return room.get();
}

std::string replaceAll(std::string text, const std::string& from, const std::string& to) {
    for (size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size()) {
        text.replace(at, from.size(), to);
    }
    return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::vector<std::string> lines = fields(data, size, 3);
    const std::string text = lines[1] + (lines[2].empty() ? "" : "\n");
    std::vector<Exact> arguments;
    for (size_t i = 3; i < lines.size() && i < 6; ++i) arguments.emplace_back(lines[i]);

    const std::string whole = format(text, arguments, LARGE);
    const size_t little = numberIn(lines[0], 300) + 2;
    const std::string cut = format(text, arguments, little);
    if (whole.size() < little) {
        DEMAND(cut == whole);
    } else if (whole.size() < LARGE - 1) {
        // The beginning, and the line end of a text that has one.
        DEMAND(cut.size() == little - 1);
        DEMAND(cut.substr(0, little - 2) == whole.substr(0, little - 2));
        DEMAND(cut.back() == whole[little - 2] || cut.back() == '\n');
        DEMAND(text.back() != '\n' || cut.back() == '\n');
    }

    // What is written with doubled per cent signs shows as it was, on its own and as an argument.
    const std::string doubled = replaceAll(text, "%", "%%");
    if (doubled.size() < LARGE) DEMAND(format(doubled, {}, LARGE) == text);
    std::vector<Exact> one;
    one.emplace_back(text);
    DEMAND(format("<%s>", one, text.size() + 3) == "<" + text + ">");
    return 0;
}
