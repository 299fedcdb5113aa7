// Fills a registry as a server with many copies and data sources has it.
//   populate copies|sources COUNT      what is there already stays
#include <windows.h>

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static HKEY makeKey(HKEY parent, const char* path) {
    HKEY key = NULL;
    RegCreateKeyExA(parent, path, 0, NULL, 0, KEY_ALL_ACCESS, NULL, &key, NULL);
    return key;
}

static void setText(HKEY key, const char* value, const char* data) {
    RegSetValueExA(key, value, 0, REG_SZ, (const BYTE*)data, (DWORD)strlen(data) + 1);
}

int main(int argc, char** argv) {
    if (argc != 3) return 1;
    const int copies = strcmp(argv[1], "copies") == 0;
    const HKEY all =
        makeKey(HKEY_LOCAL_MACHINE, copies ? "SOFTWARE\\Orvane\\Zelk\\InstalledCopies"
                                           : "SOFTWARE\\ODBC\\ODBC.INI\\ODBC Data Sources");
    for (int i = 0; i < atoi(argv[2]); ++i) {
        char name[32];
        char path[64];
        snprintf(name, sizeof name, "FILLER%05d", i);
        if (!copies) {
            setText(all, name, "Driver of another product");
            continue;
        }
        snprintf(path, sizeof path, "C:\\fillers\\%s\\", name);
        const HKEY key = makeKey(all, name);
        setText(key, "Zelk Path Name", path);
        setText(key, "RemoteCopy", "YES");
        RegCloseKey(key);
    }
    return 0;
}
