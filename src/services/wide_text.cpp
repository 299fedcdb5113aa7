#include "services/wide_text.h"

#include <windows.h>

#include <cwchar>

bool toWide(const char* text, wchar_t* out, size_t characters) {
    const int length = MultiByteToWideChar(CP_ACP, 0, text, -1, out, static_cast<int>(characters));
    if (length == 0) *out = L'\0';
    return length > 0;
}

bool toAnsi(const wchar_t* text, char* out, size_t size) {
    // The flag is an error for this code page, which has every character.
    const DWORD flags = GetACP() == CP_UTF8 ? 0 : WC_NO_BEST_FIT_CHARS;
    const int length =
        WideCharToMultiByte(CP_ACP, flags, text, -1, out, static_cast<int>(size), nullptr, nullptr);
    if (length == 0) *out = '\0';
    return length > 0;
}

bool joinPath(const wchar_t* left, const wchar_t* right, wchar_t* out, size_t characters) {
    const size_t length = wcslen(left);
    if (length + 1 + wcslen(right) + 1 > characters) return false;
    wcscpy(out, left);
    out[length] = L'\\';
    wcscpy(out + length + 1, right);
    return true;
}

OwnedBuffer toUtf8(const char* text) {
    const int characters = MultiByteToWideChar(CP_ACP, 0, text, -1, nullptr, 0);
    const auto count = static_cast<size_t>(characters);
    const OwnedWideBuffer wide(static_cast<wchar_t*>(malloc((count + 1) * sizeof(wchar_t))));
    OwnedBuffer bytes(static_cast<char*>(calloc(3 * count + 1, 1)));  // a character takes 1 to 3
    if (!wide || !bytes) return {};
    MultiByteToWideChar(CP_ACP, 0, text, -1, wide.get(), characters);
    WideCharToMultiByte(CP_UTF8, 0, wide.get(), characters, bytes.get(), 3 * characters, nullptr,
                        nullptr);
    return bytes;
}
