// Starts a command in an unusual way, waits for it and gives its exit code.
//   starter closed COMMAND...          without standard handles
//   starter interrupted N COMMAND...   with breaker.dll, which ends it after N registry changes
#include <windows.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "services/system_library.h"

namespace {

// Has the process, which is still suspended, load breaker.dll from the folder of this program.
bool loadBreaker(HANDLE process) {
    char path[MAX_PATH] = "";
    GetModuleFileNameA(nullptr, path, MAX_PATH);
    char* name = strrchr(path, '\\');
    if (!name || strlen(path) + 16 > sizeof path) return false;
    memcpy(name + 1, "breaker.dll", sizeof "breaker.dll");
    void* remote = VirtualAllocEx(process, nullptr, sizeof path, MEM_COMMIT, PAGE_READWRITE);
    if (!remote || !WriteProcessMemory(process, remote, path, sizeof path, nullptr)) return false;
    const auto load =
        findFunction<DWORD WINAPI(void*)>(GetModuleHandleA("kernel32.dll"), "LoadLibraryA");
    HANDLE thread = CreateRemoteThread(process, nullptr, 0, load, remote, 0, nullptr);
    DWORD loaded = 0;
    return thread && WaitForSingleObject(thread, INFINITE) == WAIT_OBJECT_0 &&
           GetExitCodeThread(thread, &loaded) && loaded != 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 3) return 255;
    const bool interrupted = strcmp(argv[1], "interrupted") == 0;
    if (interrupted) SetEnvironmentVariableA("ZELK_BREAK_AFTER", argv[2]);

    std::string command;
    for (int i = interrupted ? 3 : 2; i < argc; ++i) command += std::string("\"") + argv[i] + "\" ";
    STARTUPINFOA startup = {};
    startup.cb = sizeof startup;
    if (!interrupted) startup.dwFlags = STARTF_USESTDHANDLES;
    const DWORD flags = interrupted ? CREATE_SUSPENDED : 0;
    PROCESS_INFORMATION process = {};
    if (!CreateProcessA(nullptr, command.data(), nullptr, nullptr, TRUE, flags, nullptr, nullptr,
                        &startup, &process)) {
        fprintf(stderr, "starter: error %lu\n", GetLastError());
        return 255;
    }
    if (interrupted && !loadBreaker(process.hProcess)) {
        TerminateProcess(process.hProcess, 254);
        fprintf(stderr, "starter: breaker.dll could not be loaded\n");
    }
    ResumeThread(process.hThread);
    WaitForSingleObject(process.hProcess, INFINITE);
    DWORD code = 255;
    GetExitCodeProcess(process.hProcess, &code);
    return static_cast<int>(code);
}
