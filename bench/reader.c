// The least that zelkpmutil can cost: the same registry values, files and classes, of a machine
// with one copy in the 64-bit view, and nothing else: no text, no comparison, no result looked at.
//   reader verify|list DIR NAME      DIR ends in a backslash
#include <windows.h>

#include <stdio.h>

#define COPIES "SOFTWARE\\Orvane\\Zelk\\InstalledCopies"
#define DRIVERS "SOFTWARE\\ODBC\\ODBCINST.INI"
#define XA_LIBRARIES "SOFTWARE\\Microsoft\\MSDTC\\XADLL"
#define UNINSTALL "SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall"
#define CLASSES "SOFTWARE\\Classes\\CLSID"

static const char* directory;
static const char* name;
static REGSAM view = KEY_WOW64_64KEY;

static HKEY openKey(HKEY parent, const char* path) {
    HKEY key = NULL;
    RegOpenKeyExA(parent, path, 0, KEY_READ | view, &key);
    return key;
}

static void readValues(HKEY parent, const char* path, const char* const* values) {
    const HKEY key = openKey(parent, path);
    for (; key && *values; ++values) {
        char data[2048];
        DWORD size = sizeof data;
        RegQueryValueExA(key, **values ? *values : NULL, NULL, NULL, (BYTE*)data, &size);
    }
    if (key) RegCloseKey(key);
}

#define READ(path, ...) \
    readValues(HKEY_LOCAL_MACHINE, path, (const char* const[]){__VA_ARGS__, NULL})

static const char* text(const char* format, const char* first) {
    static char path[600];
    snprintf(path, sizeof path, format, first);
    return path;
}

static void readHeader(const char* format) {
    char bytes[64];
    DWORD size = 0;
    const HANDLE file = CreateFileA(text(format, directory), GENERIC_READ, FILE_SHARE_READ, NULL,
                                    OPEN_EXISTING, 0, NULL);
    ReadFile(file, bytes, sizeof bytes, &size, NULL);
    SetFilePointer(file, bytes[60], NULL, FILE_BEGIN);
    ReadFile(file, bytes, 24, &size, NULL);
    CloseHandle(file);
}

static void readVersion(void) {
    const HMODULE file =
        LoadLibraryExA(text("%sbin\\zelkpmreg.exe", directory), NULL, LOAD_LIBRARY_AS_DATAFILE);
    LockResource(LoadResource(file, FindResourceA(file, MAKEINTRESOURCEA(1), (LPCSTR)RT_VERSION)));
    FreeLibrary(file);
}

// Each subkey of a key, and values in it.
static void readSubkeys(const char* path, const char* below, const char* const* values) {
    const HKEY key = openKey(HKEY_LOCAL_MACHINE, path);
    char subkey[300];
    for (DWORD i = 0; key && RegEnumKeyA(key, i, subkey, 256) == ERROR_SUCCESS; ++i) {
        char place[400];
        snprintf(place, sizeof place, "%s%s", subkey, below);
        readValues(key, place, values);
    }
    if (key) RegCloseKey(key);
}

static void readValueNames(const char* path) {
    const HKEY key = openKey(HKEY_LOCAL_MACHINE, path);
    char value[2048];
    DWORD size = sizeof value;
    for (DWORD i = 0; key && !RegEnumValueA(key, i, value, &size, NULL, NULL, NULL, NULL); ++i)
        size = sizeof value;
    if (key) RegCloseKey(key);
}

static void readCopies(void) {
    READ(COPIES, "defaultClientInterfaceCopy");
    readSubkeys(COPIES, "", (const char* const[]){"Zelk Path Name", NULL});
}

static void readDriver(void) {
    char driver[400];
    char key[500];
    snprintf(driver, sizeof driver, "ORVANE PELLIMAR for ODBC - %s", directory);
    for (char* character = driver; *character; ++character) {
        if (*character == '\\') *character = '/';
    }
    snprintf(key, sizeof key, "%s\\%s", DRIVERS, driver);
    READ(DRIVERS "\\ODBC Drivers", driver);
    READ(key, "Driver", "Setup");
    READ(DRIVERS "\\ODBC Connection Pooling", "PerfMon", "RetryWait");
    READ(XA_LIBRARIES, text("%sBIN\\ZELKAPP.DLL", directory));
}

static void readParts(void) {
    char record[300];
    char key[600];
    snprintf(record, sizeof record, "%s\\%s", COPIES, name);
    READ(record, "Zelk Path Name", "RemoteCopy", "ClientInterfaceOnlyCopy");
    for (int i = 0; i < 2; ++i) {
        snprintf(key, sizeof key, "%s%s\\CurrentVersion", record,
                 i ? "\\Orvane Pellimar Package" : "");
        READ(key, "Version", "Release", "Modification", "Fix Level", "Description");
    }
    snprintf(key, sizeof key, "%s\\InstallData\\OLEDB", record);
    READ(key, "ORVANEDAZELK", "ORVANEDAZELK Advanced Page", "ORVANEDAZELK Connection Page",
         "ORVANEDAZELK Enumerator", "ORVANEDAZELK Error Lookup");
    readDriver();
    snprintf(key, sizeof key, "%s\\%s", UNINSTALL, name);
    READ(key, "DisplayName", "UninstallString", "DisplayVersion");
    READ(COPIES, "defaultClientInterfaceCopy");
    for (const char* const* file =
             (const char* const[]){"%sBIN\\zelkcli.dll", "%sBIN\\zelkodbc.dll",
                                   "%sBIN\\ZELKAPP.DLL", "%sbin\\zelkpmreg.exe",
                                   "%sbin\\orvanedazelk.dll", "%sbin\\zelkswtch.exe", NULL};
         *file; ++file) {
        readHeader(*file);
    }
    readVersion();
    readSubkeys(CLASSES, "\\InprocServer32", (const char* const[]){"", NULL});
}

int main(int argc, char** argv) {
    if (argc != 4) return 1;
    directory = argv[2];
    name = argv[3];
    for (int i = 0; i < 2; ++i) {
        readCopies();
        view = KEY_WOW64_32KEY;
    }
    view = KEY_WOW64_64KEY;
    readParts();
    for (int i = 0; i < 2 && argv[1][0] == 'l'; ++i) {
        readValueNames(DRIVERS "\\ODBC Drivers");
        readValueNames(XA_LIBRARIES);
        readSubkeys(UNINSTALL, "", (const char* const[]){"DisplayName", "UninstallString", NULL});
        view = KEY_WOW64_32KEY;
    }
    puts("read");
    return 0;
}
