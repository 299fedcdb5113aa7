#include "services/same_name.h"

#include <windows.h>

#include <cstring>

namespace {

constexpr int CHARACTERS = 512;

// The number of characters with the terminating zero; 0 when the name cannot be converted.
int toWide(const char* name, wchar_t (&wide)[CHARACTERS]) {
    return MultiByteToWideChar(CP_ACP, MB_ERR_INVALID_CHARS, name, -1, wide, CHARACTERS);
}

}  // namespace

bool isSameName(const char* left, const char* right) {
    wchar_t wideLeft[CHARACTERS];
    wchar_t wideRight[CHARACTERS];
    if (toWide(left, wideLeft) == 0 || toWide(right, wideRight) == 0) {
        return strcmp(left, right) == 0;
    }
    return isSameName(wideLeft, wideRight);
}

bool isSameName(const wchar_t* left, const wchar_t* right) {
    return CompareStringOrdinal(left, -1, right, -1, TRUE) == CSTR_EQUAL;
}
