#include "services/programs/thread.h"

#include <process.h>

ThreadFailureHook threadFailureHook = nullptr;

namespace {

struct Trampoline {
    ThreadFunction function;
    void* argument;
};

unsigned __stdcall trampolineMain(void* argument) {
    const OwnedObject<Trampoline> owned(static_cast<Trampoline*>(argument));
    const Trampoline& record = *owned.get();
    return record.function(record.argument);
}

}  // namespace

int reportThreadFailure(int error) {
    if (threadFailureHook) threadFailureHook(error);
    return error;
}

int startThread(ThreadFunction function, void* argument, ThreadRecord& record) {
    if (!function) return reportThreadFailure(THREAD_NO_FUNCTION);
    auto trampoline = makeObject<Trampoline>(function, argument);
    if (!trampoline) return reportThreadFailure(THREAD_NO_MEMORY);
    const uintptr_t handle =
        _beginthreadex(nullptr, record.stackSize, trampolineMain, trampoline.get(), 0, &record.id);
    if (handle == 0) return reportThreadFailure(THREAD_NOT_STARTED);
    trampoline.release();  // the thread owns it now
    record.handle.reset(reinterpret_cast<HANDLE>(handle));
    return 0;
}

void joinThread(ThreadRecord& record) {
    if (!record.handle) return;
    if (WaitForSingleObject(record.handle.get(), INFINITE) != WAIT_OBJECT_0) return;
    record.handle.reset();
    record.id = 0;
}
