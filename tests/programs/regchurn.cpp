// Makes and deletes keys of HKEY_LOCAL_MACHINE, with subkeys and values, all the time.
//   regchurn SECONDS KEY...
#include <windows.h>

#include <cstdlib>
#include <string>

namespace {

HKEY make(const std::string& path, HKEY parent) {
    HKEY key = nullptr;
    RegCreateKeyA(parent, path.c_str(), &key);
    return key;
}

void write(HKEY key, const char* name) {
    RegSetValueExA(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>("text"), sizeof "text");
}

void churn(const char* path) {
    constexpr int ENTRIES = 20;
    HKEY key = make(path, HKEY_LOCAL_MACHINE);
    for (int i = 0; i < ENTRIES; ++i) {
        const std::string name = "entry " + std::to_string(i);
        write(key, name.c_str());
        HKEY subkey = make(name, key);
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
    constexpr DWORD SECOND = 1000;
    const DWORD start = GetTickCount();
    while (GetTickCount() - start < strtoul(argv[1], nullptr, 10) * SECOND) {
        for (int i = 2; i < argc; ++i) churn(argv[i]);
    }
    return 0;
}
