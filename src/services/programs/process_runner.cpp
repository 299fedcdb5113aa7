#include "services/programs/process_runner.h"

#include <algorithm>
#include <atomic>

#include "services/path.h"
#include "services/programs/capture.h"
#include "services/text.h"

namespace {

constexpr DWORD POLL_MS = 100;

void shortenInPlace(char* path, size_t size) {
    char shortPath[PATH_BYTES];
    if (toShortPath(path, shortPath) == 0) copyText(path, size, shortPath);
}

}  // namespace

int toShortPath(const char* path, char* out) {
    const DWORD length = GetShortPathNameA(path, out, PATH_BYTES);
    if (length > 0 && length < PATH_BYTES) return 0;
    copyText(out, PATH_BYTES, path);
    return -1;
}

struct ProcessRunner::Shared {
    std::atomic<unsigned char> stopFlag{0};  // 1 asks the readers to stop
    std::atomic<DWORD> lastRead{0};          // tick count of the last bytes
    Capture captures[STREAMS];
};

// The argument of a reader thread, which owns it.
struct ProcessRunner::Reader {
    OwnedHandle pipe;
    Shared* shared;
    Capture* capture;
};

ProcessRunner::ProcessRunner(const char* command, bool, bool, bool)
    : formatted(buildCommandLine(command, shortenInPlace, commandLine, sizeof commandLine) ==
                TEXT_OK) {}

ProcessRunner::~ProcessRunner() {
    cleanup();
}

int ProcessRunner::run(bool wait, bool) {
    if (!formatted) return ERROR_FILENAME_EXCED_RANGE;  // a cut command is another command
    const HANDLE savedOutput = GetStdHandle(STD_OUTPUT_HANDLE);
    const HANDLE savedError = GetStdHandle(STD_ERROR_HANDLE);
    const int result = runRedirected(wait);
    SetStdHandle(STD_OUTPUT_HANDLE, savedOutput);
    // Required: the output slot again. After a run the process's standard output is what its
    // standard error was, and the error slot keeps the closed pipe end. Neither call affects the C
    // runtime's own streams.
    SetStdHandle(STD_OUTPUT_HANDLE, savedError);
    return result;
}

int ProcessRunner::runRedirected(bool wait) {
    OwnedHandle readEnds[STREAMS];
    if (!preparePipes(readEnds)) return 0;
    shared = makeObject<Shared>();
    if (!shared) return reportThreadFailure(THREAD_NO_MEMORY);

    startReader(OUTPUT, std::move(readEnds[OUTPUT]));
    const int result = startReader(ERROR_OUTPUT, std::move(readEnds[ERROR_OUTPUT]));
    const bool running = startProcess();
    if (wait || !running) awaitProcess();
    started = true;
    if (!running) joinReaders();
    return result;
}

bool ProcessRunner::preparePipes(OwnedHandle (&readEnds)[STREAMS]) {
    constexpr DWORD SLOTS[STREAMS] = {STD_OUTPUT_HANDLE, STD_ERROR_HANDLE};
    SECURITY_ATTRIBUTES inheritable = {sizeof inheritable, nullptr, TRUE};
    const HANDLE self = GetCurrentProcess();
    for (int i = 0; i < STREAMS; ++i) {
        OwnedHandle first;
        OwnedHandle& write = streams[i].write;
        // The child must not inherit the read ends, which would keep its own pipes open.
        if (!CreatePipe(first.put(), write.put(), &inheritable, 0) ||
            !SetStdHandle(SLOTS[i], write.get()) ||
            !DuplicateHandle(self, first.get(), self, readEnds[i].put(), 0, FALSE,
                             DUPLICATE_SAME_ACCESS)) {
            return false;
        }
    }
    return true;
}

int ProcessRunner::startReader(int stream, OwnedHandle readEnd) {
    auto reader =
        makeObject<Reader>(std::move(readEnd), shared.get(), &shared.get()->captures[stream]);
    if (!reader) return reportThreadFailure(THREAD_NO_MEMORY);
    // Without its reader the pipe closes, so that the child's writes fail instead of waiting.
    const int result = startThread(readPipe, reader.get(), streams[stream].reader);
    if (result == 0) reader.release();
    return result;
}

unsigned ProcessRunner::readPipe(void* argument) {
    const OwnedObject<Reader> owned(static_cast<Reader*>(argument));
    const Reader& reader = *owned.get();
    reader.capture->open();
    char bytes[512];
    DWORD count = 0;
    while (ReadFile(reader.pipe.get(), bytes, sizeof bytes, &count, nullptr) && count > 0 &&
           reader.shared->stopFlag != 1) {
        reader.shared->lastRead = GetTickCount();
        reader.capture->append(bytes, count);
    }
    return 0;
}

