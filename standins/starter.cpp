// Starts a command in an unusual way, waits for it and gives its exit code.
//   starter closed COMMAND...          without standard handles
//   starter invalid COMMAND...         with standard handles that are none
//   starter detached COMMAND...        without a console
//   starter console COMMAND...         with a console of its own
//   starter with NAME=VALUE COMMAND... with a variable that Wine takes from its registry otherwise
#include <windows.h>

#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

HANDLE invalidHandle() {
    return reinterpret_cast<HANDLE>(uintptr_t{0x76543210});
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 3) return 255;
    const std::string way = argv[1];
    if (way == "with") _putenv(argv[2]);

    std::string command;
    for (int i = way == "with" ? 3 : 2; i < argc; ++i)
        command += std::string("\"") + argv[i] + "\" ";
    STARTUPINFOA startup = {};
    startup.cb = sizeof startup;
    if (way == "closed" || way == "invalid") {
        startup.dwFlags = STARTF_USESTDHANDLES;
        if (way == "invalid") {
            startup.hStdInput = startup.hStdOutput = startup.hStdError = invalidHandle();
        }
    }
    DWORD flags = 0;
    if (way == "detached") flags = DETACHED_PROCESS;
    if (way == "console") flags = CREATE_NEW_CONSOLE;
    PROCESS_INFORMATION process = {};
    if (!CreateProcessA(nullptr, command.data(), nullptr, nullptr, TRUE, flags, nullptr, nullptr,
                        &startup, &process)) {
        fprintf(stderr, "starter: error %lu\n", GetLastError());
        return 255;
    }
    WaitForSingleObject(process.hProcess, INFINITE);
    DWORD code = 255;
    GetExitCodeProcess(process.hProcess, &code);
    return static_cast<int>(code);
}
