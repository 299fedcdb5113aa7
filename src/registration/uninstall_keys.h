// The copy's entry in the list of installed programs, below HKEY_LOCAL_MACHINE.
#pragma once

// The name of the copy follows.
constexpr char UNINSTALL_KEY[] = "Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\";

// Its values.
constexpr char DISPLAY_NAME_VALUE[] = "DisplayName";
constexpr char UNINSTALL_STRING_VALUE[] = "UninstallString";

// Values that inventories read. The registration program does not write them; zelkpmutil does.
constexpr char DISPLAY_VERSION_VALUE[] = "DisplayVersion";
constexpr char PUBLISHER_VALUE[] = "Publisher";
constexpr char INSTALL_LOCATION_VALUE[] = "InstallLocation";
constexpr char QUIET_UNINSTALL_VALUE[] = "QuietUninstallString";
constexpr char NO_MODIFY_VALUE[] = "NoModify";  // REG_DWORD 1
constexpr char NO_REPAIR_VALUE[] = "NoRepair";  // REG_DWORD 1

// What they hold: a format with the name of the copy, and one with the install directory, the file
// of the program and the name. Required: the path of the program is not quoted, even where it holds
// blanks. Windows finds the program by trying the path up to each blank.
constexpr char DISPLAY_NAME_FORMAT[] = "Orvane Pellimar Package - Remote - %s";
constexpr char UNINSTALL_STRING_FORMAT[] = "%sbin\\%s -u -p -c %s";
