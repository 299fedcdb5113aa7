// The texts under which the ODBC driver is registered. Free of platform headers.
#pragma once

#include <cstddef>

// The beginning of every driver's description.
constexpr char DRIVER_NAME_PREFIX[] = "ORVANE PELLIMAR for ODBC";

constexpr size_t DESCRIPTION_BYTES = 294;
constexpr size_t ATTRIBUTES_BYTES = 344;

// Writes the driver's description, its name in the registry, to out: the product's name and the
// install directory as given, with forward slashes.
void formatDescription(const char* installDirectory, char (&out)[DESCRIPTION_BYTES]);

// Writes the attribute list of the driver to out: "key=value" texts, each with its zero, and an
// empty one at the end. The libraries have no folder; the installer adds it.
// Windows documentation: "SQLInstallDriverEx".
void formatAttributes(const char* description, char (&out)[ATTRIBUTES_BYTES]);
