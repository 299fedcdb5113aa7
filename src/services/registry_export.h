// Exports keys to a .reg file, which reg.exe and the registry editor import.
#pragma once

#include <windows.h>

#include "services/list.h"
#include "services/registry_tree.h"

// Writes the text of a file in UTF-16 with its byte order mark. Windows documentation: "How to add,
// modify, or delete registry subkeys and values by using a .reg file".
class RegistryExport {
  public:
    // Writes to file, which stays the caller's, and is empty.
    explicit RegistryExport(HANDLE file);

    void comment(const char* text);  // ANSI, one line

    // Begins a key: its path below HKEY_LOCAL_MACHINE.
    void key(const wchar_t* path);

    // A value of that key. Plain text and 32-bit numbers are written as such; every other type, and
    // text that a line cannot hold, as bytes.
    void value(const ValueWalk& value);

    // A key with all below it, in the same way.
    void tree(HKEY top, const wchar_t* path);

    // Writes what is still in memory. Returns 0 or the first failure: also ERROR_INVALID_DATA for a
    // name that a line cannot hold, one with a line break or a zero.
    DWORD finish();

  private:
    void put(const wchar_t* text);
    void put(wchar_t character);
    void putQuoted(const wchar_t* text, DWORD length);
    void putBytes(const wchar_t* prefix, const ValueWalk& value);
    void flush();
    void fail(DWORD error);

    HANDLE file_;
    List<wchar_t> text_;
    size_t lineStart_ = 0;
    DWORD error_ = 0;
};
