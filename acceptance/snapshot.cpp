#include "acceptance/snapshot.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>

#include "acceptance/report.h"
#include "services/owners.h"
#include "tests/program/marks.h"

namespace {

const std::wstring MACHINE = L"HKLM\\", USERS = L"HKU\\";
constexpr REGSAM VIEW = KEY_WOW64_64KEY;  // the 32-bit keys are in it, below WOW6432Node

HKEY rootOf(const std::wstring& key) {
    return key.starts_with(MACHINE) ? HKEY_LOCAL_MACHINE : HKEY_USERS;
}

std::wstring belowRoot(const std::wstring& key) {
    return key.substr(key.find(L'\\') + 1);
}

// One byte for each character: the marks are ASCII.
std::string narrow(const wchar_t* text, size_t size) {
    std::string out(size, '?');
    std::transform(text, text + size, out.begin(),
                   [](wchar_t c) { return c < 0x80 ? static_cast<char>(c) : '?'; });
    return out;
}

std::string narrow(const std::string& bytes) {
    return narrow(reinterpret_cast<const wchar_t*>(bytes.data()), bytes.size() / sizeof(wchar_t));
}

// The path below the root as the list of marks has it: the same in both views.
std::string markable(const std::wstring& key) {
    constexpr char VIEW_KEY[] = "\\WOW6432NODE";
    std::string path = narrow(belowRoot(key).c_str(), belowRoot(key).size());
    const size_t at = marks::folded(path).find(VIEW_KEY);
    if (at != path.npos) path.erase(at, sizeof VIEW_KEY - 1);
    return path;
}

// FNV-1a: short, and enough to see a change.
std::string digest(const std::string& bytes) {
    uint64_t hash = 14695981039346656037u;
    for (const char byte : bytes) hash = (hash ^ static_cast<uint8_t>(byte)) * 1099511628211u;
    return std::string(reinterpret_cast<const char*>(&hash), sizeof hash);
}

struct Reader {
    std::wstring name = std::wstring(16384, L'\0');
    std::string data = std::string(1 << 16, '\0');

    bool read(HKEY parent, const std::wstring& below, const std::wstring& path, Key& out) {
        OwnedKey key;
        // A link is read as itself: it leads to keys that are read elsewhere.
        if (RegOpenKeyExW(parent, below.c_str(), REG_OPTION_OPEN_LINK, KEY_READ | VIEW, key.put()))
            return false;
        const bool kept = marks::isWatched(markable(path));
        for (DWORD i = 0; readValue(key.get(), i, kept, out);) ++i;
        std::vector<std::wstring> names;
        for (DWORD i = 0, size = 256; RegEnumKeyExW(key.get(), i, name.data(), &size, nullptr,
                                                    nullptr, nullptr, nullptr) == 0;
             ++i, size = 256)
            names.emplace_back(name.data(), size);
        for (const std::wstring& subkey : names) {
            Key next;
            if (read(key.get(), subkey, path + L'\\' + subkey, next))
                out.keys.emplace(subkey, std::move(next));
        }
        return true;
    }

    bool readValue(HKEY key, DWORD index, bool kept, Key& out) {
        for (;;) {
            auto length = static_cast<DWORD>(name.size()), size = static_cast<DWORD>(data.size());
            DWORD type = 0;
            const LSTATUS status = RegEnumValueW(key, index, name.data(), &length, nullptr, &type,
                                                 reinterpret_cast<BYTE*>(data.data()), &size);
            if (status == ERROR_MORE_DATA && size > data.size()) {
                data.resize(size);
                continue;
            }
            if (status != ERROR_SUCCESS) return false;
            const std::string bytes = data.substr(0, size);
            const bool whole = kept || marks::holdsMark(narrow(bytes));
            out.values[name.substr(0, length)] = {type, whole, whole ? bytes : digest(bytes)};
            return true;
        }
    }
};

// Each number, text and list in a file is its size and its content.
struct File {
    FILE* file;
    bool good = true;

