// Where installed copies are recorded, below HKEY_LOCAL_MACHINE.
#pragma once

constexpr char PRODUCT_KEY[] = "Software\\Orvane\\Zelk";
constexpr char INSTALLED_COPIES_KEY[] = "Software\\Orvane\\Zelk\\InstalledCopies";

// The key of one copy, for the copy-name forms of ZELKiCopyNameRegistry.
constexpr char COPY_KEY[] = "SOFTWARE\\Orvane\\Zelk\\InstalledCopies\\$CurrentInstallationName$";

// Values of a copy's key.
constexpr char PATH_VALUE[] = "Zelk Path Name";  // REG_SZ, the install directory
constexpr char REMOTE_COPY_VALUE[] = "RemoteCopy";
constexpr char REMOTE_COPY_DATA[] = "YES";
constexpr char CLIENT_ONLY_VALUE[] = "ClientInterfaceOnlyCopy";  // "YES", too

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
