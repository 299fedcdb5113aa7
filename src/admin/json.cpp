#include "admin/json.h"

#include <windows.h>

#include "admin/output.h"
#include "services/text.h"

namespace {

constexpr size_t LONGEST_TEXT = 4096;

void putCharacter(wchar_t character) {
    char text[8] = "";
    const unsigned code = character;
    if (code == '"' || code == '\\') {
        formatText(text, sizeof text, "\\%c", static_cast<char>(code));
    } else if (code < 0x20 || code > 0x7E) {
        formatText(text, sizeof text, "\\u%04x", code);
    } else {
        formatText(text, sizeof text, "%c", static_cast<char>(code));
    }
    printRaw(text);
}

}  // namespace

JsonWriter::~JsonWriter() {
    printRaw("\n");
}

// The members of the whole, and the elements of its arrays, have a line each.
bool JsonWriter::onOwnLines() const {
    return depth_ == 1 || (depth_ == 2 && inArray_);
}

void JsonWriter::put(const char* name) {
    if (!first_) printRaw(",");
    if (onOwnLines()) {
        printRaw(depth_ == 1 ? "\n  " : "\n    ");
    } else if (!first_) {
        printRaw(" ");
    }
    first_ = false;
    if (!name) return;
    putText(name);
    printRaw(": ");
}

void JsonWriter::begin(const char* name, char bracket) {
    put(name);
    const char brackets[] = {bracket, '\0'};
    printRaw(brackets);
    ++depth_;
    if (depth_ == 2) inArray_ = bracket == '[';
    first_ = true;
}

void JsonWriter::end(char bracket) {
    if (onOwnLines() && !first_) printRaw(depth_ == 1 ? "\n" : "\n  ");
    const char brackets[] = {bracket, '\0'};
    printRaw(brackets);
    --depth_;
    first_ = false;
}

void JsonWriter::beginObject(const char* name) {
    begin(name, '{');
}

void JsonWriter::endObject() {
    end('}');
}

void JsonWriter::beginArray(const char* name) {
    begin(name, '[');
}

void JsonWriter::endArray() {
    end(']');
}

void JsonWriter::text(const char* name, const char* value) {
    if (!value) {
        null(name);
        return;
    }
    put(name);
    putText(value);
}

void JsonWriter::number(const char* name, long value) {
    put(name);
    printRaw(Decimal(value).text);
}

void JsonWriter::boolean(const char* name, bool value) {
    put(name);
    printRaw(value ? "true" : "false");
}

void JsonWriter::null(const char* name) {
    put(name);
    printRaw("null");
}

void JsonWriter::putText(const char* value) {
    wchar_t wide[LONGEST_TEXT];
    char cut[LONGEST_TEXT];
    copyText(cut, value);  // longer than any text of the registry that is read
    const int count = MultiByteToWideChar(CP_ACP, 0, cut, -1, wide, LONGEST_TEXT);
    printRaw("\"");
    for (int i = 0; i + 1 < count; ++i) putCharacter(wide[i]);
    printRaw("\"");
}
