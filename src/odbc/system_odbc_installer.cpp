#include "odbc/system_odbc_installer.h"

#include "odbc/odbc_installer_types.h"
#include "services/message_format.h"
#include "services/path.h"
#include "services/system_library.h"

namespace {

// Texts of the boxes, in the program's own string table. It has no string table, so they are empty.
constexpr UINT BOX_CAPTION = 10241;
constexpr UINT BOX_NO_LIBRARY = 10242;
constexpr UINT BOX_NO_FUNCTION = 10243;

constexpr int TEXT_BYTES = 256;

HMODULE systemInstaller;  // kept to the end of the process

void loadOwnText(UINT id, char (&text)[TEXT_BYTES]) {
    text[0] = '\0';
    LoadStringA(GetModuleHandleA(nullptr), id, text, TEXT_BYTES);
}

void showBox(const char* text) {
    char caption[TEXT_BYTES];
    loadOwnText(BOX_CAPTION, caption);
    MessageBoxA(nullptr, text, caption, MB_ICONINFORMATION);
}

void readModulePath(HMODULE module, char (&path)[PATH_BYTES]) {
    path[0] = '\0';
    GetModuleFileNameA(module, path, PATH_BYTES);
    path[PATH_BYTES - 1] = '\0';  // a path that was cut has no terminating zero
}

void showMissingFunction(const char* name) {
    char libraryPath[PATH_BYTES];
    char programPath[PATH_BYTES];
    readModulePath(systemInstaller, libraryPath);
    readModulePath(nullptr, programPath);
    char unused[TEXT_BYTES];
    loadOwnText(BOX_NO_FUNCTION, unused);
    // Required: the program's own path is the format, and the loaded text is not. The box shows the
    // path, and a per cent sign in it does no harm.
    const char* arguments[] = {name, libraryPath};
    char text[3 * PATH_BYTES];
    formatMessage(text, sizeof text, programPath, arguments);
    showBox(text);
}

template <typename Function>
Function* find(const char* name) {
    if (!systemInstaller) systemInstaller = loadSystemLibrary(ODBC_INSTALLER_LIBRARY);
    if (!systemInstaller) {
        char text[TEXT_BYTES];
        loadOwnText(BOX_NO_LIBRARY, text);
        showBox(text);
        return nullptr;
    }
    const auto function = findFunction<Function>(systemInstaller, name);
    if (!function) showMissingFunction(name);
    return function;
}

}  // namespace

BOOL SystemOdbcInstaller::SQLConfigDataSource(HWND parent, WORD request, LPCSTR driver,
                                              LPCSTR attributes) {
    const auto function = find<SqlConfigDataSourceFunction>("SQLConfigDataSource");
    return function ? function(parent, request, driver, attributes) : FALSE;
}

SHORT SystemOdbcInstaller::SQLInstallerError(WORD record, DWORD* errorCode, LPSTR message,
                                             WORD messageSize, WORD* messageLength) {
    const auto function = find<SqlInstallerErrorFunction>("SQLInstallerError");
    return function ? function(record, errorCode, message, messageSize, messageLength) : SQL_ERROR;
}
