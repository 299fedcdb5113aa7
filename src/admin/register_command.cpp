#include "admin/actions.h"
#include "admin/change.h"
#include "admin/entry_owner.h"
#include "admin/register_copy.h"
#include "registration/uninstall_keys.h"
#include "run/exit_codes.h"

int registerCopy(Change& change) {
    const Command& command = change.command;
    if (const int code = checkCopy(change, command.replace)) return code;
    if (findEntryOwner(change.copy) == EntryOwner::OTHER_PRODUCT) {
        char key[REGISTRY_TEXT_BYTES];
        char title[REGISTRY_TEXT_BYTES];
        formatText(key, sizeof key, "%s%s", UNINSTALL_KEY, change.copy.name);
        readText(ownView(), key, DISPLAY_NAME_VALUE, title);
        return refuse(change, ERROR_ALREADY_EXISTS,
                      "%s is the key of another product in the list of installed programs. Use "
                      "another name. The product: \"%.256s\"",
                      change.copy.name, title);
    }
    // -r unregisters first, and its data sources go with the driver.
    if (command.replace) {
        if (const int code = keepDataSources(change)) return code;
    }
    const bool wantDefault = command.makeDefault || (command.replace && change.copy.isDefault);
    int code = 0;
    if (!runProgram(change, "-c", command.programOptions, &code)) return code;
    if (code != EXIT_DONE && code != EXIT_COPY_EXISTS) {
        return finish(change, code, "The copy was not registered (%d).", code);
    }
    return completeRegistration(change, code, wantDefault);
}

int registerCommand(const Command& command) {
    return runChange(command, registerCopy);
}
