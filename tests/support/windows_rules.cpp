// Makes Wine as strict as Windows with the test programs themselves, so that a test that only works
// under Wine fails there, too:
// - Paths of 260 characters and more are refused. Windows documentation: "Maximum Path Length
//   Limitation".
// - The size of a file that is open for writing is not known by its name: Windows stores it in the
//   folder when the file is closed.
#include <windows.h>

#include <sys/stat.h>

#include <type_traits>

#include "services/owners.h"
#include "tests/modules/import_patch.h"

namespace {

template <typename Character>
bool isTooLong(const Character* path) {
    size_t length = 0;
    while (path && path[length] != 0) ++length;
    return length >= MAX_PATH && !(path[0] == '\\' && path[1] == '\\' && path[2] == '?');
}

// In the place of a function whose first argument, or the first two, are paths. Each has a tag of
// its own.
template <typename Tag, typename Function>
struct Strict;

template <typename Tag, typename Result, typename First, typename Second, typename... Rest>
struct Strict<Tag, Result WINAPI(First, Second, Rest...)> {
    static inline Result(WINAPI* original)(First, Second, Rest...);
    static Result WINAPI call(First first, Second second, Rest... rest) {
        bool refused = isTooLong(first);
        if constexpr (std::is_same_v<First, Second>) refused = refused || isTooLong(second);
        if (!refused) return original(first, second, rest...);
        SetLastError(ERROR_PATH_NOT_FOUND);
        if constexpr (std::is_same_v<Result, HANDLE>) return INVALID_HANDLE_VALUE;
        return Result{};
    }
};

#define MAKE_STRICT(function)                                                    \
    if (const auto place = findImport<decltype(function)>(nullptr, #function)) { \
        using Rule = Strict<decltype([] {}), decltype(function)>;                \
        Rule::original = *place;                                                 \
        replaceImport(nullptr, #function, Rule::call);                           \
    }

using Status = int(const wchar_t*, struct _stat64*);
Status* statusOf;

int statusOfClosed(const wchar_t* path, struct _stat64* status) {
    const int result = statusOf(path, status);
    const OwnedHandle file =
        ownFile(CreateFileW(path, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                            FILE_FLAG_BACKUP_SEMANTICS, nullptr));
    if (!file && GetLastError() == ERROR_SHARING_VIOLATION) status->st_size = 0;
    return result;
}

// Made before the tests run.
const struct Rules {
    Rules() {
        if (!GetProcAddress(GetModuleHandleA("ntdll.dll"), "wine_get_version")) return;
        MAKE_STRICT(CopyFileA)
        MAKE_STRICT(CreateDirectoryA)
        MAKE_STRICT(CreateDirectoryW)
        MAKE_STRICT(CreateFileA)
        MAKE_STRICT(CreateFileW)
        MAKE_STRICT(CreateHardLinkA)
        if (findImport<Status>(nullptr, "_wstat64"))
            statusOf = replaceImport<Status>(nullptr, "_wstat64", statusOfClosed);
    }
} RULES;

}  // namespace
