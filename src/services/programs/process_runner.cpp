#include "services/programs/process_runner.h"

#include <algorithm>
#include <atomic>

#include "services/path.h"
#include "services/programs/capture.h"
#include "services/short_path.h"
#include "services/text.h"

namespace {

void shortenInPlace(char* path, size_t size) {
    char shortPath[PATH_BYTES];
    if (toShortPath(path, shortPath) == 0) copyText(path, size, shortPath);
}

}  // namespace

struct ProcessRunner::Shared {
    std::atomic<unsigned char> stopFlag{0};  // 1 asks the readers to stop
    std::atomic<DWORD> lastRead{0};          // tick count of the last bytes
    OwnedBuffer stdoutText;
    OwnedBuffer stderrText;
};

// The argument of a reader thread, which owns it.
struct ProcessRunner::Reader {
    OwnedBuffer* store;
    OwnedHandle pipe;
    Shared* shared;
};

ProcessRunner::ProcessRunner(const char* command, bool, bool, bool)
    : formatted(buildCommandLine(command, shortenInPlace, commandLine, sizeof commandLine) ==
                TEXT_OK) {}

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
    OwnedHandle stdoutRead;
    OwnedHandle stderrRead;
    if (!preparePipes(stdoutRead, stderrRead)) return 0;
    shared = makeObject<Shared>().release();
    if (!shared) return reportThreadFailure(THREAD_NO_MEMORY);

    startReader(std::move(stdoutRead), shared->stdoutText, stdoutReader);
    const int result = startReader(std::move(stderrRead), shared->stderrText, stderrReader);
    const bool running = startProcess();
    if (wait || !running) awaitProcess();
    started = true;
    if (!running) joinReaders();
    return result;
}

bool ProcessRunner::preparePipes(OwnedHandle& stdoutRead, OwnedHandle& stderrRead) {
    SECURITY_ATTRIBUTES inheritable = {sizeof inheritable, nullptr, TRUE};
    OwnedHandle stdoutFirst;
    OwnedHandle stderrFirst;
    if (!CreatePipe(stdoutFirst.put(), stdoutWrite.put(), &inheritable, 0) ||
        !CreatePipe(stderrFirst.put(), stderrWrite.put(), &inheritable, 0) ||
        !SetStdHandle(STD_OUTPUT_HANDLE, stdoutWrite.get()) ||
        !SetStdHandle(STD_ERROR_HANDLE, stderrWrite.get())) {
        return false;
    }
    // The child must not inherit the read ends, which would keep its own pipes open.
    const HANDLE self = GetCurrentProcess();
    return DuplicateHandle(self, stdoutFirst.get(), self, stdoutRead.put(), 0, FALSE,
                           DUPLICATE_SAME_ACCESS) &&
           DuplicateHandle(self, stderrFirst.get(), self, stderrRead.put(), 0, FALSE,
                           DUPLICATE_SAME_ACCESS);
}

int ProcessRunner::startReader(OwnedHandle pipe, OwnedBuffer& store, ThreadRecord& record) {
    auto reader = makeObject<Reader>(&store, std::move(pipe), shared);
    if (!reader) return reportThreadFailure(THREAD_NO_MEMORY);
    // Without its reader the pipe closes, so that the child's writes fail instead of waiting.
    const int result = startThread(readPipe, reader.get(), record);
    if (result == 0) reader.release();
    return result;
}

unsigned ProcessRunner::readPipe(void* argument) {
    const OwnedObject<Reader> owned(static_cast<Reader*>(argument));
    const Reader& reader = *owned.get();
    Shared& state = *reader.shared;
    Capture capture(*reader.store);
    char bytes[512];
    DWORD count = 0;
    while (ReadFile(reader.pipe.get(), bytes, sizeof bytes, &count, nullptr) && count > 0 &&
           state.stopFlag != 1) {
        state.lastRead = GetTickCount();
        capture.append(bytes, count);
    }
    return 0;
}

