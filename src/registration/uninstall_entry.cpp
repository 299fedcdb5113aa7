#include "registration/uninstall_entry.h"

#include <windows.h>

#include "run/messages.h"
#include "run/run_settings.h"
#include "services/owners.h"
#include "services/registry.h"
#include "services/text.h"

namespace {

constexpr char UNINSTALL_KEY[] = "Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\";
constexpr char DISPLAY_NAME_VALUE[] = "DisplayName";
constexpr char UNINSTALL_STRING_VALUE[] = "UninstallString";

// True when the entry is there afterwards.
bool addEntry(const char* keyPath, const char* uninstallString) {
    ZELKiRegistry probe;
    if (probe.TryOpen(HKEY_LOCAL_MACHINE, keyPath, REGISTRY_READ)) return true;
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
    // The path of the tool is not quoted, also where it holds blanks. This is required; Windows
    // finds the program by trying the path up to each blank.
    char uninstallString[REGISTRY_TEXT_BYTES];
    formatText(uninstallString, sizeof uninstallString, "%sbin\\zelkpmreg.exe -u -p -c %s",
               installDirectory, name);
    sayVerbose(MSG_UNINSTALL_KEY, keyPath);

    if (mode == 0) {
        say(addEntry(keyPath, uninstallString) ? MSG_UNINSTALL_WRITTEN
                                               : MSG_UNINSTALL_WRITE_FAILED);
    } else if (mode == 1) {
        say(removeEntry(keyPath) ? MSG_UNINSTALL_REMOVED : MSG_UNINSTALL_REMOVE_FAILED);
    } else {
        say(MSG_UNINSTALL_REMOVED);
    }
}
