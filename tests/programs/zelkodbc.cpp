// Stands for the ODBC driver and its setup library ("zelkcli.dll", "zelkodbc.dll"): ConfigDSN
// removes the data source that it is asked to remove. The ODBC installers call it in the one or in
// the other library.
#include <windows.h>

#include <cstring>

extern "C" BOOL WINAPI ConfigDSN(HWND, WORD request, LPCSTR, LPCSTR attributes) {
    constexpr WORD REMOVE = 3;
    constexpr char SOURCES[] = "SOFTWARE\\ODBC\\ODBC.INI\\ODBC Data Sources";
    if (request != REMOVE || strncmp(attributes, "DSN=", 4) != 0) return FALSE;
    return RegDeleteKeyValueA(HKEY_LOCAL_MACHINE, SOURCES, attributes + 4) == ERROR_SUCCESS;
}

// Windows asks the driver when it is installed and removed.
extern "C" BOOL WINAPI ConfigDriver(HWND, WORD, LPCSTR, LPCSTR, LPSTR, WORD, WORD*) {
    return TRUE;
}