    void number(uint32_t value) { good = good && fwrite(&value, sizeof value, 1, file) == 1; }
    template <typename Text>
    void text(const Text& value) {
        number(static_cast<uint32_t>(value.size()));
        const size_t size = sizeof value[0] * value.size();
        good = good && fwrite(value.data(), 1, size, file) == size;
    }
    void key(const Key& value) {
        number(static_cast<uint32_t>(value.values.size()));
        for (const auto& [name, data] : value.values) {
            text(name);
            number(data.type);
            number(data.whole);
            text(data.bytes);
        }
        keys(value.keys);
    }
    void keys(const std::map<std::wstring, Key>& list) {
        number(static_cast<uint32_t>(list.size()));
        for (const auto& [name, value] : list) {
            text(name);
            key(value);
        }
    }

    uint32_t number() {
        uint32_t value = 0;
        good = good && fread(&value, sizeof value, 1, file) == 1;
        return good ? value : 0;
    }
    template <typename Text>
    Text text() {
        Text value(number(), typename Text::value_type());
        const size_t size = sizeof value[0] * value.size();
        good = good && fread(value.data(), 1, size, file) == size;
        return value;
    }
    Key key() {
        Key value;
        for (uint32_t left = number(); left > 0 && good; --left) {
            const auto name = text<std::wstring>();
            Value& read = value.values[name];
            read.type = number();
            read.whole = number() != 0;
            read.bytes = text<std::string>();
        }
        value.keys = keys();
        return value;
    }
    std::map<std::wstring, Key> keys() {
        std::map<std::wstring, Key> list;
        for (uint32_t left = number(); left > 0 && good; --left) {
            const auto name = text<std::wstring>();
            list[name] = key();
        }
        return list;
    }
};

void compareKeys(const std::wstring& path, const Key* before, const Key* after,
                 std::vector<Difference>& out);

// Walks through both maps, in which each name is at most once.
template <typename Item, typename Found>
void walkBoth(const std::map<std::wstring, Item>& before, const std::map<std::wstring, Item>& after,
              const Found& found) {
    auto old = before.begin();
    auto now = after.begin();
    while (old != before.end() || now != after.end()) {
        const bool isOld = now == after.end() || (old != before.end() && old->first <= now->first);
        const bool isNow = old == before.end() || (now != after.end() && now->first <= old->first);
        found(isOld ? old->first : now->first, isOld ? &old->second : nullptr,
              isNow ? &now->second : nullptr);
        if (isOld) ++old;
        if (isNow) ++now;
    }
}

void compareMaps(const std::wstring& prefix, const std::map<std::wstring, Key>& before,
                 const std::map<std::wstring, Key>& after, std::vector<Difference>& out) {
    walkBoth(before, after, [&](const std::wstring& name, const Key* old, const Key* now) {
        compareKeys(prefix + name, old, now, out);
    });
}

void compareKeys(const std::wstring& path, const Key* before, const Key* after,
                 std::vector<Difference>& out) {
    static const Key NONE;
    if (!before || !after)
        out.push_back({.key = path, .before = before != nullptr, .after = after != nullptr});
    if (!before) before = &NONE;
    if (!after) after = &NONE;
    walkBoth(before->values, after->values,
             [&](const std::wstring& name, const Value* old, const Value* now) {
                 if (old && now && *old == *now) return;
                 out.push_back({path, true, name, old != nullptr, now != nullptr,
                                old ? *old : Value(), now ? *now : Value()});
             });
    compareMaps(path + L'\\', before->keys, after->keys, out);
}

bool deleteEmptyKey(HKEY root, const std::wstring& path) {
    OwnedKey key;
    DWORD keys = 0, values = 0;
    const LSTATUS status = RegOpenKeyExW(root, path.c_str(), 0, KEY_READ | VIEW, key.put());
    if (status != ERROR_SUCCESS) return status == ERROR_FILE_NOT_FOUND;
    RegQueryInfoKeyW(key.get(), nullptr, nullptr, nullptr, &keys, nullptr, nullptr, &values,
                     nullptr, nullptr, nullptr, nullptr);
    return keys > 0 || values > 0 || RegDeleteKeyExW(root, path.c_str(), VIEW, 0) == ERROR_SUCCESS;
}

}  // namespace

