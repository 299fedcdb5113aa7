#pragma once

#include "odbc/trace.h"

// Asks for the installer's error records 1 to 8 until one is returned, and traces it.
// Windows documentation: "SQLInstallerError".
void traceInstallerError(const Trace& trace);
