// printf's formatting for texts that the program does not control. Free of platform headers.
#pragma once

#include <cstddef>

// Formats as printf would with count text arguments, followed by as many zeros as format asks for:
// a %s past the arguments is "(null)", every number is 0, a %n stores nothing, and a conversion
// that printf does not know stands as it is written. Widths and precisions, "*" among them, are
// taken as 1000 at most. Nothing is read or written outside the arguments and out.
// Writes at most size - 1 bytes and a terminating zero; size is at least 2. A text that does not
// fit is cut, and keeps its last character when that is a line end. Returns the length.
size_t formatMessage(char* out, size_t size, const char* format, const char* const* arguments,
                     size_t count);
