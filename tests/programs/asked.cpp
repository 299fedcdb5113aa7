// Stands for a tool of the package: prints what it was asked, and notes the same line.
#include "tests/programs/record.h"

int main() {
    printf("%s\n", GetCommandLineA());
    return record(nullptr, "%s", GetCommandLineA()) ? 0 : 1;
}
