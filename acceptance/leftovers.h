// What tests that were ended leave outside the registry.
#pragma once

#include <string>

// The folder of the default log, and whether it was there before the tests.
struct LogFolder {
    std::wstring path;
    bool wasThere = false;
};
LogFolder findLogFolder();

// Deletes the scheduled task and the folders of the tests, and in the log folder the links that
// they made. Another log in it stays.
void removeLeftovers(const LogFolder& logs);
