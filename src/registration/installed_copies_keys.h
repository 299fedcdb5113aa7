// Where installed copies are recorded, below HKEY_LOCAL_MACHINE.
#pragma once

#include "run/package_names.h"

constexpr char PRODUCT_KEY[] = "Software\\Orvane\\Zelk";
constexpr char INSTALLED_COPIES_KEY[] = "Software\\Orvane\\Zelk\\InstalledCopies";

// The key of one copy, for the copy-name forms of ZELKiCopyNameRegistry.
constexpr char COPY_KEY[] = "SOFTWARE\\Orvane\\Zelk\\InstalledCopies\\$CurrentInstallationName$";

// Values of a copy's key.
constexpr char PATH_VALUE[] = "Zelk Path Name";  // REG_SZ, the install directory
constexpr char REMOTE_COPY_VALUE[] = "RemoteCopy";
constexpr char REMOTE_COPY_DATA[] = "YES";
constexpr char CLIENT_ONLY_VALUE[] = "ClientInterfaceOnlyCopy";  // "YES", too

// Below a copy's key: its version, twice.
constexpr const char* VERSION_SUBKEYS[] = {
    "\\CurrentVersion",
    "\\Orvane Pellimar Package\\CurrentVersion",
};
// Version 10, release 1, modification 2, fix level 238. The sizes are fixed: "10" and "YES" are
// stored without a terminating zero, and the modification and the fix level take ten bytes each,
// of which the text up to the first zero counts.
struct VersionValue {
    const char* name;
    const char* data;
    unsigned long size;  // bytes
};
constexpr VersionValue VERSION_VALUES[] = {
    {"Version", "10", 2},
    {"Release", "1", 2},
    {"Modification", "2\0\0\0Fix Le", 10},
    {"Fix Level", "238\0Descri", 10},
    {"Description", PACKAGE_NAME, sizeof PACKAGE_NAME},
};

// Below a copy's key: the class identifiers of the OLE DB provider's components. The first is the
// provider itself.
constexpr char OLEDB_SUBKEY[] = "\\InstallData\\OLEDB";
constexpr const char* OLEDB_VALUES[] = {
    "ORVANEDAZELK",
    "ORVANEDAZELK Advanced Page",
    "ORVANEDAZELK Connection Page",
    "ORVANEDAZELK Enumerator",
    "ORVANEDAZELK Error Lookup",
};

// The value of INSTALLED_COPIES_KEY that names the default client interface copy.
constexpr char DEFAULT_COPY_VALUE[] = "defaultClientInterfaceCopy";
