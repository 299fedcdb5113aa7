#include "admin/entry_owner.h"

#include <cstring>

#include "registration/uninstall_keys.h"
#include "run/package_names.h"
#include "services/same_name.h"
#include "services/text.h"

namespace {

// True for a key with neither values nor subkeys.
bool isEmptyKey(const ZELKiRegistry& key) {
    DWORD subkeys = 0;
    DWORD values = 0;
    return RegQueryInfoKeyA(key.GetHandle(), nullptr, nullptr, nullptr, &subkeys, nullptr, nullptr,
                            &values, nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS &&
           subkeys == 0 && values == 0;
}

// The backslash before "bin" of a command that a registration as name writes, or null.
const char* findCommandEnd(const char* text, const char* name) {
    char end[REGISTRY_TEXT_BYTES];
    formatText(end, sizeof end, UNINSTALL_STRING_FORMAT, "\\", PROGRAM_FILE, name);
    const size_t length = strlen(text);
    const size_t endLength = strlen(end);
    if (length <= endLength) return nullptr;
    const char* found = text + length - endLength;
    return isBackslashAt(text, length - endLength) && isSameName(found, end) ? found : nullptr;
}

bool isCommandOf(const char* text, const RegisteredCopy& copy) {
    const char* end = findCommandEnd(text, copy.name);
    char folder[PATH_BYTES];
    return end &&
           formatText(folder, sizeof folder, "%.*s", static_cast<int>(end + 1 - text), text) ==
               TEXT_OK &&
           isSameFolder(folder, copy.dir);
}

EntryOwner decideOwner(const ZELKiRegistry& key, const Entry& entry, const char* name) {
    if (entry.hasOwnCommand) return EntryOwner::THIS_COPY;
    if (isPackageCommand(entry.command, name)) return EntryOwner::OTHER_FOLDER;
    if (isPackageDisplayName(entry.displayName, name)) return EntryOwner::THIS_COPY;
    return isEmptyKey(key) ? EntryOwner::THIS_COPY : EntryOwner::OTHER_PRODUCT;
}

}  // namespace

void readEntry(const RegisteredCopy& copy, Entry& entry) {
    entry = {};
    formatText(entry.expectedCommand, sizeof entry.expectedCommand, UNINSTALL_STRING_FORMAT,
               copy.dir, PROGRAM_FILE, copy.name);
    char path[REGISTRY_TEXT_BYTES];
    formatText(path, sizeof path, "%s%s", UNINSTALL_KEY, copy.name);
    ZELKiRegistry key;
    if (!openForReading(key, *copy.view, path)) return;
    readRegistryText(key, DISPLAY_NAME_VALUE, entry.displayName, sizeof entry.displayName);
    readRegistryText(key, UNINSTALL_STRING_VALUE, entry.command, sizeof entry.command);
    readRegistryText(key, DISPLAY_VERSION_VALUE, entry.version, sizeof entry.version);
    entry.hasOwnCommand = isCommandOf(entry.command, copy);
    entry.owner = decideOwner(key, entry, copy.name);
}

EntryOwner findEntryOwner(const RegisteredCopy& copy) {
    Entry entry;
    readEntry(copy, entry);
    return entry.owner;
}

bool isPackageDisplayName(const char* text, const char* name) {
    char expected[REGISTRY_TEXT_BYTES];
    formatText(expected, sizeof expected, DISPLAY_NAME_FORMAT, name);
    return isSameName(text, expected);
}

bool isPackageCommand(const char* text, const char* name) {
    return findCommandEnd(text, name) != nullptr;
}
