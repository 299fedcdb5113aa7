#include "odbc/driver_installation.h"

#include <cstring>

#include "odbc/installer_errors.h"
#include "odbc/odbc_installer_types.h"
#include "odbc/odbc_keys.h"
#include "odbc/trace.h"
#include "services/owners.h"
#include "services/text.h"

namespace {

enum Probe : uint32_t {
    PROBE_STATUS = 10,       // a Windows error code
    PROBE_STATUS_TEXT = 20,  // its text
    PROBE_NO_FUNCTION = 30,
    PROBE_LONG_PATH = 40,
    PROBE_KEY = 50,  // a key or value that could not be created, written or deleted
};

// A value as it is in the registry.
struct RawValue {
    static constexpr DWORD CAPACITY = 2048;
    DWORD type = REG_NONE;
    DWORD size = CAPACITY;
    BYTE data[CAPACITY] = {};
};

// Returns status; a failure is traced.
LSTATUS traced(const Trace& trace, LSTATUS status) {
    if (status != ERROR_SUCCESS) trace.error(PROBE_STATUS, status);
    return status;
}

LSTATUS readTimeout(const char* keyPath, RawValue& value, const Trace& trace) {
    OwnedKey key;
    const LSTATUS status =
        traced(trace, RegOpenKeyExA(HKEY_LOCAL_MACHINE, keyPath, 0, KEY_QUERY_VALUE, key.put()));
    if (status != ERROR_SUCCESS) return status;
    return traced(trace, RegQueryValueExA(key.get(), TIMEOUT_VALUE, nullptr, &value.type,
                                          value.data, &value.size));
}

void traceSystemError(const Trace& trace, LSTATUS status) {
    trace.error(PROBE_STATUS, status);
    if (!Trace::isOn()) return;
    char text[100] = "";
    FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                   static_cast<DWORD>(status), 0x400, text, sizeof text, nullptr);
    trace.text(PROBE_STATUS_TEXT, text);
}

// Returns 0 or ODBC_SETUP_FAILED.
int32_t writeValue(HKEY key, const char* name, DWORD type, const void* data, DWORD size) {
    Trace trace(TRACE_WRITE_VALUE);
    const LSTATUS status = writeRegistryValue(key, name, type, data, size);
    if (status == ERROR_SUCCESS) return trace.result(0);
    traceSystemError(trace, status);
    return trace.result(ODBC_SETUP_FAILED);
}

// Creates or opens the key and writes one value. Returns 0 or ODBC_SETUP_FAILED.
int32_t writeValueAt(const char* keyPath, const char* name, DWORD type, const void* data,
                     DWORD size, const Trace& trace) {
    OwnedKey key;
    const LSTATUS status =
        RegCreateKeyExA(HKEY_LOCAL_MACHINE, keyPath, 0, nullptr, REG_OPTION_NON_VOLATILE,
                        KEY_ALL_ACCESS, nullptr, key.put(), nullptr);
    const int32_t result = traced(trace, status) == ERROR_SUCCESS
                               ? writeValue(key.get(), name, type, data, size)
                               : ODBC_SETUP_FAILED;
    if (result != 0) trace.text(PROBE_KEY, keyPath, PATH_BYTES);
    return result;
}

void saveTimeout(const char* driverKey, const Trace& trace) {
    RawValue timeout;
    if (readTimeout(driverKey, timeout, trace) != ERROR_SUCCESS) return;
    writeValueAt(SAVED_TIMEOUT_KEY, TIMEOUT_VALUE, timeout.type, timeout.data, timeout.size, trace);
}

void deleteSavedTimeout(const Trace& trace) {
    HKEY saved = nullptr;
    if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, SAVED_TIMEOUT_KEY, 0, KEY_READ, &saved) !=
        ERROR_SUCCESS) {
        return;
    }
    // Opened only to see whether the key exists. The handle stays open until the process ends.
    if (traced(trace, RegDeleteKeyA(HKEY_LOCAL_MACHINE, SAVED_TIMEOUT_KEY)) != ERROR_SUCCESS) {
        trace.text(PROBE_KEY, SAVED_TIMEOUT_KEY);
    }
}

