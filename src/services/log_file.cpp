#include "services/log_file.h"

#include <windows.h>

#include <io.h>

#include <cstring>
#include <ctime>

#include "services/owners.h"
#include "services/path.h"
#include "services/system_library.h"
#include "services/text.h"

namespace {

constexpr int PERSONAL_DOCUMENTS = 5;  // CSIDL_PERSONAL

using GetFolderPath = HRESULT WINAPI(HWND, int, HANDLE, DWORD, LPSTR);

bool findDocumentsFolder(char (&folder)[PATH_BYTES]) {
    const OwnedModule library(LoadLibraryA("shfolder.dll"));
    const auto getFolderPath = findFunction<GetFolderPath>(library.get(), "SHGetFolderPathA");
    return getFolderPath && getFolderPath(nullptr, PERSONAL_DOCUMENTS, nullptr, 0, folder) >= 0;
}

}  // namespace

void formatLogTime(const tm& time, char* out, size_t size) {
    constexpr size_t DAY = 8;
    // cppcheck-suppress asctimeCalled ; its form is the form of the logs' names
    const char* text = asctime(&time);
    copyText(out, size, text ? text : "");
    out[strcspn(out, "\n")] = '\0';
    // A file name may not hold colons.
    for (char* colon = out; (colon = strchr(colon, ':')) != nullptr;) *colon = '_';
    // The C standard has a blank here; Microsoft's older runtimes write a zero.
    if (strlen(out) > DAY && out[DAY] == '0') out[DAY] = ' ';
}

bool buildDefaultLogPath(const char* prefix, char* out, size_t outSize) {
    char folder[PATH_BYTES] = "";
    if (!findDocumentsFolder(folder)) return false;
    char path[PATH_BYTES] = "";
    const DWORD length = GetShortPathNameA(folder, path, sizeof path);
    if (length == 0 || length >= sizeof path) return false;

    // It is the long form that is looked at, at the short form's length. The two are compared this
    // way on purpose: established log folders depend on it. Where the forms differ in length a
    // backslash may be doubled, which Windows does not mind, or left out.
    const char* separator = isBackslashAt(folder, length - 1) ? "" : "\\";

    char stamp[PATH_BYTES] = "";
    const __time64_t now = _time64(nullptr);
    if (const tm* local = _localtime64(&now)) formatLogTime(*local, stamp, sizeof stamp);
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
