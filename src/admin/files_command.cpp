#include <algorithm>

#include "admin/actions.h"
#include "admin/output.h"
#include "admin/package_files.h"
#include "admin/registered_copy.h"
#include "admin/report.h"
#include "admin/timestamp.h"
#include "services/administrator.h"
#include "services/files/same_file.h"
#include "services/owners.h"
#include "services/path.h"
#include "services/programs/file_users.h"
#include "services/wide_text.h"

namespace {

enum class Use {
    FREE,       // it could be replaced now
    IN_USE,     // Windows refuses that, or a process was named
    DENIED,     // the caller has not the right, or another failure: error
    NOT_TRIED,  // only the processes can be asked
};

struct State {
    Use use;
    DWORD error;
};

struct Inspection {
    char folder[PATH_BYTES] = "";
    bool elevated = false;
    List<PackageFile> files;
    List<State> states;     // of the files
    DWORD namingError = 0;  // why the processes are not known

    size_t count(Use use) const {
        const auto isIt = [use](const State& state) { return state.use == use; };
        return static_cast<size_t>(std::count_if(states.begin(), states.end(), isIt));
    }
};

bool isThisProgram(const wchar_t* path) {
    char program[PATH_BYTES] = "";
    char text[FILE_PATH_CHARACTERS];
    const DWORD length = GetModuleFileNameA(nullptr, program, sizeof program);
    return length > 0 && length < sizeof program && toAnsi(path, text) && isSameFile(text, program);
}

// What replacing the file would need. A library that is loaded refuses to be opened for writing.
State tryFile(const PackageFile& file) {
    const OwnedHandle opened = ownFile(CreateFileW(
        file.path, GENERIC_WRITE | DELETE, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
        nullptr, OPEN_EXISTING, FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
    const DWORD error = opened ? ERROR_SUCCESS : GetLastError();
    if (error == ERROR_SUCCESS || error == ERROR_FILE_NOT_FOUND) return {Use::FREE, 0};
    if (error == ERROR_SHARING_VIOLATION) return {Use::IN_USE, error};
    // A read-only file refuses it whoever asks.
    if (error == ERROR_ACCESS_DENIED && file.isReadOnly) return {Use::NOT_TRIED, 0};
    return {Use::DENIED, error};
}

DWORD listUsers(const Inspection& inspection, size_t index, List<FileUser>& users) {
    const wchar_t* path = inspection.files[index].path;
    return listFileUsers(&path, 1, users);
}

// Asks for the processes of all files that are not known to be free at once, because most often
// there are none, and only then for those of each file that was not tried.
void askForUsers(Inspection& inspection) {
    List<const wchar_t*> paths;
    for (size_t i = 0; i < inspection.files.count(); ++i) {
        const Use use = inspection.states[i].use;
        if (use == Use::IN_USE || use == Use::NOT_TRIED) paths.add(inspection.files[i].path);
    }
    if (paths.count() == 0) return;
    List<FileUser> users;
    inspection.namingError = listFileUsers(paths.begin(), static_cast<UINT>(paths.count()), users);
    if (inspection.namingError != ERROR_SUCCESS || users.count() == 0) return;
    for (size_t i = 0; i < inspection.files.count(); ++i) {
        State& state = inspection.states[i];
        List<FileUser> ofFile;
        if (state.use != Use::NOT_TRIED) continue;
        inspection.namingError = listUsers(inspection, i, ofFile);
        if (inspection.namingError != ERROR_SUCCESS) return;
        if (ofFile.count() > 0) state = {Use::IN_USE, 0};
    }
}

// Returns 0 or the Windows code of what could not be read.
DWORD inspect(Inspection& inspection) {
    if (const DWORD error = listPackageFiles(inspection.folder, inspection.files)) return error;
    for (const PackageFile& file : inspection.files) {
        State state = {Use::NOT_TRIED, 0};
        if (isThisProgram(file.path)) {
            state = {Use::FREE, 0};
        } else if (inspection.elevated) {
            state = tryFile(file);
        }
        if (!inspection.states.add(state)) return ERROR_NOT_ENOUGH_MEMORY;
    }
    askForUsers(inspection);
    return ERROR_SUCCESS;
}

int exitCode(const Inspection& inspection) {
    if (inspection.count(Use::IN_USE) > 0) return ERROR_SHARING_VIOLATION;
    const State* const denied =
        std::find_if(inspection.states.begin(), inspection.states.end(),
                     [](const State& state) { return state.use == Use::DENIED; });
    if (denied != inspection.states.end()) return static_cast<int>(denied->error);
    // Whether the others are in use is then not known.
    if (inspection.count(Use::NOT_TRIED) > 0) return static_cast<int>(inspection.namingError);
    return 0;
}

Timestamp timeOf(const FILETIME& time) {
    SYSTEMTIME fields = {};
    FileTimeToSystemTime(&time, &fields);
    return Timestamp(fields);
}

void printUser(const FileUser& user) {
    const char* program = user.program[0] != '\0' ? user.program : user.application;
    if (user.service[0] != '\0') {
        printLine("  %5lu  %-13s service %s", user.process, program, user.service);
        return;
    }
    printLine("  %5lu  %-13s session %lu, since %s  %s", user.process, program, user.session,
              timeOf(user.since).seconds, user.application);
}

void printFile(const Inspection& inspection, size_t index) {
    const PackageFile& file = inspection.files[index];
    char name[FILE_PATH_CHARACTERS];
    toAnsi(file.path + file.below, name);
    printLine("%s", name);
    if (inspection.states[index].use == Use::DENIED) {
        printLine("  cannot be replaced (error %lu)", inspection.states[index].error);
        return;
    }
    List<FileUser> users;
    const DWORD error = listUsers(inspection, index, users);
    for (const FileUser& user : users) printUser(user);
    if (error != ERROR_SUCCESS) {
        printLine("  in use; Windows could not list the processes (%lu)", error);
    } else if (users.count() == 0) {
        printLine("  in use; Windows names no process of this computer");
    }
}

void printTotals(const Inspection& inspection, int code) {
    const auto total = static_cast<unsigned>(inspection.files.count());
    const auto used = static_cast<unsigned>(inspection.count(Use::IN_USE));
    const auto denied = static_cast<unsigned>(inspection.count(Use::DENIED));
    if (total == 0) {
        printLine("There are no files of the package in %s (0).", inspection.folder);
    } else if (used > 0) {
        printLine("%u of %u files of the package are in use (%d):", used, total, code);
    } else if (denied > 0) {
        printLine("%u of %u files of the package cannot be replaced (%d):", denied, total, code);
    } else if (code != 0) {
        printLine(
            "Windows could not list the processes that use the %u files of the package (%d). "
            "Whether one is in use is not known.",
            total, code);
    } else {
        printLine("%u files, none%s in use (0).", total, inspection.elevated ? "" : " known to be");
    }
}

void printText(const Inspection& inspection, int code) {
    printTotals(inspection, code);
    const bool hasFiles = inspection.count(Use::IN_USE) + inspection.count(Use::DENIED) > 0;
    if (hasFiles) printLine("%s", "");
    for (size_t i = 0; i < inspection.files.count(); ++i) {
        const Use use = inspection.states[i].use;
        if (use == Use::IN_USE || use == Use::DENIED) printFile(inspection, i);
    }
    if (code == ERROR_SHARING_VIOLATION) {
        printLine("%s", "");
        printLine("Close these programs and stop these services before you replace the files.");
    }
    if (!inspection.elevated && inspection.files.count() > 0) {
        printLine(
            "Not elevated: whether a file can be replaced was not tried, and programs of other "
            "accounts may have no name.");
    }
}

void writeUser(JsonWriter& json, const FileUser& user) {
    const auto textOrNull = [](const char* text) { return *text != '\0' ? text : nullptr; };
    json.beginObject();
    json.number("process", static_cast<long>(user.process));
    json.text("program", textOrNull(user.program));
    json.text("application", textOrNull(user.application));
    json.text("service", textOrNull(user.service));
    json.number("session", static_cast<long>(user.session));
    json.text("since", timeOf(user.since).seconds);
    json.endObject();
}

void writeFile(JsonWriter& json, const Inspection& inspection, size_t index) {
    const PackageFile& file = inspection.files[index];
    const State& state = inspection.states[index];
    char name[FILE_PATH_CHARACTERS];
    toAnsi(file.path + file.below, name);
    List<FileUser> users;
    const DWORD error = state.use == Use::IN_USE ? listUsers(inspection, index, users) : 0;
    json.beginObject();
    json.text("file", name);
    json.text("state", state.use == Use::IN_USE ? "inUse" : "denied");
    json.number("code", static_cast<long>(state.error));
    json.number("listCode", static_cast<long>(error));
    json.beginArray("users");
    for (const FileUser& user : users) writeUser(json, user);
    json.endArray();
    json.endObject();
}

void printJson(const Command& command, const Inspection& inspection, int code) {
    JsonWriter json;
    beginReport(json, command, code, nullptr);
    json.text("folder", inspection.folder);
    json.number("fileCount", static_cast<long>(inspection.files.count()));
    json.boolean("tried", inspection.elevated);
    json.beginArray("files");
    for (size_t i = 0; i < inspection.files.count(); ++i) {
        const Use use = inspection.states[i].use;
        if (use == Use::IN_USE || use == Use::DENIED) writeFile(json, inspection, i);
    }
    json.endArray();
    json.endObject();
}

// The folder that was given, as a full path, or that of this program.
bool findFolder(const Command& command, char (&folder)[PATH_BYTES]) {
    if (command.path[0] == '\0') return findOwnFolder(folder);
    const DWORD length = GetFullPathNameA(command.path, PATH_BYTES, folder, nullptr);
    return length > 0 && length < PATH_BYTES;
}

}  // namespace

int filesCommand(const Command& command) {
    Inspection inspection;
    if (!findFolder(command, inspection.folder)) {
        return refuse(command, ERROR_FILENAME_EXCED_RANGE,
                      "The path of the folder is longer than 260 characters.");
    }
    inspection.elevated = isElevated();
    if (const DWORD error = inspect(inspection)) {
        char text[PATH_BYTES + 128];
        formatText(text, sizeof text, "The files in this folder cannot be listed (error %lu): %s",
                   error, inspection.folder);
        return refuse(command, static_cast<int>(error), text);
    }
    const int code = exitCode(inspection);
    if (command.json) {
        printJson(command, inspection, code);
    } else {
        printText(inspection, code);
    }
    return code;
}
