// Owners of memory. Free of platform headers.
#pragma once

#include <cstdlib>
#include <new>
#include <utility>

template <typename Value, typename Closer>
class Owner {
  public:
    Owner() = default;
    explicit Owner(Value value) : value_(value) {}
    Owner(const Owner&) = delete;
    Owner& operator=(const Owner&) = delete;
    Owner(Owner&& other) noexcept : value_(other.release()) {}
    Owner& operator=(Owner&& other) noexcept {
        reset(other.release());
        return *this;
    }
    ~Owner() { reset(); }

    Value get() const { return value_; }
    explicit operator bool() const { return value_ != Value{}; }
    Value release() { return std::exchange(value_, Value{}); }
    void reset(Value value = Value{}) {
        if (const Value old = std::exchange(value_, value)) Closer{}(old);
    }
    // For system functions that store a result: empties the owner and returns where to store.
    Value* put() {
        reset();
        return &value_;
    }

  private:
    Value value_{};
};

struct MemoryCloser {
    void operator()(void* memory) const { free(memory); }
};

// From malloc.
using OwnedBuffer = Owner<char*, MemoryCloser>;
using OwnedWideBuffer = Owner<wchar_t*, MemoryCloser>;

template <typename Object>
struct ObjectCloser {
    void operator()(Object* object) const {
        object->~Object();
        free(object);
    }
};

// An object on the heap.
template <typename Object>
using OwnedObject = Owner<Object*, ObjectCloser<Object>>;

// Makes one; empty when there is no memory. It comes from malloc, because operator new brings the
// C++ runtime's exceptions into a program that has none, and doubles its size.
template <typename Object, typename... Arguments>
OwnedObject<Object> makeObject(Arguments&&... arguments) {
    void* memory = malloc(sizeof(Object));
    if (!memory) return {};
    return OwnedObject<Object>(new (memory) Object{std::forward<Arguments>(arguments)...});
}
