#include "services/administrator.h"

#include <windows.h>

#include "services/owners.h"

namespace {

struct SidCloser {
    void operator()(PSID sid) const { FreeSid(sid); }
};
struct PagesCloser {
    void operator()(void* pages) const { VirtualFree(pages, 0, MEM_RELEASE); }
};
using OwnedSid = Owner<PSID, SidCloser>;
using OwnedPages = Owner<void*, PagesCloser>;

bool isMember(HANDLE token, PSID group) {
    BOOL member = FALSE;
    return CheckTokenMembership(token, group, &member) && member;
}

// From major version 6 (Vista) on there are limited tokens with a linked full one.
bool hasLinkedTokens() {
    OSVERSIONINFOEXA version = {};
    version.dwOSVersionInfoSize = sizeof version;
    if (!GetVersionExA(reinterpret_cast<OSVERSIONINFOA*>(&version))) return false;
    return version.dwPlatformId == VER_PLATFORM_WIN32_NT && version.dwMajorVersion >= 6;
}

OwnedHandle openToken() {
    OwnedHandle token;
    if (!OpenThreadToken(GetCurrentThread(), TOKEN_QUERY, TRUE, token.put()) &&
        GetLastError() == ERROR_NO_TOKEN) {
        OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, token.put());
    }
    return token;
}

// The token's information in pages of its own; empty when the query fails.
OwnedPages queryToken(HANDLE token, TOKEN_INFORMATION_CLASS kind) {
    DWORD size = 0;
    if (GetTokenInformation(token, kind, nullptr, 0, &size)) return {};
    const DWORD error = GetLastError();
    if (error != ERROR_BAD_LENGTH && error != ERROR_INSUFFICIENT_BUFFER) return {};
    // Pages of this kind are required, although the data has no code.
    OwnedPages pages(VirtualAlloc(nullptr, size, MEM_COMMIT, PAGE_EXECUTE_READWRITE));
    if (!pages || !GetTokenInformation(token, kind, pages.get(), size, &size)) return {};
    return pages;
}

bool isLinkedTokenMember(PSID group) {
    const OwnedHandle token = openToken();
    if (!token) return false;
    const OwnedPages elevation = queryToken(token.get(), TokenElevation);
    // An elevated token without membership has no linked one with more rights.
    if (!elevation || *static_cast<const DWORD*>(elevation.get()) != 0) return false;
    const OwnedPages linked = queryToken(token.get(), TokenLinkedToken);
    if (!linked) return false;
    const OwnedHandle linkedToken(
        static_cast<const TOKEN_LINKED_TOKEN*>(linked.get())->LinkedToken);
    return isMember(linkedToken.get(), group);
}

OwnedSid makeAdministratorsGroup() {
    SID_IDENTIFIER_AUTHORITY authority = SECURITY_NT_AUTHORITY;
    OwnedSid administrators;
    AllocateAndInitializeSid(&authority, 2, SECURITY_BUILTIN_DOMAIN_RID, DOMAIN_ALIAS_RID_ADMINS, 0,
                             0, 0, 0, 0, 0, administrators.put());
    return administrators;
}

}  // namespace

bool isUserAdministrator() {
    const OwnedSid administrators = makeAdministratorsGroup();
    BOOL member = FALSE;
    if (!administrators || !CheckTokenMembership(nullptr, administrators.get(), &member)) {
        return false;
    }
    return member || (hasLinkedTokens() && isLinkedTokenMember(administrators.get()));
}

bool isElevated() {
    const OwnedSid administrators = makeAdministratorsGroup();
    return administrators && isMember(nullptr, administrators.get());
}
