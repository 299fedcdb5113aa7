// The one list of what the tests leave in the registry, and how it is known as theirs. The tests
// put their own back by it, and so does the acceptance kit.
#pragma once

#include <algorithm>
#include <string>

// In the name or the data of all that a test makes, unless that is the product's own.
inline const std::string MARKS = "zelkpmreg-tests-";

// With one character more, a name of a copy as long as they get, of all characters that it can
// have.
inline const std::string NAME = "_abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";

// The keys of HKEY_LOCAL_MACHINE in which the program, the tests or the ODBC installer write,
// without the WOW6432Node of the 32-bit ones.
inline const std::string WATCHED_KEYS[] = {
    "SOFTWARE\\Orvane",
    "SOFTWARE\\ODBC",
    "SOFTWARE\\Microsoft\\MSDTC\\XADLL",
    "SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall",
    "SOFTWARE\\Classes\\CLSID\\{5D3C9B7A-1F60-4E8B-9B5E-0A7C31E6D2F4}",
    "SOFTWARE\\Microsoft\\Command Processor"};

namespace marks {

// Keys that are ours with all below them; "*" is the name of a copy.
inline const std::string TREES[] = {
    "SOFTWARE\\Orvane\\Zelk\\InstalledCopies\\*", "SOFTWARE\\Orvane\\Zelk\\TEMP",
    "SOFTWARE\\Orvane\\zelkpmutil", "SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\*",
    "SOFTWARE\\Classes\\CLSID\\{5D3C9B7A-1F60-4E8B-9B5E-0A7C31E6D2F4}"};
inline const std::string COPIES[] = {"MYCOPY",
                                     "OTHER",
                                     "OLD",
                                     "ORVDBCL1",
                                     "ORVDBCL1_" + std::string(54, 'x') + '_',
                                     '_' + std::string(62, 'A') + '9',
                                     NAME + '1',
                                     NAME + '2',
                                     std::string(221, 'n')};

// Keys that programs make when they are missing, and that may stay: ours only while they are empty.
inline const std::string CONTAINERS[] = {"SOFTWARE\\Orvane",
                                         "SOFTWARE\\Orvane\\Zelk",
                                         "SOFTWARE\\Orvane\\Zelk\\InstalledCopies",
                                         "SOFTWARE\\ODBC",
                                         "SOFTWARE\\ODBC\\ODBCINST.INI",
                                         "SOFTWARE\\ODBC\\ODBCINST.INI\\ODBC Connection Pooling",
                                         "SOFTWARE\\ODBC\\ODBCINST.INI\\ODBC Drivers",
                                         "SOFTWARE\\ODBC\\ODBC.INI",
                                         "SOFTWARE\\ODBC\\ODBC.INI\\ODBC Data Sources",
                                         "SOFTWARE\\Microsoft\\MSDTC",
                                         "SOFTWARE\\Microsoft\\MSDTC\\XADLL",
                                         "SOFTWARE\\Microsoft\\Command Processor"};

// Values that are ours.
inline const std::string VALUES[] = {
    "SOFTWARE\\Orvane\\Zelk\\InstalledCopies | defaultClientInterfaceCopy",
    "SOFTWARE\\ODBC\\ODBCINST.INI\\ODBC Connection Pooling | PerfMon",
    "SOFTWARE\\ODBC\\ODBCINST.INI\\ODBC Connection Pooling | RetryWait"};

// Names of keys and values do not tell case apart.
inline std::string folded(std::string text) {
    for (char& c : text) c = static_cast<char>(c >= 'a' && c <= 'z' ? c - 'a' + 'A' : c);
    return text;
}

inline bool holdsMark(const std::string& text) {
    return folded(text).find(folded(MARKS)) != text.npos;
}

// Whether the key is the other one, or below it.
inline bool isIn(const std::string& key, const std::string& tree) {
    return (folded(key) + '\\').starts_with(folded(tree) + '\\');
}

inline bool isWatched(const std::string& key) {
    return std::any_of(std::begin(WATCHED_KEYS), std::end(WATCHED_KEYS),
                       [&](const std::string& tree) { return isIn(key, tree); });
}

inline bool isInOwnTree(const std::string& key) {
    for (const std::string& tree : TREES)
        for (const std::string& copy : COPIES)
            if (isIn(key, tree.ends_with('*') ? tree.substr(0, tree.size() - 1) + copy : tree))
                return true;
    return false;
}

// Windows notes the programs that it ran below Microsoft, with their paths, and nobody else may
// undo that.
inline bool isNoteOfWindows(const std::string& key) {
    return isIn(key, "SOFTWARE\\Microsoft") && !isWatched(key);
}

// Whether a key, or a value of it, is one that the tests, or the program in them, made or changed.
// data is what is in the value, in characters of one byte.
inline bool isOurKey(const std::string& key) {
    return !isNoteOfWindows(key) && (holdsMark(key) || isInOwnTree(key));
}
inline bool isOurValue(const std::string& key, const std::string& name, const std::string& data) {
    if (isOurKey(key)) return true;
    const std::string value = folded(key + " | " + name);
    return std::any_of(std::begin(VALUES), std::end(VALUES),
                       [&](const std::string& own) { return folded(own) == value; }) ||
           (!isNoteOfWindows(key) && (holdsMark(name) || holdsMark(data)));
}
inline bool isContainer(const std::string& key) {
    return std::any_of(std::begin(CONTAINERS), std::end(CONTAINERS),
                       [&](const std::string& own) { return folded(own) == folded(key); });
}

}  // namespace marks