// Returns 0 or ODBC_SETUP_FAILED.
int32_t callInstaller(const OdbcDriverSetup& setup, bool keyFits,
                      SqlInstallDriverExFunction* install, const Trace& trace) {
    // A key that was cut would be another one, and the installer cannot return a longer folder: it
    // gets 260 bytes for it. Both count as refused, without a call.
    constexpr size_t LONGEST_PATH = 259;
    if (!keyFits || strlen(setup.binDir) > LONGEST_PATH) {
        trace.text(PROBE_LONG_PATH, setup.binDir);
        return ODBC_SETUP_FAILED;
    }
    char pathIn[PATH_BYTES];
    copyText(pathIn, setup.binDir);
    char pathOut[PATH_BYTES] = {};
    WORD pathOutLength = 0;
    DWORD usageCount = 0;
    if (install(setup.attributes, pathIn, pathOut, sizeof pathOut - 1, &pathOutLength,
                ODBC_INSTALL_COMPLETE, &usageCount)) {
        return 0;
    }
    traceInstallerError(trace);
    return ODBC_SETUP_FAILED;
}

void writePooling(const Trace& trace) {
    // Four bytes each, of which the first counts.
    constexpr BYTE PERFORMANCE_MONITOR[4] = {0x01};
    constexpr BYTE RETRY_WAIT[4] = {0x78};
    OwnedKey key;
    if (traced(trace, RegCreateKeyA(HKEY_LOCAL_MACHINE, POOLING_KEY, key.put())) != ERROR_SUCCESS) {
        trace.text(PROBE_KEY, POOLING_KEY);
    }
    writeValue(key.get(), PERFORMANCE_MONITOR_VALUE, REG_SZ, PERFORMANCE_MONITOR,
               sizeof PERFORMANCE_MONITOR);
    writeValue(key.get(), RETRY_WAIT_VALUE, REG_SZ, RETRY_WAIT, sizeof RETRY_WAIT);
}

void writeXaLibrary(const OdbcDriverSetup& setup, const Trace& trace) {
    char path[PATH_BYTES];
    if (!buildXaLibraryPath(setup, path)) {
        trace.text(PROBE_LONG_PATH, path);
        return;
    }
    writeValueAt(XA_LIBRARIES_KEY, path, REG_SZ, path, static_cast<DWORD>(strlen(path) + 1), trace);
}

}  // namespace

int32_t InstallDriver(const OdbcDriverSetup* setup) {
    constexpr char DEFAULT_TIMEOUT[] = "60";  // seconds
    Trace trace(TRACE_INSTALL_DRIVER);
    if (!setup) return trace.result(ODBC_SETUP_FAILED);
    char driverKey[PATH_BYTES];
    const bool keyFits = buildDriverKeyPath(setup->description, driverKey);
    if (keyFits) saveTimeout(driverKey, trace);

    constexpr char INSTALL[] = "SQLInstallDriverEx";
    const auto install =
        OdbcDriverSetup::findInstallerFunction<SqlInstallDriverExFunction>(INSTALL);
    if (!install) {
        trace.text(PROBE_NO_FUNCTION, INSTALL);
        return trace.result(ODBC_SETUP_FAILED);
    }
    const int32_t result = callInstaller(*setup, keyFits, install, trace);
    if (result == 0 && RestoreConnectionTimeout(setup) != 0) {
        writeValueAt(driverKey, TIMEOUT_VALUE, REG_SZ, DEFAULT_TIMEOUT, sizeof DEFAULT_TIMEOUT,
                     trace);
    }
    writePooling(trace);
    writeXaLibrary(*setup, trace);
    return trace.result(result);
}

int32_t RestoreConnectionTimeout(const OdbcDriverSetup* setup) {
    Trace trace(TRACE_RESTORE_TIMEOUT);
    int32_t result = ODBC_SETUP_FAILED;
    char driverKey[PATH_BYTES];
    RawValue timeout;
    if (buildDriverKeyPath(setup->description, driverKey) &&
        readTimeout(SAVED_TIMEOUT_KEY, timeout, trace) == ERROR_SUCCESS) {
        result =
            writeValueAt(driverKey, TIMEOUT_VALUE, timeout.type, timeout.data, timeout.size, trace);
    }
    deleteSavedTimeout(trace);
    return trace.result(result);
}
