#include "run/refusal.h"

#include <cstdlib>

#include "run/messages.h"
#include "run/run_log.h"
#include "run/run_settings.h"
#include "services/text.h"

void refuse(ExitCode code, unsigned messageId, const char* argument) {
    say(messageId, argument);
    endWithError(code);
}

void endWithError(ExitCode code) {
    sayVerboseLiteral("Exiting with error code %s\n", Decimal(code).text);
    closeRunLog();
    if (pauseBeforeExit) system("pause");  // NOLINT(cert-env33-c): the whole command is fixed
    exit(code);
}
