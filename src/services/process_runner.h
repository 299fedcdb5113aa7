// Runs one outside program at a time, hidden, with its output captured.
#pragma once

#include <windows.h>

#include "services/command_builder.h"
#include "services/owners.h"
#include "services/thread.h"

class ProcessRunner {
  public:
    // Takes the command text, at most 779 characters once its program part is quoted. The three
    // flags belong to a mode in which the command runs inside the product's command processor;
    // this program leaves them off, and they have no effect.
    ProcessRunner(const char* command, bool wrapperMode, bool wrapperFlag1, bool wrapperFlag2);
    ProcessRunner(const ProcessRunner&) = delete;
    ProcessRunner& operator=(const ProcessRunner&) = delete;
    ~ProcessRunner() { cleanup(); }

    // Starts the program and, with wait set, waits for its end. Returns 0, the error of starting
    // the reader of standard error, or ERROR_FILENAME_EXCED_RANGE for a command that is too long.
    // A program that fails, and one that cannot be started, give 0 as well: its exit code is never
    // read. Afterwards the process's standard output handle is the one that standard error was.
    int run(bool wait, bool unused);

    // Joins the readers, in at most LAST_WORDS after the program's end even when something else
    // still holds the pipes. The texts are complete and stay readable.
    void joinReaders();

    // Joins the readers and releases everything; further calls do nothing.
    void cleanup();

    // What the program wrote, cut at Capture::MOST_BYTES a stream; null when there was no reader.
    const char* standardOutput() const { return stdoutText.get(); }
    const char* standardError() const { return stderrText.get(); }

    static constexpr DWORD IDLE_PATIENCE = 2000;  // milliseconds with nothing to read
    static constexpr DWORD LAST_WORDS = 30000;    // milliseconds in all

  private:
    struct Shared;
    struct Reader;

    int runRedirected(bool wait);
    bool preparePipes(OwnedHandle& stdoutRead, OwnedHandle& stderrRead);
    int startReader(OwnedHandle pipe, OwnedText& store, ThreadRecord& record);
    bool startProcess();
    void awaitProcess();
    bool readersEndWithin(DWORD milliseconds) const;
    static unsigned readPipe(void* argument);

    char commandLine[COMMAND_LINE_BYTES] = "";
    bool fits = false;
    OwnedHandle stdoutWrite;
    OwnedHandle stderrWrite;
    OwnedHandle process;
    OwnedText stdoutText;
    OwnedText stderrText;
    ThreadRecord stdoutReader;
    ThreadRecord stderrReader;
    Shared* shared = nullptr;  // what the readers and this object both touch
    bool started = false;
    DWORD waitTimeout = INFINITE;
    const char* workingDirectory = nullptr;  // null: the child inherits this process's
};
