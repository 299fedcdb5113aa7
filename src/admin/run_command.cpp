#include "admin/run_command.h"

#include <windows.h>

#include "admin/actions.h"
#include "admin/help.h"
#include "admin/output.h"
#include "admin/report.h"

namespace {

int run(const Command& command) {
    switch (command.verb) {
        case Verb::LIST:
            return listCopiesCommand(command);
        case Verb::VERIFY:
            return verifyCommand(command);
        case Verb::REGISTER:
            return registerCommand(command);
        case Verb::UPGRADE:
            return upgradeCommand(command);
        case Verb::UNREGISTER:
            return unregisterCommand(command);
        case Verb::FILES:
            return filesCommand(command);
        case Verb::EXPORT_SOURCES:
            return exportSourcesCommand(command);
        case Verb::IMPORT_SOURCES:
            return importSourcesCommand(command);
        case Verb::VERSION:
            printVersion();
            return 0;
        default:
            printHelp(Verb::HELP);
            return 0;
    }
}

}  // namespace

int runCommand(int argc, char** argv) {
    const Command command = parseCommand(argc, argv);
    if (argc < 2) {
        printHelp(Verb::HELP);
        return ERROR_INVALID_PARAMETER;
    }
    if (command.refusal[0] != '\0') {
        return refuse(command, ERROR_INVALID_PARAMETER, command.refusal);
    }
    if (command.help) {
        printHelp(command.verb);
        return 0;
    }
    setQuiet(command.silent);
    return run(command);
}
