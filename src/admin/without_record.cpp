#include "admin/without_record.h"

#include <algorithm>
#include <cstring>

#include "admin/entry_owner.h"
#include "odbc/attribute_list.h"
#include "odbc/odbc_keys.h"
#include "registration/uninstall_keys.h"
#include "run/package_names.h"
#include "services/owners.h"
#include "services/same_name.h"
#include "services/text.h"

namespace {

// What the three searches share.
struct Search {
    const View& view;
    const CopyList& copies;
    List<LostPart>& parts;

    template <typename IsPartOf>
    bool hasCopy(IsPartOf isPartOf) const {
        return std::any_of(copies.begin(), copies.end(), [&](const RegisteredCopy& copy) {
            return copy.view == &view && isPartOf(copy);
        });
    }
    void add(LostKind kind, const char* name, const char* shown) const {
        LostPart part = {};
        part.view = &view;
        part.kind = kind;
        copyText(part.name, name);
        copyText(part.shown, shown);
        parts.add(part);
    }
};

// Calls visit with the name of each value of a key.
template <typename Visit>
void walkValues(const View& view, const char* path, Visit visit) {
    ZELKiRegistry key;
    if (!openForReading(key, view, path)) return;
    EnumerationEnd end;
    for (DWORD index = 0;; ++index) {
        char name[REGISTRY_TEXT_BYTES];
        DWORD size = sizeof name;
        const LSTATUS status =
            RegEnumValueA(key.GetHandle(), index, name, &size, nullptr, nullptr, nullptr, nullptr);
        if (end.reached(status)) return;
        if (status == ERROR_SUCCESS) visit(name);
    }
}

void findDrivers(const Search& search) {
    walkValues(search.view, INSTALLED_DRIVERS_KEY, [&](const char* name) {
        if (compareFolded(name, DRIVER_NAME_PREFIX, sizeof DRIVER_NAME_PREFIX - 1) != 0) return;
        if (!search.hasCopy([name](const RegisteredCopy& copy) {
                char driver[DESCRIPTION_BYTES];
                formatDescription(copy.dir, driver);
                return isSameName(driver, name);
            })) {
            search.add(LostKind::DRIVER, name, "");
        }
    });
}

void findXaLibraries(const Search& search) {
    walkValues(search.view, XA_LIBRARIES_KEY, [&](const char* name) {
        const char* file = findLastBackslash(name);
        if (!file || !isSameName(file + 1, XA_FILE)) return;
        if (!search.hasCopy([name](const RegisteredCopy& copy) {
                char library[LIBRARY_PATH_BYTES];
                formatCopyFile(copy, ODBC_BIN_FOLDER, XA_FILE, library);
                return isSameName(library, name);
            })) {
            search.add(LostKind::XA_LIBRARY, name, "");
        }
    });
}

void findUninstallEntry(const Search& search, HKEY entries, const char* name) {
    ZELKiRegistry key;
    char displayName[REGISTRY_TEXT_BYTES];
    char command[REGISTRY_TEXT_BYTES];
    key.TryOpen(entries, name, REGISTRY_READ | search.view.flag);
    readRegistryText(key, DISPLAY_NAME_VALUE, displayName, sizeof displayName);
    readRegistryText(key, UNINSTALL_STRING_VALUE, command, sizeof command);
    if (isPackageDisplayName(displayName, name) || isPackageCommand(command, name)) {
        search.add(LostKind::UNINSTALL_ENTRY, name, displayName);
    }
}

void findUninstallEntries(const Search& search) {
    ZELKiRegistry key;
    if (!openForReading(key, search.view, UNINSTALL_KEY)) return;
    EnumerationEnd end;
    for (DWORD index = 0;; ++index) {
        char name[COPY_NAME_BYTES];
        const LSTATUS status = RegEnumKeyA(key.GetHandle(), index, name, sizeof name);
        if (end.reached(status)) return;
        const auto isNamed = [&name](const RegisteredCopy& copy) {
            return isSameName(copy.name, name);
        };
        if (status == ERROR_SUCCESS && !search.hasCopy(isNamed)) {
            findUninstallEntry(search, key.GetHandle(), name);
        }
    }
}

}  // namespace

void findLostParts(const View& view, const CopyList& copies, List<LostPart>& parts) {
    const Search search = {view, copies, parts};
    findDrivers(search);
    findUninstallEntries(search);
    findXaLibraries(search);
}
