#pragma once

#include <cstddef>

#include "services/memory.h"

// The growing text of a stream.
class Capture {
  public:
    static constexpr size_t MOST_BYTES = 16U << 20;

    // Makes the text, which is empty. Call it before append.
    void open();

    // Appends at most 512 bytes. Excess over MOST_BYTES, or over the available memory, is dropped.
    void append(const char* bytes, size_t count);

    // The text, always terminated; null before open, and without memory.
    const char* text() const { return text_.get(); }

  private:
    bool grow();

    OwnedBuffer text_;
    size_t capacity_ = 0;
    size_t used_ = 0;  // less than capacity_, which leaves room for the terminating zero
    bool full_ = false;
};
