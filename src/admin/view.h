// The registry views of a machine, and reading in them. The program that registers a copy uses the
// view of its own bitness; this one looks at both.
// Windows documentation: "Accessing an Alternate Registry View".
#pragma once

#include <windows.h>

#include <span>

#include "services/registry.h"

struct View {
    REGSAM flag;       // KEY_WOW64_64KEY or KEY_WOW64_32KEY
    const char* name;  // "64-bit" or "32-bit"
    WORD machine;      // IMAGE_FILE_MACHINE_... of the libraries of its copies
};

// The view of this program's own bitness: the one that its commands change.
const View& ownView();

// The views of this machine, the 64-bit one first; a 32-bit Windows has one.
std::span<const View> allViews();

// Opens a key below HKEY_LOCAL_MACHINE for reading. False when it cannot be opened.
bool openForReading(ZELKiRegistry& key, const View& view, const char* path);

// Reads a value of any type as text. False, with out empty, when there is none or it does not fit.
bool readText(const View& view, const char* path, const char* name, char* out, size_t size);
template <size_t N>
bool readText(const View& view, const char* path, const char* name, char (&out)[N]) {
    return readText(view, path, name, out, N);
}
