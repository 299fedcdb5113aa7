// A growing array of plain values. Free of platform headers.
#pragma once

#include <cstdlib>
#include <type_traits>

#include "services/memory.h"

template <typename Item>
class List {
    static_assert(std::is_trivially_copyable_v<Item>);

  public:
    // Adds an item. False without memory; the list then stays as it is.
    bool add(const Item& item) {
        if (count_ == capacity_ && !grow()) return false;
        begin()[count_++] = item;
        return true;
    }
    size_t count() const { return count_; }
    Item* begin() { return reinterpret_cast<Item*>(items_.get()); }
    Item* end() { return begin() + count_; }
    const Item* begin() const { return reinterpret_cast<const Item*>(items_.get()); }
    const Item* end() const { return begin() + count_; }
    Item& operator[](size_t index) { return begin()[index]; }
    const Item& operator[](size_t index) const { return begin()[index]; }

  private:
    bool grow() {
        const size_t wanted = capacity_ == 0 ? 8 : 2 * capacity_;
        const auto grown = static_cast<Item*>(realloc(items_.get(), wanted * sizeof(Item)));
        if (!grown) return false;
        items_.release();
        items_.reset(reinterpret_cast<char*>(grown));
        capacity_ = wanted;
        return true;
    }

    OwnedBuffer items_;
    size_t count_ = 0;
    size_t capacity_ = 0;
};
