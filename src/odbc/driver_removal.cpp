#include "odbc/driver_removal.h"

#include <algorithm>

#include "odbc/installer_errors.h"
#include "odbc/odbc_installer_types.h"
#include "odbc/odbc_keys.h"
#include "odbc/system_odbc_installer.h"
#include "odbc/trace.h"
#include "services/owners.h"
#include "services/same_name.h"
#include "services/text.h"

namespace {

enum Probe : uint32_t {
    PROBE_STATUS = 10,   // a Windows or installer error code
    PROBE_MESSAGE = 20,  // its text, or what was found
    PROBE_NO_FUNCTION = 30,
};

constexpr char DRIVER_NOT_REGISTERED[] = "ODBC_DRIVER_NOT_REGISTERED";

void removeDataSource(const OdbcDriverSetup& setup, const char* name) {
    Trace trace(TRACE_REMOVE_DATA_SOURCE);
    char attributes[512] = {};
    formatText(attributes, sizeof attributes - 1, "DSN=%s", name);  // and the list's own zero
    if (SystemOdbcInstaller::SQLConfigDataSource(nullptr, ODBC_REMOVE_SYS_DSN, setup.description,
                                                 attributes)) {
        return;
    }
    trace.result(ODBC_SETUP_FAILED);
    DWORD code = 0;
    char message[514] = {};
    constexpr WORD MESSAGE_SIZE = 513;
    SystemOdbcInstaller::SQLInstallerError(1, &code, message, MESSAGE_SIZE, nullptr);
    trace.error(PROBE_STATUS, static_cast<int32_t>(code));
    trace.text(PROBE_MESSAGE, message);
}

// Bounds the removals of a driver whose key stays: without a bound they would go on forever.
class RemovalBound {
  public:
    explicit RemovalBound(DWORD usageCount) : lowestCount_(usageCount) {}

    // Call after each removal that left the key, with the usage count that the key then holds.
    bool reached(DWORD usageCount) {
        constexpr unsigned MOST_ROUNDS = 10000;
        constexpr unsigned MOST_ROUNDS_WITHOUT_PROGRESS = 100;
        roundsWithoutProgress_ = usageCount < lowestCount_ ? 0 : roundsWithoutProgress_ + 1;
        lowestCount_ = std::min(lowestCount_, usageCount);
        return ++rounds_ >= MOST_ROUNDS || roundsWithoutProgress_ >= MOST_ROUNDS_WITHOUT_PROGRESS;
    }

  private:
    DWORD lowestCount_;
    unsigned rounds_ = 0;
    unsigned roundsWithoutProgress_ = 0;
};

// Opens the driver's key and reads its usage count, MAXDWORD when it has none. Returns the result
// of the open.
LSTATUS readUsageCount(const char* driverKey, DWORD* count) {
    OwnedKey key;
    const LSTATUS status = RegOpenKeyExA(HKEY_LOCAL_MACHINE, driverKey, 0, KEY_READ, key.put());
    *count = MAXDWORD;
    DWORD size = sizeof *count;
    if (status == ERROR_SUCCESS) {
        RegQueryValueExA(key.get(), USAGE_COUNT_VALUE, nullptr, nullptr,
                         reinterpret_cast<BYTE*>(count), &size);
    }
    return status;
}

int32_t removeOnce(const char* driverName, const Trace& trace) {
    constexpr char REMOVE[] = "SQLRemoveDriver";
    const auto remove = OdbcDriverSetup::findInstallerFunction<SqlRemoveDriverFunction>(REMOVE);
    if (!remove) {
        trace.text(PROBE_NO_FUNCTION, REMOVE);
        return ODBC_SETUP_FAILED;
    }
    DWORD usageCount = 0;
    if (remove(driverName, FALSE, &usageCount)) return 0;
    traceInstallerError(trace);
    return ODBC_SETUP_FAILED;
}

void deleteXaLibrary(const OdbcDriverSetup& setup, const Trace& trace) {
    char path[PATH_BYTES];
    if (!buildXaLibraryPath(setup, path)) return;
    OwnedKey key;
    LSTATUS status = RegOpenKeyExA(HKEY_LOCAL_MACHINE, XA_LIBRARIES_KEY, 0, KEY_WRITE, key.put());
    if (status == ERROR_SUCCESS) status = RegDeleteValueA(key.get(), path);
    if (status != ERROR_SUCCESS) trace.error(PROBE_STATUS, status);
}

// Returns 0 when the driver's key is gone, otherwise ODBC_SETUP_FAILED.
int32_t removeUntilGone(const char* driverName, const char* driverKey, bool removeAll,
                        const Trace& trace) {
    DWORD usageCount = 0;
    LSTATUS status = readUsageCount(driverKey, &usageCount);
    RemovalBound bound(usageCount);
    while (status == ERROR_SUCCESS) {
        const int32_t result = removeOnce(driverName, trace);
        if (!removeAll) return result;
        status = readUsageCount(driverKey, &usageCount);
        if (status == ERROR_SUCCESS && bound.reached(usageCount)) return ODBC_SETUP_FAILED;
    }
    if (status == ERROR_FILE_NOT_FOUND) {
        trace.text(PROBE_STATUS, DRIVER_NOT_REGISTERED);
        return 0;
    }
    // The key exists but cannot be opened, and another attempt would fail in the same way.
    trace.error(PROBE_STATUS, status);
    return ODBC_SETUP_FAILED;
}

}  // namespace

int32_t RemoveDataSources(const OdbcDriverSetup* setup) {
    const Trace trace(TRACE_REMOVE_DATA_SOURCES);
    if (!setup) return 0;
    OwnedKey key;
    const LSTATUS status =
        RegOpenKeyExA(HKEY_LOCAL_MACHINE, DATA_SOURCES_KEY, 0, KEY_READ, key.put());
    if (status != ERROR_SUCCESS) {
        trace.error(PROBE_STATUS, status);
        return 0;
    }
    EnumerationEnd end;
    // Required: the index goes up for every entry, even for one that is then removed, so that the
    // entry that moves into its place is not looked at. Of data sources that follow one another in
    // the registry, a run removes every second one.
    for (DWORD index = 0;; ++index) {
        char name[PATH_BYTES] = "";
        char driver[PATH_BYTES] = "";
        DWORD nameSize = 260;
        DWORD driverSize = 260;
        const LSTATUS entry = RegEnumValueA(key.get(), index, name, &nameSize, nullptr, nullptr,
                                            reinterpret_cast<BYTE*>(driver), &driverSize);
        if (end.reached(entry)) return 0;
        // After an error, such as an entry that does not fit, both are undefined.
        if (entry == ERROR_SUCCESS && isSameName(driver, setup->description)) {
            removeDataSource(*setup, name);
        }
    }
}

int32_t RemoveDriver(const OdbcDriverSetup* setup, bool removeAll) {
    Trace trace(TRACE_REMOVE_DRIVER);
    if (!setup) return trace.result(ODBC_SETUP_FAILED);
    return trace.result(RemoveDriverEntries(setup, setup->description, removeAll));
}

int32_t RemoveDriverEntries(const OdbcDriverSetup* setup, const char* driverName, bool removeAll) {
    Trace trace(TRACE_REMOVE_DRIVER_ENTRIES);
    deleteXaLibrary(*setup, trace);
    char driverKey[PATH_BYTES];
    if (!buildDriverKeyPath(driverName, driverKey)) {
        trace.text(PROBE_STATUS, DRIVER_NOT_REGISTERED);  // such a driver cannot be installed
        return trace.result(0);
    }
    return trace.result(removeUntilGone(driverName, driverKey, removeAll, trace));
}
