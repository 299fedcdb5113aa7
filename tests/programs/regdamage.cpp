// Does damage to keys of HKEY_LOCAL_MACHINE.
//   regdamage deny KEY              makes the key and denies everybody to change it
//   regdamage allow KEY             allows everybody everything again
//   regdamage churn SECONDS KEY...  makes and deletes the keys, with subkeys and values, all the
//   time
#include <windows.h>

#include <sddl.h>

#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

HKEY make(const std::string& path, HKEY parent, REGSAM access) {
    HKEY key = nullptr;
    RegCreateKeyExA(parent, path.c_str(), 0, nullptr, 0, access, nullptr, &key, nullptr);
    return key;
}

LSTATUS setAccess(const char* path, const char* rights) {
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    ConvertStringSecurityDescriptorToSecurityDescriptorA(rights, SDDL_REVISION_1, &descriptor,
                                                         nullptr);
    return RegSetKeySecurity(make(path, HKEY_LOCAL_MACHINE, WRITE_DAC), DACL_SECURITY_INFORMATION,
                             descriptor);
}

void write(HKEY key, const char* name) {
    RegSetValueExA(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>("text"), sizeof "text");
}

void churn(const char* path) {
    constexpr int ENTRIES = 20;
    HKEY key = make(path, HKEY_LOCAL_MACHINE, KEY_ALL_ACCESS);
    for (int i = 0; i < ENTRIES; ++i) {
        const std::string name = "entry " + std::to_string(i);
        write(key, name.c_str());
        HKEY subkey = make(name, key, KEY_ALL_ACCESS);
        write(subkey, "Zelk Path Name");
        RegCloseKey(subkey);
    }
    RegDeleteTreeA(key, nullptr);
    RegCloseKey(key);
    RegDeleteKeyA(HKEY_LOCAL_MACHINE, path);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 3) return 255;
    const std::string what = argv[1];
    // Deleting, making subkeys and setting values are denied.
    if (what == "deny") return setAccess(argv[2], "D:(D;;0x10006;;;WD)(A;;KA;;;WD)");
    if (what == "allow") return setAccess(argv[2], "D:(A;;KA;;;WD)");
    constexpr DWORD SECOND = 1000;
    const DWORD start = GetTickCount();
    while (GetTickCount() - start < strtoul(argv[2], nullptr, 10) * SECOND) {
        for (int i = 3; i < argc; ++i) churn(argv[i]);
    }
    return 0;
}
