// Lines: an install directory.
#include "odbc/attribute_list.h"

#include "services/path.h"
#include "tests/fuzz/fuzz.h"

namespace {

void check(const std::string& directory) {
    const Exact exact(directory);
    // On the heap, where the sanitizer sees the byte behind.
    const std::unique_ptr<char[][294]> description(new char[1][294]);
    formatDescription(exact.get(), description[0]);
    const std::string name = description[0];
    const std::string kept = directory.substr(0, 260);
    DEMAND(name.substr(0, 27) == "ORVANE PELLIMAR for ODBC - ");
    DEMAND(name.size() == 27 + kept.size());  // nothing of the directory is lost
    DEMAND(findLastBackslash(description[0]) == nullptr);

    const std::unique_ptr<char[][344]> attributes(new char[1][344]);
    const size_t length = formatAttributes(description[0], attributes[0]);
    DEMAND(length < 344);
    std::vector<std::string> entries;
    const char* at = attributes[0];
    for (; *at != '\0'; at += entries.back().size() + 1) entries.emplace_back(at);
    DEMAND(at + 1 == attributes[0] + length);
    DEMAND(entries == (std::vector<std::string>{name, "Driver=zelkcli.dll", "Setup=zelkodbc.dll"}));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string directory = fields(data, size, 1)[0];
    for (const bool twoByte : {false, true}) {
        twoByteCodePage = twoByte;
        check(directory);
    }
    return 0;
}
