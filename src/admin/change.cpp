#include "admin/change.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "admin/data_sources.h"
#include "admin/exit_code_text.h"
#include "admin/folder_fault.h"
#include "admin/inventory_values.h"
#include "admin/output.h"
#include "admin/parts.h"
#include "admin/run_lock.h"
#include "admin/saved_record.h"
#include "registration/installed_copies_keys.h"
#include "run/exit_codes.h"
#include "run/package_names.h"
#include "run/version.h"
#include "services/administrator.h"
#include "services/files/file_system.h"
#include "services/files/image_file.h"
#include "services/programs/child_process.h"
#include "services/programs/process_setup.h"
#include "services/system_facts.h"
#include "services/system_library.h"
#include "services/wide_text.h"

namespace {

constexpr wchar_t RUN_FOLDER_PREFIX[] = L"run-";

// Makes the folder of the logs. The one above it is made plainly where it is missing: a Windows
// has it, and only administrators can write to it.
DWORD openLogFolder(ProtectedFolder& folder, char* reason, size_t size) {
    const WindowsFolder windows;
    wchar_t logs[PATH_BYTES];
    if (windows.path[0] != L'\0' && joinPath(windows.path, L"Logs", logs)) {
        CreateDirectoryW(logs, nullptr);
    }
    return openProtected(folder, L"Logs\\Orvane", reason, size);
}

DWORD logArguments(Change& change) {
    const Command& command = change.command;
    const char* operand = command.path[0] != '\0' ? command.path : command.name;
    const bool hasLog = command.logPath[0] != '\0';
    return change.log.write("start", "zelkpmutil %s %s, pid %lu: %s%s%s%s%s%s%s", ZELK_VERSION,
                            ownView().name, GetCurrentProcessId(), command.word,
                            *operand != '\0' ? " " : "", operand, command.programOptions,
                            command.silent ? " -s" : "", hasLog ? " -l " : "", command.logPath);
}

void logFacts(Change& change) {
    char text[1024];
    describeAccount(text, sizeof text);
    change.log.write("about", "%s", text);
    describeSystem(text, sizeof text);
    change.log.write("about", "%s", text);
    char program[LIBRARY_PATH_BYTES];
    char version[VERSION_BYTES];
    WORD machine = 0;
    formatCopyFile(change.copy, BIN_FOLDER, PROGRAM_FILE, program);
    readImageVersion(program, version);
    readImageMachine(program, machine);
    change.log.write("about", "%s, view %s, %s %s %s", change.copy.dir, change.copy.view->name,
                     PROGRAM_FILE, version, machineName(machine));
}

const char* recordText(const Change& change) {
    switch (change.found) {
        case CopyFound::REGISTERED:
            return "a record of this folder";
        case CopyFound::OTHER_FOLDER:
            return "a record of another folder";
        case CopyFound::OTHER_NAME:
            return "a record of another name";
        default:
            return "no record";
    }
}

void logState(Change& change) {
    char text[COPY_NAME_BYTES];
    readText(ownView(), INSTALLED_COPIES_KEY, DEFAULT_COPY_VALUE, text);
    change.log.write("about", "before: %s; default copy %s; %u system data sources of this driver",
                     recordText(change), text[0] != '\0' ? text : "(none)",
                     countDataSources(change.driver));
}

// Puts back, or throws away, what a command left that was ended.
void recover(Change& change) {
    List<Interrupted> interrupted;
    listInterrupted(ownView(), interrupted);
    for (const Interrupted& one : interrupted) {
        const KeptKind kind =
            isKept(KeptKind::RECORD, one.name) ? KeptKind::RECORD : KeptKind::ENTRY;
        char place[REGISTRY_TEXT_BYTES];
        formatKeptPath(kind, one.name, place, sizeof place);
        bool restored = false;
        const DWORD error = putKeptBack(kind, one.name, &restored);
        if (error != ERROR_SUCCESS) {
            note(change,
                 "The %s of %s of %s was interrupted. Cannot put back HKLM\\%s (error %lu).",
                 one.command, one.name, one.since, place, error);
        } else {
            note(change, "The %s of %s of %s was interrupted. %s", one.command, one.name, one.since,
                 restored ? "What it had set aside is restored." : "It is finished now.");
        }
    }
}

int runLocked(Change& change, int (*body)(Change& change)) {
    const Command& command = change.command;
    if (change.copy.name[0] != '\0') {
        printLine("%s, %s, %s", change.copy.name, change.copy.view->name, change.copy.dir);
    }
    printLine("Log: %s", change.log.path());
    recover(change);
    findCopy(change);
    logFacts(change);
    logState(change);
    if (change.copy.name[0] == '\0') {
        return refuse(change, ERROR_INVALID_PARAMETER,
                      command.verb == Verb::IMPORT_SOURCES
                          ? "This folder is not registered. Register it first."
                          : "This folder is not registered. Specify the name of the copy.");
    }
    // The data sources are those of the driver, which all names of the folder have.
    if (command.name[0] == '\0' && change.other.name[0] != '\0' &&
        command.verb != Verb::IMPORT_SOURCES) {
        return refuse(change, ERROR_INVALID_PARAMETER,
                      "This folder is registered as %s and as %s. Specify one.", change.copy.name,
                      change.other.name);
    }
    return body(change);
}

// The programs of the run find their temporary folder by these variables.
DWORD makeTemporary(Change& change, const ProtectedFolder& folder, char* reason, size_t size) {
    wchar_t name[64];
    removeFoldersBelow(folder, RUN_FOLDER_PREFIX);  // of runs that were ended: none has the lock
    swprintf(name, sizeof name / sizeof *name, L"%ls%lu", RUN_FOLDER_PREFIX, GetCurrentProcessId());
    const FolderFault fault = change.temporary.makeNewBelow(folder, name);
    prepareFolderVariables();
    SetEnvironmentVariableW(L"TMP", change.temporary.path());
    SetEnvironmentVariableW(L"TEMP", change.temporary.path());
    return describeFault(change.temporary, fault, reason, size);
}

// Opens the log and writes its first line, which fails when the disk is full.
DWORD openLog(Change& change, const ProtectedFolder& folder) {
    const Command& command = change.command;
    const DWORD error = command.logPath[0] != '\0'
                            ? change.log.openAt(command.logPath)
                            : change.log.openIn(folder, change.copy.name, command.word);
    return error != ERROR_SUCCESS ? error : logArguments(change);
}

// The run from the lock to the end of the log.
int runLogged(Change& change, const ProtectedFolder& folder, int (*body)(Change& change)) {
    const DWORD began = GetTickCount();
    RunLock lock;
    char reason[PATH_BYTES + 256];
    const DWORD locked = lock.take(folder, change.command.word, change.copy.name);
    // The file of the caller can be the log of the run that has the lock.
    if (locked == ERROR_SUCCESS || change.command.logPath[0] == '\0') {
        if (const DWORD error = openLog(change, folder)) {
            return refuse(change, static_cast<int>(error), "Cannot write the log (error %lu): %s",
                          error, change.log.path());
        }
    }
    int code = 0;
    if (locked == ERROR_INSTALL_ALREADY_RUNNING) {
        code = refuse(change, ERROR_INSTALL_ALREADY_RUNNING, "Another run is active%s%s.",
                      *lock.owner() != '\0' ? ": " : "", lock.owner());
    } else if (locked != ERROR_SUCCESS) {
        code = refuse(change, static_cast<int>(locked), "Cannot lock %s\\lock (error %lu).",
                      folder.text(), locked);
    } else if (const DWORD error = makeTemporary(change, folder, reason, sizeof reason)) {
        code = refuse(change, static_cast<int>(error), "%s", reason);
    } else {
        code = runLocked(change, body);
    }
    change.temporary.remove();
    const DWORD took = GetTickCount() - began;
    change.log.write("end", "%d after %lu.%lu s: %s", code, took / 1000, took / 100 % 10,
                     change.end);
    return code;
}

// What the program prints is in the ANSI code page, through a pipe too.
void receiveLine(void* context, const char* line) {
    Change& change = *static_cast<Change*>(context);
    printLine("  %s", line);
    change.log.write("out", "%s", line);
}

// Runs a program and says how it ended. Returns 0 or the Windows code of why it did not start.
DWORD runAndReport(Change& change, const char* file, const char* path, const char* arguments,
                   const char* (*textOf)(int code), int* code) {
    change.log.write("run", "\"%s\"%s", path, arguments);
    DWORD exitCode = 0;
    if (const DWORD error = runChild(path, arguments, receiveLine, &change, &exitCode)) {
        change.log.write("code", "%s not started (error %lu)", file, error);
        return error;
    }
    *code = static_cast<int>(exitCode);
    change.log.write("code", "%s %d (0x%08lX): %s", file, *code, exitCode, textOf(*code));
    printLine("%s ended with %d: %s.", file, *code, textOf(*code));
    return ERROR_SUCCESS;
}

// Once more for the exit code of regsvr32.exe, which the program does not read. For a library of
// the other bitness it would start its twin of that bitness, and end with 0.
void registerProvider(Change& change) {
    char library[LIBRARY_PATH_BYTES];
    char arguments[LIBRARY_PATH_BYTES + 8];
    WORD machine = 0;
    formatCopyFile(change.copy, BIN_FOLDER, PROVIDER_FILE, library);
    if (readImageMachine(library, machine) != 0 || machine != ownView().machine) return;
    const SystemPath regsvr32("regsvr32.exe");
    formatText(arguments, sizeof arguments, " /s \"%s\"", library);
    int code = 0;
    const DWORD error =
        runAndReport(change, "regsvr32.exe", regsvr32.path, arguments, regsvr32CodeText, &code);
    change.regsvr32Code = error != ERROR_SUCCESS ? static_cast<int>(error) : code;
}

// Checks the parts; returns how many are not right, and writes their names to names.
unsigned checkParts(Change& change, bool wantDefault, char* names, size_t size) {
    unsigned notRight = 0;
    const PartContext context = {.copy = &change.copy,
                                 .copies = &change.copies,
                                 .wantDefault = wantDefault,
                                 .regsvr32Code = change.regsvr32Code};
    printLine("%s", "");
    for (const Part& part : PARTS) {
        PartResult result;
        part.check(context, result);
        reportPart(change, partStateText(result.state), part.name, result.text);
        if (isRight(result.state)) continue;
        appendText(names, size, notRight == 0 ? "" : ", ");
        appendText(names, size, part.name);
        ++notRight;
    }
    return notRight;
}

}  // namespace

