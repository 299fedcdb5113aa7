#include "services/temporary_file.h"

#include <windows.h>

#include <cstdlib>

#include "services/owners.h"
#include "services/path.h"
#include "services/text.h"

int makeTempFileName(const char* prefix, char* out) {
    // The early returns report success deliberately: a machine without a temporary folder is left
    // to the callers, who see that out is still empty.
    const OwnedText path(static_cast<char*>(calloc(PATH_BYTES, 1)));
    if (!path) return 0;
    const DWORD length = GetTempPathA(PATH_BYTES, path.get());
    if (length == 0 || length > PATH_BYTES) return 0;

    char folder[PATH_BYTES];
    copyText(folder, trimCharacters(path.get(), " "));
    if (GetTempFileNameA(folder, prefix, 0, out) == 0) return -1;
    if (out[0] == '\0') return 0;

    // With room for three characters the call only tells the size that it would need, so the name
    // keeps its long form. That is wanted: other tools find the file by the name as it was made.
    constexpr DWORD TOO_SMALL = 4;
    return GetShortPathNameA(out, out, TOO_SMALL) == 0 ? -1 : 0;
}

int toShortPath(const char* path, char* out) {
    const DWORD length = GetShortPathNameA(path, out, PATH_BYTES);
    if (length > 0 && length < PATH_BYTES) return 0;
    copyText(out, PATH_BYTES, path);
    return -1;
}
