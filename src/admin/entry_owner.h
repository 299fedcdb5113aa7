// Whose the entry of a name in the list of installed programs is.
#pragma once

#include "admin/registered_copy.h"

// DisplayName and UninstallString decide. One of the two is enough for an entry of the package; an
// entry with neither is the package's when there is nothing else in it.
enum class EntryOwner { NONE, THIS_COPY, OTHER_FOLDER, OTHER_PRODUCT };

// The entry, of which texts that are not there are empty.
struct Entry {
    EntryOwner owner = EntryOwner::NONE;
    char displayName[REGISTRY_TEXT_BYTES] = "";
    char command[REGISTRY_TEXT_BYTES] = "";          // UninstallString
    char expectedCommand[REGISTRY_TEXT_BYTES] = "";  // as a registration of this copy writes it
    bool hasOwnCommand = false;  // command starts the program of this folder, in any spelling
    char version[REGISTRY_TEXT_BYTES] = "";  // DisplayVersion
};
void readEntry(const RegisteredCopy& copy, Entry& entry);

EntryOwner findEntryOwner(const RegisteredCopy& copy);

// True for the DisplayName, or the UninstallString of any folder, that a registration as name
// writes.
bool isPackageDisplayName(const char* text, const char* name);
bool isPackageCommand(const char* text, const char* name);
