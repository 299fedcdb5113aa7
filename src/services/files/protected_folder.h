// Folders that only administrators and the system can use.
#pragma once

#include <windows.h>

#include "services/owners.h"
#include "services/path.h"

// Why a folder is not used.
enum class FolderFault {
    NONE,
    NOT_MADE,    // the system refused; error() has its code
    NOT_FOLDER,  // a link, or a file
    OWNER,       // it belongs to somebody else, who can change its rights at any time
    RIGHTS,      // its list lets somebody else in, or it has none
};

// Judges what GetKernelObjectSecurity returned: the owner, and every entry of the list that allows
// something, must be the Administrators, the system or the owner of the Windows folder. other gets
// the first SID that is none of them, and points into security; null when there is no list.
FolderFault judgeSecurity(PSECURITY_DESCRIPTOR security, PSID windowsOwner, PSID* other);

class ProtectedFolder {
  public:
    // Makes the folder below the Windows folder, "Logs\\Name" for example. It gets its owner and
    // its rights in the call that makes it. One that is there is used only if it is no link and its
    // owner and its rights are right. The folders above it must exist. The folder cannot be renamed
    // or deleted while this object lives.
    FolderFault open(const wchar_t* belowWindows);

    // The same for a path below another protected folder, and for a folder that must be new.
    FolderFault openBelow(const ProtectedFolder& parent, const wchar_t* name);
    FolderFault makeNewBelow(const ProtectedFolder& parent, const wchar_t* name);

    // Opens or creates a file of the folder, without following a link; disposition is one of
    // CreateFile. Empty when it cannot be done; GetLastError has the reason.
    OwnedHandle openFile(const wchar_t* name, DWORD access, DWORD share, DWORD disposition) const;

    // Closes the folder and deletes it with all in it, as far as that can be done.
    void remove();

    // The path without a backslash at its end, also of a folder that could not be opened, and the
    // same in the ANSI code page.
    const wchar_t* path() const { return path_; }
    const char* text() const { return text_; }
    DWORD error() const { return error_; }
    const char* other() const { return other_; }  // the SID of OWNER and RIGHTS, "S-1-1-0"

  private:
    FolderFault make(bool mustBeNew);
    FolderFault inspect();

    wchar_t path_[PATH_BYTES] = L"";
    char text_[PATH_BYTES] = "";
    char other_[192] = "";
    DWORD error_ = 0;
    OwnedHandle folder_;
};

// Deletes the folders of parent whose name begins with prefix, with the files in them: what runs
// that were ended have left.
void removeFoldersBelow(const ProtectedFolder& parent, const wchar_t* prefix);
