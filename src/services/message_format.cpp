#include "services/message_format.h"

#include <algorithm>
#include <cstring>

namespace {

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

// The letter of the conversion that begins at the per cent sign start, "%-5ld" for example.
const char* findLetter(const char* start) {
    const char* position = start + 1 + strspn(start + 1, "-+ #0123456789.");
    if (strncmp(position, "I64", 3) == 0 || strncmp(position, "I32", 3) == 0) return position + 3;
    return position + strspn(position, "hlLjztwqI");
}

void putText(Output& output, const char* text) {
    output.put(text, strlen(text));
}

// Returns what follows the conversion in the format.
const char* putConversion(Output& output, const char* start, MessageArguments& arguments) {
    const char* letter = findLetter(start);
    const char* end = *letter == '\0' ? letter : letter + 1;
    const char* argument = nullptr;
    if (*letter != '\0' && strchr("sdiuoxXcn", *letter) && !arguments.empty()) {
        argument = arguments.front();
        arguments = arguments.subspan(1);
    }
    switch (*letter) {
        case '%':
            putText(output, "%");
            break;
        case 's':
            putText(output, argument ? argument : "(null)");
            break;
        case 'd':
        case 'i':
        case 'u':
        case 'o':
        case 'x':
        case 'X':
            putText(output, "0");
            break;
        case 'c':  // a zero character, which cannot be seen
        case 'n':
            break;
        default:
            output.put(start, static_cast<size_t>(end - start));
    }
    return end;
}

}  // namespace

size_t formatMessage(char* out, size_t size, const char* format, MessageArguments arguments) {
    Output output(out, size);
    const char* position = format;
    while (*position != '\0') {
        const size_t plain = strcspn(position, "%");
        output.put(position, plain);
        position += plain;
        if (*position != '\0') position = putConversion(output, position, arguments);
    }
    return output.finish(position != format && position[-1] == '\n');
}

FormattedMessage::FormattedMessage(const char* format, MessageArguments arguments) {
    const size_t length = formatMessage(short_, sizeof short_, format, arguments);
    if (length < sizeof short_) return;
    long_.reset(static_cast<char*>(malloc(length + 1)));
    if (long_) formatMessage(long_.get(), length + 1, format, arguments);
}
