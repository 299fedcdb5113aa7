// What the fuzz targets share. A target takes the fields of one input, the lines of it, and demands
// properties that hold for every input; the sanitizers watch over memory meanwhile.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

// Ends the program, which makes the fuzzer keep the input, unless a property holds.
#define DEMAND(property) demand((property), #property, __LINE__)

inline void demand(bool holds, const char* property, int line) {
    if (holds) return;
    fprintf(stderr, "line %d: this does not hold: %s\n", line, property);
    abort();
}

// The lines of the input, at least count of them. No line holds a zero.
inline std::vector<std::string> fields(const uint8_t* data, size_t size, size_t count) {
    std::vector<std::string> lines(1);
    for (size_t i = 0; i < size; ++i) {
        if (data[i] == '\n') {
            lines.emplace_back();
        } else if (data[i] != 0) {
            lines.back() += static_cast<char>(data[i]);
        }
    }
    if (lines.size() < count) lines.resize(count);
    return lines;
}

// A number from 0 to most, from a field.
inline size_t numberIn(const std::string& field, size_t most) {
    return strtoul(field.c_str(), nullptr, 10) % (most + 1);
}

// A text in memory of exactly its size, so that a read past its end is noticed.
class Exact {
  public:
    explicit Exact(const std::string& text) : bytes_(new char[text.size() + 1]) {
        memcpy(bytes_.get(), text.c_str(), text.size() + 1);
    }
    char* get() const { return bytes_.get(); }

  private:
    std::unique_ptr<char[]> bytes_;
};

// Room of exactly size bytes that holds no zero yet.
class Room {
  public:
    explicit Room(size_t size) : size_(size), bytes_(new char[size]) {
        memset(bytes_.get(), '#', size);
    }
    char* get() const { return bytes_.get(); }
    size_t size() const { return size_; }
    std::string text() const {
        DEMAND(memchr(bytes_.get(), '\0', size_) != nullptr);
        return bytes_.get();
    }

  private:
    size_t size_;
    std::unique_ptr<char[]> bytes_;
};

// What the system would answer: services/system_locale.h.
extern bool twoByteCodePage;  // 932, else one of single bytes
