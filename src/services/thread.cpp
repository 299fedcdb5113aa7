#include "services/thread.h"

#include <process.h>

ThreadFailureHook threadFailureHook = nullptr;

namespace {

struct Trampoline {
    ThreadFunction function;
    void* argument;
};

unsigned __stdcall jump(void* argument) {
    const auto record = static_cast<Trampoline*>(argument);
    const Trampoline trampoline = *record;
    dispose(record);
    return trampoline.function(trampoline.argument);
}

}  // namespace

int reportThreadFailure(int error) {
    constexpr uint32_t COMPONENT = 67108865;
    if (threadFailureHook) threadFailureHook(COMPONENT, "ureCreateThread", error);
    return error;
}

int startThread(ThreadFunction function, void* argument, ThreadRecord& record) {
    if (!function) return reportThreadFailure(THREAD_NO_FUNCTION);
    const auto trampoline = create<Trampoline>(function, argument);
    if (!trampoline) return reportThreadFailure(THREAD_NO_MEMORY);
    const uintptr_t handle =
        _beginthreadex(nullptr, record.stackSize, jump, trampoline, 0, &record.id);
    if (handle == 0) {
        dispose(trampoline);
        return reportThreadFailure(THREAD_NOT_STARTED);
    }
    record.handle.reset(reinterpret_cast<HANDLE>(handle));
    return 0;
}

void joinThread(ThreadRecord& record) {
    if (!record.handle) return;
    if (WaitForSingleObject(record.handle.get(), INFINITE) != WAIT_OBJECT_0) return;
    record.handle.reset();
    record.id = 0;
}
