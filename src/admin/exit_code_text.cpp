#include "admin/exit_code_text.h"

#include <algorithm>
#include <span>

#include "run/exit_codes.h"

namespace {

struct CodeText {
    int code;
    const char* meaning;  // cppcheck-suppress unusedStructMember ; findText uses it
};

constexpr CodeText PROGRAM_CODES[] = {
    {EXIT_DONE, "the steps were run"},
    {EXIT_COPY_EXISTS, "the name is already registered"},
    {EXIT_COPY_UNKNOWN, "the name is not registered"},
    {EXIT_IS_DEFAULT_COPY, "the copy is the default client interface copy, and others exist"},
    {EXIT_NOT_REMOTE_COPY, "the record of the copy is not complete"},
    {EXIT_PATH_TAKEN, "the folder is registered under another name"},
    {EXIT_COPY_NAME_MISSING, "the name of the copy is missing or not valid"},
    {EXIT_OTHER_PATH, "the name is registered for another folder"},
    {EXIT_REPLACE_AFTER_UNREGISTER, "the options exclude each other"},
    {EXIT_NO_MESSAGE_LIBRARY, "there is no message library"},
    {EXIT_NO_LOG_FILE, "the log file of the program cannot be opened"},
    {EXIT_NOT_ADMINISTRATOR, "administrator rights are missing"},
};

// Seen, but not documented: nothing depends on them.
constexpr CodeText REGSVR32_CODES[] = {
    {0, "the library was registered"},
    {1, "its command line was not valid"},
    {2, "OLE could not be initialized"},
    {3, "the library, or one that it needs, could not be loaded"},
    {4, "the library has no function that registers it"},
    {5, "the function of the library that registers it failed"},
};

const char* findText(std::span<const CodeText> texts, int code) {
    const auto found = std::ranges::find(texts, code, &CodeText::code);
    return found == texts.end() ? "not known" : found->meaning;
}

}  // namespace

const char* programCodeText(int code) {
    return findText(PROGRAM_CODES, code);
}

const char* regsvr32CodeText(int code) {
    return findText(REGSVR32_CODES, code);
}
