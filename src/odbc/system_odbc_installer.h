// The ODBC installer of the Windows system directory, apart from the binding of OdbcDriverSetup:
// two functions under their own names, which load the library on first use, keep it for the life
// of the process, and show a message box when it or the function cannot be found.
#pragma once

#include <windows.h>

namespace SystemOdbcInstaller {

// As the library's own functions. When they cannot be found, the first returns FALSE and the second
// SQL_ERROR (-1).
BOOL SQLConfigDataSource(HWND parent, WORD request, LPCSTR driver, LPCSTR attributes);
SHORT SQLInstallerError(WORD record, DWORD* errorCode, LPSTR message, WORD messageSize,
                        WORD* messageLength);

}  // namespace SystemOdbcInstaller
