#include "services/message_format.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
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

// Arguments in order, then zeros.
class Arguments {
  public:
    Arguments(const char* const* texts, size_t count) : texts_(texts), left_(count) {}
    const char* next() {
        if (left_ == 0) return nullptr;
        --left_;
        return *texts_++;
    }

  private:
    const char* const* texts_;
    size_t left_;
};

// A decimal number or a "*", which takes an argument that is zero to whoever asks for a number.
int readNumber(const char*& position, Arguments& arguments) {
    if (*position == '*') {
        ++position;
        arguments.next();
        return 0;
    }
    int number = 0;
    for (; *position >= '0' && *position <= '9'; ++position) {
        number = std::min(number * 10 + (*position - '0'), WIDEST);
    }
    return number;
}

Conversion readConversion(const char* position, Arguments& arguments) {
    Conversion conversion;
    ++position;  // the per cent sign
    for (size_t flags = 0; *position != '\0' && strchr("-+ #0", *position); ++position) {
        if (strchr(conversion.flags, *position)) continue;
        conversion.flags[flags++] = *position;
        conversion.flags[flags] = '\0';
    }
    if (*position == '*' || (*position >= '0' && *position <= '9')) {
        conversion.width = readNumber(position, arguments);
    }
    if (*position == '.') {
        ++position;
        conversion.precision = readNumber(position, arguments);
    }
    if (strncmp(position, "I64", 3) == 0 || strncmp(position, "I32", 3) == 0) position += 3;
    position += strspn(position, "hlLjztwqI");
    conversion.letter = *position;
    conversion.end = *position == '\0' ? position : position + 1;
    return conversion;
}

// Formats the one value of a conversion; letter says what printf is to take it for.
template <typename Value>
size_t formatValue(char* out, size_t size, const Conversion& conversion, char letter, Value value) {
    char format[32];
    char width[8] = "";
    char precision[8] = "";
    if (conversion.width >= 0) formatText(width, sizeof width, "%d", conversion.width);
    if (conversion.precision >= 0)
        formatText(precision, sizeof precision, ".%d", conversion.precision);
    formatText(format, sizeof format, "%%%s%s%s%c", conversion.flags, width, precision, letter);
    const int length = snprintf(out, size, format, value);
    return length < 0 ? 0 : std::min(static_cast<size_t>(length), size - 1);
}

size_t formatConversion(char* out, size_t size, const char* start, const Conversion& conversion,
                        Arguments& arguments) {
    switch (conversion.letter) {
        case '%':
            return formatValue(out, size, Conversion{}, 's', "%");
        case 's':
        case 'S':
        case 'Z': {
            const char* text = arguments.next();
            return formatValue(out, size, conversion, 's', text ? text : "(null)");
        }
        case 'd':
        case 'i':
        case 'u':
        case 'o':
        case 'x':
        case 'X':
            arguments.next();
            return formatValue(out, size, conversion, conversion.letter, 0);
        case 'e':
        case 'E':
        case 'f':
        case 'F':
        case 'g':
        case 'G':
        case 'a':
        case 'A':
            arguments.next();
            return formatValue(out, size, conversion, conversion.letter, 0.0);
        case 'p': {
            arguments.next();
            Conversion pointer;
            pointer.precision = static_cast<int>(2 * sizeof(void*));
            return formatValue(out, size, pointer, 'X', 0);
        }
        case 'c':
        case 'C':  // a zero character: nothing to see
        case 'n':
            arguments.next();
            return 0;
        default: {
            const auto length = static_cast<size_t>(conversion.end - start);
            const size_t kept = std::min(length, size - 1);
            memcpy(out, start, kept);
            return kept;
        }
    }
}

}  // namespace

size_t formatMessage(char* out, size_t size, const char* format, const char* const* arguments,
                     size_t count) {
    Arguments values(arguments, count);
    size_t used = 0;
    const char* position = format;
    while (*position != '\0' && used + 1 < size) {
        if (*position != '%') {
            out[used++] = *position++;
            continue;
        }
        const Conversion conversion = readConversion(position, values);
        used += formatConversion(out + used, size - used, position, conversion, values);
        position = conversion.end;
    }
    out[used] = '\0';
    // In a full buffer the line end is there already or was cut, perhaps with what came before it.
    if (used + 1 == size && format[strlen(format) - 1] == '\n') out[used - 1] = '\n';
    return used;
}
