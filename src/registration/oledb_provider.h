// The copy's OLE DB provider, a COM server that the system's regsvr32 registers.
#pragma once

// REGISTER registers the provider, with replaceExisting (-r) after unregistering it once per
// process; UNREGISTER unregisters it. passThrough has no effect. Prints its result. Returns 0 when
// regsvr32 could be called; its exit code is not read.
int registerOleDbProvider(int mode, const char* installDirectory, bool passThrough);
