#include "registration/copy_record.h"

#include <windows.h>

#include "registration/installed_copies_keys.h"
#include "run/messages.h"
#include "run/mode.h"
#include "services/guid.h"
#include "services/owners.h"
#include "services/registry.h"
#include "services/text.h"

namespace {

constexpr DWORD YES_BYTES = 3;

uint32_t createSubkey(ZELKiCopyNameRegistry& key, const char* subkey, const char* name) {
    char path[REGISTRY_TEXT_BYTES];
    formatText(path, sizeof path, "%s%s", COPY_KEY, subkey);
    return key.Create(HKEY_LOCAL_MACHINE, path, name, REGISTRY_WRITE, REG_OPTION_NON_VOLATILE);
}

void writePath(ZELKiCopyNameRegistry& key, const char* installDirectory, const char* name) {
    // A failure is not reported here: creating the keys below creates this one too, or is reported.
    if (createSubkey(key, "", name) != 0) return;
    writeRegistryText(key.GetHandle(), PATH_VALUE, installDirectory);
    key.SetValue(CLIENT_ONLY_VALUE, "YES", YES_BYTES, REG_SZ);
    key.SetValue(REMOTE_COPY_VALUE, REMOTE_COPY_DATA, YES_BYTES, REG_SZ);
    key.Close();
}

void writeVersion(ZELKiCopyNameRegistry& key, const char* subkey, const char* name) {
    if (createSubkey(key, subkey, name) != 0) {
        say(MSG_RECORD_FAILED);
        return;
    }
    for (const VersionValue& value : VERSION_VALUES) {
        key.SetValue(value.name, value.data, value.size, REG_SZ);
    }
    key.Close();
}

uint32_t writeOleDbIdentifiers(ZELKiCopyNameRegistry& key, const char* name) {
    uint32_t result = createSubkey(key, OLEDB_SUBKEY, name);
    if (result != 0) {
        say(MSG_RECORD_FAILED);
        return result;
    }
    for (const char* valueName : OLEDB_VALUES) {
        char guid[GUID_TEXT_BYTES] = "";
        if (makeGuidText(guid)) result = key.SetValue(valueName, guid, GUID_TEXT_BYTES, REG_SZ);
    }
    key.Close();
    return result;
}

uint32_t nameDefaultCopy(const char* name) {
    // The create is not tested: without the key the write fails.
    OwnedKey key;
    RegCreateKeyA(HKEY_LOCAL_MACHINE, INSTALLED_COPIES_KEY, key.put());
    return static_cast<uint32_t>(writeRegistryText(key.get(), DEFAULT_COPY_VALUE, name));
}

uint32_t registerCopy(const char* installDirectory, const char* name, bool makeDefault) {
    ZELKiCopyNameRegistry key;
    writePath(key, installDirectory, name);
    for (const char* subkey : VERSION_SUBKEYS) writeVersion(key, subkey, name);
    uint32_t result = writeOleDbIdentifiers(key, name);
    if (makeDefault) result = nameDefaultCopy(name);
    say(result == 0 ? MSG_RECORD_WRITTEN : MSG_RECORD_FAILED);
    return result;
}

uint32_t unregisterCopy(const char* name, bool removeProductRoot) {
    ZELKiCopyNameRegistry key;
    uint32_t result = key.DeleteKeyTree(HKEY_LOCAL_MACHINE, COPY_KEY, 0, name, nullptr);
    if (removeProductRoot) {
        result = key.DeleteKeyTree(HKEY_LOCAL_MACHINE, PRODUCT_KEY, 0, nullptr, nullptr);
    }
    say(result == 0 ? MSG_RECORD_REMOVED : MSG_RECORD_FAILED);
    return result;
}

}  // namespace

uint32_t writeCopyRecord(int mode, const char* installDirectory, const char* name, bool makeDefault,
                         bool removeProductRoot) {
    if (mode == REGISTER) return registerCopy(installDirectory, name, makeDefault);
    if (mode == UNREGISTER) return unregisterCopy(name, removeProductRoot);
    say(MSG_RECORD_REMOVED);
    return 0;
}
