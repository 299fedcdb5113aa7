// What the compiler's stack protector needs from the program: the guard value and the function that
// ends the program when the guard is damaged. The compiler's own library asks the cryptographic
// provider for the value, which takes longer than the rest of a refused run. This one mixes what
// Microsoft's compilers mix at start-up (their documentation: "/GS (Buffer Security Check)").
#include <windows.h>

#include <cstdint>
#include <initializer_list>

#if defined(__MINGW32__)

extern "C" {

// NOLINTBEGIN(bugprone-reserved-identifier): the compiler chose the names
uintptr_t __stack_chk_guard;

[[noreturn]] void __stack_chk_fail() {
    constexpr UINT STACK_BUFFER_OVERRUN = 0xC0000409;
    TerminateProcess(GetCurrentProcess(), STACK_BUFFER_OVERRUN);
    __builtin_unreachable();
}
// NOLINTEND(bugprone-reserved-identifier)

}  // extern "C"

namespace {

// Before any other constructor, and not itself protected: the guard changes while it runs.
[[gnu::constructor(101), gnu::no_stack_protector]] void mixStackGuard() {
    LARGE_INTEGER counter = {};
    QueryPerformanceCounter(&counter);
    FILETIME time = {};
    GetSystemTimeAsFileTime(&time);
    auto mixed = static_cast<uint64_t>(counter.QuadPart);
    for (const uint64_t part : {(uint64_t{time.dwHighDateTime} << 32) | time.dwLowDateTime,
                                (uint64_t{GetCurrentProcessId()} << 32) | GetCurrentThreadId(),
                                static_cast<uint64_t>(reinterpret_cast<uintptr_t>(&counter))}) {
        mixed = (mixed ^ part) * 0x9E3779B97F4A7C15;  // 2^64 divided by the golden ratio
        mixed ^= mixed >> 29;
    }
    // A zero byte in it stops string functions that would write the right value over it.
    __stack_chk_guard = static_cast<uintptr_t>(mixed) & ~uintptr_t{0xFF};
}

}  // namespace

#endif
