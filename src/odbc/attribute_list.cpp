#include "odbc/attribute_list.h"

#include <cstdio>

#include "run/package_names.h"
#include "services/path.h"
#include "services/text.h"

void formatDescription(const char* installDirectory, char (&out)[DESCRIPTION_BYTES]) {
    char folder[PATH_BYTES] = "";
    copyText(folder, sizeof folder, installDirectory);
    replaceBackslashes(folder);
    formatText(out, sizeof out, "%s - %s", DRIVER_NAME_PREFIX, folder);
}

void formatAttributes(const char* description, char (&out)[ATTRIBUTES_BYTES]) {
    snprintf(out, sizeof out, "%s%cDriver=%s%cSetup=%s%c%c", description, 0, DRIVER_FILE, 0,
             DRIVER_SETUP_FILE, 0, 0);
}
