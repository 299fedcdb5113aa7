#include "services/files/protected_folder.h"

#include <aclapi.h>
#include <sddl.h>

#include <cstring>
#include <cwchar>

#include "services/system_library.h"
#include "services/text.h"
#include "services/wide_text.h"

namespace {

// Owner and group are the Administrators. The list is protected from what the folder above hands
// down, and gives all rights to the system and the Administrators, also for what is made in it.
constexpr wchar_t SECURITY[] = L"O:BAG:BAD:PAI(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)";

constexpr DWORD HELD = GENERIC_READ;  // an open without FILE_READ_DATA would not hold the folder
constexpr DWORD OPEN_FLAGS = FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT;

OwnedHandle openFolder(const wchar_t* path) {
    return ownFile(CreateFileW(path, HELD, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                               OPEN_EXISTING, OPEN_FLAGS, nullptr));
}

// The owner and the list of an open folder; empty when they cannot be read.
OwnedBuffer readSecurity(HANDLE folder) {
    constexpr SECURITY_INFORMATION WANTED = OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION;
    DWORD size = 0;
    GetKernelObjectSecurity(folder, WANTED, nullptr, 0, &size);
    OwnedBuffer security(static_cast<char*>(malloc(size + 1)));
    if (security && !GetKernelObjectSecurity(folder, WANTED, security.get(), size, &size)) {
        security.reset();
    }
    return security;
}

PSID findOwner(PSECURITY_DESCRIPTOR security) {
    PSID owner = nullptr;
    BOOL defaulted = FALSE;
    return GetSecurityDescriptorOwner(security, &owner, &defaulted) ? owner : nullptr;
}

bool isTrusted(PSID sid, PSID windowsOwner) {
    return sid && (IsWellKnownSid(sid, WinBuiltinAdministratorsSid) ||
                   IsWellKnownSid(sid, WinLocalSystemSid) ||
                   (windowsOwner && EqualSid(sid, windowsOwner)));
}

// The SID of an entry that allows something; null for one that denies, which takes no SID in.
// Entries of other kinds have their SID elsewhere: they return an empty SID, which nobody is.
PSID findAllowed(ACL* list, DWORD index) {
    static SID nobody = {SID_REVISION, 0, SECURITY_NULL_SID_AUTHORITY, {}};
    void* entry = nullptr;
    if (!GetAce(list, index, &entry)) return &nobody;
    const auto* header = static_cast<const ACE_HEADER*>(entry);
    if (header->AceType == ACCESS_DENIED_ACE_TYPE) return nullptr;
    if (header->AceType != ACCESS_ALLOWED_ACE_TYPE) return &nobody;
    return &static_cast<ACCESS_ALLOWED_ACE*>(entry)->SidStart;
}

void deleteTree(const wchar_t* folder) {
    wchar_t pattern[PATH_BYTES];
    WIN32_FIND_DATAW found = {};
    if (!joinPath(folder, L"*", pattern)) return;
    {
        const OwnedSearch search = ownSearch(FindFirstFileW(pattern, &found));
        for (bool more = static_cast<bool>(search); more;
             more = FindNextFileW(search.get(), &found)) {
            wchar_t path[PATH_BYTES];
            if (wcscmp(found.cFileName, L".") == 0 || wcscmp(found.cFileName, L"..") == 0 ||
                !joinPath(folder, found.cFileName, path)) {
                continue;
            }
            // What is behind a link is not touched.
            const bool isLink = (found.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
            if ((found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
                DeleteFileW(path);
            } else if (isLink) {
                RemoveDirectoryW(path);
            } else {
                deleteTree(path);
            }
        }
    }
    RemoveDirectoryW(folder);
}

}  // namespace

FolderFault judgeSecurity(PSECURITY_DESCRIPTOR security, PSID windowsOwner, PSID* other) {
    *other = findOwner(security);
    if (!isTrusted(*other, windowsOwner)) return FolderFault::OWNER;
    *other = nullptr;
    BOOL present = FALSE;
    BOOL defaulted = FALSE;
    ACL* list = nullptr;
    if (!GetSecurityDescriptorDacl(security, &present, &list, &defaulted) || !present || !list) {
        return FolderFault::RIGHTS;  // without a list everybody may do everything
    }
    for (DWORD i = 0; i < list->AceCount; ++i) {
        *other = findAllowed(list, i);
        if (*other && !isTrusted(*other, windowsOwner)) return FolderFault::RIGHTS;
    }
    *other = nullptr;
    return FolderFault::NONE;
}

FolderFault ProtectedFolder::inspect() {
    BY_HANDLE_FILE_INFORMATION information = {};
    if (!GetFileInformationByHandle(folder_.get(), &information) ||
        (information.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0 ||
        (information.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0) {
        return FolderFault::NOT_FOLDER;
    }
    const WindowsFolder windows;
    if (windows.path[0] == L'\0') return FolderFault::NOT_MADE;
    const OwnedHandle windowsFolder = openFolder(windows.path);
    const OwnedBuffer windowsSecurity = readSecurity(windowsFolder.get());
    const OwnedBuffer security = readSecurity(folder_.get());
    if (!security) {
        error_ = GetLastError();
        return FolderFault::NOT_MADE;
    }
    PSID sid = nullptr;
    const FolderFault fault = judgeSecurity(
        security.get(), windowsSecurity ? findOwner(windowsSecurity.get()) : nullptr, &sid);
    OwnedLocalMemory sidText;
    if (sid && ConvertSidToStringSidA(sid, reinterpret_cast<char**>(sidText.put()))) {
        copyText(other_, static_cast<const char*>(sidText.get()));
    }
    return fault;
}

FolderFault ProtectedFolder::make(bool mustBeNew) {
    toAnsi(path_, text_);
    OwnedLocalMemory security;
    SECURITY_ATTRIBUTES attributes = {sizeof attributes, nullptr, FALSE};
    bool made = false;
    if (ConvertStringSecurityDescriptorToSecurityDescriptorW(SECURITY, SDDL_REVISION_1,
                                                             security.put(), nullptr)) {
        attributes.lpSecurityDescriptor = security.get();
        made = CreateDirectoryW(path_, &attributes) != FALSE;
    }
    error_ = made ? ERROR_SUCCESS : GetLastError();
    if (!made && (error_ != ERROR_ALREADY_EXISTS || mustBeNew)) return FolderFault::NOT_MADE;
    folder_ = openFolder(path_);
    if (!folder_) {
        error_ = GetLastError();
        return FolderFault::NOT_MADE;
    }
    const FolderFault fault = inspect();
    if (fault != FolderFault::NONE) folder_.reset();
    return fault;
}

FolderFault ProtectedFolder::open(const wchar_t* belowWindows) {
    const WindowsFolder windows;
    if (windows.path[0] == L'\0' || !joinPath(windows.path, belowWindows, path_)) {
        error_ = ERROR_PATH_NOT_FOUND;
        return FolderFault::NOT_MADE;
    }
    return make(false);
}

FolderFault ProtectedFolder::openBelow(const ProtectedFolder& parent, const wchar_t* name) {
    return joinPath(parent.path_, name, path_) ? make(false) : FolderFault::NOT_MADE;
}

FolderFault ProtectedFolder::makeNewBelow(const ProtectedFolder& parent, const wchar_t* name) {
    return joinPath(parent.path_, name, path_) ? make(true) : FolderFault::NOT_MADE;
}

OwnedHandle ProtectedFolder::openFile(const wchar_t* name, DWORD access, DWORD share,
                                      DWORD disposition) const {
    wchar_t file[PATH_BYTES];
    if (!joinPath(path_, name, file)) {
        SetLastError(ERROR_FILENAME_EXCED_RANGE);
        return {};
    }
    return ownFile(CreateFileW(file, access, share, nullptr, disposition,
                               FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
}

void ProtectedFolder::remove() {
    if (!folder_) return;
    folder_.reset();
    deleteTree(path_);
}

void removeFoldersBelow(const ProtectedFolder& parent, const wchar_t* prefix) {
    wchar_t pattern[PATH_BYTES];
    wchar_t name[PATH_BYTES];
    WIN32_FIND_DATAW found = {};
    if (wcslen(prefix) + 2 > PATH_BYTES) return;
    wcscat(wcscpy(name, prefix), L"*");
    if (!joinPath(parent.path(), name, pattern)) return;
    const OwnedSearch search = ownSearch(FindFirstFileW(pattern, &found));
    for (bool more = static_cast<bool>(search); more; more = FindNextFileW(search.get(), &found)) {
        constexpr DWORD KIND = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT;
        wchar_t path[PATH_BYTES];
        if ((found.dwFileAttributes & KIND) == FILE_ATTRIBUTE_DIRECTORY &&
            joinPath(parent.path(), found.cFileName, path)) {
            deleteTree(path);
        }
    }
}
