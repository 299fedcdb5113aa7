#include "services/guid.h"

#include <windows.h>

#include <objbase.h>

#include <cstring>

#include "services/system_library.h"
#include "services/text.h"

namespace {

using CreateGuid = HRESULT WINAPI(GUID*);
using GuidToText = int WINAPI(REFGUID, LPOLESTR, int);

// ole32 is loaded on first use and kept. Linking it would have every refused run and every
// unregistration pay for its start-up, and they make no GUIDs.
HMODULE comLibrary() {
    static const HMODULE library = loadSystemLibrary("ole32.dll");
    return library;
}

}  // namespace

bool makeGuidText(char* out, size_t size) {
    const auto createGuid = findFunction<CreateGuid>(comLibrary(), "CoCreateGuid");
    const auto guidToText = findFunction<GuidToText>(comLibrary(), "StringFromGUID2");
    if (!createGuid || !guidToText) return false;

    GUID guid = {};
    wchar_t wide[2048] = {};
    if (createGuid(&guid) < 0 || guidToText(guid, wide, 2048) == 0) return false;

    char narrow[2048] = {};
    if (wcstombs(narrow, wide, sizeof narrow) == static_cast<size_t>(-1)) return false;
    copyText(out, size, narrow);
    return true;
}
