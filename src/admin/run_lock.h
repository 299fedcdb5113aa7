// Lets one command change the machine at a time.
#pragma once

#include "services/files/protected_folder.h"

// The lock is a byte of a file in a folder that only administrators can open: a mutex could be made
// first by anybody. Windows frees it when the process ends, however that happens.
class RunLock {
  public:
    // Takes the lock and notes who has it. Returns 0, ERROR_INSTALL_ALREADY_RUNNING when another
    // run has it, or the Windows code of another failure.
    DWORD take(const ProtectedFolder& folder, const char* command, const char* name);

    // Who has it, when that is known: "register MYCOPY, process 4312, since 2026-11-22T01:22:05Z".
    const char* owner() const { return owner_; }

  private:
    OwnedHandle file_;
    char owner_[192] = "";
};
