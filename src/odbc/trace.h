// Calls of the package's trace library, "ZELKOSSE.dll". It is loaded, from the program's folder or
// the Windows system directory, when the first traced function runs; where it is absent, or its
// tracing is off, the calls do nothing. Tracing never changes a result.
#pragma once

#include <cstddef>
#include <cstdint>

// The identifiers of the functions in a trace.
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

// Traces one call of a function: its entry where the object is created, and its exit where the
// object ends.
class Trace {
  public:
    explicit Trace(TraceFunction function);
    Trace(const Trace&) = delete;
    Trace& operator=(const Trace&) = delete;
    ~Trace();

    // Sets the exit value, which is 0 otherwise, and returns it: "return trace.result(code);".
    int32_t result(int32_t value);

    // Trace an error value, and a text of at most size bytes, at a probe point: a small multiple of
    // ten that distinguishes the calls of one function.
    void error(uint32_t probe, int32_t value) const;
    void text(uint32_t probe, const char* value, size_t size) const;
    template <size_t N>
    void text(uint32_t probe, const char (&value)[N]) const {
        text(probe, value, N);
    }

    // True when tracing is on.
    static bool isOn();

  private:
    TraceFunction function_;
    int32_t result_ = 0;
};

// A hook for services/programs/thread.h: traces a thread that could not be started.
void traceThreadFailure(int error);
