#pragma once

#include "admin/change.h"

// The command register, which upgrade is for a copy without a record.
int registerCopy(Change& change);
