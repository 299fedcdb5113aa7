#include <windows.h>

#include "admin/actions.h"

int registerCommand(const Command&) {
    return ERROR_CALL_NOT_IMPLEMENTED;
}
