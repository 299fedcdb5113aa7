#include <cstring>

#include "admin/actions.h"
#include "admin/change.h"
#include "admin/data_sources.h"
#include "admin/entry_owner.h"
#include "admin/output.h"
#include "admin/parts.h"
#include "admin/saved_record.h"
#include "odbc/odbc_keys.h"
#include "registration/uninstall_keys.h"
#include "run/exit_codes.h"
#include "services/owners.h"

namespace {

struct Left {
    Change& change;
    unsigned parts = 0;
    unsigned sources = 0;
};

void receiveSource(void* context, const char* source, bool removed) {
    Left& left = *static_cast<Left*>(context);
    if (!removed) ++left.sources;
    reportPart(left.change, removed ? "removed" : "LEFT", "DataSource", source);
}

bool isDriverThere(const char* driver) {
    char path[REGISTRY_TEXT_BYTES];
    formatText(path, sizeof path, "%s\\%s", ODBC_DRIVERS_KEY, driver);
    OwnedKey key;
    return RegOpenKeyExA(HKEY_LOCAL_MACHINE, path, 0, KEY_READ, key.put()) != ERROR_FILE_NOT_FOUND;
}

// True when the entry in the list of installed programs is somebody else's, which stays.
bool isForeignEntry(const Change& change, const Part& part) {
    if (strcmp(part.name, "UninstallEntry") != 0) return false;
    const EntryOwner owner = findEntryOwner(change.copy);
    return owner == EntryOwner::OTHER_PRODUCT || owner == EntryOwner::OTHER_FOLDER;
}

// Reports what is left of the parts, and removes the data sources that a run leaves: of two
// neighbors in the registry the second one, which has no driver any more.
void reportLeft(Change& change, Left& left) {
    const PartContext context = {.copy = &change.copy, .copies = &change.copies};
    printLine("%s", "");
    for (const Part& part : PARTS) {
        char text[PART_TEXT_BYTES] = "";
        if (!part.isLeft) continue;
        const bool isLeft = part.isLeft(context, text, sizeof text);
        if (isLeft) ++left.parts;
        if (!isLeft && isForeignEntry(change, part)) {
            reportPart(change, "info", part.name, "of another product or folder, and stays");
        } else {
            reportPart(change, isLeft ? "LEFT" : "gone", part.name, text);
        }
    }
    if (!isDriverThere(change.driver)) removeDataSources(change.driver, receiveSource, &left);
}

// The program deletes the entry of the name, also another product's.
int keepEntry(Change& change) {
    if (findEntryOwner(change.copy) != EntryOwner::OTHER_PRODUCT) return 0;
    const DWORD error = keepKey(KeptKind::ENTRY, change.copy.name);
    if (error == ERROR_SUCCESS) return 0;
    return refuse(change, static_cast<int>(error),
                  "Nothing was changed, because the entry of another product cannot be saved "
                  "(error %lu): HKLM\\%s%s",
                  error, UNINSTALL_KEY, change.copy.name);
}

// False when the entry of another product is not as it was.
bool putEntryBack(Change& change) {
    const char* name = change.copy.name;
    if (!isKept(KeptKind::ENTRY, name)) return true;
    bool restored = false;
    const DWORD error = putKeptBack(KeptKind::ENTRY, name, &restored);
    if (error == ERROR_SUCCESS) return true;
    char place[REGISTRY_TEXT_BYTES];
    formatKeptPath(KeptKind::ENTRY, name, place, sizeof place);
    note(change,
         "The entry of another product in the list of installed programs cannot be put back (error "
         "%lu). It is saved in HKLM\\%s\\Key.",
         error, place);
    return false;
}

// What to do about what is left.
int finishLeft(const Left& left, int code) {
    Change& change = left.change;
    const char* name = change.copy.name;
    if (left.parts > 0) {
        return finish(change, code,
                      "%u part%s left (%d). Run \"zelkpmutil upgrade %s\", then \"zelkpmutil "
                      "unregister %s\".",
                      left.parts, left.parts == 1 ? " is" : "s are", code, name, name);
    }
    if (left.sources > 0) {
        return finish(change, code,
                      "%u data source%s left (%d), without a driver. Delete %s by hand.",
                      left.sources, left.sources == 1 ? " is" : "s are", code,
                      left.sources == 1 ? "it" : "them");
    }
    return finish(change, code, "The entry of another product is not as it was (%d).", code);
}

int unregisterCopy(Change& change) {
    const Command& command = change.command;
    if (const int code = checkCopy(change, false)) return code;
    if (const int code = keepDataSources(change)) return code;
    if (const int code = keepEntry(change)) return code;
    int code = 0;
    const bool started = runProgram(change, "-u -c", command.programOptions, &code);
    const bool isEntryBack = putEntryBack(change);
    if (!started) return code;
    if (code != EXIT_DONE && code != EXIT_COPY_UNKNOWN) {
        return finish(change, code, "The copy was not unregistered (%d).", code);
    }
    // Another name of this folder has the same driver and provider.
    if (change.other.name[0] != '\0') {
        return finish(change, PARTS_NOT_RIGHT,
                      "This folder is also registered as %s, whose driver and provider are gone, "
                      "too (1). Run \"zelkpmutil upgrade %s\".",
                      change.other.name, change.other.name);
    }
    change.copies = CopyList();
    listAllCopies(change.copies);
    Left left = {change};
    reportLeft(change, left);
    if (left.parts + left.sources == 0 && isEntryBack) {
        return finish(change, 0, "Nothing is left (0).");
    }
    return finishLeft(left, code == EXIT_DONE ? PARTS_NOT_RIGHT : code);
}

}  // namespace

int unregisterCommand(const Command& command) {
    return runChange(command, unregisterCopy);
}
