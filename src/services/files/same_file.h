#pragma once

// True when both paths lead to the same file or folder, however they are written. Windows is asked;
// when one of them cannot be opened the texts decide, without regard to case.
// Windows documentation: "BY_HANDLE_FILE_INFORMATION structure".
bool isSameFile(const char* left, const char* right);
