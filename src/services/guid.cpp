#include "services/guid.h"

#include <windows.h>

#include <objbase.h>

#include <cstdlib>

#include "services/system_library.h"

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

bool makeGuidText(char (&out)[GUID_TEXT_BYTES]) {
    const auto createGuid = findFunction<CreateGuid>(comLibrary(), "CoCreateGuid");
    const auto guidToText = findFunction<GuidToText>(comLibrary(), "StringFromGUID2");
    if (!createGuid || !guidToText) return false;

    GUID guid = {};
    wchar_t wide[GUID_TEXT_BYTES] = {};
    if (createGuid(&guid) < 0 || guidToText(guid, wide, GUID_TEXT_BYTES) == 0) return false;
    return wcstombs(out, wide, sizeof out) == GUID_TEXT_BYTES - 1;
}
