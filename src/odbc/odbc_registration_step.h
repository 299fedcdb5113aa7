#pragma once

// The ODBC step of a run. mode 0 installs the copy's driver, with replaceExisting (-r) after
// removing it once per process; mode 1 removes its data sources and the driver; any other mode does
// nothing. Prints its results. Returns 0 or 1. makeDefault has no effect.
int OdbcRegistrationStep(int mode, const char* installDirectory, bool makeDefault);
