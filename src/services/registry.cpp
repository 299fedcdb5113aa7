#include "services/registry.h"

#include <algorithm>
#include <cstring>

#include "services/owners.h"
#include "services/system_library.h"
#include "services/text.h"

namespace {

uint32_t failureCode(LSTATUS status) {
    return status == ERROR_ACCESS_DENIED ? ERROR_ACCESS_DENIED : ZELKI_REGISTRY_ERROR;
}

// The result of deleting a key with all below it. A key can stay without a failure.
struct Deletion {
    uint32_t code = 0;
    bool deleted = false;
};

// What is the same at every level of a tree.
struct TreeOptions {
    const char* copyName;  // null: paths are used as they are
    const char* except;
};

Deletion deleteTree(HKEY root, const char* path, const TreeOptions& options);

// Deletes all subkeys of tree except the spared ones. deleted says whether tree may go now.
Deletion deleteSubkeys(HKEY tree, const TreeOptions& options) {
    const char* except = options.except;
    Deletion all = {0, true};
    for (DWORD index = 0;;) {
        char subkey[256];
        DWORD size = sizeof subkey;
        const LSTATUS status =
            RegEnumKeyExA(tree, index, subkey, &size, nullptr, nullptr, nullptr, nullptr);
        if (status == ERROR_NO_MORE_ITEMS) return all;
        // Not reported, and this key stays: one subkey that cannot be read does not make the
        // removal of a copy a failure.
        if (status != ERROR_SUCCESS) return {0, false};
        if (except && *except && strcmp(subkey, except) == 0) {
            ++index;
            continue;
        }
        const Deletion one = deleteTree(tree, subkey, options);
        if (one.code != 0) return one;
        // The index stays after a deletion, because the next subkey has moved into its place. A
        // subkey that stays is passed over, or the walk would never end, and keeps the keys above.
        if (!one.deleted) {
            all.deleted = false;
            ++index;
        }
    }
}

// Deletes the key behind the handle itself. By name a registry link would be followed: its target
// would be deleted, and a link to a key above would make the walk endless.
// Windows documentation: "ZwDeleteKey".
LSTATUS deleteOpenKey(HKEY key) {
    using DeleteKey = LONG NTAPI(HANDLE);
    const auto deleteKey = findNativeFunction<DeleteKey>("NtDeleteKey");
    return deleteKey ? static_cast<LSTATUS>(toWindowsCode(deleteKey(key))) : ERROR_PROC_NOT_FOUND;
}

Deletion deleteTree(HKEY root, const char* path, const TreeOptions& options) {
    char full[512];  // small, because each level of the tree has one on the stack
    if (substituteCopyName(path, options.copyName, full, sizeof full) != TEXT_OK) {
        return {ZELKI_REGISTRY_ERROR, false};
    }
    if (*full == '\0') return {ERROR_BADKEY, false};
    OwnedKey tree;
    const LSTATUS opened =
        RegOpenKeyExA(root, full, REG_OPTION_OPEN_LINK, REGISTRY_DELETE, tree.put());
    if (opened != ERROR_SUCCESS) return {static_cast<uint32_t>(opened), false};
    const Deletion subkeys = deleteSubkeys(tree.get(), options);
    if (subkeys.code != 0 || !subkeys.deleted) return subkeys;
    const LSTATUS status = deleteOpenKey(tree.get());
    return {static_cast<uint32_t>(status), status == ERROR_SUCCESS};
}

}  // namespace

ZELKiRegistry::~ZELKiRegistry() {
    Close();
}

uint32_t ZELKiRegistry::hold(LSTATUS status) {
    ownsKey = status == ERROR_SUCCESS;
    if (!ownsKey) key = nullptr;
    return ownsKey ? 0 : ZELKI_REGISTRY_ERROR;
}

uint32_t ZELKiRegistry::Open(HKEY root, const char* path, REGSAM access) {
    const bool fits = copyText(keyPath, path) == TEXT_OK;
    Close();
    if (!fits) return ZELKI_REGISTRY_ERROR;
    return hold(RegOpenKeyExA(root, keyPath, 0, access, &key));
}

uint32_t ZELKiRegistry::Create(HKEY root, const char* path, REGSAM access, uint32_t options) {
    const bool fits = copyText(keyPath, path) == TEXT_OK;
    Close();
    if (!fits) return ZELKI_REGISTRY_ERROR;
    const LSTATUS status =
        RegCreateKeyExA(root, keyPath, 0, nullptr, options, access, nullptr, &key, nullptr);
    return hold(status) == 0 ? 0 : failureCode(status);
}

bool ZELKiRegistry::TryOpen(HKEY root, const char* path, REGSAM access) {
    return Open(root, path, access) == 0;
}

void ZELKiRegistry::Close() {
    const OwnedKey released(ownsKey ? key : nullptr);
    key = nullptr;
    ownsKey = false;
}

HKEY ZELKiRegistry::Attach(HKEY adopted) {
    Close();
    key = adopted;
    return key;
}

uint32_t ZELKiRegistry::QueryValue(const char* name, void* buffer, DWORD* size) const {
    const LSTATUS status =
        RegQueryValueExA(key, name, nullptr, nullptr, static_cast<BYTE*>(buffer), size);
    return status == ERROR_SUCCESS ? 0 : ZELKI_REGISTRY_ERROR;
}

