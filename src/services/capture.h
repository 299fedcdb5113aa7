#pragma once

#include <cstddef>

#include "services/owners.h"

// The growing text of a stream, always terminated.
class Capture {
  public:
    static constexpr size_t MOST_BYTES = 16U << 20;

    // The text is stored in text, which must outlive this object.
    explicit Capture(OwnedText& text);

    // Appends bytes. What comes after MOST_BYTES, or after the memory's end, is left out: nobody
    // needs the text badly enough to fail for it.
    void append(const char* bytes, size_t count);

  private:
    bool grow();

    OwnedText& text_;
    size_t capacity_ = 0;
    size_t used_ = 0;  // less than capacity_, so that the terminating zero has its place
    bool full_ = false;
};
