// The texts under which the ODBC driver is registered. Free of platform headers.
#pragma once

#include <cstddef>

// Writes the driver's description, its name in the registry, to out (294 bytes): the install
// directory as given, with forward slashes, behind the product's name.
void formatDescription(const char* installDirectory, char (&out)[294]);

// Writes the attribute list of the driver to out (344 bytes): "key=value" texts, each with its
// zero, and an empty one at the end. The libraries carry no directory; the installer adds it.
// Returns the length, with the zero of the empty text.
// Windows documentation: "SQLInstallDriverEx".
size_t formatAttributes(const char* description, char (&out)[344]);
