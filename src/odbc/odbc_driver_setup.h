// The driver being installed or removed, with its own binding to the Windows ODBC installer.
#pragma once

#include <windows.h>

#include <cstddef>
#include <cstdint>

#include "services/path.h"
#include "services/registry.h"
#include "services/system_library.h"

// The failure code of everything that installs or removes the driver.
constexpr auto ODBC_SETUP_FAILED = static_cast<int32_t>(ZELKI_REGISTRY_ERROR);

constexpr char ODBC_INSTALLER_LIBRARY[] = "odbccp32.dll";
constexpr char ODBC_DRIVERS_KEY[] = "SOFTWARE\\ODBC\\ODBCINST.INI";
constexpr char XA_LIBRARIES_KEY[] = "SOFTWARE\\Microsoft\\MSDTC\\XADLL";

// At most one exists in the process; all its uses are on the main thread.
class OdbcDriverSetup {
  public:
    // The one object, made on the first call; null only without memory. The installer library is
    // loaded by its plain name, in the order in which Windows searches.
    static OdbcDriverSetup* GetInstance();

    // Ends the object and unloads the library; the next GetInstance begins anew.
    static void DestroyInstance();

    // An installer function by its name; null when the library or the function is missing.
    template <typename Function>
    static Function* findInstallerFunction(const char* name) {
        return findFunction<Function>(installerLibrary(), name);
    }

    char installDir[PATH_BYTES] = "";  // without a trailing backslash
    char binDir[PATH_BYTES] = "";      // installDir + "\BIN"
    char description[294] = "";        // the name under which the driver is registered
    char attributes[344] = "";         // see odbc/attribute_list.h
    // 1: no installer library, or no install directory. Told, never used: whoever needs a function
    // notices that it is missing.
    int32_t failed = 0;

    // Free only for create and dispose of services/owners.h.
    OdbcDriverSetup();
    OdbcDriverSetup(const OdbcDriverSetup&) = delete;
    OdbcDriverSetup& operator=(const OdbcDriverSetup&) = delete;
    ~OdbcDriverSetup();

  private:
    static HMODULE installerLibrary();
};

// Fills the fields. installDirectory may end in a backslash; when it is null or empty, failed
// becomes 1 and the other fields keep what they held. driverName is not used.
void PrepareDriver(OdbcDriverSetup* setup, const char* installDirectory, const char* driverName);

// The path of the driver's key; false when it does not fit, and the driver can then neither be
// installed nor be there.
bool buildDriverKeyPath(const OdbcDriverSetup& setup, char (&path)[PATH_BYTES]);

// The path of the copy's XA library; false when it does not fit.
bool buildXaLibraryPath(const OdbcDriverSetup& setup, char (&path)[PATH_BYTES]);

// Asks for the installer's error records 1 to 8 until one is given, and traces it.
void traceInstallerError(const class Trace& trace);
