// Stands for a tool of the package: prints what it was asked, and adds the same line to a file
// beside it, "zelkswtch.asked" say, because the program that runs it shows nobody its output.
#include <windows.h>

#include <cstdio>
#include <cstring>

int main() {
    const char* asked = GetCommandLineA();
    printf("%s\n", asked);
    char path[MAX_PATH] = "";
    GetModuleFileNameA(nullptr, path, MAX_PATH);
    char* end = strrchr(path, '.');
    if (!end || end + sizeof ".asked" > path + sizeof path) return 1;
    memcpy(end, ".asked", sizeof ".asked");
    FILE* record = fopen(path, "a");
    if (!record) return 1;
    fprintf(record, "%s\n", asked);
    fclose(record);
    return 0;
}
