// A time in UTC, that of now if there is none, in the three forms in which it is written.
#pragma once

#include <windows.h>

#include "services/text.h"

struct Timestamp {
    Timestamp() : Timestamp(now()) {}
    explicit Timestamp(const SYSTEMTIME& t) {
        formatText(seconds, sizeof seconds, "%04u-%02u-%02uT%02u:%02u:%02uZ", t.wYear, t.wMonth,
                   t.wDay, t.wHour, t.wMinute, t.wSecond);
        formatText(milliseconds, sizeof milliseconds, "%04u-%02u-%02uT%02u:%02u:%02u.%03uZ",
                   t.wYear, t.wMonth, t.wDay, t.wHour, t.wMinute, t.wSecond, t.wMilliseconds);
        formatText(inFileName, sizeof inFileName, "%04u%02u%02uT%02u%02u%02uZ", t.wYear, t.wMonth,
                   t.wDay, t.wHour, t.wMinute, t.wSecond);
    }
    char seconds[32];       // 2026-11-22T01:22:05Z
    char milliseconds[32];  // 2026-11-22T01:22:05.114Z
    char inFileName[32];    // 20261122T012205Z

  private:
    static SYSTEMTIME now() {
        SYSTEMTIME t = {};
        GetSystemTime(&t);
        return t;
    }
};
