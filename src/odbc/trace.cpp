#include "odbc/trace.h"

#include <windows.h>

#include <cstring>

#include "services/system_library.h"

namespace {

// The library's functions. All are cdecl.
using Entry = void(uint32_t thread, uint32_t, uint32_t function, uint32_t, uint32_t);
using Exit = void(uint32_t thread, uint32_t, uint32_t function, const int32_t* result, uint32_t,
                  uint32_t);
using Var = void(uint32_t thread, uint32_t, uint32_t function, uint32_t probe, uint32_t kind,
                 uint32_t, uint32_t, size_t size, const void* value);
using ErrorVar = void(uint32_t thread, uint32_t, uint32_t function, uint32_t probe, uint32_t,
                      uint32_t, uint32_t, uint32_t, uint32_t, size_t size, const void* value);
using ThreadId = uint32_t();

constexpr uint32_t ENTRY_LEVEL = 1000000;
constexpr uint32_t KIND_TEXT = 3;
constexpr size_t CONTROL_SWITCH = 3;  // the word of the control block that turns tracing on

struct Library {
    const uint32_t* const* controlBlock;  // the address of g_pGTCB
    ThreadId* threadId;
    Entry* entry;
    Exit* exit;
    Var* var;
    ErrorVar* errorVar;
};

template <typename Function>
bool find(HMODULE module, const char* name, Function*& function) {
    function = findFunction<Function>(module, name);
    return function != nullptr;
}

// The library's functions, or nothing when one of them is missing.
Library loadLibrary() {
    const HMODULE module = loadTrustedLibrary("ZELKOSSE.dll");  // kept to the end of the process
    Library library = {};
    void (*controlBlock)() = nullptr;  // a data item, which Windows looks up as a function
    if (!find(module, "g_pGTCB", controlBlock) || !find(module, "ossThreadID", library.threadId) ||
        !find(module, "_gtraceEntry", library.entry) ||
        !find(module, "_gtraceExit", library.exit) || !find(module, "_gtraceVar", library.var) ||
        !find(module, "_gtraceErrorVar", library.errorVar)) {
        return {};
    }
    library.controlBlock = reinterpret_cast<const uint32_t* const*>(controlBlock);
    return library;
}

// The library when its tracing is turned on, or null.
const Library* activeLibrary() {
    static const Library library = loadLibrary();
    if (!library.controlBlock) return nullptr;
    const uint32_t* block = *library.controlBlock;
    return block && block[CONTROL_SWITCH] != 0 ? &library : nullptr;
}

void traceText(uint32_t function, uint32_t probe, const char* value, size_t size) {
    const Library* library = activeLibrary();
    if (!library) return;
    library->var(library->threadId(), 0, function, probe, KIND_TEXT, 1, 0, strnlen(value, size),
                 value);
}

void traceError(uint32_t function, uint32_t probe, int32_t value) {
    const Library* library = activeLibrary();
    if (!library) return;
    library->errorVar(library->threadId(), 0, function, probe, 4, 0, 0, 1, 0, sizeof value, &value);
}

}  // namespace

Trace::Trace(TraceFunction function) : function_(function) {
    const Library* library = activeLibrary();
    if (library) library->entry(library->threadId(), 0, function_, 0, ENTRY_LEVEL);
}

Trace::~Trace() {
    const Library* library = activeLibrary();
    if (library) library->exit(library->threadId(), 0, function_, &result_, 0, 0);
}

int32_t Trace::result(int32_t value) {
    result_ = value;
    return value;
}

void Trace::text(uint32_t probe, const char* value, size_t size) const {
    traceText(function_, probe, value, size);
}

void Trace::error(uint32_t probe, int32_t value) const {
    traceError(function_, probe, value);
}

bool Trace::isOn() {
    return activeLibrary() != nullptr;
}

void traceThreadFailure(int error) {
    constexpr uint32_t COMPONENT = 67108865;
    constexpr char FUNCTION[] = "ureCreateThread";
    traceText(COMPONENT, 10, FUNCTION, sizeof FUNCTION);
    traceError(COMPONENT, 20, error);
}
