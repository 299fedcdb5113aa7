#include "admin/report.h"

#include "admin/output.h"
#include "admin/timestamp.h"
#include "run/version.h"
#include "services/administrator.h"

namespace {

constexpr long SCHEMA = 1;  // grows when the meaning of a member changes

void writeComputer(JsonWriter& json) {
    char name[MAX_COMPUTERNAME_LENGTH + 1] = "";
    DWORD size = sizeof name;
    json.text("computer", GetComputerNameA(name, &size) ? name : nullptr);
}

}  // namespace

void beginReport(JsonWriter& json, const Command& command, int exitCode, const char* refusal) {
    json.beginObject();
    json.number("schema", SCHEMA);
    json.text("tool", "zelkpmutil");
    json.text("version", ZELK_VERSION);
    json.text("command", *command.word != '\0' ? command.word : nullptr);
    json.text("time", Timestamp().seconds);
    writeComputer(json);
    json.boolean("elevated", isElevated());
    json.number("exitCode", exitCode);
    if (!refusal) {
        json.null("error");
        return;
    }
    json.beginObject("error");
    json.number("code", exitCode);
    json.text("text", refusal);
    json.endObject();
}

void writeCopy(JsonWriter& json, const RegisteredCopy& copy, const char* version) {
    json.text("view", copy.view->name);
    json.text("name", copy.name[0] != '\0' ? copy.name : nullptr);
    json.text("path", copy.dir);
    json.boolean("default", copy.isDefault);
    json.text("version", version && *version != '\0' ? version : nullptr);
}

void printInterrupted(const List<Interrupted>& interrupted) {
    for (const Interrupted& one : interrupted) {
        printLine(
            "Interrupted: %s of %s (%s), %s. The next command that changes a copy of this view "
            "finishes it.",
            one.command, one.name, one.view->name, one.since);
    }
    if (interrupted.count() > 0) printLine("%s", "");
}

void writeInterrupted(JsonWriter& json, const List<Interrupted>& interrupted) {
    json.beginArray("interrupted");
    for (const Interrupted& one : interrupted) {
        json.beginObject();
        json.text("view", one.view->name);
        json.text("name", one.name);
        json.text("command", one.command);
        json.text("since", one.since);
        json.endObject();
    }
    json.endArray();
}

int refuse(const Command& command, int code, const char* text) {
    if (!command.json) {
        printRefusal("%s", text);
        return code;
    }
    JsonWriter json;
    beginReport(json, command, code, text);
    if (command.verb == Verb::LIST) {
        for (const char* array : {"copies", "withoutRecord", "interrupted", "userDataSources"}) {
            json.beginArray(array);
            json.endArray();
        }
        json.number("profilesNotRead", 0);
    } else if (command.verb == Verb::FILES) {
        json.beginArray("files");
        json.endArray();
    } else {
        json.null("copy");
        for (const char* array : {"parts", "interrupted"}) {
            json.beginArray(array);
            json.endArray();
        }
    }
    json.endObject();
    return code;
}
