#include "odbc/installer_errors.h"

#include "odbc/odbc_driver_setup.h"
#include "odbc/odbc_installer_types.h"

namespace {

enum Probe : uint32_t {
    PROBE_NO_FUNCTION = 70,
    PROBE_CODE = 80,
    PROBE_MESSAGE = 90,
};

}  // namespace

void traceInstallerError(const Trace& trace) {
    constexpr WORD RECORDS = 8;
    constexpr char INSTALLER_ERROR[] = "SQLInstallerError";
    const auto installerError =
        OdbcDriverSetup::findInstallerFunction<SqlInstallerErrorFunction>(INSTALLER_ERROR);
    if (!installerError) {
        trace.text(PROBE_NO_FUNCTION, INSTALLER_ERROR);
        return;
    }
    for (WORD record = 1; record <= RECORDS; ++record) {
        DWORD code = 0;
        char message[260] = "";
        WORD length = 0;
        if (installerError(record, &code, message, sizeof message, &length) != SQL_SUCCESS)
            continue;
        trace.error(PROBE_CODE, static_cast<int32_t>(code));
        trace.text(PROBE_MESSAGE, message);
        return;
    }
}
