#include <algorithm>
#include <cstring>

#include "admin/actions.h"
#include "admin/output.h"
#include "admin/parts.h"
#include "admin/report.h"
#include "admin/saved_record.h"
#include "admin/user_sources.h"
#include "admin/without_record.h"
#include "run/package_names.h"
#include "services/files/image_file.h"
#include "services/text.h"

namespace {

// One line of the list.
struct Row {
    const RegisteredCopy* copy;
    bool hasFolder;
    unsigned notRight;  // a bit for each part that is not right
    char version[VERSION_BYTES];

    bool isRight() const { return hasFolder && notRight == 0; }
};

struct Listing {
    CopyList copies;
    List<Row> rows;
    List<LostPart> lost;
    List<Interrupted> interrupted;
    List<UserSources> users;
    unsigned profilesNotRead = 0;

    size_t countNotRight() const {
        const auto isWrong = [](const Row& row) { return !row.isRight(); };
        return static_cast<size_t>(std::count_if(rows.begin(), rows.end(), isWrong));
    }
};

unsigned findNotRight(const PartContext& context) {
    unsigned notRight = 0;
    for (size_t i = 0; i < PARTS.size(); ++i) {
        PartResult result;
        PARTS[i].check(context, result);
        if (!isRight(result.state)) notRight |= 1U << i;
    }
    return notRight;
}

bool isFolder(const char* path) {
    const DWORD attributes = GetFileAttributesA(path);
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

void readRow(const PartContext& context, Listing& listing) {
    const RegisteredCopy& copy = *context.copy;
    Row row = {};
    row.copy = &copy;
    row.hasFolder = isFolder(copy.dir);
    if (row.hasFolder) {
        char program[LIBRARY_PATH_BYTES];
        formatCopyFile(copy, BIN_FOLDER, PROGRAM_FILE, program);
        readImageVersion(program, row.version);
        row.notRight = findNotRight(context);
    }
    listing.rows.add(row);
}

void readListing(Listing& listing) {
    listAllCopies(listing.copies);
    for (const View& view : allViews()) {
        ProviderSearch search;
        for (const RegisteredCopy& copy : listing.copies) {
            if (copy.view != &view) continue;
            readRow({.copy = &copy, .copies = &listing.copies, .search = &search}, listing);
        }
        findLostParts(view, listing.copies, listing.lost);
        listInterrupted(view, listing.interrupted);
    }
    listing.profilesNotRead = listUserSources(listing.users);
}

constexpr size_t STATE_BYTES = 512;

void formatState(const Row& row, char (&out)[STATE_BYTES]) {
    copyText(out, row.hasFolder ? "ok" : "folder missing");
    if (row.isRight() || !row.hasFolder) return;
    unsigned count = 0;
    for (size_t i = 0; i < PARTS.size(); ++i) count += row.notRight >> i & 1U;
    formatText(out, sizeof out, "%u not ok", count);
    const char* separator = ": ";
    for (size_t i = 0; i < PARTS.size(); ++i) {
        if ((row.notRight >> i & 1U) == 0) continue;
        appendText(out, separator);
        appendText(out, PARTS[i].name);
        separator = ", ";
    }
}

void printCopies(const Listing& listing) {
    char state[STATE_BYTES];
    size_t nameWidth = strlen("Name");
    size_t versionWidth = strlen("Version");
    size_t stateWidth = strlen("State");
    for (const Row& row : listing.rows) {
        formatState(row, state);
        nameWidth = std::max(nameWidth, strlen(row.copy->name));
        versionWidth = std::max(versionWidth, strlen(row.version));
        stateWidth = std::max(stateWidth, strlen(state));
    }
    const auto printRow = [&](const char* view, const char* name, const char* isDefault,
                              const char* version, const char* stateText, const char* path) {
        printLine("%-6s  %-*s  %-7s  %-*s  %-*s  %s", view, static_cast<int>(nameWidth), name,
                  isDefault, static_cast<int>(versionWidth), version, static_cast<int>(stateWidth),
                  stateText, path);
    };
    printRow("View", "Name", "Default", "Version", "State", "Path");
    for (const Row& row : listing.rows) {
        formatState(row, state);
        printRow(row.copy->view->name, row.copy->name, row.copy->isDefault ? "yes" : "-",
                 row.version[0] != '\0' ? row.version : "-", state, row.copy->dir);
    }
    printLine("%s", "");
}

void printLost(const Listing& listing) {
    static constexpr const char* KINDS[] = {"ODBC driver", "Uninstall entry", "XA library"};
    if (listing.lost.count() == 0) return;
    printLine("Parts of the package without a record:");
    for (const LostPart& part : listing.lost) {
        const bool hasText = part.shown[0] != '\0';
        printLine("%s  %-15s  %s%s%s%s", part.view->name, KINDS[static_cast<size_t>(part.kind)],
                  part.name, hasText ? " (" : "", part.shown, hasText ? ")" : "");
    }
    printLine("%s", "");
}

void printUsers(const Listing& listing) {
    const bool hasUsers = listing.users.count() > 0;
    if (hasUsers) printLine("User data sources of the package, in the profiles that are loaded:");
    for (const UserSources& user : listing.users) printLine("%5u  %s", user.count, user.account);
    if (listing.profilesNotRead > 0) {
        printLine(
            "The user data sources of %u loaded profile%s were not read, because that needs "
            "elevation.",
            listing.profilesNotRead, listing.profilesNotRead == 1 ? "" : "s");
    }
    if (hasUsers || listing.profilesNotRead > 0) printLine("%s", "");
}

void printTotals(const Listing& listing) {
    const auto copies = static_cast<unsigned>(listing.rows.count());
    const auto notRight = static_cast<unsigned>(listing.countNotRight());
    const auto lost = static_cast<unsigned>(listing.lost.count());
    char text[256];
    if (copies == 0) {
        copyText(text, "No copy is registered");
    } else {
        formatText(text, sizeof text, "%u cop%s", copies, copies == 1 ? "y" : "ies");
        appendText(text, ", ");
        appendText(text, notRight == 0 ? (copies == 1 ? "ok" : "all ok") : Decimal(notRight).text);
        if (notRight > 0) appendText(text, " not ok");
    }
    if (lost > 0) {
        appendText(text, ", ");
        appendText(text, Decimal(lost).text);
        appendText(text, lost == 1 ? " part without a record" : " parts without a record");
    }
    printLine("%s.%s", text,
              notRight > 0 ? " Details: \"zelkpmutil verify\" in the folder of the copy." : "");
}

void printText(const Listing& listing) {
    if (listing.rows.count() > 0) printCopies(listing);
    printLost(listing);
    printInterrupted(listing.interrupted);
    printUsers(listing);
    printTotals(listing);
}

void writeRow(JsonWriter& json, const Row& row) {
    json.beginObject();
    writeCopy(json, *row.copy, row.version);
    json.text("state", !row.hasFolder ? "missing" : row.isRight() ? "ok" : "wrong");
    json.beginArray("notOk");
    if (!row.hasFolder) json.text(nullptr, "Folder");
    for (size_t i = 0; i < PARTS.size(); ++i) {
        if ((row.notRight >> i & 1U) != 0) json.text(nullptr, PARTS[i].name);
    }
    json.endArray();
    json.endObject();
}

void writeLost(JsonWriter& json, const LostPart& part) {
    static constexpr const char* KINDS[] = {"driver", "uninstallEntry", "xaLibrary"};
    json.beginObject();
    json.text("view", part.view->name);
    json.text("kind", KINDS[static_cast<size_t>(part.kind)]);
    json.text("name", part.name);
    json.endObject();
}

void writeUser(JsonWriter& json, const UserSources& user) {
    json.beginObject();
    json.text("account", user.account);
    json.text("sid", user.sid);
    json.number("count", static_cast<long>(user.count));
    json.endObject();
}

template <typename Item>
void writeAll(JsonWriter& json, const char* name, const List<Item>& items,
              void (*write)(JsonWriter&, const Item&)) {
    json.beginArray(name);
    for (const Item& item : items) write(json, item);
    json.endArray();
}

void printJson(const Command& command, const Listing& listing, int code) {
    JsonWriter json;
    beginReport(json, command, code, nullptr);
    writeAll(json, "copies", listing.rows, writeRow);
    writeAll(json, "withoutRecord", listing.lost, writeLost);
    writeInterrupted(json, listing.interrupted);
    writeAll(json, "userDataSources", listing.users, writeUser);
    json.number("profilesNotRead", static_cast<long>(listing.profilesNotRead));
    json.endObject();
}

}  // namespace

int listCopiesCommand(const Command& command) {
    Listing listing;
    readListing(listing);
    const bool allRight = listing.countNotRight() == 0 && listing.lost.count() == 0 &&
                          listing.interrupted.count() == 0;
    if (command.json) {
        printJson(command, listing, allRight ? 0 : 1);
    } else {
        printText(listing);
    }
    return allRight ? 0 : 1;
}
