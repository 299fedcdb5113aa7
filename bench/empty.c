// Starts and ends. Its imports are those of zelkpmreg, because loading user32 and advapi32 costs
// more than all that zelkpmreg then does.
#include <windows.h>

int main(int argc, char** argv) {
    (void)argv;
    if (argc > 1) {
        char text[2];
        LoadStringA(NULL, 1, text, sizeof text);
        RegCloseKey(NULL);
    }
    return 0;
}
