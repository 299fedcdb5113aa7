// Stands for a tool of the package that misbehaves in the way that ZELK_UNRULY names.
#include <windows.h>

#include <cstring>
#include <string>

namespace {

void flood() {
    constexpr DWORD BLOCK = 1 << 16;
    constexpr DWORD BYTES = 50'000'000;  // for each of the streams
    static char block[BLOCK];
    memset(block, 'x', sizeof block);
    for (DWORD sent = 0; sent < BYTES; sent += BLOCK) {
        DWORD written = 0;
        WriteFile(GetStdHandle(STD_OUTPUT_HANDLE), block, BLOCK, &written, nullptr);
        WriteFile(GetStdHandle(STD_ERROR_HANDLE), block, BLOCK, &written, nullptr);
    }
}

// Leaves a process behind that inherits the streams and goes on for a while.
void leaveAnother() {
    SetEnvironmentVariableA("ZELK_UNRULY", "lingers");
    std::string command = GetCommandLineA();
    STARTUPINFOA startup = {};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process = {};
    CreateProcessA(nullptr, command.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup,
                   &process);
}

}  // namespace

int main() {
    char way[16] = "";
    GetEnvironmentVariableA("ZELK_UNRULY", way, sizeof way);
    const std::string what = way;
    if (what == "fails") return 3;
    if (what == "crashes") RaiseException(EXCEPTION_ILLEGAL_INSTRUCTION, 0, 0, nullptr);
    if (what == "floods") flood();
    if (what == "leaves") leaveAnother();
    if (what == "lingers") Sleep(10000);
    if (what == "closes") {
        CloseHandle(GetStdHandle(STD_OUTPUT_HANDLE));
        CloseHandle(GetStdHandle(STD_ERROR_HANDLE));
        Sleep(500);
    }
    return 0;
}
