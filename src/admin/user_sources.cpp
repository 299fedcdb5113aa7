#include "admin/user_sources.h"

#include <sddl.h>

#include <cstring>

#include "odbc/attribute_list.h"
#include "services/registry.h"
#include "services/registry_tree.h"
#include "services/text.h"
#include "services/wide_text.h"

namespace {

constexpr char USER_SOURCES_PATH[] = "Software\\ODBC\\ODBC.INI\\ODBC Data Sources";

// True for the accounts of a computer, a domain or a directory service; the others are those of
// Windows itself, which only elevated programs can read.
bool isPerson(const char* sid) {
    return strncmp(sid, "S-1-5-21-", 9) == 0 || strncmp(sid, "S-1-12-1-", 9) == 0;
}

void formatAccount(UserSources& user) {
    OwnedLocalMemory sid;
    char name[256] = "";
    char domain[256] = "";
    DWORD nameSize = sizeof name;
    DWORD domainSize = sizeof domain;
    SID_NAME_USE use = SidTypeUnknown;
    copyText(user.account, user.sid);
    if (!ConvertStringSidToSidA(user.sid, sid.put()) ||
        !LookupAccountSidA(nullptr, sid.get(), name, &nameSize, domain, &domainSize, &use)) {
        return;
    }
    formatText(user.account, sizeof user.account, "%s%s%s", domain, domain[0] != '\0' ? "\\" : "",
               name);
}

unsigned countSources(HKEY list) {
    char text[64];
    wchar_t prefix[64];
    formatText(text, sizeof text, "%s - ", DRIVER_NAME_PREFIX);
    toWide(text, prefix);
    unsigned count = 0;
    ValueWalk walk(list);
    while (walk.next() == ERROR_SUCCESS) count += walk.isTextBeginning(prefix) ? 1 : 0;
    return count;
}

}  // namespace

unsigned listUserSources(List<UserSources>& users) {
    unsigned notRead = 0;
    EnumerationEnd end;
    for (DWORD index = 0;; ++index) {
        UserSources user = {};
        const LSTATUS status = RegEnumKeyA(HKEY_USERS, index, user.sid, sizeof user.sid);
        if (end.reached(status)) return notRead;
        // The others are ".DEFAULT", a second name of the system's, and the classes of a user.
        if (status != ERROR_SUCCESS || strncmp(user.sid, "S-", 2) != 0 || strchr(user.sid, '_')) {
            continue;
        }
        OwnedKey profile;
        OwnedKey list;
        LSTATUS opened = RegOpenKeyExA(HKEY_USERS, user.sid, 0, KEY_READ, profile.put());
        if (opened == ERROR_SUCCESS) {
            opened = RegOpenKeyExA(profile.get(), USER_SOURCES_PATH, 0, KEY_READ, list.put());
        }
        if (opened == ERROR_ACCESS_DENIED && isPerson(user.sid)) ++notRead;
        if (opened == ERROR_SUCCESS) user.count = countSources(list.get());
        if (user.count == 0) continue;
        formatAccount(user);
        users.add(user);
    }
}
