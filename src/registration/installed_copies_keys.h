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

// The value of INSTALLED_COPIES_KEY that names the default client interface copy.
constexpr char DEFAULT_COPY_VALUE[] = "defaultClientInterfaceCopy";
