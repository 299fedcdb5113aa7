#include "odbc/odbc_driver_setup.h"

#include "odbc/odbc_installer_types.h"
#include "odbc/odbc_keys.h"
#include "odbc/trace.h"
#include "run/package_names.h"
#include "services/owners.h"
#include "services/text.h"

namespace {

enum Probe : uint32_t {
    PROBE_FAILED = 10,
    PROBE_BIN_FOLDER = 20,
};

OwnedModule loadedInstaller;
OwnedObject<OdbcDriverSetup> instance;

}  // namespace

OdbcDriverSetup::OdbcDriverSetup() {
    Trace trace(TRACE_CONSTRUCT);
    loadedInstaller.reset(LoadLibraryA(ODBC_INSTALLER_LIBRARY));
    failed = trace.result(loadedInstaller ? 0 : 1);
}

OdbcDriverSetup::~OdbcDriverSetup() {
    const Trace trace(TRACE_DESTRUCT);
    loadedInstaller.reset();
}

OdbcDriverSetup* OdbcDriverSetup::GetInstance() {
    const Trace trace(TRACE_GET_INSTANCE);
    if (!instance) instance = makeObject<OdbcDriverSetup>();
    return instance.get();
}

void OdbcDriverSetup::DestroyInstance() {
    const Trace trace(TRACE_DESTROY_INSTANCE);
    instance.reset();
}

HMODULE OdbcDriverSetup::installerLibrary() {
    return loadedInstaller.get();
}

void PrepareDriver(OdbcDriverSetup* setup, const char* installDirectory, const char*) {
    const Trace trace(TRACE_PREPARE_DRIVER);
    if (!setup) return;
    if (!installDirectory || !*installDirectory) {
        setup->failed = 1;
        trace.error(PROBE_FAILED, setup->failed);
        return;
    }
    copyText(setup->installDir, installDirectory);
    cutTrailingBackslash(setup->installDir);
    copyText(setup->binDir, setup->installDir);
    appendText(setup->binDir, "\\");
    appendText(setup->binDir, ODBC_BIN_FOLDER);
    trace.text(PROBE_BIN_FOLDER, setup->binDir);
    formatDescription(installDirectory, setup->description);
    formatAttributes(setup->description, setup->attributes);
}

bool buildDriverKeyPath(const char* driverName, char (&path)[PATH_BYTES]) {
    return formatText(path, sizeof path, "%s\\%s", ODBC_DRIVERS_KEY, driverName) == TEXT_OK;
}

bool buildXaLibraryPath(const OdbcDriverSetup& setup, char (&path)[PATH_BYTES]) {
    return formatText(path, sizeof path, "%s\\%s", setup.binDir, XA_FILE) == TEXT_OK;
}
