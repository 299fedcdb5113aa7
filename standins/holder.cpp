// Keeps a desktop open until the Wine server ends, so that the programs under test find one.
#include <windows.h>

int main() {
    GetDesktopWindow();
    Sleep(INFINITE);
}