bool ProcessRunner::startProcess() {
    STARTUPINFOA startup = {};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES | STARTF_USESHOWWINDOW;
    startup.wShowWindow = SW_HIDE;
    startup.hStdOutput = streams[OUTPUT].write.get();
    startup.hStdError = streams[ERROR_OUTPUT].write.get();
    // A 16-bit program would otherwise run in a process that is there already and not suspended.
    const DWORD flags = startsNothing ? CREATE_SUSPENDED | CREATE_SEPARATE_WOW_VDM : 0;
    PROCESS_INFORMATION information = {};
    if (!CreateProcessA(nullptr, commandLine, nullptr, nullptr, TRUE, NORMAL_PRIORITY_CLASS | flags,
                        nullptr, workingDirectory, &startup, &information)) {
        return false;
    }
    process.reset(information.hProcess);
    const OwnedHandle mainThread(information.hThread);
    if (!startsNothing) return true;
    if (TerminateProcess(process.get(), ERROR_BAD_EXE_FORMAT)) {
        WaitForSingleObject(process.get(), INFINITE);
    }
    process.reset();
    return false;
}

// Waits until the program ends and closes the write ends, so that the readers can end too.
void ProcessRunner::awaitProcess() {
    const bool ended = WaitForSingleObject(process.get(), waitTimeout) == WAIT_OBJECT_0;
    // There is no program, or it cannot be waited for: wake the readers.
    if (!ended) shared.get()->stopFlag = 1;
    for (Stream& stream : streams) {
        constexpr char ZEROS[3] = {};
        DWORD written = 0;
        if (!ended) WriteFile(stream.write.get(), ZEROS, sizeof ZEROS, &written, nullptr);
        stream.write.reset();
    }
}

bool ProcessRunner::readersEndWithin(DWORD milliseconds) const {
    HANDLE handles[STREAMS];
    DWORD count = 0;
    for (const Stream& stream : streams) {
        if (stream.reader.handle) handles[count++] = stream.reader.handle.get();
    }
    if (count == 0) return true;
    const DWORD result = WaitForMultipleObjects(count, handles, TRUE, milliseconds);
    // A wait that failed says nothing about the readers, which may still be running.
    if (result == WAIT_FAILED) Sleep(milliseconds);
    return result < WAIT_OBJECT_0 + count;
}

// Waits for the end of both streams. False when they stay open after the program has ended: it can
// leave another program behind that inherited its pipes, and nobody waits for that.
bool ProcessRunner::awaitReaders() {
    constexpr DWORD LONGEST = READER_JOIN_TIMEOUT_MS - READER_CANCEL_TIMEOUT_MS - POLL_MS;
    while (process && WaitForSingleObject(process.get(), 0) == WAIT_TIMEOUT) {
        if (readersEndWithin(POLL_MS)) return true;
    }
    const DWORD ended = GetTickCount();
    for (DWORD idle = 0, sinceEnd = 0; idle < READER_IDLE_TIMEOUT_MS && sinceEnd < LONGEST;) {
        if (readersEndWithin(POLL_MS)) return true;
        const DWORD lastRead = shared.get()->lastRead;  // before now, which must be the later one
        const DWORD now = GetTickCount();
        sinceEnd = now - ended;
        idle = std::min<DWORD>(sinceEnd, now - lastRead);
    }
    return false;
}

// Cancels the reads, again and again: a reader may have been between two of them. False when a
// reader does not return.
bool ProcessRunner::cancelReaders() {
    shared.get()->stopFlag = 1;
    const DWORD start = GetTickCount();
    do {
        for (const Stream& stream : streams) {
            if (stream.reader.handle) CancelSynchronousIo(stream.reader.handle.get());
        }
        if (readersEndWithin(POLL_MS)) return true;
    } while (GetTickCount() - start < READER_CANCEL_TIMEOUT_MS);
    return false;
}

void ProcessRunner::joinReaders() {
    if (!shared) return;
    if (awaitReaders() || cancelReaders()) {
        for (Stream& stream : streams) joinThread(stream.reader);
        return;
    }
    // A read that cannot be cancelled blocks its thread. The threads keep what they share with this
    // object, which is therefore never freed, until the process ends.
    for (Stream& stream : streams) stream.reader.handle.reset();
    shared.release();
}

const char* ProcessRunner::text(int stream) const {
    return shared ? shared.get()->captures[stream].text() : nullptr;
}

const char* ProcessRunner::standardOutput() const {
    return text(OUTPUT);
}

const char* ProcessRunner::standardError() const {
    return text(ERROR_OUTPUT);
}

void ProcessRunner::cleanup() {
    if (started && process) {
        joinReaders();
        process.reset();
    }
    for (Stream& stream : streams) stream.write.reset();
    shared.reset();
}
