// What inventories read in the entry of a copy in the list of installed programs.
#pragma once

#include "admin/registered_copy.h"

// Writes it into the entry of this copy, and into no other one. Returns 0 or a Windows code.
LSTATUS writeInventoryValues(const RegisteredCopy& copy);
