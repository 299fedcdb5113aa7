// A system of the fuzzer's choice.
#include "services/system_locale.h"

#include "tests/fuzz/fuzz.h"

bool twoByteCodePage;

bool isLeadByte(char value) {
    const auto byte = static_cast<unsigned char>(value);
    return twoByteCodePage && ((byte >= 0x81 && byte <= 0x9F) || (byte >= 0xE0 && byte <= 0xFC));
}
