#include "services/registry_file.h"

namespace {

constexpr uint32_t TYPE_TEXT = 1;
constexpr uint32_t TYPE_BINARY = 3;
constexpr uint32_t TYPE_NUMBER = 4;

char toLower(RegistryCharacter character) {
    if (character >= 'A' && character <= 'Z') return static_cast<char>(character - 'A' + 'a');
    return character < 0x80 ? static_cast<char>(character) : '\x7F';
}

// The value of a hexadecimal digit; 16 for every other character.
uint32_t digitOf(RegistryCharacter character) {
    const char lower = toLower(character);
    if (lower >= '0' && lower <= '9') return static_cast<uint32_t>(lower - '0');
    if (lower >= 'a' && lower <= 'f') return static_cast<uint32_t>(lower - 'a' + 10);
    return 16;
}

}  // namespace

RegistryFile::RegistryFile(const RegistryCharacter* text, size_t length)
    : start_(text), length_(length) {}

bool RegistryFile::take(char character) {
    if (atEnd() || peek() != static_cast<RegistryCharacter>(character)) return false;
    ++position_;
    return true;
}

// Takes a word in any case, all of it or nothing.
bool RegistryFile::takeWord(const char* word) {
    const size_t before = position_;
    for (; *word != '\0'; ++word, ++position_) {
        if (atEnd() || toLower(peek()) != *word) {
            position_ = before;
            return false;
        }
    }
    return true;
}

void RegistryFile::skipBlanks() {
    while (peek() == ' ' || peek() == '\t') ++position_;
}

bool RegistryFile::takeLineEnd() {
    take('\r');
    if (!take('\n')) return false;
    ++nextLine_;
    return true;
}

// The rest of a line, which may only be blanks; the end of the file ends it as well.
bool RegistryFile::endLine() {
    skipBlanks();
    return takeLineEnd() || atEnd();
}

bool RegistryFile::readHeader() {
    return takeWord("windows registry editor version 5.00") && endLine();
}

RegistryFile::Item RegistryFile::next() {
    if (last_ == Item::END || last_ == Item::INVALID) return last_;
    text_ = {};
    data_ = {};
    size_ = 0;
    type_ = 0;
    line_ = nextLine_;
    if (!begun_ && !readHeader()) return last_ = Item::INVALID;
    begun_ = true;
    last_ = readItem();
    return last_;
}

RegistryFile::Item RegistryFile::readItem() {
    do {
        line_ = nextLine_;
        skipBlanks();
    } while (takeLineEnd());
    if (atEnd()) return Item::END;
    if (peek() == '[') return readKey();
    if (!take(';')) return inKey_ ? readValue() : Item::INVALID;
    while (!atEnd() && peek() != '\r' && peek() != '\n') {
        if (peek() == 0 || !text_.add(peek())) return Item::INVALID;
        ++position_;
    }
    return text_.add(0) && endLine() ? Item::COMMENT : Item::INVALID;
}

// A name can hold brackets: the last one of the line ends the path.
RegistryFile::Item RegistryFile::readKey() {
    ++position_;
    size_t end = position_;
    size_t last = position_;
    for (; end < length_ && start_[end] != '\r' && start_[end] != '\n'; ++end) {
        if (start_[end] == 0) return Item::INVALID;
        if (start_[end] == ']') last = end;
    }
    if (peek() == '-') return Item::INVALID;
    for (; position_ < last; ++position_) {
        if (!text_.add(peek())) return Item::INVALID;
    }
    if (!take(']') || text_.count() == 0 || !text_.add(0) || !endLine()) return Item::INVALID;
    inKey_ = true;
    return Item::KEY;
}

RegistryFile::Item RegistryFile::readValue() {
    if (!take('@') && !readQuoted()) return Item::INVALID;
    if (!text_.add(0)) return Item::INVALID;
    skipBlanks();
    if (!take('=')) return Item::INVALID;
    skipBlanks();
    if (!readData() || !endLine()) return Item::INVALID;
    size_ = data_.count();
    return addByte(0xFF) && addByte(0xFF) ? Item::VALUE : Item::INVALID;
}

// Adds a text in quotes to text_, without the zero at its end.
bool RegistryFile::readQuoted() {
    if (!take('"')) return false;
    while (!take('"')) {
        const bool isEscaped = take('\\');
        const RegistryCharacter character = peek();
        if (atEnd() || character == 0 || character == '\r' || character == '\n') return false;
        if (isEscaped && character != '\\' && character != '"') return false;
        if (!text_.add(character)) return false;
        ++position_;
    }
    return true;
}

bool RegistryFile::readData() {
    if (peek() == '"') return readText();
    if (takeWord("dword:")) return readNumber();
    type_ = TYPE_BINARY;
    if (takeWord("hex:")) return readBytes();
    return takeWord("hex(") && readHex(8, type_) && takeWord("):") && readBytes();
}

// The text of the data goes behind that of the name, and from there to the data.
bool RegistryFile::readText() {
    const size_t nameLength = text_.count();
    type_ = TYPE_TEXT;
    if (!readQuoted() || !text_.add(0)) return false;
    for (size_t i = nameLength; i < text_.count(); ++i) {
        const uint32_t character = text_[i];
        if (!addByte(character & 0xFF) || !addByte(character >> 8 & 0xFF)) return false;
    }
    return true;
}

// A number of 1 to mostDigits digits.
bool RegistryFile::readHex(size_t mostDigits, uint32_t& number) {
    number = 0;
    size_t digits = 0;
    for (; digits < mostDigits && digitOf(peek()) < 16; ++digits, ++position_) {
        number = number << 4 | digitOf(peek());
    }
    return digits > 0;
}

bool RegistryFile::readNumber() {
    uint32_t number = 0;
    type_ = TYPE_NUMBER;
    if (!readHex(8, number)) return false;
    return addByte(number & 0xFF) && addByte(number >> 8 & 0xFF) && addByte(number >> 16 & 0xFF) &&
           addByte(number >> 24);
}

// False for a backslash that does not continue in the next line.
bool RegistryFile::continueLine() {
    skipBlanks();
    if (take('\\') && !endLine()) return false;
    skipBlanks();
    return true;
}

// Two digits a byte, between commas; a backslash behind a comma continues in the next line.
bool RegistryFile::readBytes() {
    uint32_t byte = 0;
    if (!continueLine()) return false;
    if (digitOf(peek()) == 16) return true;  // no bytes
    while (readHex(2, byte) && addByte(byte)) {
        skipBlanks();
        if (!take(',')) return true;
        if (!continueLine()) return false;
    }
    return false;
}
