#include "services/arguments.h"

#include <windows.h>

#include <cstdlib>
#include <cwchar>

#include "services/memory.h"

namespace {

char* toAnsi(const wchar_t* text) {
    const bool isUtf8 = GetACP() == CP_UTF8;  // which takes a flag of its own
    BOOL replaced = FALSE;
    const size_t size = 3 * wcslen(text) + 1;  // at most three bytes for each wchar_t
    OwnedBuffer ansi(static_cast<char*>(malloc(size)));
    const bool done =
        ansi && WideCharToMultiByte(CP_ACP, isUtf8 ? WC_ERR_INVALID_CHARS : WC_NO_BEST_FIT_CHARS,
                                    text, -1, ansi.get(), static_cast<int>(size), nullptr,
                                    isUtf8 ? nullptr : &replaced) != 0;
    return done && !replaced ? ansi.release() : nullptr;
}

}  // namespace

char** toAnsiArguments(int count, const wchar_t* const* arguments) {
    const auto texts = static_cast<char**>(calloc(static_cast<size_t>(count), sizeof(char*)));
    for (int i = 0; texts && i < count; ++i) texts[i] = toAnsi(arguments[i]);
    return texts;
}
