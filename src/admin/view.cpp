#include "admin/view.h"

namespace {

#ifdef _WIN64
constexpr bool IS_64_BIT_PROGRAM = true;
#else
constexpr bool IS_64_BIT_PROGRAM = false;
#endif

constexpr View VIEWS[] = {
    {KEY_WOW64_64KEY, "64-bit", IMAGE_FILE_MACHINE_AMD64},
    {KEY_WOW64_32KEY, "32-bit", IMAGE_FILE_MACHINE_I386},
};

bool hasTwoViews() {
    BOOL isEmulated = FALSE;
    return IS_64_BIT_PROGRAM || (IsWow64Process(GetCurrentProcess(), &isEmulated) && isEmulated);
}

}  // namespace

const View& ownView() {
    return VIEWS[IS_64_BIT_PROGRAM ? 0 : 1];
}

std::span<const View> allViews() {
    return hasTwoViews() ? std::span(VIEWS) : std::span(VIEWS).last(1);
}

bool openForReading(ZELKiRegistry& key, const View& view, const char* path) {
    return key.TryOpen(HKEY_LOCAL_MACHINE, path, REGISTRY_READ | view.flag);
}

bool readText(const View& view, const char* path, const char* name, char* out, size_t size) {
    ZELKiRegistry key;
    out[0] = '\0';
    return openForReading(key, view, path) && readRegistryText(key, name, out, size);
}
