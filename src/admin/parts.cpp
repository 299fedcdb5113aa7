#include "admin/parts.h"

#include <cstdarg>
#include <cstring>

#include "admin/entry_owner.h"
#include "odbc/attribute_list.h"
#include "odbc/odbc_keys.h"
#include "registration/installed_copies_keys.h"
#include "registration/uninstall_keys.h"
#include "run/copy_name.h"
#include "run/package_names.h"
#include "services/files/image_file.h"
#include "services/files/same_file.h"
#include "services/same_name.h"
#include "services/text.h"

namespace {

void set(PartResult& result, PartState state, const char* format, ...) TEXT_PRINTF(3, 4);
void set(PartResult& result, PartState state, const char* format, ...) {
    result.state = state;
    va_list arguments;  // NOLINT(cppcoreguidelines-init-variables): a type without a value
    va_start(arguments, format);
    formatTextList(result.text, sizeof result.text, format, arguments);
    va_end(arguments);
}

void formatRecordKey(const PartContext& context, const char* subkey,
                     char (&out)[REGISTRY_TEXT_BYTES]) {
    formatText(out, sizeof out, "%s\\%s%s", INSTALLED_COPIES_KEY, context.copy->name, subkey);
}

// False, with the result set, unless the file is there and of the machine type of the copy.
bool checkImage(const PartContext& context, const char* path, PartResult& result) {
    copyText(result.where, path);
    const char* expected = machineName(context.copy->view->machine);
    copyText(result.expected, expected);
    WORD machine = 0;
    const DWORD error = readImageMachine(path, machine);
    if (error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND) {
        set(result, PartState::MISSING, "file not found: %s", path);
    } else if (error == ERROR_BAD_EXE_FORMAT) {
        set(result, PartState::WRONG, "not a program or library: %s", path);
    } else if (error != 0) {
        set(result, PartState::WRONG, "cannot be read (%lu): %s", error, path);
    } else {
        copyText(result.found, machineName(machine));
        if (machine == context.copy->view->machine) return true;
        set(result, PartState::WRONG, "%s, expected %s: %s", machineName(machine), expected, path);
    }
    return false;
}

// Reads a value that must be text; false, with the result set, when it is another one.
bool checkText(const PartContext& context, const char* key, const char* value, const char* expected,
               PartResult& result) {
    copyText(result.expected, expected);
    formatText(result.where, sizeof result.where, "HKLM\\%s", key);
    if (!readText(*context.copy->view, key, value, result.found)) {
        set(result, PartState::MISSING, "no value \"%s\" in HKLM\\%s", value, key);
    } else if (!isSameName(result.found, expected)) {
        set(result, PartState::WRONG, "%s, expected %s", result.found, expected);
    } else {
        return true;
    }
    return false;
}

// The first value of a list that is not in a subkey of the record; null when each is there.
template <typename Values, typename NameOf>
const char* findMissing(const PartContext& context, const char* subkey, const Values& values,
                        NameOf nameOf) {
    char path[REGISTRY_TEXT_BYTES];
    formatRecordKey(context, subkey, path);
    ZELKiRegistry key;
    openForReading(key, *context.copy->view, path);  // without the key no value is there
    for (const auto& value : values) {
        if (RegQueryValueExA(key.GetHandle(), nameOf(value), nullptr, nullptr, nullptr, nullptr) !=
            ERROR_SUCCESS) {
            return nameOf(value);
        }
    }
    return nullptr;
}

bool isComplete(const PartContext& context, PartResult& result) {
    const auto isThere = [&](const char* subkey, const char* missing) {
        if (missing) {
            set(result, PartState::WRONG, "incomplete: no value \"%s\" in HKLM\\%s\\%s%s", missing,
                INSTALLED_COPIES_KEY, context.copy->name, subkey);
        }
        return !missing;
    };
    for (const char* subkey : VERSION_SUBKEYS) {
        const auto nameOf = [](const VersionValue& value) { return value.name; };
        if (!isThere(subkey, findMissing(context, subkey, VERSION_VALUES, nameOf))) return false;
    }
    const auto same = [](const char* name) { return name; };
    return isThere(OLEDB_SUBKEY, findMissing(context, OLEDB_SUBKEY, OLEDB_VALUES, same));
}

void checkRecord(const PartContext& context, PartResult& result) {
    char path[REGISTRY_TEXT_BYTES];
    formatRecordKey(context, "", path);
    formatText(result.where, sizeof result.where, "HKLM\\%s", path);
    copyText(result.expected, context.copy->dir);
    ZELKiRegistry key;
    if (!openForReading(key, *context.copy->view, path)) {
        set(result, PartState::MISSING, "not there: HKLM\\%s", path);
        return;
    }
    if (!readRegistryText(key, PATH_VALUE, result.found, sizeof result.found)) {
        set(result, PartState::WRONG, "incomplete: no value \"%s\" in HKLM\\%s", PATH_VALUE, path);
        return;
    }
    if (!isValidCopyName(context.copy->name)) {
        set(result, PartState::WRONG, "not the name of a copy: HKLM\\%s", path);
        return;
    }
    // As the registration program compares them.
    if (strcmp(result.found, context.copy->dir) != 0) {
        set(result, PartState::WRONG, "names %s, expected %s", result.found, context.copy->dir);
        return;
    }
    for (const char* value : {CLIENT_ONLY_VALUE, REMOTE_COPY_VALUE}) {
        char text[REGISTRY_TEXT_BYTES];
        readRegistryText(key, value, text, sizeof text);
        if (strcmp(text, REMOTE_COPY_DATA) != 0) {
            set(result, PartState::WRONG, "incomplete: \"%s\" is not \"%s\" in HKLM\\%s", value,
                REMOTE_COPY_DATA, path);
            return;
        }
    }
    if (isComplete(context, result)) {
        set(result, PartState::OK, "names this folder and is complete");
    }
}

bool isRecordLeft(const PartContext& context, char* text, size_t size) {
    char path[REGISTRY_TEXT_BYTES];
    formatRecordKey(context, "", path);
    formatText(text, size, "HKLM\\%s", path);
    ZELKiRegistry key;
    return openForReading(key, *context.copy->view, path);
}

void checkDriver(const PartContext& context, PartResult& result) {
    char driver[DESCRIPTION_BYTES];
    formatDescription(context.copy->dir, driver);
    if (checkText(context, INSTALLED_DRIVERS_KEY, driver, DRIVER_INSTALLED_DATA, result)) {
        set(result, PartState::OK, "%s", driver);
    }
}

void formatDriverKey(const PartContext& context, char (&out)[REGISTRY_TEXT_BYTES]) {
    char driver[DESCRIPTION_BYTES];
    formatDescription(context.copy->dir, driver);
    formatText(out, sizeof out, "%s\\%s", ODBC_DRIVERS_KEY, driver);
}

bool isDriverLeft(const PartContext& context, char* text, size_t size) {
    char key[REGISTRY_TEXT_BYTES];
    char data[REGISTRY_TEXT_BYTES];
    formatDriverKey(context, key);
    const char* driver = key + sizeof ODBC_DRIVERS_KEY;
    copyText(text, size, driver);
    ZELKiRegistry registry;
    return openForReading(registry, *context.copy->view, key) ||
           readText(*context.copy->view, INSTALLED_DRIVERS_KEY, driver, data);
}

void checkLibrary(const PartContext& context, const char* value, const char* file,
                  PartResult& result) {
    char key[REGISTRY_TEXT_BYTES];
    char path[LIBRARY_PATH_BYTES];
    formatDriverKey(context, key);
    formatCopyFile(*context.copy, ODBC_BIN_FOLDER, file, path);
    if (checkText(context, key, value, path, result) && checkImage(context, path, result)) {
        set(result, PartState::OK, "there, %s: %s", result.found, path);
    }
}

void checkDriverLibrary(const PartContext& context, PartResult& result) {
    checkLibrary(context, DRIVER_LIBRARY_VALUE, DRIVER_FILE, result);
}

void checkSetupLibrary(const PartContext& context, PartResult& result) {
    checkLibrary(context, SETUP_LIBRARY_VALUE, DRIVER_SETUP_FILE, result);
}

void checkPooling(const PartContext& context, const char* value, PartResult& result) {
    formatText(result.where, sizeof result.where, "HKLM\\%s", POOLING_KEY);
    if (readText(*context.copy->view, POOLING_KEY, value, result.found)) {
        set(result, PartState::OK, "the value exists");
    } else {
        set(result, PartState::MISSING, "no value \"%s\" in HKLM\\%s", value, POOLING_KEY);
    }
}

void checkPerformanceMonitor(const PartContext& context, PartResult& result) {
    checkPooling(context, PERFORMANCE_MONITOR_VALUE, result);
}

void checkRetryWait(const PartContext& context, PartResult& result) {
    checkPooling(context, RETRY_WAIT_VALUE, result);
}

void checkXa(const PartContext& context, PartResult& result) {
    char path[LIBRARY_PATH_BYTES];
    formatCopyFile(*context.copy, ODBC_BIN_FOLDER, XA_FILE, path);
    const bool listed = checkText(context, XA_LIBRARIES_KEY, path, path, result);
    if (context.copy->view != allViews().data()) {
        set(result, PartState::INFO,
            "%s in the %s view; the coordinator is a 64-bit program and reads the 64-bit view",
            listed ? "listed" : "not listed", context.copy->view->name);
    } else if (listed && checkImage(context, path, result)) {
        set(result, PartState::OK, "listed, and the library is there, %s: %s", result.found, path);
    }
}

bool isXaLeft(const PartContext& context, char* text, size_t size) {
    char path[LIBRARY_PATH_BYTES];
    char data[REGISTRY_TEXT_BYTES];
    formatCopyFile(*context.copy, ODBC_BIN_FOLDER, XA_FILE, path);
    copyText(text, size, path);
    return readText(*context.copy->view, XA_LIBRARIES_KEY, path, data);
}

void checkUninstallEntry(const PartContext& context, PartResult& result) {
    Entry entry;
    readEntry(*context.copy, entry);
    copyText(result.found, entry.command);
    copyText(result.expected, entry.expectedCommand);
    formatText(result.where, sizeof result.where, "HKLM\\%s%s", UNINSTALL_KEY, context.copy->name);
    char program[LIBRARY_PATH_BYTES];
    formatCopyFile(*context.copy, BIN_FOLDER, PROGRAM_FILE, program);
    PartResult image;
    if (entry.owner == EntryOwner::NONE) {
        set(result, PartState::MISSING, "not there: %s", result.where);
    } else if (entry.owner == EntryOwner::OTHER_PRODUCT) {
        set(result, PartState::WRONG, "the key of another product: \"%s\"", entry.displayName);
    } else if (entry.command[0] == '\0') {
        set(result, PartState::MISSING, "incomplete: no value \"%s\" in %s", UNINSTALL_STRING_VALUE,
            result.where);
    } else if (!entry.hasOwnCommand) {
        set(result, PartState::WRONG, "%s, expected %s", entry.command, entry.expectedCommand);
    } else if (entry.displayName[0] == '\0') {
        set(result, PartState::WRONG, "incomplete: no value \"%s\" in %s", DISPLAY_NAME_VALUE,
            result.where);
    } else if (!checkImage(context, program, image)) {
        set(result, image.state, "%s", image.text);
    } else {
        set(result, PartState::OK, "command of this copy");
    }
}

bool isUninstallEntryLeft(const PartContext& context, char* text, size_t size) {
    formatText(text, size, "HKLM\\%s%s", UNINSTALL_KEY, context.copy->name);
    return findEntryOwner(*context.copy) == EntryOwner::THIS_COPY;
}

void checkUninstallVersion(const PartContext& context, PartResult& result) {
    Entry entry;
    readEntry(*context.copy, entry);
    char program[LIBRARY_PATH_BYTES];
    char version[VERSION_BYTES];
    formatCopyFile(*context.copy, BIN_FOLDER, PROGRAM_FILE, program);
    readImageVersion(program, version);
    copyText(result.expected, version);
    if (entry.owner != EntryOwner::THIS_COPY) {
        set(result, PartState::INFO, "no entry of this copy");
        return;
    }
    copyText(result.found, entry.version);
    if (entry.version[0] == '\0') {
        set(result, PartState::INFO, "none; zelkpmutil writes it, zelkpmreg.exe alone does not");
    } else if (strcmp(entry.version, version) != 0) {
        set(result, PartState::WRONG, "%s, expected %s", entry.version,
            *version != '\0' ? version : "the version of bin\\zelkpmreg.exe, which is not known");
    } else {
        set(result, PartState::OK, "%s, as bin\\%s", version, PROGRAM_FILE);
    }
}

// Another registered copy of the view whose provider library is at path, or null.
const RegisteredCopy* findProviderCopy(const PartContext& context, const char* path) {
    for (const RegisteredCopy& other : *context.copies) {
        char library[LIBRARY_PATH_BYTES];
        formatCopyFile(other, BIN_FOLDER, PROVIDER_FILE, library);
        if (other.view == context.copy->view && !isSameName(other.name, context.copy->name) &&
            isSameFile(library, path)) {
            return &other;
        }
    }
    return nullptr;
}

// The library of this copy is a server of the view, or that of another copy is, or any other one.
void checkServers(const PartContext& context, const List<ProviderServer>& servers,
                  const char* library, PartResult& result) {
    const RegisteredCopy* provider = nullptr;
    for (size_t i = 0; i < servers.count(); ++i) {
        const char* path = servers[i].path;
        if (isSameFile(path, library)) {
            copyText(result.found, path);
            set(result, PartState::OK, "server of class %s: %s", servers[i].classId, path);
            return;
        }
        if (provider) continue;
        provider = findProviderCopy(context, path);
        if (provider || i == 0) copyText(result.found, path);
    }
    if (servers.count() == 0) {
        set(result, PartState::MISSING, "no class of the %s view has this server: %s",
            context.copy->view->name, library);
    } else if (provider) {
        copyText(result.providedBy, provider->name);
        set(result, PartState::INFO, "provided by %s: %s", provider->name, result.found);
    } else {
        set(result, PartState::WRONG, "%s, expected %s", result.found, library);
    }
}

void checkOleDb(const PartContext& context, PartResult& result) {
    char library[LIBRARY_PATH_BYTES];
    formatCopyFile(*context.copy, BIN_FOLDER, PROVIDER_FILE, library);
    if (!checkImage(context, library, result)) return;
    copyText(result.found, "");
    copyText(result.expected, library);
    if (context.regsvr32Code != -1 && context.regsvr32Code != 0) {
        set(result, PartState::MISSING, "not registered: regsvr32.exe ended with %d for %s",
            context.regsvr32Code, library);
        return;
    }
    char key[REGISTRY_TEXT_BYTES];
    char classId[GUID_TEXT_BYTES];
    char server[PATH_BYTES];
    formatRecordKey(context, OLEDB_SUBKEY, key);
    readText(*context.copy->view, key, OLEDB_VALUES[0], classId);
    readServerPath(*context.copy->view, classId, server);
    if (server[0] == '\0' || !isSameFile(server, library)) {
        ProviderSearch own;
        ProviderSearch& search = context.search ? *context.search : own;
        searchProviderServers(*context.copy->view, search);
        checkServers(context, search.servers, library, result);
        return;
    }
    copyText(result.found, server);
    set(result, PartState::OK, "server of the class of the record: %s", server);
}

bool isOleDbLeft(const PartContext& context, char* text, size_t size) {
    char library[LIBRARY_PATH_BYTES];
    formatCopyFile(*context.copy, BIN_FOLDER, PROVIDER_FILE, library);
    copyText(text, size, library);
    ProviderSearch search;
    searchProviderServers(*context.copy->view, search);
    for (const ProviderServer& server : search.servers) {
        if (!isSameFile(server.path, library)) continue;
        formatText(text, size, "%s: %s", server.classId, server.path);
        return true;
    }
    return false;
}

void checkDefaultCopy(const PartContext& context, PartResult& result) {
    const RegisteredCopy& copy = *context.copy;
    char tool[LIBRARY_PATH_BYTES];
    formatCopyFile(*context.copy, BIN_FOLDER, SWITCH_TOOL_FILE, tool);
    readText(*copy.view, INSTALLED_COPIES_KEY, DEFAULT_COPY_VALUE, result.found);
    const char* shown = result.found[0] != '\0' ? result.found : "(none)";
    if (context.wantDefault) copyText(result.expected, copy.name);
    if (isSameName(result.found, copy.name)) {
        PartResult image;
        if (checkImage(context, tool, image)) {
            set(result, PartState::OK, "%s; %s\\%s is there", copy.name, BIN_FOLDER,
                SWITCH_TOOL_FILE);
        } else {
            set(result, image.state, "%s", image.text);
        }
    } else if (context.wantDefault) {
        set(result, result.found[0] != '\0' ? PartState::WRONG : PartState::MISSING,
            "%s, expected %s", shown, copy.name);
    } else {
        set(result, PartState::INFO, "%s", shown);
    }
}

constexpr char LIBRARY_CHECKED[] =
    "named by the driver, there, and of the machine type of the program";
constexpr char VALUE_CHECKED[] = "the value exists";

constexpr Part TABLE[] = {
    {"Record", "names this folder and is complete", checkRecord, isRecordLeft},
    {"Driver", "in the list of ODBC drivers", checkDriver, isDriverLeft},
    {"DriverLibrary", LIBRARY_CHECKED, checkDriverLibrary, nullptr},
    {"SetupLibrary", LIBRARY_CHECKED, checkSetupLibrary, nullptr},
    {"PoolingPerfMon", VALUE_CHECKED, checkPerformanceMonitor, nullptr},
    {"PoolingRetryWait", VALUE_CHECKED, checkRetryWait, nullptr},
    {"XA", "listed; the library is there, and of the machine type of the program", checkXa,
     isXaLeft},
    {"UninstallEntry", "has the command of this copy, whose program is there", checkUninstallEntry,
     isUninstallEntryLeft},
    {"UninstallVersion", "the version of bin\\zelkpmreg.exe", checkUninstallVersion, nullptr},
    {"OleDb", "the library is of the machine type of the program, and the server of a class",
     checkOleDb, isOleDbLeft},
    {"DefaultCopy", "names this copy, and the switch tool is there", checkDefaultCopy, nullptr},
};

}  // namespace

const std::span<const Part> PARTS = TABLE;

const char* partStateText(PartState state) {
    static constexpr const char* TEXTS[] = {"ok", "MISSING", "WRONG", "info"};
    return TEXTS[static_cast<size_t>(state)];
}

const char* partStateJson(PartState state) {
    static constexpr const char* TEXTS[] = {"ok", "missing", "wrong", "info"};
    return TEXTS[static_cast<size_t>(state)];
}

bool isRight(PartState state) {
    return state == PartState::OK || state == PartState::INFO;
}