Snapshot readSnapshot(const std::vector<std::wstring>& keys) {
    Snapshot snapshot;
    Reader reader;
    for (const std::wstring& path : keys) {
        Key key;
        if (reader.read(rootOf(path), belowRoot(path), path, key)) snapshot[path] = std::move(key);
    }
    return snapshot;
}

Snapshot readAll() {
    return readSnapshot({MACHINE + L"SOFTWARE", USERS + L".DEFAULT\\Software"});
}

Snapshot readWatched() {
    std::vector<std::wstring> keys;
    for (const std::string& watched : WATCHED_KEYS) {
        const std::wstring below(watched.begin() + 8, watched.end());  // behind "SOFTWARE"
        keys.push_back(MACHINE + L"SOFTWARE" + below);
        keys.push_back(MACHINE + L"SOFTWARE\\WOW6432Node" + below);
    }
    return readSnapshot(keys);
}

bool save(const Snapshot& snapshot, const std::wstring& file) {
    const std::wstring part = file + L".part";
    File out = {_wfopen(part.c_str(), L"wb")};
    if (!out.file) return false;
    out.keys(snapshot);
    out.good = out.good && fflush(out.file) == 0;
    const DWORD error = GetLastError();
    fclose(out.file);
    if (!out.good) {
        DeleteFileW(part.c_str());
        SetLastError(error);
        return false;
    }
    return MoveFileExW(part.c_str(), file.c_str(), MOVEFILE_WRITE_THROUGH) != FALSE;
}

bool load(const std::wstring& file, Snapshot& snapshot) {
    File in = {_wfopen(file.c_str(), L"rb")};
    if (!in.file) return false;
    snapshot = in.keys();
    fclose(in.file);
    if (!in.good) SetLastError(ERROR_FILE_CORRUPT);
    return in.good;
}

bool Difference::isOurs() const {
    const std::string path = markable(key);
    if (!isValue) return marks::isOurKey(path);
    return marks::isOurValue(path, narrow(name.c_str(), name.size()),
                             narrow(valueBefore.bytes) + ' ' + narrow(valueAfter.bytes));
}

bool Difference::isWatched() const {
    return marks::isWatched(markable(key));
}

bool Difference::isProduct() const {
    const std::string path = markable(key);
    return path.find("\\ORVANE PELLIMAR for ODBC") != path.npos ||
           (marks::isIn(path, "SOFTWARE\\Orvane") && (isValue || !marks::isContainer(path)));
}

bool Difference::isHarmless() const {
    return !isValue && !before && marks::isContainer(markable(key));
}

std::vector<Difference> compare(const Snapshot& before, const Snapshot& after) {
    std::vector<Difference> out;
    compareMaps(L"", before, after, out);
    return out;
}

std::string describe(const Difference& difference) {
    std::wstring text = difference.before ? difference.after ? L"* " : L"- " : L"+ ";
    text += difference.key;
    if (difference.isValue) text += L" | " + difference.name;
    return toUtf8(text);
}

bool undo(const Difference& difference) {
    const HKEY root = rootOf(difference.key);
    const std::wstring path = belowRoot(difference.key);
    if (!difference.isValue && !difference.before) return deleteEmptyKey(root, path);
    OwnedKey key;
    if (!difference.before) {
        const LSTATUS status =
            RegOpenKeyExW(root, path.c_str(), 0, KEY_SET_VALUE | VIEW, key.put());
        if (status == ERROR_SUCCESS) RegDeleteValueW(key.get(), difference.name.c_str());
        return status == ERROR_SUCCESS || status == ERROR_FILE_NOT_FOUND;
    }
    if (RegCreateKeyExW(root, path.c_str(), 0, nullptr, 0, KEY_SET_VALUE | VIEW, nullptr, key.put(),
                        nullptr))
        return false;
    const Value& value = difference.valueBefore;
    return !difference.isValue ||
           (value.whole && RegSetValueExW(key.get(), difference.name.c_str(), 0, value.type,
                                          reinterpret_cast<const BYTE*>(value.bytes.data()),
                                          static_cast<DWORD>(value.bytes.size())) == ERROR_SUCCESS);
}
