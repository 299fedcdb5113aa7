// Lines: a language id; a column; a code.
#include "run/language.h"

#include "tests/fuzz/fuzz.h"

namespace {

// The text of a column, or nothing.
std::string lookUp(int column) {
    const Room room(LANGUAGE_TEXT_BYTES);
    if (lookupSystemLanguage(column, room.get())) {
        const std::string text = room.text();
        DEMAND(!text.empty());
        return text;
    }
    DEMAND(std::string(room.get(), room.size()) == "######");
    return "";
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::vector<std::string> lines = fields(data, size, 3);
    languageOfTheSystem = static_cast<uint16_t>(numberIn(lines[0], UINT16_MAX));
    const int column = static_cast<int>(strtol(lines[1].c_str(), nullptr, 10));
    const std::string code = lookUp(LANGUAGE_CODE);
    DEMAND(lookUp(column).empty() == (code.empty() || column < 1 || column > 4));
    DEMAND(!lookupSystemLanguage(column, nullptr));
    DEMAND(code.empty() || code.size() == 2);

    // A row's code leads to the row's own locale, and a language that is found is the same
    // language.
    const Room locale(LANGUAGE_TEXT_BYTES);
    if (!code.empty()) {
        DEMAND(lookupLanguageCode(code.c_str(), locale.get()) == 0);
        DEMAND(locale.text() == lookUp(LANGUAGE_LOCALE));
        const long id = strtol(lookUp(LANGUAGE_HEX_ID).c_str(), nullptr, 16);
        DEMAND((id & 0x3FF) == (languageOfTheSystem & 0x3FF));
    }
    const Exact given(lines[2]);
    const Room other(LANGUAGE_TEXT_BYTES);
    const bool known = lookupLanguageCode(given.get(), other.get()) == 0;
    DEMAND(known ? other.text().size() == 5 && lines[2].size() == 2
                 : std::string(other.get(), other.size()) == "######");
    return 0;
}
