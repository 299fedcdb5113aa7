// Runs one outside program at a time, hidden, with its output captured.
#pragma once

#include <windows.h>

#include "services/owners.h"
#include "services/programs/command_builder.h"
#include "services/programs/thread.h"

// Writes the short form of path to out, which holds 261 bytes, and returns 0; a path that has none
// is copied unchanged (at most 260 characters), and the result is -1.
// Windows documentation: "GetShortPathNameA".
int toShortPath(const char* path, char* out);

class ProcessRunner {
  public:
    // Takes the command text, at most 779 characters once its program part is quoted. The three
    // flags belong to a mode in which the command runs inside a command processor of the package;
    // this program leaves them off, and they have no effect.
    ProcessRunner(const char* command, bool wrapperMode, bool wrapperFlag1, bool wrapperFlag2);
    ProcessRunner(const ProcessRunner&) = delete;
    ProcessRunner& operator=(const ProcessRunner&) = delete;
    ~ProcessRunner();

    // For a command that names a file without contents, which Windows refuses to start: call it
    // before run. A program that is started all the same is somebody else's. It is ended before its
    // first instruction and counts as one that cannot be started.
    // Windows documentation: "Process Creation Flags".
    void startNothing() { startsNothing = true; }

    // Starts the program and, with wait set, waits until it ends. Returns 0, the error of starting
    // the reader of standard error, or ERROR_FILENAME_EXCED_RANGE for a command that is too long.
    // A program that fails, or that cannot be started, also gives 0: its exit code is never read.
    // Afterwards the process's standard output handle is the one that standard error was.
    int run(bool wait, bool unused);

    // Waits for the readers, at most READER_JOIN_TIMEOUT_MS after the program's end,
    // even when another process still holds the pipes. Afterwards the texts are complete, or null
    // when a reader did not return and was given up.
    void joinReaders();

    // Joins the readers and releases everything; further calls do nothing.
    void cleanup();

    // What the program wrote, cut at Capture::MOST_BYTES a stream; null when there was no reader.
    const char* standardOutput() const;
    const char* standardError() const;

    static constexpr DWORD READER_IDLE_TIMEOUT_MS = 2000;    // without a byte, after the end
    static constexpr DWORD READER_CANCEL_TIMEOUT_MS = 1000;  // for a cancelled read to return
    static constexpr DWORD READER_JOIN_TIMEOUT_MS =
        30000;  // after the end, before reads are cancelled

  private:
    enum { OUTPUT, ERROR_OUTPUT, STREAMS };
    // One of the two output streams of the program.
    struct Stream {
        OwnedHandle write;  // this process's end, until the program has ended
        ThreadRecord reader;
    };
    struct Shared;
    struct Reader;

    int runRedirected(bool wait);
    bool preparePipes(OwnedHandle (&readEnds)[STREAMS]);
    int startReader(int stream, OwnedHandle readEnd);
    bool startProcess();
    void awaitProcess();
    bool readersEndWithin(DWORD milliseconds) const;
    bool awaitReaders();
    bool cancelReaders();
    static unsigned readPipe(void* argument);
    const char* text(int stream) const;

    char commandLine[COMMAND_LINE_BYTES] = "";
    bool formatted = false;  // commandLine holds the whole command
    Stream streams[STREAMS];
    OwnedHandle process;
    OwnedObject<Shared> shared;  // what the readers and this object both use
    bool started = false;
    bool startsNothing = false;
    DWORD waitTimeout = INFINITE;
    const char* workingDirectory = nullptr;  // null: the child inherits this process's
};
