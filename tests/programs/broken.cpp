// Stands for a zelkpmreg.exe that went wrong in every way, for the acceptance kit to notice.
#include <windows.h>

#include <cstring>

int main() {
    const char* const command = GetCommandLineA();
    if (strstr(command, " -r ")) Sleep(INFINITE);
    if (strstr(command, " -u ")) RaiseException(EXCEPTION_ACCESS_VIOLATION, 0, 0, nullptr);
    RegDeleteTreeA(HKEY_LOCAL_MACHINE,
                   "SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\AnotherProduct");
    return 1;
}
