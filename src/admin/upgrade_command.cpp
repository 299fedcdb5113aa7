#include <windows.h>

#include "admin/actions.h"

int upgradeCommand(const Command&) {
    return ERROR_CALL_NOT_IMPLEMENTED;
}
