// Reads the text of a .reg file, which reg.exe and the registry editor write. Free of platform
// headers. Windows documentation: "How to add, modify, or delete registry subkeys and values by
// using a .reg file".
#pragma once

#include <cstdint>
#include <type_traits>

#include "services/list.h"

// A unit of UTF-16.
using RegistryCharacter = std::conditional_t<sizeof(wchar_t) == 2, wchar_t, char16_t>;

// One item after the other. What is not exactly in the form of the documentation is INVALID: a file
// is then not to be used at all. What deletes, escapes other than \\ and \", whose meaning is not
// documented, and text that goes on in the next line are INVALID as well.
class RegistryFile {
  public:
    enum class Item { COMMENT, KEY, VALUE, END, INVALID };

    // text: without the byte order mark; it must live as long as this object.
    RegistryFile(const RegistryCharacter* text, size_t length);

    // Reads the next item. After END and INVALID it is the same again.
    Item next();

    size_t line() const { return line_; }  // of the item, from 1

    // Texts end with a zero and hold no other.
    const RegistryCharacter* comment() const { return text_.begin(); }  // without the semicolon
    const RegistryCharacter* key() const { return text_.begin(); }      // "HKEY_LOCAL_MACHINE\..."
    const RegistryCharacter* name() const { return text_.begin(); }     // empty: the default value
    uint32_t type() const { return type_; }
    // The bytes of the data are followed by two that are not zero: RegSetValueEx would store a zero
    // there as well.
    const uint8_t* data() const { return data_.begin(); }
    size_t size() const { return size_; }  // bytes

  private:
    bool atEnd() const { return position_ == length_; }
    RegistryCharacter peek() const { return atEnd() ? RegistryCharacter{0} : start_[position_]; }
    bool take(char character);
    bool takeWord(const char* word);
    void skipBlanks();
    bool takeLineEnd();
    bool endLine();
    bool readHeader();
    Item readItem();
    Item readKey();
    Item readValue();
    bool readQuoted();
    bool readData();
    bool readText();
    bool readHex(size_t mostDigits, uint32_t& number);
    bool readNumber();
    bool continueLine();
    bool readBytes();
    bool addByte(uint32_t byte) { return data_.add(static_cast<uint8_t>(byte)); }

    const RegistryCharacter* start_;
    size_t length_;
    size_t position_ = 0;
    size_t line_ = 0;
    size_t nextLine_ = 1;
    bool begun_ = false;
    bool inKey_ = false;
    Item last_ = Item::COMMENT;
    List<RegistryCharacter> text_;
    uint32_t type_ = 0;
    List<uint8_t> data_;
    size_t size_ = 0;
};
