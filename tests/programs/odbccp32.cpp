// Stands for the Windows ODBC installer in a copy's bin folder, where it is found before the
// system's. It notes every call with all that it is given, tab-separated, and keeps drivers in the
// registry as the real one does, with a usage count; but installing a driver again makes its key
// anew, as an installer may. ZELK_ODBC in the environment orders it to fail, by these words:
//   install-fails     nothing is installed
//   remove-fails=N    the first N removals after the library is loaded do nothing
//   record=N          the only error record there is; without it there is none
#include <cstdlib>
#include <string>

#include "tests/programs/record.h"

namespace {

HINSTANCE self;

// The number behind the word; 1 when there is none, and 0 without the word.
int ordered(const char* word) {
    const char* orders = getenv("ZELK_ODBC");
    const char* found = orders ? strstr(orders, word) : nullptr;
    if (!found) return 0;
    found += strlen(word);
    return *found == '=' ? atoi(found + 1) : 1;
}

// With "|" for each zero of the list.
std::string textOfList(const char* list) {
    std::string text;
    for (; *list; list += strlen(list) + 1) text += std::string(list) + '|';
    return text + '|';
}

std::string keyOf(const char* driver) {
    return std::string("SOFTWARE\\ODBC\\ODBCINST.INI\\") + driver;
}

DWORD usageCount(const std::string& key) {
    DWORD count = 0;
    DWORD size = sizeof count;
    RegGetValueA(HKEY_LOCAL_MACHINE, key.c_str(), "UsageCount", RRF_RT_REG_DWORD, nullptr, &count,
                 &size);
    return count;
}

void setUsageCount(const std::string& key, DWORD count) {
    RegSetKeyValueA(HKEY_LOCAL_MACHINE, key.c_str(), "UsageCount", REG_DWORD, &count, sizeof count);
}

}  // namespace

BOOL WINAPI DllMain(HINSTANCE instance, DWORD, LPVOID) {
    self = instance;
    return TRUE;
}

extern "C" {

BOOL WINAPI SQLInstallDriverEx(LPCSTR driver, LPCSTR pathIn, LPSTR pathOut, WORD pathOutSize, WORD*,
                               WORD request, DWORD* count) {
    record(self, "install\t%s\t%s\t%u\t%u", textOfList(driver).c_str(), pathIn, pathOutSize,
           request);
    if (ordered("install-fails")) return FALSE;
    const std::string key = keyOf(driver);
    *count = usageCount(key) + 1;
    RegDeleteTreeA(HKEY_LOCAL_MACHINE, key.c_str());
    setUsageCount(key, *count);
    for (const char* pair = driver + strlen(driver) + 1; *pair; pair += strlen(pair) + 1) {
        const std::string name(pair, strcspn(pair, "="));
        const std::string value = std::string(pathIn) + '\\' + (pair + name.size() + 1);
        RegSetKeyValueA(HKEY_LOCAL_MACHINE, key.c_str(), name.c_str(), REG_SZ, value.c_str(),
                        static_cast<DWORD>(value.size() + 1));
    }
    memset(pathOut, '=', pathOutSize);  // all that it may fill
    return TRUE;
}

BOOL WINAPI SQLRemoveDriver(LPCSTR driver, BOOL removeSources, DWORD* count) {
    static int calls;
    record(self, "remove\t%s\t%d", driver, removeSources);
    if (calls++ < ordered("remove-fails")) return FALSE;
    const std::string key = keyOf(driver);
    *count = usageCount(key);
    if (*count > 1) {
        setUsageCount(key, --*count);
    } else {
        RegDeleteKeyA(HKEY_LOCAL_MACHINE, key.c_str());  // fails while there are keys below it
    }
    return TRUE;
}

BOOL WINAPI SQLConfigDataSource(HWND, WORD request, LPCSTR driver, LPCSTR attributes) {
    record(self, "configure\t%u\t%s\t%s", request, driver, textOfList(attributes).c_str());
    return FALSE;
}

SHORT WINAPI SQLInstallerError(WORD number, DWORD* code, LPSTR message, WORD messageSize,
                               WORD* messageLength) {
    constexpr char TEXT[] = "the stand-in refuses";
    record(self, "error\t%u\t%u", number, messageSize);
    if (number != ordered("record")) return 100;  // SQL_NO_DATA
    *code = 11;
    memcpy(message, TEXT, sizeof TEXT);
    *messageLength = sizeof TEXT - 1;
    return 0;
}

}  // extern "C"
