// Small move-only owners of what the system hands out. They alone call the closing functions.
#pragma once

#include <windows.h>

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
    // For system functions that store a result: empties the owner and gives its place.
    Value* receive() {
        reset();
        return &value_;
    }

  private:
    Value value_{};
};

struct HandleCloser {
    void operator()(HANDLE handle) const { CloseHandle(handle); }
};
struct KeyCloser {
    void operator()(HKEY key) const { RegCloseKey(key); }
};
struct ModuleCloser {
    void operator()(HMODULE module) const { FreeLibrary(module); }
};
struct MemoryCloser {
    void operator()(void* memory) const { free(memory); }
};

using OwnedHandle = Owner<HANDLE, HandleCloser>;
using OwnedKey = Owner<HKEY, KeyCloser>;
using OwnedModule = Owner<HMODULE, ModuleCloser>;
using OwnedText = Owner<char*, MemoryCloser>;  // from malloc

// An object on the heap, or null when there is no memory; dispose releases it.
template <typename Object, typename... Arguments>
Object* create(Arguments&&... arguments) {
    void* memory = malloc(sizeof(Object));
    return memory ? new (memory) Object{std::forward<Arguments>(arguments)...} : nullptr;
}

template <typename Object>
void dispose(Object* object) {
    if (!object) return;
    object->~Object();
    free(object);
}
