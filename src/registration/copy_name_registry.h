// The registry key wrapper for paths that hold the name of a copy.
#pragma once

#include "services/registry.h"

// ZELKiRegistry with paths that may hold "$CurrentInstallationName$" or, where that is missing,
// "$DefaultInstallationName$": the first of them is replaced by copyName. Without a copy name
// (null) the path is used as it is.
class ZELKiCopyNameRegistry : public ZELKiRegistry {
  public:
    ZELKiCopyNameRegistry() = default;
    // Creates (with access and REGISTRY_WRITE) or opens the key. IsOpen says whether it worked.
    ZELKiCopyNameRegistry(HKEY root, const char* path, bool create, const char* copyName,
                          REGSAM access, uint32_t options);
    ~ZELKiCopyNameRegistry() override = default;

    using ZELKiRegistry::Create;
    using ZELKiRegistry::DeleteKeyTree;
    using ZELKiRegistry::Open;
    using ZELKiRegistry::TryOpen;
    uint32_t Open(HKEY root, const char* path, const char* copyName, REGSAM access);
    uint32_t Create(HKEY root, const char* path, const char* copyName, REGSAM access,
                    uint32_t options);
    bool TryOpen(HKEY root, const char* path, const char* copyName, REGSAM access);
    // The names of subkeys are replaced in the same way.
    uint32_t DeleteKeyTree(HKEY root, const char* path, unsigned reserved, const char* copyName,
                           const char* except);
};

// Puts copyName in place of the name token of path. Returns a result of services/text.h.
int32_t substituteCopyName(const char* path, const char* copyName, char* out, size_t size);
