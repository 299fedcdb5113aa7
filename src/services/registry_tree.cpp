#include "services/registry_tree.h"

#include <cstring>
#include <cwchar>

namespace {

constexpr unsigned MOST_LEVELS = 32;
constexpr DWORD SUBKEY_CHARACTERS = 256;

bool isLinkValue(const ValueWalk& value) {
    return value.type() == REG_LINK && wcscmp(value.name(), L"SymbolicLinkValue") == 0;
}

LSTATUS copyValues(HKEY from, HKEY to, CopyTree what) {
    ValueWalk value(from);
    LSTATUS status = value.next();
    for (; status == ERROR_SUCCESS; status = value.next()) {
        if (isLinkValue(value)) return ERROR_NOT_SUPPORTED;
        // A name with a zero inside would be stored as another name.
        if (wcslen(value.name()) != value.nameLength()) return ERROR_NOT_SUPPORTED;
        if (what == CopyTree::MISSING &&
            RegQueryValueExW(to, value.name(), nullptr, nullptr, nullptr, nullptr) == 0) {
            continue;
        }
        const LSTATUS written =
            RegSetValueExW(to, value.name(), 0, value.type(), value.data(), value.size());
        if (written != ERROR_SUCCESS) return written;
    }
    return status == ERROR_NO_MORE_ITEMS ? ERROR_SUCCESS : status;
}

LSTATUS copyLevel(HKEY from, HKEY to, CopyTree what, unsigned levels) {
    if (levels == 0) return ERROR_NOT_SUPPORTED;
    LSTATUS status = copyValues(from, to, what);
    for (DWORD index = 0; status == ERROR_SUCCESS; ++index) {
        wchar_t name[SUBKEY_CHARACTERS];
        DWORD length = SUBKEY_CHARACTERS;
        status = RegEnumKeyExW(from, index, name, &length, nullptr, nullptr, nullptr, nullptr);
        if (status == ERROR_NO_MORE_ITEMS) return ERROR_SUCCESS;
        OwnedKey source;
        OwnedKey target;
        if (status == ERROR_SUCCESS) status = openSubkey(from, name, source);
        if (status == ERROR_SUCCESS) {
            status = RegCreateKeyExW(to, name, 0, nullptr, 0, KEY_READ | KEY_WRITE, nullptr,
                                     target.put(), nullptr);
        }
        if (status == ERROR_SUCCESS) {
            status = copyLevel(source.get(), target.get(), what, levels - 1);
        }
    }
    return status;
}

bool holdsValue(HKEY key, const ValueWalk& value) {
    DWORD type = 0;
    DWORD size = value.size();
    const OwnedBuffer data(static_cast<char*>(malloc(size + 1)));
    return data &&
           RegQueryValueExW(key, value.name(), nullptr, &type, reinterpret_cast<BYTE*>(data.get()),
                            &size) == ERROR_SUCCESS &&
           type == value.type() && size == value.size() &&
           memcmp(data.get(), value.data(), size) == 0;
}

bool holdsLevel(HKEY whole, HKEY part, unsigned levels) {
    if (levels == 0) return false;
    ValueWalk value(part);
    LSTATUS status = value.next();
    for (; status == ERROR_SUCCESS; status = value.next()) {
        if (!holdsValue(whole, value)) return false;
    }
    if (status != ERROR_NO_MORE_ITEMS) return false;
    for (DWORD index = 0;; ++index) {
        wchar_t name[SUBKEY_CHARACTERS];
        DWORD length = SUBKEY_CHARACTERS;
        status = RegEnumKeyExW(part, index, name, &length, nullptr, nullptr, nullptr, nullptr);
        if (status != ERROR_SUCCESS) return status == ERROR_NO_MORE_ITEMS;
        OwnedKey left;
        OwnedKey right;
        if (openSubkey(whole, name, left) != ERROR_SUCCESS ||
            openSubkey(part, name, right) != ERROR_SUCCESS ||
            !holdsLevel(left.get(), right.get(), levels - 1)) {
            return false;
        }
    }
}

}  // namespace

LSTATUS ValueWalk::reserve() {
    DWORD longestName = 0;
    DWORD longestData = 0;
    const LSTATUS status =
        RegQueryInfoKeyW(key_, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                         &longestName, &longestData, nullptr, nullptr);
    if (status != ERROR_SUCCESS) return status;
    nameRoom_ = longestName + 1;
    dataRoom_ = longestData;
    name_ = OwnedWideBuffer(static_cast<wchar_t*>(malloc(nameRoom_ * sizeof(wchar_t))));
    data_ = OwnedBuffer(static_cast<char*>(malloc(dataRoom_ + sizeof(wchar_t))));
    return name_ && data_ ? ERROR_SUCCESS : ERROR_OUTOFMEMORY;
}

LSTATUS ValueWalk::next() {
    LSTATUS status = name_ ? ERROR_SUCCESS : reserve();
    if (status != ERROR_SUCCESS) return status;
    nameLength_ = nameRoom_;
    size_ = dataRoom_;
    status = RegEnumValueW(key_, index_, name_.get(), &nameLength_, nullptr, &type_,
                           reinterpret_cast<BYTE*>(data_.get()), &size_);
    if (status != ERROR_SUCCESS) return status;
    memset(data_.get() + size_, 0xFF, sizeof(wchar_t));
    ++index_;
    return ERROR_SUCCESS;
}

bool ValueWalk::isText(const wchar_t* text) const {
    if (type_ != REG_SZ && type_ != REG_EXPAND_SZ) return false;
    const auto* found = reinterpret_cast<const wchar_t*>(data_.get());
    const size_t length = wcsnlen(found, size_ / sizeof(wchar_t));  // it may lack its zero
    return CompareStringOrdinal(found, static_cast<int>(length), text, -1, TRUE) == CSTR_EQUAL;
}

bool ValueWalk::isTextBeginning(const wchar_t* text) const {
    const size_t length = wcslen(text);
    if (type_ != REG_SZ || size_ < length * sizeof(wchar_t)) return false;
    const auto* found = reinterpret_cast<const wchar_t*>(data_.get());
    const auto count = static_cast<int>(length);
    return CompareStringOrdinal(found, count, text, count, TRUE) == CSTR_EQUAL;
}

LSTATUS openSubkey(HKEY key, const wchar_t* name, OwnedKey& subkey) {
    return RegOpenKeyExW(key, name, REG_OPTION_OPEN_LINK, KEY_READ, subkey.put());
}

LSTATUS copyKeyTree(HKEY from, HKEY to, CopyTree what) {
    return copyLevel(from, to, what, MOST_LEVELS);
}

bool holdsKeyTree(HKEY whole, HKEY part) {
    return holdsLevel(whole, part, MOST_LEVELS);
}