int refuse(Change& change, int code, const char* format, ...) {
    va_list arguments;  // NOLINT(cppcoreguidelines-init-variables): a type without a value
    va_start(arguments, format);
    formatTextList(change.end, sizeof change.end, format, arguments);
    va_end(arguments);
    printRefusal("%s", change.end);
    return code;
}

int finish(Change& change, int code, const char* format, ...) {
    va_list arguments;  // NOLINT(cppcoreguidelines-init-variables): a type without a value
    va_start(arguments, format);
    formatTextList(change.end, sizeof change.end, format, arguments);
    va_end(arguments);
    printLine("%s", "");
    printLine("%s", change.end);
    return code;
}

void note(Change& change, const char* format, ...) {
    char text[2048];
    va_list arguments;  // NOLINT(cppcoreguidelines-init-variables): a type without a value
    va_start(arguments, format);
    formatTextList(text, sizeof text, format, arguments);
    va_end(arguments);
    printLine("%s", text);
    change.log.write("about", "%s", text + strspn(text, " "));
}

void reportPart(Change& change, const char* state, const char* part, const char* text) {
    printLine("%-8s %-17s %s", state, part, text);
    change.log.write("part", "%-8s %s  %s", state, part, text);
}

void findCopy(Change& change) {
    change.copies = CopyList();
    listAllCopies(change.copies);
    change.found =
        findThisCopy(change.copies, change.folder, change.command.name, change.copy, change.other);
    formatDescription(change.copy.dir, change.driver);
}

