// The registry record of an installed copy: the key named after it below INSTALLED_COPIES_KEY.
#pragma once

#include <cstdint>

// REGISTER writes the record, and with makeDefault names the copy as the default client interface
// copy; UNREGISTER deletes it, and with removeProductRoot the whole product key; any other mode
// changes nothing. Prints its result. Returns 0 or the failure that decided it: only the key of the
// OLE DB identifiers, the last of them and the default copy do.
uint32_t writeCopyRecord(int mode, const char* installDirectory, const char* name, bool makeDefault,
                         bool removeProductRoot);
