#include <windows.h>

#include "admin/actions.h"
#include "admin/output.h"
#include "admin/parts.h"
#include "admin/report.h"
#include "run/package_names.h"
#include "services/files/image_file.h"
#include "services/text.h"

namespace {

// The copy of this folder, and what was found of its parts.
struct Verification {
    CopyList copies;
    CopyFound found = CopyFound::NOT_REGISTERED;
    RegisteredCopy copy;
    RegisteredCopy other;
    char version[VERSION_BYTES];
    List<PartResult> parts;  // in the order of PARTS; the record alone when no name is known
    unsigned notRight = 0;
    List<Interrupted> interrupted;  // in the view of the copy
};

void checkParts(const Command& command, Verification& result) {
    const PartContext context = {
        .copy = &result.copy, .copies = &result.copies, .wantDefault = command.makeDefault};
    for (const Part& part : PARTS) {
        PartResult one;
        part.check(context, one);
        if (!isRight(one.state)) ++result.notRight;
        result.parts.add(one);
    }
}

// Without a name there is no record, and the other parts are not known.
void reportNoName(Verification& result) {
    PartResult record;
    record.state = PartState::MISSING;
    copyText(record.text, "no record names this folder");
    copyText(record.expected, result.copy.dir);
    result.parts.add(record);
    result.notRight = 1;
}

void printAdvice(const Command& command, const Verification& result) {
    const char* name = result.copy.name;
    const char* makeDefault = command.makeDefault ? " -d" : "";
    if (name[0] == '\0') {
        printLine(
            "This folder is not registered. To register it, run \"zelkpmutil register "
            "NAME\".");
        return;
    }
    char count[64];
    formatText(count, sizeof count, "%u part%s not right.", result.notRight,
               result.notRight == 1 ? " is" : "s are");
    if (result.notRight == 0) {
        printLine("All parts are right.");
    } else if (result.found == CopyFound::OTHER_FOLDER) {
        printLine(
            "%s The name is registered for another folder. Use another name, or unregister "
            "it there.",
            count);
    } else if (result.found == CopyFound::OTHER_NAME) {
        printLine("%s This folder is registered as %s: run \"zelkpmutil verify %s\".", count,
                  result.other.name, result.other.name);
    } else if (result.found == CopyFound::NOT_REGISTERED) {
        printLine("%s To register the copy, run \"zelkpmutil register %s%s\".", count, name,
                  makeDefault);
    } else {
        printLine("%s To repair %s, copy the package again and run \"zelkpmutil upgrade %s%s\".",
                  count, result.notRight == 1 ? "it" : "them", name, makeDefault);
    }
}

const char* describe(CopyFound found) {
    switch (found) {
        case CopyFound::REGISTERED:
            return "registered under this name";
        case CopyFound::OTHER_FOLDER:
            return "the name is registered for another folder";
        case CopyFound::OTHER_NAME:
            return "registered under another name";
        default:
            return "not registered";
    }
}

void printText(const Command& command, const Verification& result) {
    const char* name = result.copy.name;
    printLine("%s%s%s, %s (%s)", name, *name != '\0' ? ", " : "", result.copy.view->name,
              result.copy.dir, describe(result.found));
    printLine("%s", "");
    for (size_t i = 0; i < result.parts.count(); ++i) {
        printLine("%-8s %-17s %s", partStateText(result.parts[i].state), PARTS[i].name,
                  result.parts[i].text);
    }
    printLine("%s", "");
    printInterrupted(result.interrupted);
    printAdvice(command, result);
}

void writePart(JsonWriter& json, const Part& part, const PartResult& result) {
    const struct {
        const char* name;
        const char* value;
    } members[] = {
        {"found", result.found},
        {"expected", result.expected},
        {"where", result.where},
        {"providedBy", result.providedBy},
    };
    json.beginObject();
    json.text("part", part.name);
    json.text("state", partStateJson(result.state));
    json.text("checked", part.checked);
    for (const auto& member : members) {
        if (*member.value != '\0') json.text(member.name, member.value);
    }
    json.text("text", result.text);
    json.endObject();
}

void printJson(const Command& command, const Verification& result, int code) {
    JsonWriter json;
    beginReport(json, command, code, nullptr);
    json.beginObject("copy");
    writeCopy(json, result.copy, result.version);
    json.endObject();
    json.beginArray("parts");
    for (size_t i = 0; i < result.parts.count(); ++i) writePart(json, PARTS[i], result.parts[i]);
    json.endArray();
    writeInterrupted(json, result.interrupted);
    json.endObject();
}

}  // namespace

int verifyCommand(const Command& command) {
    char folder[PATH_BYTES];
    if (!findOwnFolder(folder)) {
        return refuse(command, ERROR_FILENAME_EXCED_RANGE,
                      "The path of this program is longer than 260 characters.");
    }
    Verification result;
    listAllCopies(result.copies);
    result.found = findThisCopy(result.copies, folder, command.name, result.copy, result.other);
    if (command.name[0] == '\0' && result.other.name[0] != '\0') {
        char text[2 * COPY_NAME_BYTES + 128];
        formatText(text, sizeof text, "This folder is registered as %s and as %s. Specify one.",
                   result.copy.name, result.other.name);
        return refuse(command, ERROR_INVALID_PARAMETER, text);
    }
    char program[LIBRARY_PATH_BYTES];
    formatCopyFile(result.copy, BIN_FOLDER, PROGRAM_FILE, program);
    readImageVersion(program, result.version);
    if (result.copy.name[0] != '\0') {
        checkParts(command, result);
    } else {
        reportNoName(result);
    }
    listInterrupted(ownView(), result.interrupted);
    const int code = result.notRight == 0 && result.interrupted.count() == 0 ? 0 : 1;
    if (command.json) {
        printJson(command, result, code);
    } else {
        printText(command, result);
    }
    return code;
}