int checkCopy(Change& change, bool replacing) {
    char program[LIBRARY_PATH_BYTES];
    formatCopyFile(change.copy, BIN_FOLDER, PROGRAM_FILE, program);
    if (!fileExists(program)) {
        return refuse(change, ERROR_FILE_NOT_FOUND, "File not found: %s", program);
    }
    if (replacing) return 0;
    if (change.found == CopyFound::OTHER_FOLDER) {
        return refuse(
            change, change.command.verb == Verb::REGISTER ? EXIT_COPY_EXISTS : EXIT_OTHER_PATH,
            "%s is registered for another folder: %s", change.copy.name, change.other.dir);
    }
    if (change.found == CopyFound::OTHER_NAME) {
        return refuse(change,
                      change.command.verb == Verb::UNREGISTER ? EXIT_COPY_UNKNOWN : EXIT_PATH_TAKEN,
                      "%s is not registered. This folder is registered as %s.", change.copy.name,
                      change.other.name);
    }
    return 0;
}

int keepDataSources(Change& change) {
    const unsigned count = countDataSources(change.driver);
    if (count == 0) return 0;
    char path[PATH_BYTES];
    char reason[PATH_BYTES + 128];
    if (const DWORD error = exportDataSources(change.driver, change.copy.name, path, reason)) {
        return refuse(change, static_cast<int>(error),
                      "Nothing was changed, because the %u system data sources cannot be exported: "
                      "%s",
                      count, reason);
    }
    note(change, "%u system data source%s exported: %s", count, count == 1 ? "" : "s", path);
    note(change,
         "  To restore them after the copy is registered again: zelkpmutil sources import \"%s\"",
         path);
    return 0;
}

