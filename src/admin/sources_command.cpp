#include "admin/actions.h"
#include "admin/change.h"
#include "admin/data_sources.h"
#include "admin/output.h"
#include "admin/report.h"
#include "admin/source_import.h"
#include "odbc/odbc_keys.h"

namespace {

struct Imported {
    Change& change;
    unsigned count = 0;
    unsigned notImported = 0;
};

void receiveSource(void* context, const ImportedSource& source) {
    Imported& imported = *static_cast<Imported*>(context);
    char text[2048];
    switch (source.outcome) {
        case SourceOutcome::IMPORTED:
            copyText(text, source.name);
            break;
        case SourceOutcome::OTHER_DRIVER:
            formatText(text, sizeof text, "%s (one of this name is there, of the driver %s)",
                       source.name, source.detail);
            break;
        case SourceOutcome::KEY_IN_USE:
            formatText(text, sizeof text, "%s (a key of this name is there, with another library)",
                       source.name);
            break;
        case SourceOutcome::BAD_NAME:
            formatText(text, sizeof text, "%s (not a name of a data source)", source.name);
            break;
        default:
            formatText(text, sizeof text, "%s (error %lu)", source.name, source.error);
    }
    const bool isImported = source.outcome == SourceOutcome::IMPORTED;
    ++(isImported ? imported.count : imported.notImported);
    reportPart(imported.change, isImported ? "imported" : "REFUSED", "DataSource", text);
}

// Reads and checks the file. Returns 0 or the exit code of a refusal.
int readSourceFile(Change& change, List<RegistryCharacter>& text) {
    const char* path = change.command.path;
    DWORD error = readRegistryFile(path, text);
    size_t line = 1;
    FileFault fault = FileFault::NONE;
    if (error == ERROR_SUCCESS) fault = checkSourceFile(text, &line);
    if (fault == FileFault::OTHER_VIEW) {
        return refuse(change, ERROR_NOT_SUPPORTED,
                      "The data sources in the file are of the other registry view. Import them "
                      "with the zelkpmutil.exe of a copy of that bitness: %s",
                      path);
    }
    if (error == ERROR_SUCCESS && fault == FileFault::SYNTAX) error = ERROR_INVALID_DATA;
    if (error == ERROR_INVALID_DATA) {
        return refuse(change, ERROR_INVALID_DATA, "Not a .reg file in UTF-16 (line %u): %s",
                      static_cast<unsigned>(line), path);
    }
    if (error != ERROR_SUCCESS) {
        return refuse(change, static_cast<int>(error), "The file cannot be read (error %lu): %s",
                      error, path);
    }
    return 0;
}

int importSources(Change& change) {
    if (const int code = checkCopy(change, false)) return code;
    List<RegistryCharacter> text;
    if (const int code = readSourceFile(change, text)) return code;
    char key[REGISTRY_TEXT_BYTES];
    char library[LIBRARY_PATH_BYTES];
    formatText(key, sizeof key, "%s\\%s", ODBC_DRIVERS_KEY, change.driver);
    if (!readText(ownView(), key, DRIVER_LIBRARY_VALUE, library) || library[0] == '\0') {
        return refuse(
            change, PARTS_NOT_RIGHT,
            "The ODBC driver of this copy is not registered (1). Run \"zelkpmutil upgrade "
            "%s\" first.",
            change.copy.name);
    }
    Imported imported = {change};
    printLine("%s", "");
    importDataSources(text, change.driver, library, receiveSource, &imported);
    if (imported.notImported > 0) {
        return finish(change, PARTS_NOT_RIGHT,
                      "%u of %u data sources were imported (1). Those that are there were not "
                      "changed.",
                      imported.count, imported.count + imported.notImported);
    }
    return finish(change, 0, "%u data source%s imported (0).", imported.count,
                  imported.count == 1 ? " was" : "s were");
}

}  // namespace

int exportSourcesCommand(const Command& command) {
    char folder[PATH_BYTES];
    if (!findOwnFolder(folder)) {
        return refuse(command, ERROR_FILENAME_EXCED_RANGE,
                      "The path of this program is longer than 260 characters.");
    }
    CopyList copies;
    RegisteredCopy copy;
    RegisteredCopy other;
    char driver[DESCRIPTION_BYTES];
    listAllCopies(copies);
    findThisCopy(copies, folder, "", copy, other);
    formatDescription(copy.dir, driver);
    const DWORD error =
        writeDataSources(driver,
                         ownFile(CreateFileA(command.path, GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                                             CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr)),
                         command.path);
    if (error == ERROR_SUCCESS) {
        const unsigned count = countDataSources(driver);
        printLine("%u system data source%s exported: %s", count, count == 1 ? " was" : "s were",
                  command.path);
        return 0;
    }
    char text[PATH_BYTES + 128];
    formatText(text, sizeof text, "Not exported: %s (error %lu): %s",
               error == ERROR_FILE_EXISTS ? "there is such a file" : describeExportError(error),
               error, command.path);
    return refuse(command, static_cast<int>(error), text);
}

int importSourcesCommand(const Command& command) {
    return runChange(command, importSources);
}
