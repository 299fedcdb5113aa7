// Does damage to keys of HKEY_LOCAL_MACHINE.
//   regharm access KEY SDDL            sets who may do what with the key, which it makes
//   regharm fill KEY NAME TYPE COUNT   writes a value of COUNT bytes with no zero among them
//   regharm put KEY NAME TYPE TEXT     writes a text without its terminating zero
//   regharm subkeys KEY COUNT LENGTH   makes subkeys with names of that length
//   regharm values KEY COUNT TEXT      writes that many values with the same text
//   regharm churn SECONDS KEY...       makes the keys, with subkeys and values, and deletes them,
//                                      again and again
#include <windows.h>

#include <sddl.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

HKEY make(const std::string& path, HKEY parent = HKEY_LOCAL_MACHINE,
          REGSAM access = KEY_ALL_ACCESS) {
    HKEY key = nullptr;
    RegCreateKeyExA(parent, path.c_str(), 0, nullptr, 0, access, nullptr, &key, nullptr);
    return key;
}

LSTATUS write(HKEY key, const std::string& name, const char* type, std::string data) {
    const auto size = static_cast<DWORD>(data.size());
    data += 'Z';  // a zero behind the data would be stored as its end
    return RegSetValueExA(key, name.c_str(), 0, static_cast<DWORD>(atol(type)),
                          reinterpret_cast<const BYTE*>(data.data()), size);
}

LSTATUS setAccess(const char* path, const char* rights) {
    RegCloseKey(make(path, HKEY_LOCAL_MACHINE, WRITE_DAC));
    HKEY key = nullptr;
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    ConvertStringSecurityDescriptorToSecurityDescriptorA(rights, SDDL_REVISION_1, &descriptor,
                                                         nullptr);
    const LSTATUS status = RegOpenKeyExA(HKEY_LOCAL_MACHINE, path, 0, WRITE_DAC, &key);
    return status ? status : RegSetKeySecurity(key, DACL_SECURITY_INFORMATION, descriptor);
}

std::string name(long number, size_t length) {
    std::string text = std::to_string(number) + "_";
    text.resize(length, 'k');
    return text;
}

LSTATUS makeSubkeys(HKEY key, long count, size_t length) {
    LSTATUS status = 0;
    for (long i = 0; i < count && status == 0; ++i) {
        HKEY subkey = make(name(i, length), key);
        status = write(subkey, "Zelk Path Name", "1", name(i, 200));
        RegCloseKey(subkey);
    }
    return status;
}

LSTATUS makeValues(HKEY key, long count, const char* text) {
    LSTATUS status = 0;
    for (long i = 0; i < count && status == 0; ++i) status = write(key, name(i, 8), "1", text);
    return status;
}

void churn(long seconds, const std::vector<std::string>& keys) {
    constexpr DWORD SECOND = 1000;
    const DWORD start = GetTickCount();
    while (GetTickCount() - start < static_cast<DWORD>(seconds) * SECOND) {
        for (const std::string& path : keys) {
            HKEY key = make(path);
            makeSubkeys(key, 20, 12);
            makeValues(key, 20, "nothing");
            RegDeleteTreeA(key, nullptr);
            RegCloseKey(key);
            RegDeleteKeyA(HKEY_LOCAL_MACHINE, path.c_str());
        }
    }
}

LSTATUS run(const std::vector<std::string>& asked) {
    const std::string what = asked.at(0);
    if (what == "access") return setAccess(asked.at(1).c_str(), asked.at(2).c_str());
    if (what == "churn") {
        churn(atol(asked.at(1).c_str()), {asked.begin() + 2, asked.end()});
        return 0;
    }
    HKEY key = make(asked.at(1));
    if (what == "subkeys") {
        return makeSubkeys(key, atol(asked.at(2).c_str()),
                           strtoul(asked.at(3).c_str(), nullptr, 10));
    }
    if (what == "values") return makeValues(key, atol(asked.at(2).c_str()), asked.at(3).c_str());
    std::string data = asked.at(4);
    if (what == "fill") data = std::string(strtoul(data.c_str(), nullptr, 10), 'Z');
    return write(key, asked.at(2), asked.at(3).c_str(), data);
}

}  // namespace

int main(int argc, char** argv) {
    const LSTATUS status = run({argv + 1, argv + argc});
    if (status != 0) fprintf(stderr, "regharm: error %ld\n", status);
    return status == 0 ? 0 : 1;
}
