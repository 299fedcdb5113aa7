// Prints the texts of a message library as programs get them: one line a text, its id and its bytes
// in hexadecimal.
//   strings LIBRARY ID...
#include <windows.h>

#include <cstdio>
#include <cstdlib>

int main(int argc, char** argv) {
    const HMODULE library = argc > 1 ? LoadLibraryA(argv[1]) : nullptr;
    if (!library) return 1;
    for (int i = 2; i < argc; ++i) {
        char text[4096] = "";
        LoadStringA(library, static_cast<UINT>(atoi(argv[i])), text, sizeof text);
        printf("%s ", argv[i]);
        for (const char* c = text; *c; ++c) printf("%02x", static_cast<unsigned char>(*c));
        printf("\n");
    }
    return 0;
}
