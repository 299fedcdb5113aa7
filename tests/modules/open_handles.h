#pragma once

#include <windows.h>

#include <cstdint>

// Asks for one handle after another: GetProcessHandleCount knows nothing under Wine. A thread that
// is left behind has handles, too.
inline unsigned countOpenHandles() {
    unsigned count = 0;
    DWORD flags = 0;
    for (uintptr_t value = 4; value < 0x1000; value += 4) {
        if (GetHandleInformation(reinterpret_cast<HANDLE>(value), &flags)) ++count;
    }
    return count;
}
