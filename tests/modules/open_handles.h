#pragma once

#include <windows.h>

// Also those of threads. Under Wine, GetProcessHandleCount does not count.
inline unsigned countOpenHandles() {
    unsigned count = 0;
    DWORD flags = 0;
    for (uintptr_t value = 4; value < 0x1000; value += 4) {
        if (GetHandleInformation(reinterpret_cast<HANDLE>(value), &flags)) ++count;
    }
    return count;
}
