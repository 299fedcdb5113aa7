#include "services/log_file.h"

#include <windows.h>

#include <io.h>

#include <cstring>
#include <ctime>

#include "services/owners.h"
#include "services/system_library.h"
#include "services/text.h"

namespace {

constexpr int PERSONAL_DOCUMENTS = 5;  // CSIDL_PERSONAL

using GetFolderPath = HRESULT WINAPI(HWND, int, HANDLE, DWORD, LPSTR);

bool findDocumentsFolder(char (&folder)[261]) {
    const OwnedModule library(LoadLibraryA("shfolder.dll"));
    const auto getFolderPath = findFunction<GetFolderPath>(library.get(), "SHGetFolderPathA");
    return getFolderPath && getFolderPath(nullptr, PERSONAL_DOCUMENTS, nullptr, 0, folder) >= 0;
}

// "Sun Nov 15 02_26_24 2026": what asctime writes, less its line end, and with no character that a
// file name may not hold.
void formatTimeStamp(char* out, size_t size) {
    const __time64_t now = _time64(nullptr);
    const tm* local = _localtime64(&now);
    const char* text = local ? asctime(local) : nullptr;
    copyText(out, size, text ? text : "");
    out[strcspn(out, "\n")] = '\0';
    for (char* colon = out; (colon = strchr(colon, ':')) != nullptr;) *colon = '_';
}

}  // namespace

bool buildDefaultLogPath(const char* prefix, char* out, size_t outSize) {
    char folder[261] = "";
    if (!findDocumentsFolder(folder)) return false;
    char path[261] = "";
    const DWORD length = GetShortPathNameA(folder, path, sizeof path);
    if (length == 0 || length >= sizeof path) return false;

    // It is the long form that is looked at, at the short form's length. The two are compared this
    // way on purpose: established log folders depend on it. Where the forms differ in length a
    // backslash may be doubled, which Windows does not mind, or left out.
    const char* separator = folder[length - 1] == '\\' ? "" : "\\";

    char stamp[261];
    formatTimeStamp(stamp, sizeof stamp);
    char whole[600];
    formatText(whole, sizeof whole, "%s%sZELKLOG\\%s-%s.log", path, separator,
               prefix ? prefix : "ZELK", stamp);
    if (strlen(whole) >= outSize) return false;  // a cut path would be another file
    return copyText(out, outSize, whole) == TEXT_OK;
}

FILE* openLog(const char* path) {
    // An error left by an earlier call must not be reported as the reason.
    SetLastError(ERROR_SUCCESS);
    FILE* file = fopen(path, "w");
    if (!file) return nullptr;
    const auto handle = reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(file)));
    SetHandleInformation(handle, HANDLE_FLAG_INHERIT, 0);
    return file;
}
