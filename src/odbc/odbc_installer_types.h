// The Windows ODBC installer library and those of its functions that are called, in their 8-bit
// forms.
// Windows documentation: "ODBC Installer DLL Function Reference".
#pragma once

#include <windows.h>

constexpr char ODBC_INSTALLER_LIBRARY[] = "odbccp32.dll";

using SqlInstallDriverExFunction = BOOL WINAPI(LPCSTR driver, LPCSTR pathIn, LPSTR pathOut,
                                               WORD pathOutSize, WORD* pathOutLength, WORD request,
                                               DWORD* usageCount);
using SqlRemoveDriverFunction = BOOL WINAPI(LPCSTR driver, BOOL removeDataSources,
                                            DWORD* usageCount);
using SqlConfigDataSourceFunction = BOOL WINAPI(HWND parent, WORD request, LPCSTR driver,
                                                LPCSTR attributes);
using SqlInstallerErrorFunction = SHORT WINAPI(WORD record, DWORD* errorCode, LPSTR message,
                                               WORD messageSize, WORD* messageLength);

constexpr WORD ODBC_INSTALL_COMPLETE = 2;
constexpr WORD ODBC_REMOVE_SYS_DSN = 6;
constexpr SHORT SQL_SUCCESS = 0;
constexpr SHORT SQL_ERROR = -1;
