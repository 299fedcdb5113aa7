#include "admin/inventory_values.h"

#include "admin/entry_owner.h"
#include "registration/uninstall_keys.h"
#include "run/package_names.h"
#include "run/version.h"
#include "services/owners.h"
#include "services/text.h"

namespace {

constexpr char PUBLISHER[] = "Orvane";

// The install directory, the file of this program and the name of the copy.
constexpr char QUIET_UNINSTALL_FORMAT[] = "\"%sbin\\%s\" unregister %s";

}  // namespace

LSTATUS writeInventoryValues(const RegisteredCopy& copy) {
    if (findEntryOwner(copy) != EntryOwner::THIS_COPY) return ERROR_SUCCESS;
    char path[REGISTRY_TEXT_BYTES];
    char command[REGISTRY_TEXT_BYTES];
    formatText(path, sizeof path, "%s%s", UNINSTALL_KEY, copy.name);
    formatText(command, sizeof command, QUIET_UNINSTALL_FORMAT, copy.dir, UTILITY_FILE, copy.name);
    const struct {
        const char* name;
        const char* text;
    } texts[] = {
        {DISPLAY_VERSION_VALUE, ZELK_VERSION},
        {PUBLISHER_VALUE, PUBLISHER},
        {INSTALL_LOCATION_VALUE, copy.dir},
        {QUIET_UNINSTALL_VALUE, command},
    };
    OwnedKey key;
    LSTATUS status = RegOpenKeyExA(HKEY_LOCAL_MACHINE, path, 0, KEY_SET_VALUE, key.put());
    for (const auto& value : texts) {
        if (status == ERROR_SUCCESS) status = writeRegistryText(key.get(), value.name, value.text);
    }
    constexpr DWORD YES = 1;
    for (const char* name : {NO_MODIFY_VALUE, NO_REPAIR_VALUE}) {
        if (status == ERROR_SUCCESS) {
            status = writeRegistryValue(key.get(), name, REG_DWORD, &YES, sizeof YES);
        }
    }
    return status;
}
