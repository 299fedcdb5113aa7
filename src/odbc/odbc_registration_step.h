#pragma once

// The ODBC step of a run. REGISTER installs the copy's driver, with replaceExisting (-r) after
// removing it once per process; UNREGISTER removes its data sources and the driver; any other mode
// does nothing. Prints its results. Returns 0 or 1. makeDefault has no effect.
int OdbcRegistrationStep(int mode, const char* installDirectory, bool makeDefault);
