#include "services/short_path.h"

#include <windows.h>

#include "services/path.h"
#include "services/text.h"

int toShortPath(const char* path, char* out) {
    const DWORD length = GetShortPathNameA(path, out, PATH_BYTES);
    if (length > 0 && length < PATH_BYTES) return 0;
    copyText(out, PATH_BYTES, path);
    return -1;
}
