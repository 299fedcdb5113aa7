// The driver being installed or removed, with its own binding to the Windows ODBC installer.
#pragma once

#include <windows.h>

#include <cstdint>

#include "odbc/attribute_list.h"
#include "services/path.h"
#include "services/system_library.h"

// At most one exists in the process; it is used on the main thread only.
class OdbcDriverSetup {
  public:
    // The one object, made on the first call; null only without memory. The installer library is
    // loaded by its plain name, in the order in which Windows searches.
    static OdbcDriverSetup* GetInstance();

    // Destroys the object and unloads the library; the next GetInstance makes a new object.
    static void DestroyInstance();

    // An installer function by its name; null when the library or the function is missing.
    template <typename Function>
    static Function* findInstallerFunction(const char* name) {
        return findFunction<Function>(installerLibrary(), name);
    }

    char installDir[PATH_BYTES] = "";          // without a trailing backslash
    char binDir[PATH_BYTES] = "";              // installDir + "\BIN"
    char description[DESCRIPTION_BYTES] = "";  // the name under which the driver is registered
    char attributes[ATTRIBUTES_BYTES] = "";
    int32_t failed = 0;  // 1: no installer library, or no install directory. Traced only.

    // For makeObject; use GetInstance.
    OdbcDriverSetup();
    OdbcDriverSetup(const OdbcDriverSetup&) = delete;
    OdbcDriverSetup& operator=(const OdbcDriverSetup&) = delete;
    ~OdbcDriverSetup();

  private:
    static HMODULE installerLibrary();
};

// Fills the fields. installDirectory may end in a backslash; when it is null or empty, failed
// becomes 1 and the other fields keep their contents. driverName is not used.
void PrepareDriver(OdbcDriverSetup* setup, const char* installDirectory, const char* driverName);

// The path of a driver's key; false when it does not fit, and such a driver cannot be installed.
bool buildDriverKeyPath(const char* driverName, char (&path)[PATH_BYTES]);

// The path of the copy's XA library; false when it does not fit.
bool buildXaLibraryPath(const OdbcDriverSetup& setup, char (&path)[PATH_BYTES]);
