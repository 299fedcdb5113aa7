// The programs that the tests of the process runner run; the first argument chooses one.
#include <windows.h>

#include <process.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>

int main(int argc, char** argv) {
    const std::string name = argc > 1 ? argv[1] : "";
    if (name == "flood") {
        // A little to the one stream and a little to the other.
        std::string part(4600, ' ');
        for (size_t i = 0; i < part.size(); ++i) part[i] = static_cast<char>('a' + i % 23);
        for (size_t left = strtoul(argv[2], nullptr, 10); left > 0;) {
            const size_t count = std::min(left, part.size());
            fwrite(part.data(), 1, count, stdout);
            fwrite(part.data(), 1, count, stderr);
            left -= count;
        }
    } else if (name == "leave") {
        // A program that has this one's streams, and lives until the event is set.
        _spawnl(_P_NOWAIT, argv[0], "children", "hold", argv[2], nullptr);
        puts("left");
    } else if (name == "hold") {
        WaitForSingleObject(OpenEventA(SYNCHRONIZE, FALSE, argv[2]), 30000);
    }
    return 3;
}
