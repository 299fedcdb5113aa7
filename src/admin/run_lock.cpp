#include "admin/run_lock.h"

#include <cstring>

#include "admin/timestamp.h"
#include "services/text.h"

DWORD RunLock::take(const ProtectedFolder& folder, const char* command, const char* name) {
    file_ = folder.openFile(L"lock", GENERIC_READ | GENERIC_WRITE,
                            FILE_SHARE_READ | FILE_SHARE_WRITE, OPEN_ALWAYS);
    if (!file_) return GetLastError();
    OVERLAPPED place = {};
    place.Offset = 0x7FFFFFFF;  // far behind the text, which the others read
    DWORD size = 0;
    if (!LockFileEx(file_.get(), LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY, 0, 1, 0,
                    &place)) {
        const DWORD error = GetLastError();
        if (error != ERROR_LOCK_VIOLATION && error != ERROR_IO_PENDING) return error;
        if (!ReadFile(file_.get(), owner_, sizeof owner_ - 1, &size, nullptr)) size = 0;
        owner_[size] = '\0';
        return ERROR_INSTALL_ALREADY_RUNNING;
    }
    const Timestamp now;
    formatText(owner_, sizeof owner_, "%s%s%s, process %lu, since %s", command,
               *name != '\0' ? " " : "", name, GetCurrentProcessId(), now.seconds);
    WriteFile(file_.get(), owner_, static_cast<DWORD>(strlen(owner_)), &size, nullptr);
    SetEndOfFile(file_.get());
    return ERROR_SUCCESS;
}
