// The names of the package's own files, in the folders of an installed copy, and the name under
// which the package shows itself.
#pragma once

constexpr char PACKAGE_NAME[] = "Orvane Pellimar Package";

// The folder bin, and what is in it.
constexpr char BIN_FOLDER[] = "bin";
constexpr char PROGRAM_FILE[] = "zelkpmreg.exe";
constexpr char UTILITY_FILE[] = "zelkpmutil.exe";
constexpr char DOTNET_TOOL_FILE[] = "zelknmpcfg.exe";
constexpr char SWITCH_TOOL_FILE[] = "zelkswtch.exe";
constexpr char PROVIDER_FILE[] = "orvanedazelk.dll";

// The same folder as the ODBC parts write it, and the libraries in it.
constexpr char ODBC_BIN_FOLDER[] = "BIN";
constexpr char DRIVER_FILE[] = "zelkcli.dll";
constexpr char DRIVER_SETUP_FILE[] = "zelkodbc.dll";
constexpr char XA_FILE[] = "ZELKAPP.DLL";
