#include "driver/preconditions.h"

#include <cstring>

#include "registration/installed_copies_keys.h"
#include "run/messages.h"
#include "run/refusal.h"
#include "run/run_settings.h"
#include "services/owners.h"
#include "services/path.h"
#include "services/registry.h"
#include "services/text.h"

namespace {

void buildCopyKeyPath(const char* name, char (&path)[2048]) {
    formatText(path, sizeof path, "%s\\%s", INSTALLED_COPIES_KEY, name);
}

// Looks at one installed copy; true when it lies in this run's install directory.
bool liesHere(const char* name, const CommandLine& line) {
    char keyPath[2048];
    buildCopyKeyPath(name, keyPath);
    sayVerbose(MSG_INSTALLED_COPY, keyPath);

    ZELKiCopyNameRegistry key;
    key.Open(HKEY_LOCAL_MACHINE, keyPath, REGISTRY_READ);
    char path[PATH_BYTES];
    readRegistryText(key, PATH_VALUE, path, sizeof path);
    sayVerbose(MSG_INSTALLED_PATH, path, installDir);
    if (strcmp(path, installDir) == 0) return true;

    if (line.unregister && strcmp(name, copyName) == 0 && !line.forceUnregister) {
        refuse(EXIT_OTHER_PATH, MSG_OTHER_PATH, name);
    }
    return false;
}

}  // namespace

void checkCopyKey(const CommandLine& line) {
    ZELKiCopyNameRegistry key;
    const bool exists = key.TryOpen(HKEY_LOCAL_MACHINE, COPY_KEY, copyName, REGISTRY_READ);
    if (!line.unregister && exists && !replaceExisting) {
        refuse(EXIT_COPY_EXISTS, MSG_COPY_EXISTS, copyName);
    }
    if (line.unregister && !exists) refuse(EXIT_COPY_UNKNOWN, MSG_COPY_UNKNOWN, copyName);
}

void checkRemoteCopy(const CommandLine& line) {
    char keyPath[2048];
    buildCopyKeyPath(copyName, keyPath);
    sayVerbose(MSG_COPY_KEY, keyPath);

    ZELKiCopyNameRegistry key;
    key.Open(HKEY_LOCAL_MACHINE, keyPath, REGISTRY_READ);
    char remote[2048];
    readRegistryText(key, REMOTE_COPY_VALUE, remote, sizeof remote);
    if (line.unregister && strcmp(remote, REMOTE_COPY_DATA) != 0) {
        refuse(EXIT_NOT_REMOTE_COPY, MSG_NOT_REMOTE_COPY, keyPath);
    }
}

bool checkInstalledCopies(const CommandLine& line) {
    // The open is not tested: without the key there is nothing to enumerate.
    OwnedKey copies;
    RegOpenKeyA(HKEY_LOCAL_MACHINE, INSTALLED_COPIES_KEY, copies.receive());
    bool foundAtInstallDir = false;
    unsigned count = 0;
    char name[256];
    while (RegEnumKeyA(copies.get(), count, name, sizeof name) == ERROR_SUCCESS) {
        ++count;
        if (liesHere(name, line)) foundAtInstallDir = true;
    }
    copies.reset();
    sayVerbose(MSG_COPY_COUNT, Decimal(count).text);

    if (foundAtInstallDir && !line.unregister && !replaceExisting) {
        refuse(EXIT_PATH_TAKEN, MSG_PATH_TAKEN);
    }
    return count == 1 && line.unregister;
}

void checkDefaultCopy(const CommandLine& line, bool onlyCopy) {
    ZELKiCopyNameRegistry key;
    key.Open(HKEY_LOCAL_MACHINE, INSTALLED_COPIES_KEY, REGISTRY_READ);
    char defaultCopy[128];
    readRegistryText(key, DEFAULT_COPY_VALUE, defaultCopy, sizeof defaultCopy);
    say(MSG_DEFAULT_COPY, defaultCopy);
    say(MSG_THIS_COPY, copyName);

    if (strcmp(defaultCopy, copyName) != 0 || !(line.unregister || replaceExisting)) return;
    makeDefaultCopy = true;
    if (!onlyCopy && !replaceExisting) refuse(EXIT_IS_DEFAULT_COPY, MSG_IS_DEFAULT_COPY);
}
