#pragma once

#include <cstddef>

#include "services/memory.h"

// The growing text of a stream, always terminated; null when there is no memory.
class Capture {
  public:
    static constexpr size_t MOST_BYTES = 16U << 20;

    // The text is stored in text, which must outlive this object.
    explicit Capture(OwnedBuffer& text);

    // Appends at most 512 bytes. Excess over MOST_BYTES, or over the available memory, is dropped.
    void append(const char* bytes, size_t count);

  private:
    bool grow();

    OwnedBuffer& text_;
    size_t capacity_ = 0;
    size_t used_ = 0;  // less than capacity_, which leaves room for the terminating zero
    bool full_ = false;
};
