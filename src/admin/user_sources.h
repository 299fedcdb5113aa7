// The data sources of users that name a driver of the package. No command changes them.
#pragma once

#include <windows.h>

#include "services/list.h"

struct UserSources {
    char account[512];  // "PC0412\alice", or the SID of an account that is not known any more
    char sid[192];
    unsigned count;
};

// Adds the users of the profiles that are loaded now and have such data sources: those of both
// registry views, which share them. Returns how many profiles of people could not be read, because
// those of others need elevation.
unsigned listUserSources(List<UserSources>& users);
