// Threads of the C runtime.
#pragma once

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

// Waits until the thread ends, without a time limit, and empties the record.
void joinThread(ThreadRecord& record);

// Passes a failure to start a thread to the hook and returns error.
int reportThreadFailure(int error);

// Called with every failure of startThread; may be null.
using ThreadFailureHook = void (*)(int error);
extern ThreadFailureHook threadFailureHook;
