// What the process has open and running.
#pragma once

#include <windows.h>

#include <tlhelp32.h>

#include <cstdint>

#include "services/owners.h"

// Asks for one handle after another: GetProcessHandleCount knows nothing under Wine.
inline unsigned countOpenHandles() {
    unsigned count = 0;
    DWORD flags = 0;
    for (uintptr_t value = 4; value < 0x1000; value += 4) {
        if (GetHandleInformation(reinterpret_cast<HANDLE>(value), &flags)) ++count;
    }
    return count;
}

inline unsigned countThreads() {
    const OwnedHandle snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0));
    THREADENTRY32 thread = {};
    thread.dwSize = sizeof thread;
    unsigned count = 0;
    for (BOOL more = Thread32First(snapshot.get(), &thread); more;
         more = Thread32Next(snapshot.get(), &thread)) {
        if (thread.th32OwnerProcessID == GetCurrentProcessId()) ++count;
    }
    return count;
}
