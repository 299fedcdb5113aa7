// Where ODBC and the transaction coordinator keep what is registered, below HKEY_LOCAL_MACHINE, and
// the failure code of everything that installs or removes the driver.
#pragma once

#include <cstdint>

#include "services/registry.h"

constexpr auto ODBC_SETUP_FAILED = static_cast<int32_t>(ZELKI_REGISTRY_ERROR);

constexpr char ODBC_DRIVERS_KEY[] = "SOFTWARE\\ODBC\\ODBCINST.INI";
constexpr char INSTALLED_DRIVERS_KEY[] = "SOFTWARE\\ODBC\\ODBCINST.INI\\ODBC Drivers";
constexpr char POOLING_KEY[] = "SOFTWARE\\ODBC\\ODBCINST.INI\\ODBC Connection Pooling";
constexpr char DATA_SOURCES_KEY[] = "SOFTWARE\\ODBC\\ODBC.INI\\ODBC Data Sources";
constexpr char XA_LIBRARIES_KEY[] = "SOFTWARE\\Microsoft\\MSDTC\\XADLL";
constexpr char SAVED_TIMEOUT_KEY[] = "SOFTWARE\\Orvane\\Zelk\\TEMP\\CP_TIMEOUT";

// Values of POOLING_KEY.
constexpr char PERFORMANCE_MONITOR_VALUE[] = "PerfMon";
constexpr char RETRY_WAIT_VALUE[] = "RetryWait";

// The data of a driver's value in INSTALLED_DRIVERS_KEY.
constexpr char DRIVER_INSTALLED_DATA[] = "Installed";

// Values of a driver's key.
constexpr char DRIVER_LIBRARY_VALUE[] = "Driver";
constexpr char SETUP_LIBRARY_VALUE[] = "Setup";
constexpr char TIMEOUT_VALUE[] = "CPTimeout";
constexpr char USAGE_COUNT_VALUE[] = "UsageCount";
