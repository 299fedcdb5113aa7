#pragma once

#include "services/path.h"

// Writes the user's documents folder to folder. Returns false when the system does not know it.
// Windows documentation: "SHGetFolderPathA".
bool findDocumentsFolder(char (&folder)[PATH_BYTES]);
