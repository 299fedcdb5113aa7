#include "services/programs/file_users.h"

#include <restartmanager.h>

#include "services/owners.h"
#include "services/path.h"
#include "services/system_library.h"
#include "services/text.h"
#include "services/wide_text.h"

namespace {

using StartSession = decltype(RmStartSession);
using Register = decltype(RmRegisterResources);
using GetUsers = decltype(RmGetList);
using EndSession = decltype(RmEndSession);

struct Functions {
    explicit Functions(HMODULE library)
        : start(findFunction<StartSession>(library, "RmStartSession")),
          add(findFunction<Register>(library, "RmRegisterResources")),
          getUsers(findFunction<GetUsers>(library, "RmGetList")),
          end(findFunction<EndSession>(library, "RmEndSession")) {}
    bool areThere() const { return start && add && getUsers && end; }

    StartSession* start;
    Register* add;
    GetUsers* getUsers;
    EndSession* end;
};

// The name of the program's file; nothing when the number belongs to a later process by now.
void readProgram(FileUser& user) {
    const OwnedHandle process(OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, user.process));
    FILETIME since = {};
    FILETIME unused = {};
    wchar_t path[1024] = L"";
    char text[1024];
    DWORD length = sizeof path / sizeof *path;
    if (!process || !GetProcessTimes(process.get(), &since, &unused, &unused, &unused) ||
        CompareFileTime(&since, &user.since) != 0 ||
        !QueryFullProcessImageNameW(process.get(), 0, path, &length) || !toAnsi(path, text)) {
        return;
    }
    const char* last = findLastBackslash(text);
    copyText(user.program, last ? last + 1 : text);
}

void addUser(const RM_PROCESS_INFO& information, List<FileUser>& users) {
    FileUser user = {};
    user.process = information.Process.dwProcessId;
    user.session = information.TSSessionId;
    user.since = information.Process.ProcessStartTime;
    toAnsi(information.strAppName, user.application);
    if (information.ApplicationType == RmService) {
        toAnsi(information.strServiceShortName, user.service);
    }
    readProgram(user);
    users.add(user);
}

// Processes can start between two calls, so that the room of the first one is too small.
DWORD readUsers(const Functions& functions, DWORD session, List<FileUser>& users) {
    constexpr int MOST_TRIES = 10;
    OwnedBuffer room;
    UINT capacity = 0;
    for (int i = 0; i < MOST_TRIES; ++i) {
        UINT needed = 0;
        UINT count = capacity;
        DWORD reasons = 0;
        auto* found = reinterpret_cast<RM_PROCESS_INFO*>(room.get());
        const DWORD error = functions.getUsers(session, &needed, &count, found, &reasons);
        if (error == ERROR_SUCCESS) {
            for (UINT k = 0; k < count; ++k) addUser(found[k], users);
            return ERROR_SUCCESS;
        }
        if (error != ERROR_MORE_DATA) return error;
        capacity = needed + 16;
        const size_t bytes = capacity * sizeof *found;
        room.reset(static_cast<char*>(malloc(bytes)));
        if (!room) return ERROR_NOT_ENOUGH_MEMORY;
    }
    return ERROR_MORE_DATA;
}

}  // namespace

DWORD listFileUsers(const wchar_t* const* files, UINT count, List<FileUser>& users) {
    const OwnedModule library(loadSystemLibrary("rstrtmgr.dll"));
    const Functions functions(library.get());
    if (!functions.areThere()) return ERROR_MOD_NOT_FOUND;
    DWORD session = 0;
    wchar_t key[CCH_RM_SESSION_KEY + 1] = L"";
    DWORD error = functions.start(&session, 0, key);
    if (error != ERROR_SUCCESS) return error;
    // The function does not change the names, but does not say so.
    error = functions.add(session, count, const_cast<LPCWSTR*>(files), 0, nullptr, 0, nullptr);
    if (error == ERROR_SUCCESS) error = readUsers(functions, session, users);
    functions.end(session);
    return error;
}
