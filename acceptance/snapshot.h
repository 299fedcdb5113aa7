// The registry at one moment, in memory and in a file, and what is different at another one.
#pragma once

#include <windows.h>

#include <map>
#include <string>
#include <vector>

struct Value {
    DWORD type = REG_NONE;
    bool whole = false;
    std::string bytes = {};  // the data; or a digest of it, where nothing is ever put back

    bool operator==(const Value&) const = default;
};

struct Key {
    std::map<std::wstring, Value> values;
    std::map<std::wstring, Key> keys;
};

// The keys that were there, by their paths: "HKLM\\SOFTWARE\\Orvane". The paths of 32-bit keys have
// WOW6432Node in them.
using Snapshot = std::map<std::wstring, Key>;

// Reads keys with all below them. What cannot be read is left out.
Snapshot readSnapshot(const std::vector<std::wstring>& keys);

// All of HKEY_LOCAL_MACHINE\SOFTWARE, both views, and the settings of the system account, below
// which the tests have their registry of their own.
Snapshot readAll();

// Where the tests and the program in them write, both views.
Snapshot readWatched();

// Store a snapshot in a file, and read it back; false when that cannot be done, and GetLastError
// has the reason. The file is there only if it is whole.
bool save(const Snapshot& snapshot, const std::wstring& file);
bool load(const std::wstring& file, Snapshot& snapshot);

// A key, or a value of one, that is in one snapshot only, or not the same in both.
struct Difference {
    std::wstring key;
    bool isValue = false;
    std::wstring name = {};              // of the value
    bool before = false, after = false;  // where it is
    Value valueBefore = {}, valueAfter = {};

    bool isOurs() const;      // it has the tests' marks
    bool isProduct() const;   // it belongs to a registered copy
    bool isWatched() const;   // it is where the tests write
    bool isHarmless() const;  // a key that any program may have made, empty
};

// Each key comes before what is below it.
std::vector<Difference> compare(const Snapshot& before, const Snapshot& after);

// "+ HKLM\\SOFTWARE\\Orvane\\Zelk | Name", with "-" for what is gone and "*" for what is changed.
// What is in a value is nobody else's business.
std::string describe(const Difference& difference);

// Makes a key or a value what it was before. False when that cannot be done.
bool undo(const Difference& difference);
