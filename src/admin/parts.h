// What a registration leaves, part by part: one table, which verify, list, register, upgrade and
// unregister walk. It is written with the constants that the steps write with.
#pragma once

#include <span>

#include "admin/oledb_server.h"
#include "admin/registered_copy.h"

enum class PartState { OK, MISSING, WRONG, INFO };

// "ok", "MISSING", "WRONG", "info", as they are printed, and as JSON has them, in small letters.
const char* partStateText(PartState state);
const char* partStateJson(PartState state);

// False for MISSING and WRONG.
bool isRight(PartState state);

constexpr size_t PART_TEXT_BYTES = 2 * PATH_BYTES + 256;

// What was found of one part.
struct PartResult {
    PartState state = PartState::OK;
    char text[PART_TEXT_BYTES] = "";       // for a person: one line, its path last and never cut
    char found[REGISTRY_TEXT_BYTES] = "";  // for programs; empty when it does not apply
    char expected[REGISTRY_TEXT_BYTES] = "";
    char where[REGISTRY_TEXT_BYTES] = "";   // a file or a key
    char providedBy[COPY_NAME_BYTES] = "";  // another registered copy that has this part
};

// The copy whose parts are looked at.
struct PartContext {
    const RegisteredCopy* copy = nullptr;
    const CopyList* copies = nullptr;  // of all views
    bool wantDefault = false;          // the copy must be the default client interface copy
    int regsvr32Code = -1;             // of a call for this copy's provider in this run; -1: none
    ProviderSearch* search = nullptr;  // to search the classes of the copy's view once for several
                                       // checks; null: each check searches
};

struct Part {
    const char* name;     // "DriverLibrary", as it is printed
    const char* checked;  // what "ok" means, in a few words
    void (*check)(const PartContext& context, PartResult& result);
    // True when something of the part is still there; text names it. Null for a part that
    // unregistering leaves, or that another part answers for. The uninstall entry of another
    // product or folder is not something of the part: ask findEntryOwner before it is called gone.
    bool (*isLeft)(const PartContext& context, char* text, size_t size);
};

extern const std::span<const Part> PARTS;
