// The classes whose server is an OLE DB provider library of the package.
#pragma once

#include "admin/registered_copy.h"
#include "services/guid.h"

struct ProviderServer {
    char classId[GUID_TEXT_BYTES];
    char path[PATH_BYTES];  // of the library
};

// All of a view, found once.
struct ProviderSearch {
    bool done = false;
    List<ProviderServer> servers;
};

// Reads the path of the server library of a class; empty when it has none.
void readServerPath(const View& view, const char* classId, char (&path)[PATH_BYTES]);

// Searches all classes of the view, thousands of keys, unless that was done. Servers of the package
// are told by the name of the file.
void searchProviderServers(const View& view, ProviderSearch& search);