bool runProgram(Change& change, const char* action, const char* options, int* code) {
    char path[LIBRARY_PATH_BYTES];
    char arguments[PATH_BYTES + PROGRAM_OPTIONS_BYTES + 128];
    formatCopyFile(change.copy, BIN_FOLDER, PROGRAM_FILE, path);
    // A log of its own: the default one is in the Documents folder, which a service has not.
    formatText(arguments, sizeof arguments, " %s %s -l \"%s\\zelkpmreg.log\"%s", action,
               change.copy.name, change.temporary.text(), options);
    printLine("%s", "");
    const DWORD error = runAndReport(change, PROGRAM_FILE, path, arguments, programCodeText, code);
    if (error == ERROR_SUCCESS) return true;
    *code = refuse(change, static_cast<int>(error), "Cannot start %s (error %lu).", path, error);
    return false;
}

int completeRegistration(Change& change, int code, bool wantDefault) {
    findCopy(change);
    if (code == EXIT_DONE) {
        const LSTATUS written = writeInventoryValues(change.copy);
        if (written != ERROR_SUCCESS) {
            note(change, "What inventories read cannot be written (error %ld).", written);
        }
        registerProvider(change);
    }
    char names[512] = "";
    const unsigned notRight = checkParts(change, wantDefault, names, sizeof names);
    if (notRight == 0) return finish(change, 0, "All parts are right (0).");
    if (code == EXIT_DONE) code = PARTS_NOT_RIGHT;
    return finish(change, code,
                  "%u part%s not right (%d): %s. Remove the cause, then run \"zelkpmutil upgrade "
                  "%s%s\".",
                  notRight, notRight == 1 ? " is" : "s are", code, names, change.copy.name,
                  wantDefault ? " -d" : "");
}

int runChange(const Command& command, int (*body)(Change& change)) {
    Change change = {.command = command};
    if (!isElevated()) {
        return refuse(change, ERROR_ACCESS_DENIED, "Run as administrator.");
    }
    if (!findOwnFolder(change.folder)) {
        return refuse(change, ERROR_FILENAME_EXCED_RANGE,
                      "The path of this program is longer than 260 characters.");
    }
    char reason[PATH_BYTES + 256];
    ProtectedFolder folder;
    if (const DWORD error = openLogFolder(folder, reason, sizeof reason)) {
        return refuse(change, static_cast<int>(error), "%s", reason);
    }
    findCopy(change);
    return runLogged(change, folder, body);
}
