// Bytes: the characters of a .reg file.
#include "services/registry_file.h"
#include "tests/fuzz/fuzz.h"

namespace {

using Text = std::basic_string<RegistryCharacter>;
using Item = RegistryFile::Item;

Text wide(const std::string& text) {
    return {text.begin(), text.end()};
}

void appendQuoted(Text& out, const Text& text) {
    out += '"';
    for (const RegistryCharacter character : text) {
        if (character == '\\' || character == '"') out += '\\';
        out += character;
    }
    out += '"';
}

// The item in its plainest form.
void append(Text& out, Item item, const RegistryFile& file) {
    if (item == Item::COMMENT) {
        out += wide(";") + file.comment();
    } else if (item == Item::KEY) {
        out += wide("[") + file.key() + wide("]");
    } else if (item == Item::VALUE) {
        appendQuoted(out, file.name());
        char prefix[24];
        snprintf(prefix, sizeof prefix, "=hex(%x):", static_cast<unsigned>(file.type()));
        out += wide(prefix);
        for (size_t i = 0; i < file.size(); ++i) {
            snprintf(prefix, sizeof prefix, i > 0 ? ",%02x" : "%02x",
                     static_cast<unsigned>(file.data()[i]));
            out += wide(prefix);
        }
        DEMAND(file.data()[file.size()] != 0 && file.data()[file.size() + 1] != 0);
    }
    out += wide("\n");
}

// Reads all of a text, in memory of exactly its size, and returns its plainest form.
Item read(const Text& text, Text& plain) {
    const std::unique_ptr<RegistryCharacter[]> exact(new RegistryCharacter[text.size()]);
    if (!text.empty()) memcpy(exact.get(), text.data(), text.size() * sizeof text[0]);
    RegistryFile file(exact.get(), text.size());
    plain = wide("Windows Registry Editor Version 5.00\n");
    size_t line = 0;
    for (size_t items = 0;; ++items) {
        DEMAND(items <= text.size() + 1);
        const Item item = file.next();
        DEMAND(file.line() >= line && file.line() <= text.size() + 1);
        line = file.line();
        if (item == Item::END || item == Item::INVALID) {
            DEMAND(file.next() == item);
            return item;
        }
        append(plain, item, file);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const Text text(data, data + size);
    Text plain;
    if (read(text, plain) == Item::INVALID) return 0;
    // The plain form holds the same.
    Text again;
    DEMAND(read(plain, again) == Item::END);
    DEMAND(again == plain);
    // What is behind the last line is part of the file.
    Text more = plain + wide("x");
    DEMAND(read(more, again) == Item::INVALID);
    return 0;
}
