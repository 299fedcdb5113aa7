#include "odbc/driver_removal.h"

#include <utility>

#include "odbc/odbc_installer_types.h"
#include "odbc/system_odbc_installer.h"
#include "odbc/trace.h"
#include "services/owners.h"
#include "services/path.h"
#include "services/registry.h"
#include "services/text.h"

namespace {

constexpr char DATA_SOURCES_KEY[] = "SOFTWARE\\ODBC\\ODBC.INI\\ODBC Data Sources";
constexpr char USAGE_COUNT_VALUE[] = "UsageCount";

void removeDataSource(const OdbcDriverSetup& setup, const char* name) {
    int32_t result = 0;
    const Trace trace(TRACE_REMOVE_DATA_SOURCE, &result);
    char attributes[512] = {};
    formatText(attributes, sizeof attributes - 1, "DSN=%s", name);  // and the list's own zero
    if (SystemOdbcInstaller::SQLConfigDataSource(nullptr, ODBC_REMOVE_SYS_DSN, setup.description,
                                                 attributes)) {
        return;
    }
    result = ODBC_SETUP_FAILED;  // cppcheck-suppress unreadVariable ; the trace reads it
    DWORD code = 0;
    char message[514] = {};
    constexpr WORD MESSAGE_SIZE = 513;
    SystemOdbcInstaller::SQLInstallerError(1, &code, message, MESSAGE_SIZE, nullptr);
    trace.error(10, static_cast<int32_t>(code));
    trace.text(20, message);
}

// Tells whether the removals of a driver come to an end.
class RemovalProgress {
  public:
    explicit RemovalProgress(DWORD keyCount) : keyCount_(keyCount) {}

    // Call after each removal that left the key, with the usage count that the key then holds and
    // the last one that the installer gave; MAXDWORD stands for none. True when a long row of
    // removals has lowered neither: the driver cannot be removed, and trying again would never end.
    bool stalled(DWORD keyCount, DWORD installerCount) {
        const bool inKey = lower(keyCount, keyCount_);
        const bool atInstaller = lower(installerCount, installerCount_);
        roundsInARow_ = inKey || atInstaller ? 0 : roundsInARow_ + 1;
        return roundsInARow_ >= MOST_ROUNDS;
    }

  private:
    // The first count that is known tells nothing yet.
    static bool lower(DWORD count, DWORD& lowest) {
        if (count >= lowest) return false;
        return std::exchange(lowest, count) != MAXDWORD;
    }

    static constexpr unsigned MOST_ROUNDS = 100;
    DWORD keyCount_;
    DWORD installerCount_ = MAXDWORD;
    unsigned roundsInARow_ = 0;
};

// Opens the driver's key and reads its usage count; false when the driver is not registered.
bool readUsageCount(const char* driverKey, DWORD* count) {
    OwnedKey key;
    if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, driverKey, 0, KEY_READ, key.receive()) != ERROR_SUCCESS) {
        return false;
    }
    *count = MAXDWORD;
    DWORD size = sizeof *count;
    RegQueryValueExA(key.get(), USAGE_COUNT_VALUE, nullptr, nullptr, reinterpret_cast<BYTE*>(count),
                     &size);
    return true;
}

int32_t removeOnce(const char* driverName, DWORD* usageCount, const Trace& trace) {
    constexpr char REMOVE[] = "SQLRemoveDriver";
    const auto remove = OdbcDriverSetup::findInstallerFunction<SqlRemoveDriverFunction>(REMOVE);
    if (!remove) {
        trace.text(30, REMOVE);
        return ODBC_SETUP_FAILED;
    }
    if (remove(driverName, FALSE, usageCount)) return 0;
    traceInstallerError(trace);
    return ODBC_SETUP_FAILED;
}

void deleteXaLibrary(const OdbcDriverSetup& setup) {
    char path[PATH_BYTES];
    OwnedKey key;
    if (buildXaLibraryPath(setup, path) &&
        RegOpenKeyExA(HKEY_LOCAL_MACHINE, XA_LIBRARIES_KEY, 0, KEY_WRITE, key.receive()) ==
            ERROR_SUCCESS) {
        RegDeleteValueA(key.get(), path);
    }
}

}  // namespace

int32_t RemoveDataSources(const OdbcDriverSetup* setup) {
    const int32_t result = 0;
    const Trace trace(TRACE_REMOVE_DATA_SOURCES, &result);
    OwnedKey key;
    if (!setup || RegOpenKeyExA(HKEY_LOCAL_MACHINE, DATA_SOURCES_KEY, 0, KEY_READ, key.receive()) !=
                      ERROR_SUCCESS) {
        return result;
    }
    EnumerationEnd end;
    // The index goes up for every entry, also for one that is then removed, and so the entry that
    // moves into its place is not looked at. This is required: data sources that an administrator
    // made in a row are taken away one a run.
    for (DWORD index = 0;; ++index) {
        char name[PATH_BYTES] = "";  // both stay empty when the entry does not fit
        char driver[PATH_BYTES] = "";
        DWORD nameSize = 260;
        DWORD driverSize = 260;
        if (end.reached(RegEnumValueA(key.get(), index, name, &nameSize, nullptr, nullptr,
                                      reinterpret_cast<BYTE*>(driver), &driverSize))) {
            return result;
        }
        if (compareFolded(driver, setup->description) == 0) removeDataSource(*setup, name);
    }
}

int32_t RemoveDriver(const OdbcDriverSetup* setup, bool removeAll) {
    int32_t result = ODBC_SETUP_FAILED;
    const Trace trace(TRACE_REMOVE_DRIVER, &result);
    if (setup) result = RemoveDriverEntries(setup, setup->description, removeAll);
    return result;
}

int32_t RemoveDriverEntries(const OdbcDriverSetup* setup, const char* driverName, bool removeAll) {
    int32_t result = 0;
    const Trace trace(TRACE_REMOVE_DRIVER_ENTRIES, &result);
    deleteXaLibrary(*setup);
    char driverKey[PATH_BYTES];
    if (formatText(driverKey, sizeof driverKey, "%s\\%s", ODBC_DRIVERS_KEY, driverName) !=
        TEXT_OK) {
        return result;  // a driver of such a name cannot have been installed
    }
    DWORD keyCount = 0;
    DWORD installerCount = MAXDWORD;
    bool registered = readUsageCount(driverKey, &keyCount);
    RemovalProgress progress(keyCount);
    while (registered) {
        result = removeOnce(driverName, &installerCount, trace);
        if (!removeAll) return result;
        registered = readUsageCount(driverKey, &keyCount);
        if (registered && progress.stalled(keyCount, installerCount)) {
            result = ODBC_SETUP_FAILED;
            return result;
        }
    }
    trace.text(10, "ODBC_DRIVER_NOT_REGISTERED");
    result = 0;
    return result;
}
