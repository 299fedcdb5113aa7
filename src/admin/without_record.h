// Parts of the package that belong to no registered copy.
#pragma once

#include "admin/registered_copy.h"

enum class LostKind { DRIVER, UNINSTALL_ENTRY, XA_LIBRARY };

struct LostPart {
    const View* view;
    LostKind kind;
    char name[PATH_BYTES + 64];       // of the driver, the entry, or the library's path
    char shown[REGISTRY_TEXT_BYTES];  // of an entry: its DisplayName; otherwise empty
};

// Adds the drivers, uninstall entries and XA libraries of the package in a view that belong to none
// of the copies to the list.
void findLostParts(const View& view, const CopyList& copies, List<LostPart>& parts);
