#include "admin/run_command.h"
#include "services/arguments.h"
#include "services/programs/process_setup.h"

extern "C" int wmain(int argc, wchar_t** argv) {
    prepareProcess();
    return runCommand(argc, toAnsiArguments(argc, argv));
}
