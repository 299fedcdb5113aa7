#include "services/registry.h"

#include <cstdlib>
#include <cstring>

#include "services/owners.h"
#include "services/text.h"

namespace {

constexpr size_t KEY_PATH_BYTES = 2048;

uint32_t failureCode(LSTATUS status) {
    return status == ERROR_ACCESS_DENIED ? ERROR_ACCESS_DENIED : ZELKI_REGISTRY_ERROR;
}

// What the deletion of a key with all below it came to. A key can be left without a failure.
struct Deletion {
    uint32_t code = 0;
    bool deleted = false;
};

Deletion deleteTree(HKEY root, const char* path, const char* copyName, const char* except);

// Deletes all subkeys of tree but the spared ones. deleted tells whether tree may go now.
Deletion deleteSubkeys(HKEY tree, const char* copyName, const char* except) {
    Deletion all = {0, true};
    for (DWORD index = 0;;) {
        char subkey[256];
        DWORD size = sizeof subkey;
        const LSTATUS status =
            RegEnumKeyExA(tree, index, subkey, &size, nullptr, nullptr, nullptr, nullptr);
        if (status == ERROR_NO_MORE_ITEMS) return all;
        // Not reported, and this key stays: removing a copy must not be called a failure over a
        // subkey that nobody can read.
        if (status != ERROR_SUCCESS) return {0, false};
        if (except && *except && strcmp(subkey, except) == 0) {
            ++index;
            continue;
        }
        const Deletion one = deleteTree(tree, subkey, copyName, except);
        if (one.code != 0) return one;
        // The index stays after a deletion: the next subkey has moved into the place. One that was
        // left is passed over, or the walk would never end, and keeps the keys above it.
        if (!one.deleted) {
            all.deleted = false;
            ++index;
        }
    }
}

Deletion deleteTree(HKEY root, const char* path, const char* copyName, const char* except) {
    if (!path || !*path) return {ERROR_BADKEY, false};
    // Small, because it stands on the stack once for every level of the tree.
    char full[512];
    if (substituteCopyName(path, copyName, full, sizeof full) != TEXT_OK) {
        return {ZELKI_REGISTRY_ERROR, false};
    }
    OwnedKey tree;
    const LSTATUS opened = RegOpenKeyExA(root, full, 0, REGISTRY_DELETE, tree.receive());
    if (opened != ERROR_SUCCESS) return {static_cast<uint32_t>(opened), false};
    const Deletion subkeys = deleteSubkeys(tree.get(), copyName, except);
    if (subkeys.code != 0 || !subkeys.deleted) return subkeys;
    tree.reset();
    const LSTATUS status = RegDeleteKeyA(root, full);
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
    const LSTATUS status = RegSetValueExA(key, name, 0, type, static_cast<const BYTE*>(data), size);
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
        char entry[260] = "";  // stays empty when the entry does not fit
        BYTE data[260];
        DWORD entrySize = sizeof entry;
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
    // The second pass makes the search circular: it visits what lies before the start.
    *found = searchValues(name, start, UINT32_MAX, index) || searchValues(name, 0, start, index);
    return 0;
}

uint32_t ZELKiRegistry::DeleteKeyTree(HKEY root, const char* path, unsigned, const char* except) {
    return deleteTree(root, path, nullptr, except).code;
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
    char full[KEY_PATH_BYTES];
    // A path that was cut here is still too long for the base operation, which refuses it.
    substituteCopyName(path, copyName, full, sizeof full);
    return Open(root, full, access);
}

uint32_t ZELKiCopyNameRegistry::Create(HKEY root, const char* path, const char* copyName,
                                       REGSAM access, uint32_t options) {
    char full[KEY_PATH_BYTES];
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
    return deleteTree(root, path, copyName, except).code;
}

int32_t substituteCopyName(const char* path, const char* copyName, char* out, size_t size) {
    static constexpr const char* TOKENS[] = {"$CurrentInstallationName$",
                                             "$DefaultInstallationName$"};
    for (const char* token : TOKENS) {
        const char* place = copyName ? strstr(path, token) : nullptr;
        if (!place) continue;
        return formatText(out, size, "%.*s%s%s", static_cast<int>(place - path), path, copyName,
                          place + strlen(token));
    }
    return copyText(out, size, path);
}

bool readRegistryText(const ZELKiRegistry& registry, const char* name, char* out, size_t size) {
    out[0] = '\0';
    auto count = static_cast<DWORD>(size);
    if (registry.QueryValue(name, out, &count) == 0) {
        out[count < size ? count : size - 1] = '\0';
        return true;
    }
    out[0] = '\0';

    // Longer than the buffer, perhaps: what fits of it is wanted.
    if (count <= size) return false;
    const OwnedText whole(static_cast<char*>(malloc(count + 1)));
    if (!whole || registry.QueryValue(name, whole.get(), &count) != 0) return false;
    whole.get()[count] = '\0';
    copyText(out, size, whole.get());
    return true;
}

bool EnumerationEnd::reached(LSTATUS status) {
    constexpr unsigned MOST_FAILURES = 1000;
    switch (status) {
        case ERROR_NO_MORE_ITEMS:
        case ERROR_KEY_DELETED:
        case ERROR_INVALID_HANDLE:
            return true;
        case ERROR_SUCCESS:
        case ERROR_MORE_DATA:
            failuresInARow_ = 0;
            return false;
        default:
            return ++failuresInARow_ >= MOST_FAILURES;
    }
}
