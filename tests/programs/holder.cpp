// Keeps a desktop open until the Wine server ends, so that the programs under test find one. With
// an argument it only opens it.
#include <windows.h>

int main(int argc, char**) {
    GetDesktopWindow();
    if (argc == 1) Sleep(INFINITE);
}