uint32_t ZELKiRegistry::SetValue(const char* name, const void* data, DWORD size, DWORD type) {
    const LSTATUS status = writeRegistryValue(key, name, type, data, size);
    return status == ERROR_SUCCESS ? 0 : failureCode(status);
}

uint32_t ZELKiRegistry::DeleteValue(const char* name) {
    return RegDeleteValueA(key, name) == ERROR_SUCCESS ? 0 : ZELKI_REGISTRY_ERROR;
}

// One pass over the values [from, to).
bool ZELKiRegistry::searchValues(const char* name, unsigned from, unsigned to,
                                 unsigned* index) const {
    EnumerationEnd end;
    for (unsigned i = from; i < to; ++i) {
        char entry[261] = "";  // stays empty when the entry does not fit
        BYTE data[260];
        DWORD entrySize = sizeof entry - 1;
        DWORD dataSize = sizeof data;
        if (end.reached(
                RegEnumValueA(key, i, entry, &entrySize, nullptr, nullptr, data, &dataSize))) {
            return false;
        }
        if (strcmp(entry, name) == 0) {
            *index = i + 1;
            return true;
        }
    }
    return false;
}

uint32_t ZELKiRegistry::FindValue(const char* name, bool* found, unsigned* index) const {
    *found = false;
    if (!key) return 0;
    const unsigned start = *index;
    // The second pass makes the search circular: it covers the values before the start.
    *found = searchValues(name, start, UINT32_MAX, index) || searchValues(name, 0, start, index);
    return 0;
}

uint32_t ZELKiRegistry::DeleteKeyTree(HKEY root, const char* path, unsigned, const char* except) {
    return deleteTree(root, path, {nullptr, except}).code;
}

ZELKiCopyNameRegistry::ZELKiCopyNameRegistry(HKEY root, const char* path, bool create,
                                             const char* copyName, REGSAM access,
                                             uint32_t options) {
    if (create) {
        Create(root, path, copyName, access | REGISTRY_WRITE, options);
    } else {
        Open(root, path, copyName, access);
    }
}

uint32_t ZELKiCopyNameRegistry::Open(HKEY root, const char* path, const char* copyName,
                                     REGSAM access) {
    char full[REGISTRY_TEXT_BYTES];
    // A path that was cut here is still too long for the base operation, which refuses it.
    substituteCopyName(path, copyName, full, sizeof full);
    return Open(root, full, access);
}

uint32_t ZELKiCopyNameRegistry::Create(HKEY root, const char* path, const char* copyName,
                                       REGSAM access, uint32_t options) {
    char full[REGISTRY_TEXT_BYTES];
    substituteCopyName(path, copyName, full, sizeof full);
    return Create(root, full, access, options);
}

bool ZELKiCopyNameRegistry::TryOpen(HKEY root, const char* path, const char* copyName,
                                    REGSAM access) {
    Open(root, path, copyName, access);
    return IsOpen();
}

uint32_t ZELKiCopyNameRegistry::DeleteKeyTree(HKEY root, const char* path, unsigned,
                                              const char* copyName, const char* except) {
    return deleteTree(root, path, {copyName, except}).code;
}

int32_t substituteCopyName(const char* path, const char* copyName, char* out, size_t size) {
    static constexpr const char* TOKENS[] = {"$CurrentInstallationName$",
                                             "$DefaultInstallationName$"};
    for (const char* token : TOKENS) {
        const char* place = path && copyName ? strstr(path, token) : nullptr;
        if (!place) continue;
        return formatText(out, size, "%.*s%s%s", static_cast<int>(place - path), path, copyName,
                          place + strlen(token));
    }
    return copyText(out, size, path);
}

bool readRegistryText(const ZELKiRegistry& registry, const char* name, char* out, size_t size) {
    auto count = static_cast<DWORD>(size);
    const bool read = registry.QueryValue(name, out, &count) == 0;
    out[read ? std::min<size_t>(count, size - 1) : 0] = '\0';
    return read;
}

bool readRegistryText(HKEY key, const char* name, char* out, size_t size) {
    ZELKiRegistry registry;
    registry.Attach(key);
    return readRegistryText(registry, name, out, size);
}

LSTATUS writeRegistryValue(HKEY key, const char* name, DWORD type, const void* data, DWORD size) {
    constexpr DWORD LONGEST = 4096;
    BYTE copy[LONGEST + 1];
    if (size > LONGEST) return ERROR_NOT_ENOUGH_MEMORY;
    memcpy(copy, data, size);
    copy[size] = 0xFF;  // not a zero, which RegSetValueExA would store as well
    return RegSetValueExA(key, name, 0, type, copy, size);
}

LSTATUS writeRegistryText(HKEY key, const char* name, const char* text) {
    return writeRegistryValue(key, name, REG_SZ, text, static_cast<DWORD>(strlen(text) + 1));
}

bool EnumerationEnd::reached(LSTATUS status) {
    constexpr unsigned MOST_ERRORS = 1000;
    switch (status) {
        case ERROR_NO_MORE_ITEMS:
        case ERROR_KEY_DELETED:
        case ERROR_INVALID_HANDLE:
            return true;
        case ERROR_SUCCESS:
        case ERROR_MORE_DATA:
            consecutiveErrors_ = 0;
            return false;
        default:
            return ++consecutiveErrors_ >= MOST_ERRORS;
    }
}
