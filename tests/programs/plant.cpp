// Somebody else's library or program that lies where the program under test must not look: it says
// in a file that it was loaded or run.
#include <windows.h>

#include <cstdio>

namespace {

void leaveMark() {
    if (FILE* mark = fopen("C:\\zelk\\plant.mark", "a")) {
        fprintf(mark, "%s\n", GetCommandLineA());
        fclose(mark);
    }
}

}  // namespace

BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID) {
    if (reason == DLL_PROCESS_ATTACH) leaveMark();
    return TRUE;
}

int main() {
    leaveMark();
}
