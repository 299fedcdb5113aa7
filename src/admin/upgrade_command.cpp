#include "admin/actions.h"
#include "admin/register_copy.h"
#include "admin/saved_record.h"
#include "run/exit_codes.h"

namespace {

// Without its record the copy counts as new. Its driver is then installed over the old one, which
// keeps the data sources and the time-out; -r would remove the driver first.
int setRecordAside(Change& change) {
    const char* name = change.copy.name;
    char place[REGISTRY_TEXT_BYTES];
    formatKeptPath(KeptKind::RECORD, name, place, sizeof place);
    DWORD error = keepKey(KeptKind::RECORD, name);
    if (error != ERROR_SUCCESS) {
        return refuse(change, static_cast<int>(error),
                      "Nothing was changed, because the record of %s cannot be saved to HKLM\\%s "
                      "(error %lu).",
                      name, place, error);
    }
    error = deleteRecord(name);
    if (error == ERROR_SUCCESS) return 0;
    bool restored = false;
    const DWORD failed = putKeptBack(KeptKind::RECORD, name, &restored);
    return refuse(change, static_cast<int>(error),
                  "Cannot set the record of %s aside (error %lu). %s HKLM\\%s", name, error,
                  failed == ERROR_SUCCESS ? "It is as it was, without" : "It is saved in", place);
}

int upgradeCopy(Change& change) {
    const Command& command = change.command;
    if (change.found == CopyFound::NOT_REGISTERED) return registerCopy(change);
    if (const int code = checkCopy(change, false)) return code;
    if (change.other.name[0] != '\0') {
        return refuse(
            change, EXIT_PATH_TAKEN,
            "This folder is also registered as %s. Unregister one of the two names first.",
            change.other.name);
    }
    char options[PROGRAM_OPTIONS_BYTES + 8];
    const bool wantDefault = command.makeDefault || change.copy.isDefault;
    formatText(options, sizeof options, "%s%s", command.programOptions,
               wantDefault && !command.makeDefault ? " -d" : "");
    if (const int code = setRecordAside(change)) return code;

    int code = 0;
    const bool started = runProgram(change, "-c", options, &code);
    bool restored = false;
    const DWORD error = putKeptBack(KeptKind::RECORD, change.copy.name, &restored);
    if (error != ERROR_SUCCESS) {
        char place[REGISTRY_TEXT_BYTES];
        formatKeptPath(KeptKind::RECORD, change.copy.name, place, sizeof place);
        return finish(change, code != 0 ? code : PARTS_NOT_RIGHT,
                      "The record of %s cannot be put back (error %lu). It is saved in HKLM\\%s. "
                      "The next command that changes something tries again.",
                      change.copy.name, error, place);
    }
    if (!started) return code;
    if (restored || code != EXIT_DONE) {
        if (code == EXIT_DONE) code = PARTS_NOT_RIGHT;
        return finish(change, code,
                      "The upgrade did not run (%d). The previous record is restored.", code);
    }
    return completeRegistration(change, code, wantDefault);
}

}  // namespace

int upgradeCommand(const Command& command) {
    return runChange(command, upgradeCopy);
}
