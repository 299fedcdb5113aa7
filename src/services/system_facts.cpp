#include "services/system_facts.h"

#include <windows.h>

#include "services/owners.h"
#include "services/path.h"
#include "services/system_library.h"
#include "services/text.h"

namespace {

// Appends what follows a comma.
void appendFact(char* out, size_t size, const char* before, const char* fact) {
    appendText(out, size, before);
    appendText(out, size, *fact != '\0' ? fact : "?");
}

void appendNumber(char* out, size_t size, const char* before, DWORD number) {
    appendFact(out, size, before, Decimal(number).text);
}

void appendAccount(char* out, size_t size) {
    OwnedHandle token;
    OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, token.put());
    union {
        TOKEN_USER user;
        BYTE bytes[sizeof(TOKEN_USER) + SECURITY_MAX_SID_SIZE];
    } data = {};
    char name[256] = "";
    char domain[256] = "";
    DWORD count = sizeof data;
    if (GetTokenInformation(token.get(), TokenUser, &data, count, &count)) {
        DWORD nameSize = sizeof name;
        DWORD domainSize = sizeof domain;
        SID_NAME_USE use = SidTypeUnknown;
        LookupAccountSidA(nullptr, data.user.User.Sid, name, &nameSize, domain, &domainSize, &use);
    }
    appendFact(out, size, ", ", domain);
    appendFact(out, size, "\\", name);
}

// The process that started this one. Its number can belong to a later process by now.
void appendParent(char* out, size_t size) {
    constexpr size_t PARENT = 5;
    ULONG_PTR information[PARENT + 1] = {};  // PROCESS_BASIC_INFORMATION, whose last field it is
    using Query = LONG NTAPI(HANDLE, int, void*, ULONG, ULONG*);
    const auto query = findNativeFunction<Query>("NtQueryInformationProcess");
    if (!query || query(GetCurrentProcess(), 0, information, sizeof information, nullptr) != 0 ||
        information[PARENT] == 0) {
        return;
    }
    const auto id = static_cast<DWORD>(information[PARENT]);
    const OwnedHandle parent(OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, id));
    FILETIME born = {};
    FILETIME parentBorn = {};
    FILETIME unused = {};
    char path[PATH_BYTES] = "";
    DWORD length = sizeof path;
    GetProcessTimes(GetCurrentProcess(), &born, &unused, &unused, &unused);
    if (!GetProcessTimes(parent.get(), &parentBorn, &unused, &unused, &unused) ||
        CompareFileTime(&parentBorn, &born) > 0 ||
        !QueryFullProcessImageNameA(parent.get(), 0, path, &length)) {
        appendNumber(out, size, ", parent ", id);
        return;
    }
    const char* name = findLastBackslash(path);
    appendFact(out, size, ", parent ", name ? name + 1 : path);
    appendNumber(out, size, " ", id);
}

// The update revision is in the registry alone.
DWORD readRevision() {
    DWORD revision = 0;
    DWORD size = sizeof revision;
    RegGetValueA(HKEY_LOCAL_MACHINE, "SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion", "UBR",
                 RRF_RT_REG_DWORD, nullptr, &revision, &size);
    return revision;
}

const char* processorName() {
    SYSTEM_INFO system = {};
    GetNativeSystemInfo(&system);
    switch (system.wProcessorArchitecture) {
        case PROCESSOR_ARCHITECTURE_AMD64:
            return "x64";
        case PROCESSOR_ARCHITECTURE_INTEL:
            return "x86";
        case PROCESSOR_ARCHITECTURE_ARM64:
            return "ARM64";
        default:
            return "?";
    }
}

}  // namespace

void describeAccount(char* out, size_t size) {
    char computer[MAX_COMPUTERNAME_LENGTH + 1] = "";
    DWORD length = sizeof computer;
    GetComputerNameA(computer, &length);
    copyText(out, size, computer);
    appendAccount(out, size);
    DWORD session = 0;
    ProcessIdToSessionId(GetCurrentProcessId(), &session);
    appendNumber(out, size, ", session ", session);
    appendParent(out, size);
}

void describeSystem(char* out, size_t size) {
    // GetVersionEx returns the version that a program's manifest says it was tested with.
    using GetVersion = LONG NTAPI(OSVERSIONINFOW*);
    OSVERSIONINFOW version = {};
    version.dwOSVersionInfoSize = sizeof version;
    const auto getVersion = findNativeFunction<GetVersion>("RtlGetVersion");
    if (getVersion) getVersion(&version);
    wchar_t wide[LOCALE_NAME_MAX_LENGTH] = L"";
    char language[LOCALE_NAME_MAX_LENGTH] = "";
    LCIDToLocaleName(GetUserDefaultUILanguage(), wide, LOCALE_NAME_MAX_LENGTH, 0);
    for (int i = 0; wide[i] != L'\0'; ++i) language[i] = static_cast<char>(wide[i]);  // ASCII
    formatText(out, size, "Windows %lu.%lu.%lu.%lu %s, ACP %u, OEMCP %u, UI %s",
               version.dwMajorVersion, version.dwMinorVersion, version.dwBuildNumber,
               readRevision(), processorName(), GetACP(), GetOEMCP(), language);
}
