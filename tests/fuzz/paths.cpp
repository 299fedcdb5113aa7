// Lines: a path; a text to trim; the characters to trim; a size.
#include "services/path.h"

#include <climits>

#include "services/text.h"
#include "tests/fuzz/fuzz.h"

namespace {

long lastBackslash(const std::string& path) {
    const Exact exact(path);
    const char* found = findLastBackslash(static_cast<const char*>(exact.get()));
    if (!found) return -1;
    DEMAND(*found == '\\');
    return found - exact.get();
}

void checkCutting(const std::string& path) {
    const long backslash = lastBackslash(path);
    const Exact cut(path);
    cutLastComponent(cut.get());
    DEMAND(cut.get() == path.substr(0, backslash < 0 ? 0 : static_cast<size_t>(backslash)));
    // The same components are cut whatever stands before them.
    for (const char* before : {"\x95\\", "a", "C:", "\x83\x5C\x83\x5C"}) {
        if (!twoByteCodePage && before[0] < 0) continue;
        const auto shift = static_cast<long>(strlen(before));
        DEMAND(lastBackslash(before + path) == (backslash < 0 ? -1 : backslash + shift));
    }
}

void checkReplacing(const std::string& path) {
    const Exact replaced(path);
    replaceBackslashes(replaced.get());
    const std::string after = replaced.get();
    DEMAND(after.size() == path.size());
    DEMAND(lastBackslash(after) == -1);
    DEMAND((after == path) == (lastBackslash(path) == -1));
    for (size_t i = 0; i < path.size(); ++i) {
        DEMAND(after[i] == path[i] || (path[i] == '\\' && after[i] == '/'));
    }
}

void checkTrimming(const std::string& text, const std::string& set) {
    const Exact exact(text);
    const Exact characters(set);
    const std::string trimmed = trimCharacters(exact.get(), characters.get());
    const std::string whole = exact.get();
    const size_t first = text.find_first_not_of(set);
    const size_t last = text.find_last_not_of(set);
    DEMAND(trimmed == (first == std::string::npos ? "" : text.substr(first, last - first + 1)));
    DEMAND(whole == text.substr(0, last + 1));
    const Exact again(trimmed);
    DEMAND(trimCharacters(again.get(), characters.get()) == trimmed);
}

void checkBounds(const std::string& first, const std::string& second, size_t size) {
    const Room room(size);
    DEMAND(copyText(room.get(), size_t{INT_MAX} + 1, first.c_str()) == TEXT_INVALID);
    DEMAND(copyText(room.get(), size, nullptr) == (size == 0 ? TEXT_INVALID : TEXT_OK));
    if (size == 0) return;
    DEMAND(copyText(room.get(), size, first.c_str()) == (first.size() < size ? TEXT_OK : TEXT_CUT));
    DEMAND(room.text() == first.substr(0, size - 1));
    const std::string both = first.substr(0, size - 1) + second;
    const int32_t result = appendText(room.get(), size, second.c_str());
    DEMAND(result == (both.size() < size ? TEXT_OK : TEXT_CUT));
    DEMAND(room.text() == both.substr(0, size - 1));
    const Room formatted(size);
    DEMAND(formatText(formatted.get(), size, "%s%s", first.substr(0, size - 1).c_str(),
                      second.c_str()) == result);
    DEMAND(formatted.text() == room.text());
    const Room unterminated(size);
    appendText(unterminated.get(), size, second.c_str());
    DEMAND(unterminated.text() == std::string(size - 1, '#'));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::vector<std::string> lines = fields(data, size, 4);
    for (const bool twoByte : {false, true}) {
        twoByteCodePage = twoByte;
        checkCutting(lines[0]);
        checkReplacing(lines[0]);
    }
    const size_t number = numberIn(lines[3], 40);
    checkTrimming(lines[1], lines[2]);
    checkBounds(lines[0], lines[1], number);
    return 0;
}
