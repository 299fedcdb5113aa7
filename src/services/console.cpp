#include "services/console.h"

#include <io.h>

#include <algorithm>
#include <cstring>

#include "services/owners.h"

namespace {

// Converts text to UTF-16 with the line ends of a console; empty without memory.
OwnedWideBuffer toConsoleText(const char* text, size_t* length) {
    const size_t bytes = strlen(text);
    const auto lineEnds = static_cast<size_t>(std::count(text, text + bytes, '\n'));
    OwnedBuffer lines(static_cast<char*>(malloc(bytes + lineEnds + 1)));
    OwnedWideBuffer wide(static_cast<wchar_t*>(malloc((bytes + lineEnds + 1) * sizeof(wchar_t))));
    if (!lines || !wide) return {};
    char* end = lines.get();
    for (; *text != '\0'; ++text) {
        if (*text == '\n') *end++ = '\r';
        *end++ = *text;
    }
    const int room = static_cast<int>(bytes + lineEnds);
    *length =
        static_cast<size_t>(MultiByteToWideChar(CP_ACP, 0, lines.get(), room, wide.get(), room));
    return wide;
}

}  // namespace

HANDLE findConsole(FILE* stream) {
    // The C runtime's handle, not the process's: running a program changes the latter.
    const int file = _fileno(stream);
    const intptr_t handle = file < 0 ? -1 : _get_osfhandle(file);
    DWORD mode = 0;
    const auto console = reinterpret_cast<HANDLE>(handle);
    return handle >= 0 && GetConsoleMode(console, &mode) ? console : nullptr;
}

bool writeToConsole(HANDLE console, const char* text) {
    size_t length = 0;
    const OwnedWideBuffer wide = toConsoleText(text, &length);
    if (!wide) return false;
    for (size_t done = 0; done < length;) {
        DWORD written = 0;
        if (!WriteConsoleW(console, wide.get() + done, static_cast<DWORD>(length - done), &written,
                           nullptr) ||
            written == 0) {
            break;
        }
        done += written;
    }
    return true;
}
