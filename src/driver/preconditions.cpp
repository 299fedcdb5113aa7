#include "driver/preconditions.h"

#include <cstring>

#include "registration/installed_copies_keys.h"
#include "run/messages.h"
#include "run/run_settings.h"
#include "services/administrator.h"
#include "services/owners.h"
#include "services/path.h"
#include "services/registry.h"
#include "services/text.h"

namespace {

struct CopyKeyPath {
    explicit CopyKeyPath(const char* name) {
        formatText(text, sizeof text, "%s\\%s", INSTALLED_COPIES_KEY, name);
    }
    char text[REGISTRY_TEXT_BYTES];
};

// Prints the path of a copy's key with the message, and reads a text of the key into out, which is
// empty when there is none.
void readCopyText(unsigned message, const CopyKeyPath& path, const char* name, char* out,
                  size_t size) {
    sayVerbose(message, path.text);
    ZELKiCopyNameRegistry key;
    key.Open(HKEY_LOCAL_MACHINE, path.text, REGISTRY_READ);
    readRegistryText(key, name, out, size);
}

// Reads and prints the path of one installed copy; true when it is this run's install directory.
bool isAtInstallDir(const char* name) {
    char path[PATH_BYTES];
    readCopyText(MSG_INSTALLED_COPY, CopyKeyPath(name), PATH_VALUE, path, sizeof path);
    sayVerbose(MSG_INSTALLED_PATH, path, installDir);
    return strcmp(path, installDir) == 0;
}

}  // namespace

ExitCode checkOptions(const CommandLine& line) {
    if (line.replaceAfterUnregister) {
        return refuse(EXIT_REPLACE_AFTER_UNREGISTER, MSG_REPLACE_AFTER_UNREGISTER);
    }
    if (line.unregister == 1 && !line.copyNameGiven) {
        return refuse(EXIT_COPY_NAME_MISSING, MSG_COPY_NAME_MISSING);
    }
    if (!isUserAdministrator()) return refuse(EXIT_NOT_ADMINISTRATOR, MSG_NOT_ADMINISTRATOR);
    return NOT_REFUSED;
}

ExitCode checkCopyKey(const CommandLine& line) {
    ZELKiCopyNameRegistry key;
    const bool exists = key.TryOpen(HKEY_LOCAL_MACHINE, COPY_KEY, copyName, REGISTRY_READ);
    if (!line.unregister && exists && !replaceExisting) {
        return refuse(EXIT_COPY_EXISTS, MSG_COPY_EXISTS, copyName);
    }
    if (line.unregister && !exists) return refuse(EXIT_COPY_UNKNOWN, MSG_COPY_UNKNOWN, copyName);
    return NOT_REFUSED;
}

ExitCode checkRemoteCopy(const CommandLine& line) {
    const CopyKeyPath path(copyName);
    char remote[REGISTRY_TEXT_BYTES];
    readCopyText(MSG_COPY_KEY, path, REMOTE_COPY_VALUE, remote, sizeof remote);
    if (line.unregister && strcmp(remote, REMOTE_COPY_DATA) != 0) {
        return refuse(EXIT_NOT_REMOTE_COPY, MSG_NOT_REMOTE_COPY, path.text);
    }
    return NOT_REFUSED;
}

ExitCode checkInstalledCopies(const CommandLine& line, bool& onlyCopy) {
    // The open is not tested: without the key there is nothing to enumerate.
    OwnedKey copies;
    RegOpenKeyA(HKEY_LOCAL_MACHINE, INSTALLED_COPIES_KEY, copies.put());
    bool foundAtInstallDir = false;
    unsigned count = 0;
    char name[256];
    LSTATUS status = 0;
    while ((status = RegEnumKeyA(copies.get(), count, name, sizeof name)) == ERROR_SUCCESS) {
        ++count;
        if (isAtInstallDir(name)) {
            foundAtInstallDir = true;
        } else if (line.unregister && strcmp(name, copyName) == 0 && !line.forceUnregister) {
            return refuse(EXIT_OTHER_PATH, MSG_OTHER_PATH, name);
        }
    }
    // A walk that an error ended can have left copies out.
    onlyCopy = status == ERROR_NO_MORE_ITEMS && count == 1 && line.unregister;
    copies.reset();
    sayVerbose(MSG_COPY_COUNT, Decimal(count).text);

    if (foundAtInstallDir && !line.unregister && !replaceExisting) {
        return refuse(EXIT_PATH_TAKEN, MSG_PATH_TAKEN);
    }
    return NOT_REFUSED;
}

ExitCode checkDefaultCopy(const CommandLine& line, bool onlyCopy) {
    ZELKiCopyNameRegistry key;
    key.Open(HKEY_LOCAL_MACHINE, INSTALLED_COPIES_KEY, REGISTRY_READ);
    char defaultCopy[128];
    readRegistryText(key, DEFAULT_COPY_VALUE, defaultCopy, sizeof defaultCopy);
    say(MSG_DEFAULT_COPY, defaultCopy);
    say(MSG_THIS_COPY, copyName);

    if (strcmp(defaultCopy, copyName) != 0 || !(line.unregister || replaceExisting)) {
        return NOT_REFUSED;
    }
    makeDefaultCopy = true;
    if (onlyCopy || replaceExisting) return NOT_REFUSED;
    return refuse(EXIT_IS_DEFAULT_COPY, MSG_IS_DEFAULT_COPY);
}
