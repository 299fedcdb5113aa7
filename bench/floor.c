// The least that a registration can cost: the same registry values, installer calls and child
// programs as zelkpmreg -d, and nothing else: no log, no message, no check, no result looked at.
// It loads the libraries that zelkpmreg is linked with; with BARE defined it does without user32,
// which only a program with texts needs.
//   floor register|unregister DIR NAME      DIR ends in a backslash
#include <windows.h>

#include <stdio.h>
#include <string.h>

#define COPIES "SOFTWARE\\Orvane\\Zelk\\InstalledCopies"
#define DRIVERS "SOFTWARE\\ODBC\\ODBCINST.INI"
#define XA_LIBRARIES "SOFTWARE\\Microsoft\\MSDTC\\XADLL"
#define UNINSTALL "SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\"

typedef BOOL(WINAPI* InstallDriver)(LPCSTR, LPCSTR, LPSTR, WORD, WORD*, WORD, DWORD*);
typedef BOOL(WINAPI* RemoveDriver)(LPCSTR, BOOL, DWORD*);
typedef HRESULT(WINAPI* CreateGuid)(GUID*);
typedef int(WINAPI* GuidToText)(const GUID*, wchar_t*, int);

static const char* directory;
static const char* name;
static char driver[400];
static char path[600];

static const char* text(const char* format, const char* first, const char* second) {
    snprintf(path, sizeof path, format, first, second);
    return path;
}

static HKEY makeKey(const char* keyPath) {
    HKEY key = NULL;
    RegCreateKeyExA(HKEY_LOCAL_MACHINE, keyPath, 0, NULL, 0, KEY_ALL_ACCESS, NULL, &key, NULL);
    return key;
}

static void setData(HKEY key, const char* value, const char* data, DWORD size) {
    RegSetValueExA(key, value, 0, REG_SZ, (const BYTE*)data, size);
}

static void setText(HKEY key, const char* value, const char* data) {
    setData(key, value, data, (DWORD)strlen(data) + 1);
}

static void setVersion(const char* keyPath) {
    const HKEY key = makeKey(keyPath);
    setData(key, "Version", "10", 2);
    setData(key, "Release", "1", 2);
    setData(key, "Modification", "2\0\0\0Fix Level", 10);
    setData(key, "Fix Level", "238\0Description", 10);
    setText(key, "Description", "Orvane Pellimar Package");
    RegCloseKey(key);
}

static void setIdentifiers(const char* keyPath) {
    static const char* const values[] = {"ORVANEDAZELK", "ORVANEDAZELK Advanced Page",
                                         "ORVANEDAZELK Connection Page", "ORVANEDAZELK Enumerator",
                                         "ORVANEDAZELK Error Lookup"};
    const HMODULE com = LoadLibraryA("ole32.dll");
    const CreateGuid createGuid = (CreateGuid)(void (*)(void))GetProcAddress(com, "CoCreateGuid");
    const GuidToText guidToText =
        (GuidToText)(void (*)(void))GetProcAddress(com, "StringFromGUID2");
    const HKEY key = makeKey(keyPath);
    for (int i = 0; i < 5; ++i) {
        GUID guid;
        wchar_t wide[40];
        char narrow[40];
        createGuid(&guid);
        guidToText(&guid, wide, 40);
        snprintf(narrow, sizeof narrow, "%ls", wide);
        setText(key, values[i], narrow);
    }
    RegCloseKey(key);
}

static void writeRecord(void) {
    HKEY key = makeKey(text("%s\\%s", COPIES, name));
    setText(key, "Zelk Path Name", directory);
    setData(key, "ClientInterfaceOnlyCopy", "YES", 3);
    setData(key, "RemoteCopy", "YES", 3);
    RegCloseKey(key);
    setVersion(text("%s\\%s\\CurrentVersion", COPIES, name));
    setVersion(text("%s\\%s\\Orvane Pellimar Package\\CurrentVersion", COPIES, name));
    setIdentifiers(text("%s\\%s\\InstallData\\OLEDB", COPIES, name));
    key = makeKey(COPIES);
    setText(key, "defaultClientInterfaceCopy", name);
    RegCloseKey(key);
}

