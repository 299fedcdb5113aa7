#include "registration/copy_name_registry.h"

#include <cstring>

#include "services/text.h"

namespace {

int32_t putCopyName(const char* path, const void* copyName, char* out, size_t size) {
    return substituteCopyName(path, static_cast<const char*>(copyName), out, size);
}

}  // namespace

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
    return deleteKeyTree(root, path, putCopyName, copyName, except);
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
