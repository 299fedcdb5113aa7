// Where a stand-in notes what it was asked: a file beside it with its own name, "zelkswtch.asked"
// say, because the program that uses it shows nobody what comes of it.
#pragma once

#include <windows.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>

// Adds a line to the file of the module (null: of the program). False when that cannot be done.
[[gnu::format(gnu_printf, 2, 3)]] inline bool record(HMODULE self, const char* format, ...) {
    char path[MAX_PATH] = "";
    GetModuleFileNameA(self, path, MAX_PATH);
    char* end = strrchr(path, '.');
    if (!end || end + sizeof ".asked" > path + sizeof path) return false;
    memcpy(end, ".asked", sizeof ".asked");
    FILE* file = fopen(path, "a");
    if (!file) return false;
    va_list arguments;
    va_start(arguments, format);
    vfprintf(file, format, arguments);
    va_end(arguments);
    fputc('\n', file);
    return fclose(file) == 0;
}
