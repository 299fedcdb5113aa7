#include "run/copy_name.h"

#include <cstring>

bool isValidCopyName(const char* name) {
    static constexpr char ALLOWED[] =
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_";
    const size_t length = strlen(name);
    return length > 0 && length <= LONGEST_COPY_NAME && !(name[0] >= '0' && name[0] <= '9') &&
           strspn(name, ALLOWED) == length;
}
