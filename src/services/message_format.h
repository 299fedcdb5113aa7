// printf's formatting for texts that the program does not control. Free of platform headers.
#pragma once

#include <cstddef>
#include <span>

#include "services/memory.h"

using MessageArguments = std::span<const char* const>;

// Formats as printf would with the arguments, followed by as many zeros as format asks for:
// %s past the arguments is "(null)", an integer is "0", %c and %n add nothing, %% is a per cent
// sign. Every other conversion is shown as it is written. Flags, widths and precisions have no
// effect: no text has them, and they come only with a per cent sign in a name or a path. Nothing is
// read or written outside the arguments and out.
// Writes at most size - 1 bytes and a terminating zero to out; size is not 0. A text that does not
// fit is cut, and keeps its last character when that is a line end. Returns the length of the whole
// text in bytes, also when it was cut.
size_t formatMessage(char* out, size_t size, const char* format, MessageArguments arguments);

// A formatted text of any length; only without memory is a long one cut.
class FormattedMessage {
  public:
    FormattedMessage(const char* format, MessageArguments arguments);

    const char* text() const { return long_ ? long_.get() : short_; }

  private:
    char short_[1024];
    OwnedBuffer long_;
};
