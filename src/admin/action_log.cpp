#include "admin/action_log.h"

#include <cstdarg>
#include <cstring>

#include "admin/timestamp.h"
#include "services/files/file_system.h"
#include "services/wide_text.h"

namespace {

constexpr size_t LINE_BYTES = 16384;

DWORD writeBytes(HANDLE file, const char* bytes) {
    const auto size = static_cast<DWORD>(strlen(bytes));
    DWORD written = 0;
    if (!WriteFile(file, bytes, size, &written, nullptr)) return GetLastError();
    return written == size ? ERROR_SUCCESS : ERROR_DISK_FULL;
}

}  // namespace

OwnedHandle createNamedFile(const ProtectedFolder& folder, const char* name, const char* suffix,
                            char (&path)[PATH_BYTES]) {
    constexpr unsigned MOST_NAMES = 1000;
    const Timestamp now;
    OwnedHandle file;
    const char* dot = strrchr(suffix, '.');
    const auto stem = static_cast<int>(dot ? dot - suffix : 0);
    for (unsigned number = 1; !file && number <= MOST_NAMES; ++number) {
        char title[PATH_BYTES];
        char count[16] = "";
        wchar_t wide[PATH_BYTES];
        if (number > 1) formatText(count, sizeof count, "-%u", number);
        formatText(title, sizeof title, "%s%s%s%.*s%s%s", now.inFileName, *name ? "-" : "", name,
                   stem, suffix, count, suffix + stem);
        formatText(path, sizeof path, "%s\\%s", folder.text(), title);
        toWide(title, wide);
        file = folder.openFile(wide, GENERIC_WRITE, FILE_SHARE_READ, CREATE_NEW);
        const DWORD error = GetLastError();
        if (!file && error != ERROR_FILE_EXISTS && error != ERROR_ALREADY_EXISTS) break;
    }
    return file;
}

DWORD ActionLog::begin() {
    if (!file_) return GetLastError();
    return writeBytes(file_.get(), "\xEF\xBB\xBF");
}

DWORD ActionLog::openIn(const ProtectedFolder& folder, const char* name, const char* command) {
    char suffix[64];
    formatText(suffix, sizeof suffix, "-%s.log", command);
    if (char* blank = strchr(suffix, ' ')) *blank = '-';  // of two words
    file_ = createNamedFile(folder, name, suffix, path_);
    return begin();
}

DWORD ActionLog::openAt(const char* path) {
    char folder[PATH_BYTES];
    copyText(path_, path);
    copyText(folder, path);
    cutLastComponent(folder);
    if (folder[0] != '\0' && !directoryExists(folder)) createDirectoryTree(folder);
    file_ = ownFile(CreateFileA(path, GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_ALWAYS,
                                FILE_ATTRIBUTE_NORMAL, nullptr));
    return begin();
}

DWORD ActionLog::write(const char* kind, const char* format, ...) {
    if (!file_) return ERROR_SUCCESS;
    char line[LINE_BYTES];
    const Timestamp now;
    formatText(line, sizeof line, "%s %-5s ", now.milliseconds, kind);
    const size_t used = strlen(line);
    va_list arguments;  // NOLINT(cppcoreguidelines-init-variables): a type without a value
    va_start(arguments, format);
    formatTextList(line + used, sizeof line - used - 2, format, arguments);
    va_end(arguments);
    maskControls(line);
    appendText(line, "\r\n");
    const OwnedBuffer bytes = toUtf8(line);
    return bytes ? writeBytes(file_.get(), bytes.get()) : ERROR_NOT_ENOUGH_MEMORY;
}
