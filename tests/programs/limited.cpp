// Runs a command with fewer rights than the caller's and gives its exit code.
//   limited restricted COMMAND...   the Administrators group is disabled
//   limited filtered COMMAND...     the same, but an administrator's full token is linked
#include <windows.h>

#include <cstdio>
#include <cstring>
#include <string>

namespace {

HANDLE withoutAdministrators(HANDLE token) {
    BYTE sid[SECURITY_MAX_SID_SIZE];
    DWORD size = sizeof sid;
    CreateWellKnownSid(WinBuiltinAdministratorsSid, nullptr, sid, &size);
    SID_AND_ATTRIBUTES disabled = {sid, 0};
    HANDLE restricted = nullptr;
    CreateRestrictedToken(token, 0, 1, &disabled, 0, nullptr, 0, nullptr, &restricted);
    return restricted;
}

// A token that is not elevated and has a linked one; that it is itself restricted makes it the
// limited half of an administrator's pair.
HANDLE limitedHalf(HANDLE token) {
    TOKEN_LINKED_TOKEN linked = {};
    DWORD size = 0;
    GetTokenInformation(token, TokenLinkedToken, &linked, sizeof linked, &size);
    HANDLE primary = nullptr;
    DuplicateTokenEx(linked.LinkedToken, MAXIMUM_ALLOWED, nullptr, SecurityImpersonation,
                     TokenPrimary, &primary);
    return primary;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 3) return 255;
    HANDLE token = nullptr;
    OpenProcessToken(GetCurrentProcess(), TOKEN_ALL_ACCESS, &token);
    if (strcmp(argv[1], "filtered") == 0) token = limitedHalf(token);
    token = withoutAdministrators(token);

    std::string command;
    for (int i = 2; i < argc; ++i) command += std::string(i > 2 ? " \"" : "\"") + argv[i] + '"';
    STARTUPINFOA startup = {};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process = {};
    if (!token || !CreateProcessAsUserA(token, nullptr, command.data(), nullptr, nullptr, TRUE, 0,
                                        nullptr, nullptr, &startup, &process)) {
        fprintf(stderr, "limited: error %lu\n", GetLastError());
        return 255;
    }
    WaitForSingleObject(process.hProcess, INFINITE);
    DWORD code = 255;
    GetExitCodeProcess(process.hProcess, &code);
    return static_cast<int>(code);
}
