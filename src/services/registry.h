// The registry key wrapper. It uses the 8-bit registry functions and never names a 32-bit or 64-bit
// view, so that a program uses the view of its own bitness.
#pragma once

#include <windows.h>

#include <cstddef>
#include <cstdint>

constexpr uint32_t ZELKI_REGISTRY_ERROR = 0x90000002;  // any failure that has no code of its own

constexpr REGSAM REGISTRY_READ = 0x20019;    // KEY_READ
constexpr REGSAM REGISTRY_WRITE = 0xF003F;   // KEY_ALL_ACCESS
constexpr REGSAM REGISTRY_DELETE = 0x10008;  // DELETE | KEY_ENUMERATE_SUB_KEYS

constexpr size_t REGISTRY_TEXT_BYTES = 2048;  // the longest key path or text value, with its zero

// Owns at most one open key. No operation throws or prints. After a failed Open or Create the
// object is empty, so that a following SetValue fails instead of reaching another key.
class ZELKiRegistry {
  public:
    ZELKiRegistry() = default;
    ZELKiRegistry(const ZELKiRegistry&) = delete;
    ZELKiRegistry& operator=(const ZELKiRegistry&) = delete;
    virtual ~ZELKiRegistry();

    // Opens an existing key. Returns 0 or ZELKI_REGISTRY_ERROR, the latter also for a path of more
    // than 258 characters.
    uint32_t Open(HKEY root, const char* path, REGSAM access);

    // Opens the key or creates it. Returns 0, ERROR_ACCESS_DENIED or ZELKI_REGISTRY_ERROR.
    uint32_t Create(HKEY root, const char* path, REGSAM access, uint32_t options);

    // As Open; true when the key was opened.
    bool TryOpen(HKEY root, const char* path, REGSAM access);

    // Releases the key if this object opened it, and empties the object.
    void Close();

    // Empties the object and adopts a key that stays the caller's: it is never released here.
    HKEY Attach(HKEY adopted);

    HKEY GetHandle() const { return key; }
    bool IsOpen() const { return ownsKey; }  // false for an adopted key

    // Reads at most *size bytes of a value of any type; *size becomes the number of bytes. Returns
    // 0, or ZELKI_REGISTRY_ERROR also when the data is longer than the buffer. The data may lack a
    // terminating zero.
    uint32_t QueryValue(const char* name, void* buffer, DWORD* size) const;

    // Writes exactly size bytes. Returns 0, ERROR_ACCESS_DENIED or ZELKI_REGISTRY_ERROR.
    uint32_t SetValue(const char* name, const void* data, DWORD size, DWORD type);

    // Returns 0 or ZELKI_REGISTRY_ERROR.
    uint32_t DeleteValue(const char* name);

    // Looks for a value name, exactly and case-sensitively, from *index to the end and then from 0
    // to *index. When it is found, *index becomes the position after it. Always returns 0.
    uint32_t FindValue(const char* name, bool* found, unsigned* index) const;

    // Deletes a key and all below it, except subkeys named except (null or empty: none spared).
    // Does not use the held key or reserved. A registry link is deleted itself; its target stays.
    // Returns 0, ERROR_BADKEY for a null or empty path, or the Windows code of the open or delete
    // that failed.
    uint32_t DeleteKeyTree(HKEY root, const char* path, unsigned reserved, const char* except);

  private:
    static constexpr size_t KEY_PATH_BYTES = 259;

    bool ownsKey = false;
    char keyPath[KEY_PATH_BYTES] = "";  // the last path that was opened or created
    HKEY key = nullptr;

    uint32_t hold(LSTATUS status);
    bool searchValues(const char* name, unsigned from, unsigned to, unsigned* index) const;
};

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

// Reads a value of any type as text, up to its first zero or its end. A value that cannot be read,
// or that is longer than size bytes, is empty, and the result false.
bool readRegistryText(const ZELKiRegistry& registry, const char* name, char* out, size_t size);
bool readRegistryText(HKEY key, const char* name, char* out, size_t size);

// Writes exactly size bytes, at most 4096, whatever memory follows them: RegSetValueExA itself
// stores a zero that it finds behind a text. Returns the Windows code.
LSTATUS writeRegistryValue(HKEY key, const char* name, DWORD type, const void* data, DWORD size);

// Writes a text as REG_SZ with its terminating zero. Returns the Windows code.
LSTATUS writeRegistryText(HKEY key, const char* name, const char* text);

// Ends a walk over values or subkeys: at ERROR_NO_MORE_ITEMS, and where every further index would
// return the same, because the key has been deleted or the handle is invalid.
class EnumerationEnd {
  public:
    // Call once with each enumeration's result; true when the walk is over. Other failures count
    // as entries, because an entry that does not fit the buffer is one. Ends after 1000
    // consecutive errors.
    bool reached(LSTATUS status);

  private:
    unsigned consecutiveErrors_ = 0;
};
