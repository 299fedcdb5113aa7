// Who runs this process, and on what, each as a part of a line for a log.
#pragma once

#include <cstddef>

// "PC0412, NT AUTHORITY\SYSTEM, session 0, parent AgentExecutor.exe 2204".
void describeAccount(char* out, size_t size);

// "Windows 10.0.22631.4317 x64, ACP 1252, OEMCP 850, UI de-DE".
void describeSystem(char* out, size_t size);
