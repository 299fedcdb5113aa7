#include "services/text.h"

#include <cctype>
#include <climits>
#include <cstdio>
#include <cstring>

namespace {

bool isUsableSize(size_t size) {
    return size != 0 && size <= INT_MAX;
}

}  // namespace

int32_t copyText(char* out, size_t size, const char* text) {
    if (!isUsableSize(size)) return TEXT_INVALID;
    if (!text) text = "";
    const size_t length = strlen(text);
    const size_t kept = length < size ? length : size - 1;
    memmove(out, text, kept);
    out[kept] = '\0';
    return kept == length ? TEXT_OK : TEXT_CUT;
}

int32_t appendText(char* out, size_t size, const char* text) {
    if (!isUsableSize(size)) return TEXT_INVALID;
    const size_t used = strnlen(out, size - 1);
    return copyText(out + used, size - used, text);
}

int32_t formatText(char* out, size_t size, const char* format, ...) {
    va_list arguments;  // NOLINT(cppcoreguidelines-init-variables): a type without a value
    va_start(arguments, format);
    const int32_t result = formatTextList(out, size, format, arguments);
    va_end(arguments);
    return result;
}

int32_t formatTextList(char* out, size_t size, const char* format, va_list arguments) {
    if (!isUsableSize(size)) return TEXT_INVALID;
    const int length = vsnprintf(out, size, format, arguments);
    if (length < 0) out[0] = '\0';
    return length >= 0 && static_cast<size_t>(length) < size ? TEXT_OK : TEXT_CUT;
}

char* trimCharacters(char* text, const char* set) {
    size_t length = strlen(text);
    while (length > 0 && strchr(set, text[length - 1])) text[--length] = '\0';
    return text + strspn(text, set);
}

void maskControls(char* text) {
    for (; *text != '\0'; ++text) {
        if (iscntrl(static_cast<unsigned char>(*text)) && *text != '\t') *text = '?';
    }
}

int compareFolded(const char* left, const char* right, size_t count) {
    for (size_t i = 0; i < count; ++i) {
        const auto l = static_cast<signed char>(toupper(static_cast<unsigned char>(left[i])));
        const auto r = static_cast<signed char>(toupper(static_cast<unsigned char>(right[i])));
        if (l != r) return l < r ? -1 : 1;
        if (l == 0) return 0;
    }
    return 0;
}

Decimal::Decimal(long long number) {
    formatText(text, sizeof text, "%lld", number);
}
