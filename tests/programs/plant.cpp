// Somebody else's library or program where the program under test must not look: its own path and
// ".mark" is a file once it was loaded or run.
#include <windows.h>

#include <cstdio>
#include <string>

namespace {

void leaveMark(HMODULE module) {
    char path[MAX_PATH] = "";
    GetModuleFileNameA(module, path, MAX_PATH);
    if (FILE* mark = fopen((path + std::string(".mark")).c_str(), "a")) fclose(mark);
}

}  // namespace

BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID) {
    if (reason == DLL_PROCESS_ATTACH) leaveMark(module);
    return TRUE;
}

int main() {
    leaveMark(nullptr);
}
