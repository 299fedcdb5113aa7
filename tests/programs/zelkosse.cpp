// Stands for the maker's trace library: notes every call, with what its pointers point to.
// ZELK_TRACE in the environment is "off" for a control block that says so, "null" for none.
#include <cinttypes>
#include <cstdlib>

#include "tests/programs/record.h"

namespace {

HINSTANCE self;
uint32_t controlBlock[8];

}  // namespace

extern "C" {

extern uint32_t* g_pGTCB;
uint32_t* g_pGTCB;

uint32_t ossThreadID() {
    return 4711;
}

void _gtraceEntry(uint32_t thread, uint32_t a, uint32_t function, uint32_t b, uint32_t level) {
    record(self, "entry %u %u %08X %u %u", thread, a, function, b, level);
}

void _gtraceExit(uint32_t thread, uint32_t a, uint32_t function, const int32_t* result, uint32_t b,
                 uint32_t c) {
    record(self, "exit %u %u %08X %d %u %u", thread, a, function, *result, b, c);
}

void _gtraceVar(uint32_t thread, uint32_t a, uint32_t function, uint32_t probe, uint32_t kind,
                uint32_t b, uint32_t c, size_t size, const char* value) {
    const char* whole = size == strlen(value) ? "" : " not the length:";
    record(self, "var %u %u %08X %u %u %u %u%s %s", thread, a, function, probe, kind, b, c, whole,
           value);
}

void _gtraceErrorVar(uint32_t thread, uint32_t a, uint32_t function, uint32_t probe, uint32_t kind,
                     uint32_t b, uint32_t c, uint32_t d, uint32_t e, size_t size,
                     const int32_t* value) {
    record(self, "error %u %u %08X %u %u %u %u %u %u %zu %d", thread, a, function, probe, kind, b,
           c, d, e, size, *value);
}

}  // extern "C"

BOOL WINAPI DllMain(HINSTANCE instance, DWORD, LPVOID) {
    self = instance;
    const char* order = getenv("ZELK_TRACE");
    const bool off = order && strcmp(order, "off") == 0;
    for (uint32_t& word : controlBlock) word = off ? 1 : 0;  // the fourth word alone decides
    controlBlock[3] = off ? 0 : 1;
    g_pGTCB = order && strcmp(order, "null") == 0 ? nullptr : controlBlock;
    return TRUE;
}
