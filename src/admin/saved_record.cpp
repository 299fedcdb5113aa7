#include "admin/saved_record.h"

#include <cstring>

#include "admin/entry_owner.h"
#include "admin/timestamp.h"
#include "registration/installed_copies_keys.h"
#include "registration/uninstall_keys.h"
#include "services/owners.h"
#include "services/registry_tree.h"
#include "services/text.h"

namespace {

// Below it are a key for each kind, in it one for each name, and in that the copy of the tree.
constexpr char KEPT_KEY[] = "SOFTWARE\\Orvane\\zelkpmutil";
constexpr char TREE_SUBKEY[] = "Key";
constexpr char COMPLETE_VALUE[] = "Complete";  // REG_SZ, since when: the mark

struct KindText {
    const char* subkey;
    const char* command;
    const char* original;  // before the name
};
constexpr KindText KINDS[] = {
    {"Upgrade", "upgrade", INSTALLED_COPIES_KEY},
    {"Entry", "unregister", UNINSTALL_KEY},
};

const KindText& textOf(KeptKind kind) {
    return KINDS[static_cast<size_t>(kind)];
}

struct KeyText {
    char text[REGISTRY_TEXT_BYTES] = "";
};

KeyText keptPath(KeptKind kind, const char* name) {
    KeyText path;
    formatKeptPath(kind, name, path.text, sizeof path.text);
    return path;
}

KeyText originalPath(KeptKind kind, const char* name) {
    KeyText path;
    const bool isRecord = kind == KeptKind::RECORD;
    formatText(path.text, sizeof path.text, "%s%s%s", textOf(kind).original, isRecord ? "\\" : "",
               name);
    return path;
}

LSTATUS openKey(HKEY root, const char* path, OwnedKey& key) {
    return RegOpenKeyExA(root, path, 0, KEY_READ, key.put());
}

LSTATUS createKey(HKEY root, const char* path, OwnedKey& key) {
    return RegCreateKeyExA(root, path, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, key.put(), nullptr);
}

bool readMark(HKEY kept, char* since, size_t size) {
    return kept && readRegistryText(kept, COMPLETE_VALUE, since, size);
}

// Deletes a key with all below it; it is no failure when there is none.
DWORD deleteKey(const char* path) {
    const LSTATUS status = RegDeleteTreeA(HKEY_LOCAL_MACHINE, path);
    return status == ERROR_FILE_NOT_FOUND ? ERROR_SUCCESS : static_cast<DWORD>(status);
}

// A record without its path was begun, or is what somebody else wrote: the copy counts as lost.
bool isWritten(KeptKind kind, HKEY key) {
    char text[REGISTRY_TEXT_BYTES];
    return kind != KeptKind::RECORD || readRegistryText(key, PATH_VALUE, text, sizeof text);
}

bool isOwnEntry(KeptKind kind, HKEY key, const char* name) {
    char found[REGISTRY_TEXT_BYTES];
    return kind == KeptKind::ENTRY &&
           readRegistryText(key, DISPLAY_NAME_VALUE, found, sizeof found) &&
           isPackageDisplayName(found, name);
}

// Copies the tree back. kept is the key with the mark.
DWORD copyBack(KeptKind kind, const char* name, HKEY kept, bool* restored) {
    OwnedKey tree;
    OwnedKey original;
    LSTATUS status = openKey(kept, TREE_SUBKEY, tree);
    if (status != ERROR_SUCCESS) return static_cast<DWORD>(status);
    const KeyText path = originalPath(kind, name);
    *restored = openKey(HKEY_LOCAL_MACHINE, path.text, original) != ERROR_SUCCESS;
    if (!*restored && isOwnEntry(kind, original.get(), name)) return ERROR_FILE_EXISTS;
    if (!*restored) *restored = !isWritten(kind, original.get());
    status = createKey(HKEY_LOCAL_MACHINE, path.text, original);
    if (status == ERROR_SUCCESS) {
        status =
            copyKeyTree(tree.get(), original.get(), *restored ? CopyTree::ALL : CopyTree::MISSING);
    }
    if (status != ERROR_SUCCESS) return static_cast<DWORD>(status);
    const bool isSame = !*restored || holdsKeyTree(original.get(), tree.get());
    return isSame ? ERROR_SUCCESS : ERROR_INVALID_DATA;
}

}  // namespace

