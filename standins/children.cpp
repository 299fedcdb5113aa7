// The programs that the tests of the process runner run; the first argument chooses one.
#include <windows.h>

#include <process.h>

#include <cstdio>
#include <cstdlib>
#include <string>

int main(int argc, char** argv) {
    const std::string name = argc > 1 ? argv[1] : "";
    if (name == "arguments") {
        for (int i = 2; i < argc; ++i) printf("[%s]", argv[i]);
    } else if (name == "flood") {
        // A little to the one stream and a little to the other.
        setvbuf(stderr, nullptr, _IOFBF, 4096);
        const int size = atoi(argv[2]);
        for (int i = 0; i < size; ++i) {
            putchar('a' + i % 23);
            fputc('a' + i % 23, stderr);
        }
    } else if (name == "input") {
        puts(getchar() == EOF ? "no input" : "input");
    } else if (name == "leave") {
        // A program that has this one's streams, and lives until the event is set.
        _spawnl(_P_NOWAIT, argv[0], "children", "hold", argv[2], nullptr);
        puts("left");
    } else if (name == "hold") {
        WaitForSingleObject(OpenEventA(SYNCHRONIZE, FALSE, argv[2]), 30000);
    }
    return 3;
}
