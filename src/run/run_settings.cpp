#include "run/run_settings.h"

#include "services/path.h"
#include "services/text.h"

char copyName[128];
bool makeDefaultCopy;
bool replaceExisting;
bool silent;
bool verbose;
bool pauseBeforeExit;
char languageCode[LANGUAGE_CODE_BYTES];
char installDir[PATH_BYTES];
char displayName[160];
FILE* logFile;

void resetRunSettings() {
    copyText(copyName, "ORVDBCL1");
    makeDefaultCopy = false;
    replaceExisting = false;
    silent = false;
    verbose = false;
    pauseBeforeExit = false;
    languageCode[0] = '\0';
}
