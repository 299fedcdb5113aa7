#include "admin/oledb_server.h"

#include "run/package_names.h"
#include "services/owners.h"
#include "services/same_name.h"
#include "services/text.h"

namespace {

constexpr char CLASSES_KEY[] = "SOFTWARE\\Classes\\CLSID";

// classes: the open CLASSES_KEY of the view.
void readServer(HKEY classes, const View& view, const char* classId, char (&path)[PATH_BYTES]) {
    char subkey[COPY_NAME_BYTES + 32];
    formatText(subkey, sizeof subkey, "%s\\InprocServer32", classId);
    ZELKiRegistry key;
    path[0] = '\0';
    if (key.TryOpen(classes, subkey, KEY_QUERY_VALUE | view.flag)) {
        readRegistryText(key, nullptr, path, sizeof path);
    }
}

bool isProvider(const char* path) {
    const char* last = findLastBackslash(path);
    return last && isSameName(last + 1, PROVIDER_FILE);
}

}  // namespace

void readServerPath(const View& view, const char* classId, char (&path)[PATH_BYTES]) {
    ZELKiRegistry classes;
    path[0] = '\0';
    if (*classId != '\0' && openForReading(classes, view, CLASSES_KEY)) {
        readServer(classes.GetHandle(), view, classId, path);
    }
}

void searchProviderServers(const View& view, ProviderSearch& search) {
    ZELKiRegistry classes;
    if (search.done || !openForReading(classes, view, CLASSES_KEY)) return;
    search.done = true;
    EnumerationEnd end;
    for (DWORD index = 0;; ++index) {
        char classId[COPY_NAME_BYTES];
        const LSTATUS status = RegEnumKeyA(classes.GetHandle(), index, classId, sizeof classId);
        if (end.reached(status)) return;
        if (status != ERROR_SUCCESS) continue;
        ProviderServer server = {};
        readServer(classes.GetHandle(), view, classId, server.path);
        if (!isProvider(server.path)) continue;
        copyText(server.classId, classId);
        search.servers.add(server);
    }
}
