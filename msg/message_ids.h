// The ids of the message library's texts, shared by the program and by the .rc file of every
// language. Plain defines, because the resource compiler reads this header too. An id never
// changes its meaning: libraries of an older package may meet a newer program.
#ifndef ZELKPMREG_MSG_MESSAGE_IDS_H
#define ZELKPMREG_MSG_MESSAGE_IDS_H

// Start-up
#define MSG_PROBE 1001     // loaded once to see that the library answers; never shown
#define MSG_LANGUAGE 1006  // locale name
#define MSG_LIBRARY 1008   // path of the message library
#define MSG_LOG_FILE 1009  // path of the log file
#define MSG_USAGE 1056     // the usage text

// Refusals
#define MSG_REPLACE_AFTER_UNREGISTER 1010
#define MSG_COPY_NAME_MISSING 1011
#define MSG_COPY_EXISTS 1012      // copy name
#define MSG_COPY_UNKNOWN 1013     // copy name
#define MSG_NOT_REMOTE_COPY 1015  // registry key of the copy
#define MSG_OTHER_PATH 1018       // copy name
#define MSG_PATH_TAKEN 1020
#define MSG_IS_DEFAULT_COPY 1023
#define MSG_NOT_ADMINISTRATOR 1084

// What the run found
#define MSG_COPY_KEY 1014        // registry key of the copy
#define MSG_INSTALLED_COPY 1016  // registry key of an installed copy
#define MSG_INSTALLED_PATH 1017  // path of that copy, path of this one
#define MSG_COPY_COUNT 1019      // decimal number
#define MSG_DEFAULT_COPY 1021    // copy name, may be empty
#define MSG_THIS_COPY 1022       // copy name

// The steps as they begin
#define MSG_REGISTERING 1024
#define MSG_REGISTERING_RECORD 1025
#define MSG_REGISTERING_ODBC 1026
#define MSG_REGISTERING_UNINSTALL_ENTRY 1027
#define MSG_REGISTERING_OLEDB 1028
#define MSG_UNREGISTERING 1057
#define MSG_UNREGISTERING_RECORD 1058
#define MSG_UNREGISTERING_ODBC 1059
#define MSG_UNREGISTERING_UNINSTALL_ENTRY 1060
#define MSG_UNREGISTERING_OLEDB 1070

// .NET configuration tool
#define MSG_DOTNET_COMMAND 1029  // command line
#define MSG_DOTNET_RESULT 1030   // decimal result
#define MSG_DOTNET_REGISTERED 1034
#define MSG_DOTNET_REGISTER_FAILED 1035  // decimal result
#define MSG_DOTNET_UNREGISTERED 1071
#define MSG_DOTNET_UNREGISTER_FAILED 1072  // decimal result
#define MSG_DOTNET_ABSENT 1080
#define MSG_DOTNET_NO_TEMPORARY_NAME 1083
#define MSG_DOTNET_NOT_COPIED 1085

// ODBC driver
#define MSG_ODBC_INSTALL_FAILED 1038  // decimal result
#define MSG_ODBC_INSTALLED 1039
#define MSG_ODBC_SOURCES_FAILED 1040  // decimal result
#define MSG_ODBC_SOURCES_REMOVED 1041
#define MSG_ODBC_REMOVE_FAILED 1042  // decimal result
#define MSG_ODBC_REMOVED 1043

// OLE DB provider
#define MSG_OLEDB_REGISTERED 1044
#define MSG_OLEDB_COMMAND 1045          // command line
#define MSG_OLEDB_REGISTER_FAILED 1046  // decimal result
#define MSG_OLEDB_UNREGISTERED 1073
#define MSG_OLEDB_UNREGISTER_FAILED 1074  // decimal result

// Installed-copy record
#define MSG_RECORD_FAILED 1047
#define MSG_RECORD_WRITTEN 1048
#define MSG_RECORD_REMOVED 1076

// Uninstall entry
#define MSG_UNINSTALL_KEY 1049  // registry key of the entry
#define MSG_UNINSTALL_WRITTEN 1050
#define MSG_UNINSTALL_WRITE_FAILED 1051
#define MSG_UNINSTALL_REMOVED 1077
#define MSG_UNINSTALL_REMOVE_FAILED 1078

// Default client interface copy
#define MSG_DEFAULT_SWITCH_FAILED 1079
#define MSG_DEFAULT_SWITCHING 1081  // copy name
#define MSG_DEFAULT_SWITCHED 1082   // copy name

#endif
