// Keeps a desktop open until the Wine server ends, so that the programs under test find one. With
// the argument "once" it only opens it.
#include <windows.h>

#include <cstring>

int main(int argc, char** argv) {
    GetDesktopWindow();
    if (argc == 1 || strcmp(argv[1], "once") != 0) Sleep(INFINITE);
}
