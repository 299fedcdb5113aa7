#include "services/programs/capture.h"

#include <cstdlib>
#include <cstring>

void Capture::open() {
    constexpr size_t FIRST_BYTES = 1024;
    text_.reset(static_cast<char*>(calloc(FIRST_BYTES, 1)));
    capacity_ = text_ ? FIRST_BYTES : 0;
}

void Capture::append(const char* bytes, size_t count) {
    // One doubling is enough: no read is as long as the first buffer.
    if (used_ + count >= capacity_ && !full_) full_ = !grow();
    if (full_) return;
    memcpy(text_.get() + used_, bytes, count);
    used_ += count;
    text_.get()[used_] = '\0';
}

bool Capture::grow() {
    if (capacity_ == 0 || capacity_ >= MOST_BYTES) return false;
    const auto larger = static_cast<char*>(malloc(2 * capacity_));
    if (!larger) return false;
    memcpy(larger, text_.get(), used_ + 1);
    text_.reset(larger);
    capacity_ *= 2;
    return true;
}
