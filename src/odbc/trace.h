// Calls of the maker's trace library, "ZELKOSSE.dll". It is loaded when the first traced function
// runs; where it is absent, or its tracing is off, the calls do nothing. Tracing never changes a
// result.
#pragma once

#include <cstddef>
#include <cstdint>

// The identifiers by which the maker's trace tools know the functions.
enum TraceFunction : uint32_t {
    TRACE_CONSTRUCT = 0x1D90001C,
    TRACE_GET_INSTANCE = 0x1D90001D,
    TRACE_DESTROY_INSTANCE = 0x1D90001E,
    TRACE_DESTRUCT = 0x1D90001F,
    TRACE_PREPARE_DRIVER = 0x1D900020,
    TRACE_INSTALL_DRIVER = 0x1D900021,
    TRACE_REMOVE_DRIVER = 0x1D900022,
    TRACE_REMOVE_DRIVER_ENTRIES = 0x1D900023,
    TRACE_REMOVE_DATA_SOURCES = 0x1D900025,
    TRACE_WRITE_VALUE = 0x1D900026,
    TRACE_RESTORE_TIMEOUT = 0x1D900028,
    TRACE_REMOVE_DATA_SOURCE = 0x1D900029,
};

// Traces one call of a function: its entry where the object is made, and its exit, with what
// *result then holds, where the object ends.
class Trace {
  public:
    Trace(TraceFunction function, const int32_t* result);
    Trace(const Trace&) = delete;
    Trace& operator=(const Trace&) = delete;
    ~Trace();

    // A text, and an error value, at a probe point: a small multiple of ten that tells the calls of
    // one function apart.
    void text(uint32_t probe, const char* value) const;
    void error(uint32_t probe, int32_t value) const;

    // True when what is traced goes anywhere.
    static bool isOn();

  private:
    TraceFunction function_;
    const int32_t* result_;
};

// For services/thread.h: traces a thread that could not be started.
void traceThreadFailure(uint32_t component, const char* function, int32_t error);
