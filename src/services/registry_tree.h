// Keys with all below them, copied and compared exactly: every type, size and name that the
// registry can hold.
#pragma once

#include <windows.h>

#include "services/owners.h"

// The values of a key, one after the other. The key must not change meanwhile.
class ValueWalk {
  public:
    explicit ValueWalk(HKEY key) : key_(key) {}

    // Reads the next value. Returns 0, ERROR_NO_MORE_ITEMS behind the last one, or why it cannot be
    // read: also ERROR_MORE_DATA for one that was longer than all others when the walk began.
    LSTATUS next();

    // Of the value that was read. The name ends with a zero and can hold others. The data is
    // followed by a character that is not zero: RegSetValueEx would store a zero there as well.
    const wchar_t* name() const { return name_.get(); }
    DWORD nameLength() const { return nameLength_; }  // characters
    DWORD type() const { return type_; }
    const BYTE* data() const { return reinterpret_cast<const BYTE*>(data_.get()); }
    DWORD size() const { return size_; }  // bytes

    // True when the data is this text, in any case.
    bool isText(const wchar_t* text) const;

    // True when the data is text that begins with this one, in any case.
    bool isTextBeginning(const wchar_t* text) const;

  private:
    LSTATUS reserve();

    HKEY key_;
    DWORD index_ = 0;
    OwnedWideBuffer name_;
    OwnedBuffer data_;
    DWORD nameRoom_ = 0;
    DWORD dataRoom_ = 0;
    DWORD nameLength_ = 0;
    DWORD type_ = 0;
    DWORD size_ = 0;
};

// Opens a subkey for reading. A registry link is opened itself: followed, it could lead above the
// key, and a walk would not end.
LSTATUS openSubkey(HKEY key, const wchar_t* name, OwnedKey& subkey);

enum class CopyTree { ALL, MISSING };

// Copies the values of from and all below it to to. MISSING: a value that is there stays as it is.
// Nothing is deleted. Returns 0 or the Windows code of the first failure: also
// ERROR_NOT_SUPPORTED for a registry link, and for a tree of more than 32 levels.
LSTATUS copyKeyTree(HKEY from, HKEY to, CopyTree what);

// True when whole has each value of part, with its type and bytes, and each subkey in the same way.
bool holdsKeyTree(HKEY whole, HKEY part);
