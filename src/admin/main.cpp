#include "admin/run_command.h"
#include "services/programs/process_setup.h"

int main(int argc, char** argv) {
    prepareProcess();
    return runCommand(argc, argv);
}