bool ProcessRunner::startProcess() {
    STARTUPINFOA startup = {};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES | STARTF_USESHOWWINDOW;
    startup.wShowWindow = SW_HIDE;
    startup.hStdOutput = stdoutWrite.get();
    startup.hStdError = stderrWrite.get();
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
    if (WaitForSingleObject(process.get(), waitTimeout) != WAIT_OBJECT_0) {
        // There is no program, or it cannot be waited for: wake the readers.
        constexpr char ZEROS[3] = {};
        DWORD written = 0;
        shared->stopFlag = 1;
        WriteFile(stdoutWrite.get(), ZEROS, sizeof ZEROS, &written, nullptr);
        WriteFile(stderrWrite.get(), ZEROS, sizeof ZEROS, &written, nullptr);
    }
    stdoutWrite.reset();
    stderrWrite.reset();
}

bool ProcessRunner::readersEndWithin(DWORD milliseconds) const {
    HANDLE handles[2];
    DWORD count = 0;
    if (stdoutReader.handle) handles[count++] = stdoutReader.handle.get();
    if (stderrReader.handle) handles[count++] = stderrReader.handle.get();
    if (count == 0) return true;
    const DWORD result = WaitForMultipleObjects(count, handles, TRUE, milliseconds);
    // A wait that failed says nothing about the readers, which may still be running.
    if (result == WAIT_FAILED) Sleep(milliseconds);
    return result < WAIT_OBJECT_0 + count;
}

void ProcessRunner::cancelReads() {
    shared->stopFlag = 1;
    if (stdoutReader.handle) CancelSynchronousIo(stdoutReader.handle.get());
    if (stderrReader.handle) CancelSynchronousIo(stderrReader.handle.get());
}

// A read that cannot be cancelled blocks its thread. The threads keep what they share with this
// object, which is therefore never freed, until the process ends.
void ProcessRunner::giveReadersUp() {
    stdoutReader.handle.reset();
    stderrReader.handle.reset();
    shared = nullptr;
}

void ProcessRunner::joinReaders() {
    constexpr DWORD POLL_MS = 100;
    constexpr DWORD CANCEL_AT = READER_JOIN_TIMEOUT_MS - READER_CANCEL_TIMEOUT_MS - POLL_MS;
    if (!shared) return;
    DWORD ended = GetTickCount();
    DWORD cancelled = 0;  // milliseconds after ended; 0 before the first cancellation
    while (!readersEndWithin(POLL_MS)) {
        const DWORD lastRead = shared->lastRead;  // read before now, so that now is the later one
        const DWORD now = GetTickCount();
        if (process && WaitForSingleObject(process.get(), 0) == WAIT_TIMEOUT) {
            ended = now;
            continue;
        }
        // A program can leave another one behind that inherited its pipes; nobody waits for that.
        const DWORD sinceEnd = now - ended;
        const DWORD idle = std::min<DWORD>(sinceEnd, now - lastRead);
        if (cancelled == 0 && idle < READER_IDLE_TIMEOUT_MS && sinceEnd < CANCEL_AT) continue;
        if (cancelled == 0) cancelled = sinceEnd;
        if (sinceEnd - cancelled >= READER_CANCEL_TIMEOUT_MS) return giveReadersUp();
        cancelReads();  // in every round: a reader may have been between two reads
    }
    joinThread(stdoutReader);
    joinThread(stderrReader);
}

const char* ProcessRunner::standardOutput() const {
    return shared ? shared->stdoutText.get() : nullptr;
}

const char* ProcessRunner::standardError() const {
    return shared ? shared->stderrText.get() : nullptr;
}

void ProcessRunner::cleanup() {
    if (started && process) {
        joinReaders();
        process.reset();
    }
    stdoutWrite.reset();
    stderrWrite.reset();
    const OwnedObject<Shared> released(std::exchange(shared, nullptr));
}
