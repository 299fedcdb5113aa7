#include "registration/uninstall_entry.h"

#include <windows.h>

#include "registration/uninstall_keys.h"
#include "run/messages.h"
#include "run/mode.h"
#include "run/package_names.h"
#include "run/run_settings.h"
#include "services/owners.h"
#include "services/registry.h"
#include "services/text.h"

namespace {

// True when the entry is there afterwards.
bool addEntry(const char* keyPath, const char* uninstallString) {
    ZELKiRegistry existing;
    if (existing.TryOpen(HKEY_LOCAL_MACHINE, keyPath, REGISTRY_READ)) return true;
    OwnedKey key;
    RegCreateKeyA(HKEY_LOCAL_MACHINE, keyPath, key.put());
    writeRegistryText(key.get(), DISPLAY_NAME_VALUE, displayName);
    // The only result that counts: without this value the entry is useless, and without the key
    // this fails as well.
    return writeRegistryText(key.get(), UNINSTALL_STRING_VALUE, uninstallString) == ERROR_SUCCESS;
}

// True when the entry is gone afterwards.
bool removeEntry(const char* keyPath) {
    ZELKiRegistry registry;
    if (!registry.TryOpen(HKEY_LOCAL_MACHINE, keyPath, REGISTRY_READ)) return true;
    return registry.DeleteKeyTree(HKEY_LOCAL_MACHINE, keyPath, 0, nullptr) == 0;
}

}  // namespace

void writeUninstallEntry(int mode, const char* installDirectory, const char* name) {
    char keyPath[REGISTRY_TEXT_BYTES];
    formatText(keyPath, sizeof keyPath, "%s%s", UNINSTALL_KEY, name);
    char uninstallString[REGISTRY_TEXT_BYTES];
    formatText(uninstallString, sizeof uninstallString, UNINSTALL_STRING_FORMAT, installDirectory,
               PROGRAM_FILE, name);
    sayVerbose(MSG_UNINSTALL_KEY, keyPath);

    if (mode == REGISTER) {
        say(addEntry(keyPath, uninstallString) ? MSG_UNINSTALL_WRITTEN
                                               : MSG_UNINSTALL_WRITE_FAILED);
    } else if (mode == UNREGISTER) {
        say(removeEntry(keyPath) ? MSG_UNINSTALL_REMOVED : MSG_UNINSTALL_REMOVE_FAILED);
    } else {
        say(MSG_UNINSTALL_REMOVED);
    }
}
