// The record of a copy that an upgrade has set aside.
#pragma once

#include "admin/registered_copy.h"

// A command that was interrupted.
struct Interrupted {
    const View* view;
    char name[COPY_NAME_BYTES];  // of the copy
    char command[16];            // "upgrade"
    char since[32];              // UTC, "2026-11-20T23:10:41Z"
};

// Adds what was interrupted in a view to the list.
void listInterrupted(const View& view, List<Interrupted>& interrupted);
