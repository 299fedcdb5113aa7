#include "odbc/odbc_registration_step.h"

#include "odbc/driver_installation.h"
#include "odbc/driver_removal.h"
#include "odbc/odbc_driver_setup.h"
#include "run/messages.h"
#include "run/mode.h"
#include "run/run_settings.h"
#include "services/path.h"
#include "services/registry.h"
#include "services/text.h"

namespace {

bool hasRemoved = false;  // -r removes at most once in a process

void prepare(const char* installDirectory) {
    // The name is required here, although PrepareDriver does not use it.
    char driverName[REGISTRY_TEXT_BYTES];
    formatText(driverName, sizeof driverName, "%s%s", "ORVANE ZELK ODBC DRIVER - ", copyName);
    char folder[PATH_BYTES] = {};
    copyText(folder, installDirectory);
    PrepareDriver(OdbcDriverSetup::GetInstance(), folder, driverName);
}

// Prints the message for a result; returns 0 or 1.
int report(int32_t result, unsigned failed, unsigned succeeded) {
    if (result == 0) {
        say(succeeded);
        return 0;
    }
    say(failed, Decimal(result).text);
    return 1;
}

int install(const char* installDirectory, bool makeDefault) {
    if (replaceExisting && !hasRemoved) {
        hasRemoved = true;
        OdbcRegistrationStep(UNREGISTER, installDirectory, makeDefault);
        prepare(installDirectory);  // that call ended the object that had been prepared
    }
    return report(InstallDriver(OdbcDriverSetup::GetInstance()), MSG_ODBC_INSTALL_FAILED,
                  MSG_ODBC_INSTALLED);
}

int remove() {
    const int sources = report(RemoveDataSources(OdbcDriverSetup::GetInstance()),
                               MSG_ODBC_SOURCES_FAILED, MSG_ODBC_SOURCES_REMOVED);
    const int driver = report(RemoveDriver(OdbcDriverSetup::GetInstance(), true),
                              MSG_ODBC_REMOVE_FAILED, MSG_ODBC_REMOVED);
    return driver != 0 ? driver : sources;
}

}  // namespace

int OdbcRegistrationStep(int mode, const char* installDirectory, bool makeDefault) {
    prepare(installDirectory);
    int result = 0;
    if (mode == REGISTER) result = install(installDirectory, makeDefault);
    if (mode == UNREGISTER) result = remove();
    OdbcDriverSetup::DestroyInstance();
    return result;
}
