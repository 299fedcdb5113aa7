#include "driver/run_sequence.h"
#include "services/arguments.h"
#include "services/programs/process_setup.h"

extern "C" int wmain(int argc, wchar_t** argv) {
    prepareProcess();
    return runSequence(argc, toAnsiArguments(argc, argv));
}
