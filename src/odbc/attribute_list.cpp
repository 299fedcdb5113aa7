#include "odbc/attribute_list.h"

#include <cstdio>

#include "services/path.h"
#include "services/text.h"

void formatDescription(const char* installDirectory, char (&out)[DESCRIPTION_BYTES]) {
    char folder[PATH_BYTES] = "";
    copyText(folder, sizeof folder, installDirectory);
    replaceBackslashes(folder);
    formatText(out, sizeof out, "%s - %s", "ORVANE PELLIMAR for ODBC", folder);
}

size_t formatAttributes(const char* description, char (&out)[ATTRIBUTES_BYTES]) {
    const int length = snprintf(out, sizeof out, "%s%c%s%c%s%c%c", description, 0,
                                "Driver=zelkcli.dll", 0, "Setup=zelkodbc.dll", 0, 0);
    return static_cast<size_t>(length);
}
