// Threads of the C runtime.
#pragma once

#include <cstdint>

#include "services/owners.h"

// Results of startThread, and so of ProcessRunner::run.
constexpr int THREAD_NO_MEMORY = 5002;
constexpr int THREAD_NO_FUNCTION = 5003;
constexpr int THREAD_NOT_STARTED = 5111;

struct ThreadRecord {
    unsigned id = 0;
    unsigned stackSize = 0;  // bytes; 0 is the program's default
    OwnedHandle handle;
};

using ThreadFunction = unsigned (*)(void* argument);

// Starts function(argument) on a thread of its own. Returns 0 or one of the codes above.
int startThread(ThreadFunction function, void* argument, ThreadRecord& record);

// Waits for the thread's end, however long that takes, and empties the record.
void joinThread(ThreadRecord& record);

// Tells the hook of a failure to start a thread and returns error.
int reportThreadFailure(int error);

// Called with every failure of startThread; null when nobody listens.
using ThreadFailureHook = void (*)(uint32_t component, const char* function, int32_t error);
extern ThreadFailureHook threadFailureHook;