static void installDriver(void) {
    char list[600];
    char folder[300];
    char out[300];
    WORD length = 0;
    DWORD count = 0;
    snprintf(list, sizeof list, "%s%c%s%c%s%c%c", driver, 0, "Driver=zelkcli.dll", 0,
             "Setup=zelkodbc.dll", 0, 0);
    snprintf(folder, sizeof folder, "%sBIN", directory);
    const HMODULE installer = LoadLibraryA("odbccp32.dll");
    ((InstallDriver)(void (*)(void))GetProcAddress(installer, "SQLInstallDriverEx"))(
        list, folder, out, sizeof out, &length, 2, &count);

    HKEY key = makeKey(text("%s\\%s", DRIVERS, driver));
    setText(key, "CPTimeout", "60");
    RegCloseKey(key);
    key = makeKey(DRIVERS "\\ODBC Connection Pooling");
    setData(key, "PerfMon", "\1\0\0\0", 4);
    setData(key, "RetryWait", "\x78\0\0\0", 4);
    RegCloseKey(key);
    key = makeKey(XA_LIBRARIES);
    text("%sBIN\\%s", directory, "ZELKAPP.DLL");
    setText(key, path, path);
    RegCloseKey(key);
}

static void removeDriver(void) {
    DWORD count = 0;
    HKEY key = NULL;
    RegOpenKeyExA(HKEY_LOCAL_MACHINE, XA_LIBRARIES, 0, KEY_WRITE, &key);
    RegDeleteValueA(key, text("%sBIN\\%s", directory, "ZELKAPP.DLL"));
    RegCloseKey(key);
    const HMODULE installer = LoadLibraryA("odbccp32.dll");
    ((RemoveDriver)(void (*)(void))GetProcAddress(installer, "SQLRemoveDriver"))(driver, FALSE,
                                                                                 &count);
}

static void writeUninstallEntry(void) {
    char command[600];
    const HKEY key = makeKey(text("%s%s", UNINSTALL, name));
    setText(key, "DisplayName", text("%s%s", "Orvane Pellimar Package - Remote - ", name));
    snprintf(command, sizeof command, "%sbin\\zelkpmreg.exe -u -p -c %s", directory, name);
    setText(key, "UninstallString", command);
    RegCloseKey(key);
}

static void runChild(const char* format, const char* second) {
    char command[600];
    STARTUPINFOA startup = {.cb = sizeof startup};
    PROCESS_INFORMATION process;
    snprintf(command, sizeof command, format, directory, second);
    if (!CreateProcessA(NULL, command, NULL, NULL, FALSE, 0, NULL, NULL, &startup, &process))
        return;
    WaitForSingleObject(process.hProcess, INFINITE);
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
}

int main(int argc, char** argv) {
    if (argc != 4) return 1;
#ifndef BARE
    LoadStringA(NULL, 1, path, 2);
#endif
    directory = argv[2];
    name = argv[3];
    snprintf(driver, sizeof driver, "ORVANE PELLIMAR for ODBC - %s", directory);
    for (char* character = driver; *character; ++character) {
        if (*character == '\\') *character = '/';
    }
    if (strcmp(argv[1], "register") == 0) {
        writeRecord();
        installDriver();
        writeUninstallEntry();
        runChild("regsvr32 /s \"%sbin\\orvanedazelk.dll\"", "");
    } else {
        RegDeleteTreeA(HKEY_LOCAL_MACHINE, "SOFTWARE\\Orvane\\Zelk");
        removeDriver();
        RegDeleteKeyA(HKEY_LOCAL_MACHINE, text("%s%s", UNINSTALL, name));
        runChild("regsvr32 /s /u \"%sbin\\orvanedazelk.dll\"", "");
    }
    runChild("\"%sbin\\zelkswtch.exe\" -client -d %s", name);
    return 0;
}
