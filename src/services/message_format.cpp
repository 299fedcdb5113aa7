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
    int width = 0;       // 0: none
    int precision = -1;  // negative: none
    char letter = '\0';
    const char* end = nullptr;  // what follows in the format
};

// Writes what fits, and counts everything.
class Output {
  public:
    Output(char* out, size_t size) : begin_(out), end_(out), room_(size - 1) {}
    void put(const char* bytes, size_t count) {
        const size_t kept = std::min(count, room_);
        memcpy(end_, bytes, kept);
        end_ += kept;
        room_ -= kept;
        length_ += count;
    }
    size_t finish(bool keepLineEnd) {
        const bool cut = static_cast<size_t>(end_ - begin_) != length_;
        if (cut && keepLineEnd && end_ != begin_) end_[-1] = '\n';
        *end_ = '\0';
        return length_;
    }

  private:
    const char* begin_;
    char* end_;
    size_t room_;  // bytes behind end_, without the terminating zero
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
    conversion.width = readNumber(position);  // zeros before it are flags
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

// Formats a zero as printf would with the letter of the conversion.
void putZero(Output& output, const Conversion& conversion) {
    char format[16];
    formatText(format, sizeof format, "%%%s*.*%c", conversion.flags, conversion.letter);
    char number[WIDEST + 8];  // with a sign
    snprintf(number, sizeof number, format, conversion.width, conversion.precision, 0);
    output.put(number, strlen(number));
}

void putText(Output& output, const Conversion& conversion, const char* text) {
    // Without a width the text may be longer than the buffer of putZero.
    size_t length = strlen(text);
    if (conversion.precision >= 0)
        length = std::min(length, static_cast<size_t>(conversion.precision));
    const auto width = static_cast<size_t>(conversion.width);
    const size_t padding = width - std::min(width, length);
    const bool left = strchr(conversion.flags, '-') != nullptr;
    if (left) output.put(text, length);
    for (size_t i = 0; i < padding; ++i) output.put(" ", 1);
    if (!left) output.put(text, length);
}

void putConversion(Output& output, const char* start, const Conversion& conversion,
                   MessageArguments& arguments) {
    const char* argument = nullptr;
    if (strchr("sdiuoxXcn", conversion.letter) && !arguments.empty()) {
        argument = arguments.front();
        arguments = arguments.subspan(1);
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
            putZero(output, conversion);
            break;
        case 'c':  // a zero character, which cannot be seen
        case 'n':
            break;
        default:
            output.put(start, static_cast<size_t>(conversion.end - start));
    }
}

}  // namespace

size_t formatMessage(char* out, size_t size, const char* format, MessageArguments arguments) {
    Output output(out, size);
    const char* position = format;
    while (*position != '\0') {
        const size_t plain = strcspn(position, "%");
        output.put(position, plain);
        position += plain;
        if (*position == '\0') break;
        const Conversion conversion = readConversion(position);
        putConversion(output, position, conversion, arguments);
        position = conversion.end;
    }
    return output.finish(position != format && position[-1] == '\n');
}

FormattedMessage::FormattedMessage(const char* format, MessageArguments arguments) {
    const size_t length = formatMessage(short_, sizeof short_, format, arguments);
    if (length < sizeof short_) return;
    long_.reset(static_cast<char*>(malloc(length + 1)));
    if (long_) formatMessage(long_.get(), length + 1, format, arguments);
}
