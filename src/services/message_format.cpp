#include "services/message_format.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "services/text.h"

namespace {

constexpr int WIDEST = 1000;

// One conversion of a format text, "%-5.3ld" say.
struct Conversion {
    char flags[8] = "";
    int width = -1;      // -1: none
    int precision = -1;  // -1: none
    char letter = '\0';
    const char* end = nullptr;  // what follows in the format
};

// Writes what fits, and counts everything.
class Output {
  public:
    Output(char* out, size_t size) : out_(out), size_(size) {}
    void put(const char* bytes, size_t count) {
        if (length_ + 1 < size_)
            memcpy(out_ + length_, bytes, std::min(count, size_ - 1 - length_));
        length_ += count;
    }
    size_t finish(bool keepLineEnd) {
        if (size_ == 0) return length_;
        out_[std::min(length_, size_ - 1)] = '\0';
        if (length_ >= size_ && size_ > 1 && keepLineEnd) out_[size_ - 2] = '\n';
        return length_;
    }

  private:
    char* out_;
    size_t size_;
    size_t length_ = 0;
};

int readNumber(const char*& position) {
    int number = 0;
    for (; *position >= '0' && *position <= '9'; ++position) {
        number = std::min(number * 10 + (*position - '0'), WIDEST);
    }
    return number;
}

Conversion readConversion(const char* position) {
    Conversion conversion;
    ++position;  // the per cent sign
    for (size_t flags = 0; *position != '\0' && strchr("-+ #0", *position); ++position) {
        if (strchr(conversion.flags, *position)) continue;
        conversion.flags[flags++] = *position;
        conversion.flags[flags] = '\0';
    }
    if (*position >= '0' && *position <= '9') conversion.width = readNumber(position);
    if (*position == '.') {
        ++position;
        conversion.precision = readNumber(position);
    }
    if (strncmp(position, "I64", 3) == 0 || strncmp(position, "I32", 3) == 0) position += 3;
    position += strspn(position, "hlLjztwqI");
    conversion.letter = *position;
    conversion.end = *position == '\0' ? position : position + 1;
    return conversion;
}

// Formats the one value of a conversion, as printf would with that letter.
template <typename Value>
void putValue(Output& output, const Conversion& conversion, Value value) {
    char format[32];
    char width[8] = "";
    char precision[8] = "";
    if (conversion.width >= 0) formatText(width, sizeof width, "%d", conversion.width);
    if (conversion.precision >= 0)
        formatText(precision, sizeof precision, ".%d", conversion.precision);
    formatText(format, sizeof format, "%%%s%s%s%c", conversion.flags, width, precision,
               conversion.letter);
    char number[WIDEST + 8];
    const int length = snprintf(number, sizeof number, format, value);
    output.put(number, std::min(static_cast<size_t>(std::max(length, 0)), sizeof number - 1));
}

void putText(Output& output, const Conversion& conversion, const char* text) {
    // Without a width the text may be longer than the buffer of putValue.
    size_t length = strlen(text);
    if (conversion.precision >= 0)
        length = std::min(length, static_cast<size_t>(conversion.precision));
    const size_t width = conversion.width < 0 ? 0 : static_cast<size_t>(conversion.width);
    const size_t padding = width - std::min(width, length);
    const bool left = strchr(conversion.flags, '-') != nullptr;
    if (left) output.put(text, length);
    for (size_t i = 0; i < padding; ++i) output.put(" ", 1);
    if (!left) output.put(text, length);
}

void putConversion(Output& output, const char* start, const Conversion& conversion,
                   const char* const*& arguments, size_t& count) {
    const char* argument = nullptr;
    if (strchr("sdiuoxXcn", conversion.letter) && conversion.letter != '\0' && count > 0) {
        --count;
        argument = *arguments++;
    }
    switch (conversion.letter) {
        case '%':
            output.put("%", 1);
            break;
        case 's':
            putText(output, conversion, argument ? argument : "(null)");
            break;
        case 'd':
        case 'i':
        case 'u':
        case 'o':
        case 'x':
        case 'X':
            putValue(output, conversion, 0);
            break;
        case 'c':  // a zero character, which cannot be seen
        case 'n':
            break;
        default:
            output.put(start, static_cast<size_t>(conversion.end - start));
    }
}

}  // namespace

size_t formatMessage(char* out, size_t size, const char* format, const char* const* arguments,
                     size_t count) {
    Output output(out, size);
    const char* position = format;
    while (*position != '\0') {
        const size_t plain = strcspn(position, "%");
        output.put(position, plain);
        position += plain;
        if (*position == '\0') break;
        const Conversion conversion = readConversion(position);
        putConversion(output, position, conversion, arguments, count);
        position = conversion.end;
    }
    return output.finish(position != format && position[-1] == '\n');
}

FormattedMessage::FormattedMessage(const char* format, const char* const* arguments, size_t count) {
    const size_t length = formatMessage(short_, sizeof short_, format, arguments, count);
    if (length < sizeof short_) return;
    long_.reset(static_cast<char*>(malloc(length + 1)));
    if (long_) formatMessage(long_.get(), length + 1, format, arguments, count);
}
