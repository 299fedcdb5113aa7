// Stands for the OLE DB provider of the package: a COM server that registers one class.
#include <windows.h>

#include <cstdio>
#include <cstring>

namespace {

constexpr char CLASS_KEY[] = "CLSID\\{5D3C9B7A-1F60-4E8B-9B5E-0A7C31E6D2F4}";
HINSTANCE self;

LSTATUS setText(const char* path, const char* name, const char* text) {
    return RegSetKeyValueA(HKEY_CLASSES_ROOT, path, name, REG_SZ, text,
                           static_cast<DWORD>(strlen(text) + 1));
}

}  // namespace

BOOL WINAPI DllMain(HINSTANCE instance, DWORD, LPVOID) {
    self = instance;
    return TRUE;
}

extern "C" HRESULT WINAPI DllRegisterServer() {
    char library[MAX_PATH] = "";
    GetModuleFileNameA(self, library, MAX_PATH);
    char server[128];
    snprintf(server, sizeof server, "%s\\InprocServer32", CLASS_KEY);
    const bool done = !setText(CLASS_KEY, nullptr, "ORVANEDAZELK (stand-in)") &&
                      !setText(server, nullptr, library) &&
                      !setText(server, "ThreadingModel", "Both");
    return done ? S_OK : E_FAIL;
}

extern "C" HRESULT WINAPI DllUnregisterServer() {
    return RegDeleteTreeA(HKEY_CLASSES_ROOT, CLASS_KEY) ? E_FAIL : S_OK;
}
