// Stands for a tool of the package: prints what it was asked, and notes the same line. It takes
// what there is on standard input, which is to be nothing.
#include "tests/programs/record.h"

int main() {
    while (getchar() != EOF) continue;
    printf("%s\n", GetCommandLineA());
    return record(nullptr, "%s", GetCommandLineA()) ? 0 : 1;
}
