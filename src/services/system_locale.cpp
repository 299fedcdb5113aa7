#include "services/system_locale.h"

#include <windows.h>

bool isLeadByte(char value) {
    return IsDBCSLeadByte(static_cast<BYTE>(value)) != 0;
}

uint16_t systemLanguageId() {
    return GetSystemDefaultLangID();
}