void formatKeptPath(KeptKind kind, const char* name, char* out, size_t size) {
    formatText(out, size, "%s\\%s\\%s", KEPT_KEY, textOf(kind).subkey, name);
}

bool isKept(KeptKind kind, const char* name) {
    OwnedKey kept;
    char since[64];
    openKey(HKEY_LOCAL_MACHINE, keptPath(kind, name).text, kept);
    return readMark(kept.get(), since, sizeof since);
}

DWORD keepKey(KeptKind kind, const char* name) {
    const KeyText path = keptPath(kind, name);
    if (isKept(kind, name)) return ERROR_ALREADY_EXISTS;
    if (const DWORD error = deleteKey(path.text)) return error;  // of a run that was ended
    OwnedKey original;
    OwnedKey kept;
    OwnedKey tree;
    LSTATUS status = openKey(HKEY_LOCAL_MACHINE, originalPath(kind, name).text, original);
    if (status == ERROR_SUCCESS) status = createKey(HKEY_LOCAL_MACHINE, path.text, kept);
    if (status == ERROR_SUCCESS) status = createKey(kept.get(), TREE_SUBKEY, tree);
    if (status == ERROR_SUCCESS) {
        status = copyKeyTree(original.get(), tree.get(), CopyTree::ALL);
    }
    if (status == ERROR_SUCCESS && !holdsKeyTree(tree.get(), original.get())) {
        status = ERROR_INVALID_DATA;
    }
    const Timestamp now;
    if (status == ERROR_SUCCESS) {
        status = writeRegistryText(kept.get(), COMPLETE_VALUE, now.seconds);
    }
    if (status != ERROR_SUCCESS) dropKept(kind, name);
    return static_cast<DWORD>(status);
}

DWORD putKeptBack(KeptKind kind, const char* name, bool* restored) {
    OwnedKey kept;
    *restored = false;
    const LSTATUS status = openKey(HKEY_LOCAL_MACHINE, keptPath(kind, name).text, kept);
    if (status != ERROR_SUCCESS) return static_cast<DWORD>(status);
    const DWORD error = copyBack(kind, name, kept.get(), restored);
    kept.reset();
    return error == ERROR_SUCCESS ? dropKept(kind, name) : error;
}

DWORD deleteRecord(const char* name) {
    return deleteKey(originalPath(KeptKind::RECORD, name).text);
}

DWORD dropKept(KeptKind kind, const char* name) {
    const KeyText path = keptPath(kind, name);
    // The mark goes first: half of a tree must not be put back.
    RegDeleteKeyValueA(HKEY_LOCAL_MACHINE, path.text, COMPLETE_VALUE);
    const DWORD error = deleteKey(path.text);
    // The keys above go when they are empty: one with subkeys cannot be deleted in this way.
    char parent[REGISTRY_TEXT_BYTES];
    formatText(parent, sizeof parent, "%s\\%s", KEPT_KEY, textOf(kind).subkey);
    RegDeleteKeyA(HKEY_LOCAL_MACHINE, parent);
    RegDeleteKeyA(HKEY_LOCAL_MACHINE, KEPT_KEY);
    return error;
}

void listInterrupted(const View& view, List<Interrupted>& interrupted) {
    for (const KindText& kind : KINDS) {
        char path[REGISTRY_TEXT_BYTES];
        formatText(path, sizeof path, "%s\\%s", KEPT_KEY, kind.subkey);
        ZELKiRegistry names;
        if (!openForReading(names, view, path)) continue;
        Interrupted one = {};
        one.view = &view;
        copyText(one.command, kind.command);
        for (DWORD i = 0; RegEnumKeyA(names.GetHandle(), i, one.name, sizeof one.name) == 0; ++i) {
            OwnedKey kept;
            RegOpenKeyExA(names.GetHandle(), one.name, 0, KEY_READ | view.flag, kept.put());
            if (readMark(kept.get(), one.since, sizeof one.since)) interrupted.add(one);
        }
    }
}
