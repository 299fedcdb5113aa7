#pragma once

#include <cstdint>

#include "odbc/odbc_driver_setup.h"

// Removes the system data sources of the driver. Of two that follow one another in the registry,
// the second stays until the next run. Always returns 0: failures are traced only.
int32_t RemoveDataSources(const OdbcDriverSetup* setup);

// Removes the driver: RemoveDriverEntries for its description.
int32_t RemoveDriver(const OdbcDriverSetup* setup, bool removeAll);

// Deletes the value of the copy's XA library and has the installer remove the driver: once, or with
// removeAll until its key is gone, however often it was installed. Returns 0 when the driver is
// gone or did not exist. Returns ODBC_SETUP_FAILED otherwise, also for a key that cannot be opened
// and, with removeAll, after 100 removals in a row that did not lower its usage count, or 10,000 in
// all.
int32_t RemoveDriverEntries(const OdbcDriverSetup* setup, const char* driverName, bool removeAll);
