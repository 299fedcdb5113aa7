#include "driver/run_sequence.h"
#include "services/programs/process_setup.h"

int main(int argc, char** argv) {
    prepareProcess();
    return runSequence(argc, argv);
}
