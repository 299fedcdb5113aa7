// Shows keys of HKEY_LOCAL_MACHINE as a tree. The program under test writes data of odd lengths,
// which the usual tools show as if they were ordinary texts; this one shows every byte.
//   regtree [--raw] KEY...
//   regtree --delete KEY...
// --raw prints "[key]" lines and "name<TAB>type<TAB>bytes in hexadecimal" lines, for programs.
#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace {

bool raw;

std::string hex(const std::vector<BYTE>& data) {
    std::string text;
    char digits[3];
    for (const BYTE value : data) {
        snprintf(digits, sizeof digits, "%02x", value);
        text += digits;
    }
    return text;
}

// A text without its terminating zero; where something else than text is in the data, its bytes.
std::string readable(DWORD type, const std::vector<BYTE>& data) {
    std::string text(data.begin(), data.end());
    const bool terminated = !text.empty() && text.back() == '\0';
    if (terminated) text.pop_back();
    if (type != REG_SZ) return "(type " + std::to_string(type) + ") " + hex(data);
    if (text.find('\0') != std::string::npos) return hex(data);
    return '"' + text + '"' + (terminated ? "" : " (no terminating zero)");
}

struct Value {
    std::string name;
    DWORD type;
    std::vector<BYTE> data;
};

std::vector<Value> valuesOf(HKEY key) {
    std::vector<Value> values;
    static std::vector<char> name(16384);
    static std::vector<BYTE> data(1 << 20);
    for (DWORD i = 0;; ++i) {
        auto nameSize = static_cast<DWORD>(name.size());
        auto size = static_cast<DWORD>(data.size());
        DWORD type = 0;
        if (RegEnumValueA(key, i, name.data(), &nameSize, nullptr, &type, data.data(), &size))
            break;
        values.push_back({name.data(), type, {data.begin(), data.begin() + size}});
    }
    std::sort(values.begin(), values.end(), [](auto& l, auto& r) { return l.name < r.name; });
    return values;
}

std::vector<std::string> subkeysOf(HKEY key) {
    std::vector<std::string> names;
    char name[1024];
    for (DWORD i = 0; RegEnumKeyA(key, i, name, sizeof name) == 0; ++i) names.push_back(name);
    std::sort(names.begin(), names.end());
    return names;
}

bool show(HKEY parent, const std::string& path, const std::string& shown, int depth) {
    HKEY key = nullptr;
    if (RegOpenKeyExA(parent, path.c_str(), 0, KEY_READ, &key)) return false;
    if (raw) {
        printf("[%s]\n", shown.c_str());
    } else {
        printf("%*s%s\n", depth * 4, "", path.c_str());
    }
    for (const Value& value : valuesOf(key)) {
        if (raw) {
            printf("%s\t%lu\t%s\n", value.name.c_str(), value.type, hex(value.data).c_str());
        } else {
            printf("%*s    %s = %s\n", depth * 4, "",
                   value.name.empty() ? "(default)" : value.name.c_str(),
                   readable(value.type, value.data).c_str());
        }
    }
    for (const std::string& name : subkeysOf(key)) show(key, name, shown + '\\' + name, depth + 1);
    RegCloseKey(key);
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    bool remove = false;
    for (int i = 1; i < argc; ++i) {
        if (strcmp(argv[i], "--raw") == 0) {
            raw = true;
        } else if (strcmp(argv[i], "--delete") == 0) {
            remove = true;
        } else if (remove) {
            RegDeleteTreeA(HKEY_LOCAL_MACHINE, argv[i]);
            RegDeleteKeyA(HKEY_LOCAL_MACHINE, argv[i]);
        } else if (!show(HKEY_LOCAL_MACHINE, argv[i], argv[i], 0) && !raw) {
            printf("%s: no such key\n", argv[i]);
        }
    }
    return 0;
}
