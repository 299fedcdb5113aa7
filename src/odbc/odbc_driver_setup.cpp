#include "odbc/odbc_driver_setup.h"

#include <cstring>

#include "odbc/attribute_list.h"
#include "odbc/odbc_installer_types.h"
#include "odbc/trace.h"
#include "services/owners.h"
#include "services/path.h"
#include "services/text.h"

namespace {

OdbcDriverSetup* instance;
OwnedModule library;

}  // namespace

OdbcDriverSetup::OdbcDriverSetup() {
    const Trace trace(TRACE_CONSTRUCT, &failed);
    library.reset(LoadLibraryA(ODBC_INSTALLER_LIBRARY));
    if (!library) failed = 1;
}

OdbcDriverSetup::~OdbcDriverSetup() {
    const int32_t result = 0;
    const Trace trace(TRACE_DESTRUCT, &result);
    library.reset();
}

OdbcDriverSetup* OdbcDriverSetup::GetInstance() {
    const int32_t result = 0;
    const Trace trace(TRACE_GET_INSTANCE, &result);
    if (!instance) instance = create<OdbcDriverSetup>();
    return instance;
}

void OdbcDriverSetup::DestroyInstance() {
    const int32_t result = 0;
    const Trace trace(TRACE_DESTROY_INSTANCE, &result);
    dispose(std::exchange(instance, nullptr));
}

HMODULE OdbcDriverSetup::installerLibrary() {
    return library.get();
}

void PrepareDriver(OdbcDriverSetup* setup, const char* installDirectory, const char*) {
    const int32_t result = 0;
    const Trace trace(TRACE_PREPARE_DRIVER, &result);
    if (!setup) return;
    if (!installDirectory || !*installDirectory) {
        setup->failed = 1;
        trace.error(10, setup->failed);
        return;
    }
    copyText(setup->installDir, installDirectory);
    char* last = findLastBackslash(setup->installDir);
    if (last && last[1] == '\0') *last = '\0';
    copyText(setup->binDir, setup->installDir);
    appendText(setup->binDir, "\\BIN");
    trace.text(20, setup->binDir);
    formatDescription(installDirectory, setup->description);
    formatAttributes(setup->description, setup->attributes);
}

bool buildDriverKeyPath(const OdbcDriverSetup& setup, char (&path)[PATH_BYTES]) {
    return formatText(path, sizeof path, "%s\\%s", ODBC_DRIVERS_KEY, setup.description) == TEXT_OK;
}

bool buildXaLibraryPath(const OdbcDriverSetup& setup, char (&path)[PATH_BYTES]) {
    return formatText(path, sizeof path, "%s\\ZELKAPP.DLL", setup.binDir) == TEXT_OK;
}

void traceInstallerError(const Trace& trace) {
    constexpr WORD RECORDS = 8;
    constexpr char INSTALLER_ERROR[] = "SQLInstallerError";
    const auto installerError =
        OdbcDriverSetup::findInstallerFunction<SqlInstallerErrorFunction>(INSTALLER_ERROR);
    if (!installerError) {
        trace.text(70, INSTALLER_ERROR);
        return;
    }
    for (WORD record = 1; record <= RECORDS; ++record) {
        DWORD code = 0;
        char message[260] = "";
        WORD length = 0;
        if (installerError(record, &code, message, sizeof message, &length) != SQL_SUCCESS)
            continue;
        trace.error(80, static_cast<int32_t>(code));
        trace.text(90, message);
        return;
    }
}
