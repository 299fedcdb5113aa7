#include <windows.h>

#include "admin/actions.h"

int unregisterCommand(const Command&) {
    return ERROR_CALL_NOT_IMPLEMENTED;
}
