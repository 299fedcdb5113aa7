#include "admin/data_sources.h"

#include <cwchar>

#include "admin/action_log.h"
#include "admin/folder_fault.h"
#include "admin/view.h"
#include "odbc/odbc_keys.h"
#include "run/version.h"
#include "services/files/protected_folder.h"
#include "services/registry_export.h"
#include "services/same_name.h"
#include "services/text.h"
#include "services/wide_text.h"

namespace {

// Data sources may not have these names, but their keys are there, and hold what others need.
bool isReserved(const wchar_t* name) {
    return *name == L'\0' || isSameName(name, SOURCE_LIST) || isSameName(name, L"ODBC File DSN");
}

OwnedKey openSources(REGSAM access) {
    OwnedKey key;
    RegOpenKeyExW(HKEY_LOCAL_MACHINE, SOURCES_PATH, 0, access, key.put());
    return key;
}

OwnedKey openList(REGSAM access) {
    OwnedKey key;
    RegOpenKeyExA(HKEY_LOCAL_MACHINE, DATA_SOURCES_KEY, 0, access, key.put());
    return key;
}

// Calls receive(walk) for each entry of the list that names the driver.
template <typename Receiver>
LSTATUS forEachSource(const char* driver, Receiver receive) {
    wchar_t wide[512];
    const OwnedKey list = openList(KEY_READ);
    if (!list || !toWide(driver, wide)) return ERROR_SUCCESS;
    ValueWalk walk(list.get());
    LSTATUS status = walk.next();
    for (; status == ERROR_SUCCESS; status = walk.next()) {
        if (walk.isText(wide)) receive(walk);
    }
    return status == ERROR_NO_MORE_ITEMS ? ERROR_SUCCESS : status;
}

// Deletes the entry of the list and the key. The key alone would be a data source for nobody.
bool removeSource(const wchar_t* name) {
    if (!isSourceName(name)) return false;
    if (RegDeleteValueW(openList(KEY_SET_VALUE).get(), name) != ERROR_SUCCESS) return false;
    const LSTATUS status = RegDeleteTreeW(openSources(KEY_ALL_ACCESS).get(), name);
    return status == ERROR_SUCCESS || status == ERROR_FILE_NOT_FOUND;
}

DWORD writeFile(const char* driver, HANDLE file) {
    RegistryExport out(file);
    char line[512];
    formatText(line, sizeof line, "zelkpmutil %s, view: %s", ZELK_VERSION, ownView().name);
    out.comment(line);
    formatText(line, sizeof line, "driver: %s", driver);
    out.comment(line);
    wchar_t path[PATH_BYTES];
    swprintf(path, PATH_BYTES, L"%ls\\%ls", SOURCES_PATH, SOURCE_LIST);
    out.key(path);
    LSTATUS status = forEachSource(driver, [&](const ValueWalk& walk) { out.value(walk); });
    if (status != ERROR_SUCCESS) return static_cast<DWORD>(status);
    const OwnedKey sources = openSources(KEY_READ);
    status = forEachSource(driver, [&](const ValueWalk& walk) {
        OwnedKey source;
        if (isReserved(walk.name()) || openSubkey(sources.get(), walk.name(), source) != 0) return;
        const size_t size = wcslen(SOURCES_PATH) + walk.nameLength() + 2;
        const OwnedWideBuffer below(static_cast<wchar_t*>(malloc(size * sizeof(wchar_t))));
        if (!below) return out.comment("");
        swprintf(below.get(), size, L"%ls\\%ls", SOURCES_PATH, walk.name());
        out.tree(source.get(), below.get());
    });
    const DWORD written = out.finish();
    return status != ERROR_SUCCESS ? static_cast<DWORD>(status) : written;
}

}  // namespace

bool isSourceName(const wchar_t* name) {
    return !isReserved(name) && !wcschr(name, L'\\');
}

const char* describeExportError(DWORD error) {
    return error == ERROR_INVALID_DATA ? "a name holds a line break, which a .reg file cannot hold"
                                       : "the file cannot be written";
}

DWORD writeDataSources(const char* driver, OwnedHandle file, const char* path) {
    if (!file) return GetLastError();
    const DWORD error = writeFile(driver, file.get());
    file.reset();
    if (error != ERROR_SUCCESS) DeleteFileA(path);
    return error;
}

unsigned countDataSources(const char* driver) {
    unsigned count = 0;
    forEachSource(driver, [&](const ValueWalk&) { ++count; });
    return count;
}

DWORD exportDataSources(const char* driver, const char* name, char (&path)[PATH_BYTES],
                        char (&reason)[PATH_BYTES + 128]) {
    ProtectedFolder above;
    ProtectedFolder folder;
    if (const DWORD error = openProtected(above, L"Orvane", reason)) return error;
    const FolderFault fault = folder.openBelow(above, L"DataSources");
    if (const DWORD error = describeFault(folder, fault, reason)) return error;
    const DWORD error = writeDataSources(driver, createNamedFile(folder, name, ".reg", path), path);
    if (error == ERROR_SUCCESS) return error;
    formatText(reason, sizeof reason, "%s (error %lu): %s", describeExportError(error), error,
               path);
    return error;
}

void removeDataSources(const char* driver, SourceReceiver receive, void* context) {
    List<wchar_t> names;  // one after the other, each with its zero
    forEachSource(driver, [&](const ValueWalk& walk) {
        for (const wchar_t* next = walk.name();; ++next) {
            names.add(*next);
            if (*next == L'\0') return;
        }
    });
    for (const wchar_t* name = names.begin(); name != names.end(); name += wcslen(name) + 1) {
        char text[PATH_BYTES];
        if (!toAnsi(name, text)) copyText(text, "?");
        receive(context, text, removeSource(name));
    }
}
