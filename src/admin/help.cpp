#include "admin/help.h"

#include "admin/output.h"
#include "admin/view.h"
#include "run/version.h"

namespace {

constexpr char PROGRAM_HELP[] =
    "zelkpmutil COMMAND [arguments]\n"
    "\n"
    "  list        Lists the registered copies, and parts of the package without a record.\n"
    "  verify      Verifies each part of the copy in this folder.\n"
    "  register    Registers the copy in this folder as NAME, and verifies it.\n"
    "  upgrade     Registers the copy again after its files were replaced, and verifies it.\n"
    "  unregister  Unregisters the copy in this folder, and verifies that nothing is left.\n"
    "  files       Lists the files of a copy that are in use, and by which programs.\n"
    "  sources     Exports and imports the system data sources of the copy in this folder.\n"
    "\n"
    "  COMMAND --help  Shows the options of a command.\n"
    "  --version       Shows the version of this program.\n"
    "\n"
    "This folder is the one whose folder bin holds this zelkpmutil.exe. Run register, upgrade, "
    "unregister,\n"
    "and sources import as administrator. The others change nothing and need no elevation; only\n"
    "with it, files tries whether a file can be replaced.\n"
    "\n"
    "Exit codes:\n"
    "  0     Every part is right. For list, even if no copy is registered.\n"
    "  1     A part is not right. The output names it.\n"
    "  2     A file of the package was not found.\n"
    "  5     Access was denied. Run as administrator.\n"
    "  32    A file is in use.\n"
    "  87    The arguments are not valid.\n"
    "  183   The name is the key of another product in the list of installed programs.\n"
    "  206   The path of this program is too long.\n"
    "  1618  Another run is active. Try again later.\n"
    "  -101 to -113  zelkpmreg.exe refused the run. docs\\exit-codes.md lists its codes.\n"
    "\n"
    "Names with characters that the console does not have are exact with --json only.";

constexpr char LIST_HELP[] =
    "zelkpmutil list [--json]\n"
    "\n"
    "Lists the copies that are registered in the 64-bit and in the 32-bit view of the registry, "
    "and\n"
    "what has no record: drivers, uninstall entries, and XA libraries of the package that belong "
    "to\n"
    "no registered copy. Counts the data sources of users that name a driver of the package, in "
    "the\n"
    "profiles that are loaded; no command changes these.\n"
    "\n"
    "  --json  Prints one JSON object instead, in ASCII.\n"
    "\n"
    "Returns exit code 0 if all that is listed is right, even if no copy is registered, otherwise "
    "1.";

constexpr char VERIFY_HELP[] =
    "zelkpmutil verify [NAME] [-d] [--json]\n"
    "\n"
    "Verifies each part of the copy in this folder: ok, MISSING, WRONG, or info. Changes nothing.\n"
    "NAME is the name under which the folder must be registered; without it, the name under which\n"
    "it is.\n"
    "\n"
    "  -d      The copy must be the default client interface copy.\n"
    "  --json  Prints one JSON object instead, in ASCII.\n"
    "\n"
    "Returns exit code 0 if no part is MISSING or WRONG, otherwise 1.";

constexpr char FILES_HELP[] =
    "zelkpmutil files [FOLDER] [--json]\n"
    "\n"
    "Lists the files of a copy that are in use, with the programs and services that use them. "
    "Looks at\n"
    "each file in the folders bin, deploy, docs, and msg of FOLDER; without FOLDER, of this "
    "folder.\n"
    "The zelkpmutil.exe that runs does not count. Changes nothing.\n"
    "\n"
    "As administrator, opens each file as a program that replaces it would. Otherwise asks only "
    "which\n"
    "programs use it, and Windows may not know those of other accounts.\n"
    "\n"
    "  --json  Prints one JSON object instead, in ASCII.\n"
    "\n"
    "Returns exit code 0 if no file is in use, even if there is none, 32 if one is, and a code of\n"
    "Windows, such as 5, if a file cannot be replaced for another reason.";

constexpr char EXPORT_HELP[] =
    "zelkpmutil sources export FILE\n"
    "\n"
    "Exports the system data sources of the driver of this folder to a new .reg file, which\n"
    "\"reg import\" accepts, too. Does not overwrite a file: the exit code is then 80. The file "
    "may\n"
    "contain passwords.";

constexpr char IMPORT_HELP[] =
    "zelkpmutil sources import FILE [options]\n"
    "\n"
    "Imports the data sources of the package from an exported file, and nothing else, and gives "
    "them to\n"
    "the driver of the copy in this folder, even if they were exported from another folder. Does "
    "not\n"
    "change a data source of another driver, and refuses a file of the other registry view.\n"
    "\n"
    "  -s       Prints refusals only. The log has everything.\n"
    "  -l FILE  The log file. Without it, a new one in Logs\\Orvane below the Windows folder.\n"
    "\n"
    "Returns exit code 0 if every data source was imported, otherwise 1. It is 13 if the file is\n"
    "not an export, and 50 if it is of the other view: then nothing was changed.";

constexpr char REGISTER_HELP[] =
    "zelkpmutil register NAME [options]\n"
    "\n"
    "Registers the copy in this folder as NAME and verifies it. Returns exit code 0 if every part\n"
    "is right, even if the copy was registered before.\n"
    "\n"
    "  -d       Makes it the default client interface copy.\n"
    "  -r       Replaces a registration. Exports the system data sources of the copy first, "
    "because\n"
    "           they are removed.\n"
    "  -i CODE  The language of the messages of zelkpmreg.exe, two letters: EN.\n"
    "  -v       Shows more messages.\n"
    "  -s       Prints refusals only. The log has everything.\n"
    "  -l FILE  The log file. Without it, a new one in Logs\\Orvane below the Windows folder.";

constexpr char UPGRADE_HELP[] =
    "zelkpmutil upgrade [NAME] [options]\n"
    "\n"
    "Registers the copy in this folder again after its files were replaced, and verifies it. "
    "Keeps\n"
    "its system data sources, its connection time-out, the default client interface copy, and "
    "what\n"
    "others added to its record. Without NAME, the name under which the folder is registered.\n"
    "\n"
    "  -d       Makes it the default client interface copy.\n"
    "  -i CODE  The language of the messages of zelkpmreg.exe, two letters: EN.\n"
    "  -v       Shows more messages.\n"
    "  -s       Prints refusals only. The log has everything.\n"
    "  -l FILE  The log file. Without it, a new one in Logs\\Orvane below the Windows folder.";

constexpr char UNREGISTER_HELP[] =
    "zelkpmutil unregister [NAME] [options]\n"
    "\n"
    "Unregisters the copy in this folder and verifies that nothing is left. Exports its system\n"
    "data sources first, because they are removed. Returns exit code 0 if nothing is left, even "
    "if\n"
    "the copy was not registered. Without NAME, the name under which the folder is registered.\n"
    "\n"
    "  -i CODE  The language of the messages of zelkpmreg.exe, two letters: EN.\n"
    "  -v       Shows more messages.\n"
    "  -s       Prints refusals only. The log has everything.\n"
    "  -l FILE  The log file. Without it, a new one in Logs\\Orvane below the Windows folder.";

const char* helpOf(Verb verb) {
    switch (verb) {
        case Verb::LIST:
            return LIST_HELP;
        case Verb::VERIFY:
            return VERIFY_HELP;
        case Verb::REGISTER:
            return REGISTER_HELP;
        case Verb::UPGRADE:
            return UPGRADE_HELP;
        case Verb::UNREGISTER:
            return UNREGISTER_HELP;
        case Verb::FILES:
            return FILES_HELP;
        case Verb::EXPORT_SOURCES:
            return EXPORT_HELP;
        case Verb::IMPORT_SOURCES:
            return IMPORT_HELP;
        default:
            return PROGRAM_HELP;
    }
}

}  // namespace

void printHelp(Verb verb) {
    printText(helpOf(verb));
}

void printVersion() {
    printLine("zelkpmutil %s (%s)", ZELK_VERSION, ownView().name);
}
