#pragma once

#include <cstdint>

#include "odbc/odbc_driver_setup.h"

// Installs the prepared driver, keeping the connection time-out ("CPTimeout") that its key holds,
// or setting it to "60". Then writes the connection-pooling values and the XA library of the copy,
// also when the installer refused. Returns 0, or ODBC_SETUP_FAILED when the installer refused or is
// missing; when it is missing, these are not written either.
int32_t InstallDriver(const OdbcDriverSetup* setup);

// Copies a saved time-out back into the driver's key and deletes the saved one. Returns 0, or
// ODBC_SETUP_FAILED when none was saved or it could not be written.
int32_t RestoreConnectionTimeout(const OdbcDriverSetup* setup);
