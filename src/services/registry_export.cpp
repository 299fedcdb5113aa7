#include "services/registry_export.h"

#include <cwchar>

#include "services/wide_text.h"

namespace {

// A name that holds one of these ends its line in the file, or the name.
bool isOneLine(const wchar_t* text, DWORD length) {
    for (DWORD i = 0; i < length; ++i) {
        if (text[i] == L'\r' || text[i] == L'\n' || text[i] == L'\0') return false;
    }
    return true;
}

// True for text with its terminating zero, no other one, and no control character: what the file
// holds as it is.
bool isPlainText(const ValueWalk& value) {
    const auto* text = reinterpret_cast<const wchar_t*>(value.data());
    const DWORD length = value.size() / sizeof(wchar_t);
    if (value.type() != REG_SZ || value.size() % sizeof(wchar_t) != 0 || length == 0) return false;
    for (DWORD i = 0; i + 1 < length; ++i) {
        if (text[i] < L' ' || text[i] == L'\x7F') return false;
    }
    return text[length - 1] == L'\0';
}

}  // namespace

RegistryExport::RegistryExport(HANDLE file) : file_(file) {
    put(L"\xFEFFWindows Registry Editor Version 5.00\r\n\r\n");
}

void RegistryExport::fail(DWORD error) {
    if (error_ == ERROR_SUCCESS) error_ = error;
}

void RegistryExport::put(wchar_t character) {
    if (!text_.add(character)) fail(ERROR_NOT_ENOUGH_MEMORY);
}

void RegistryExport::put(const wchar_t* text) {
    for (; *text != L'\0'; ++text) put(*text);
}

void RegistryExport::putQuoted(const wchar_t* text, DWORD length) {
    if (!isOneLine(text, length)) fail(ERROR_INVALID_DATA);
    put(L'"');
    for (DWORD i = 0; i < length; ++i) {
        if (text[i] == L'\\' || text[i] == L'"') put(L'\\');
        put(text[i]);
    }
    put(L'"');
}

// Breaks the lines as the registry editor does: behind a comma, with a backslash.
void RegistryExport::putBytes(const wchar_t* prefix, const ValueWalk& value) {
    constexpr size_t LINE_CHARACTERS = 76;
    constexpr wchar_t DIGITS[] = L"0123456789abcdef";
    put(prefix);
    for (DWORD i = 0; i < value.size(); ++i) {
        if (i > 0) put(L',');
        if (i > 0 && text_.count() - lineStart_ > LINE_CHARACTERS) {
            put(L"\\\r\n");
            lineStart_ = text_.count();
            put(L"  ");
        }
        put(DIGITS[value.data()[i] >> 4]);
        put(DIGITS[value.data()[i] & 0xF]);
    }
}

void RegistryExport::comment(const char* text) {
    wchar_t wide[1024];
    toWide(text, wide);
    put(L"; ");
    put(wide);
    put(L"\r\n");
}

void RegistryExport::key(const wchar_t* path) {
    if (!isOneLine(path, static_cast<DWORD>(wcslen(path)))) fail(ERROR_INVALID_DATA);
    put(L"\r\n[HKEY_LOCAL_MACHINE\\");
    put(path);
    put(L"]\r\n");
}

void RegistryExport::value(const ValueWalk& value) {
    lineStart_ = text_.count();
    if (value.nameLength() == 0) {
        put(L'@');
    } else {
        putQuoted(value.name(), value.nameLength());
    }
    put(L'=');
    wchar_t prefix[24];
    if (isPlainText(value)) {
        const DWORD length = value.size() / static_cast<DWORD>(sizeof(wchar_t)) - 1;
        putQuoted(reinterpret_cast<const wchar_t*>(value.data()), length);
    } else if (value.type() == REG_DWORD && value.size() == sizeof(DWORD)) {
        swprintf(prefix, sizeof prefix / sizeof *prefix, L"dword:%08lx",
                 *reinterpret_cast<const DWORD*>(value.data()));
        put(prefix);
    } else if (value.type() == REG_BINARY) {
        putBytes(L"hex:", value);
    } else {
        swprintf(prefix, sizeof prefix / sizeof *prefix, L"hex(%lx):", value.type());
        putBytes(prefix, value);
    }
    put(L"\r\n");
    flush();
}

void RegistryExport::tree(HKEY top, const wchar_t* path) {
    key(path);
    ValueWalk walk(top);
    LSTATUS status = walk.next();
    for (; status == ERROR_SUCCESS; status = walk.next()) value(walk);
    if (status != ERROR_NO_MORE_ITEMS) fail(static_cast<DWORD>(status));
    for (DWORD index = 0; error_ == ERROR_SUCCESS; ++index) {
        wchar_t name[256];
        DWORD length = sizeof name / sizeof *name;
        status = RegEnumKeyExW(top, index, name, &length, nullptr, nullptr, nullptr, nullptr);
        if (status == ERROR_NO_MORE_ITEMS) return;
        const size_t size = wcslen(path) + length + 2;
        const OwnedWideBuffer below(static_cast<wchar_t*>(malloc(size * sizeof(wchar_t))));
        OwnedKey subkey;
        if (!below) status = ERROR_NOT_ENOUGH_MEMORY;
        if (status == ERROR_SUCCESS) status = openSubkey(top, name, subkey);
        if (status == ERROR_SUCCESS) {
            swprintf(below.get(), size, L"%ls\\%ls", path, name);
            tree(subkey.get(), below.get());
        } else {
            fail(static_cast<DWORD>(status));
        }
    }
}

void RegistryExport::flush() {
    const auto bytes = static_cast<DWORD>(text_.count() * sizeof(wchar_t));
    DWORD written = 0;
    if (error_ == ERROR_SUCCESS &&
        (!WriteFile(file_, text_.begin(), bytes, &written, nullptr) || written != bytes)) {
        const DWORD error = GetLastError();
        fail(error != ERROR_SUCCESS ? error : ERROR_DISK_FULL);
    }
    text_ = List<wchar_t>();
    lineStart_ = 0;
}

DWORD RegistryExport::finish() {
    flush();
    if (error_ == ERROR_SUCCESS && !FlushFileBuffers(file_)) fail(GetLastError());
    return error_;
}
