#include "services/process_runner.h"

#include <algorithm>
#include <atomic>

#include "services/capture.h"
#include "services/path.h"
#include "services/temporary_file.h"
#include "services/text.h"

namespace {

void shortenInPlace(char* path, size_t size) {
    char shortPath[PATH_BYTES];
    if (toShortPath(path, shortPath) == 0) copyText(path, size, shortPath);
}

}  // namespace

struct ProcessRunner::Shared {
    std::atomic<unsigned char> stopFlag{0};  // 1 asks the readers to stop
    std::atomic<DWORD> lastRead{0};          // tick count when bytes last came
};

// What a reader thread is given; the thread owns it.
struct ProcessRunner::Reader {
    OwnedText* store;
    OwnedHandle pipe;
    Shared* shared;
};

ProcessRunner::ProcessRunner(const char* command, bool, bool, bool)
    : fits(buildCommandLine(command, shortenInPlace, commandLine, sizeof commandLine) == TEXT_OK) {}

int ProcessRunner::run(bool wait, bool) {
    if (!fits) return ERROR_FILENAME_EXCED_RANGE;  // a cut command would be another command
    const HANDLE savedOutput = GetStdHandle(STD_OUTPUT_HANDLE);
    const HANDLE savedError = GetStdHandle(STD_ERROR_HANDLE);
    const int result = runRedirected(wait);
    SetStdHandle(STD_OUTPUT_HANDLE, savedOutput);
    // The output slot again, on purpose: after a run the process's standard output is what its
    // standard error was, and the error slot keeps the closed pipe end. Programs started later
    // count on finding it so. The C runtime's own streams are not touched by either call.
    SetStdHandle(STD_OUTPUT_HANDLE, savedError);
    return result;
}

int ProcessRunner::runRedirected(bool wait) {
    OwnedHandle stdoutRead;
    OwnedHandle stderrRead;
    if (!preparePipes(stdoutRead, stderrRead)) return 0;
    shared = create<Shared>();
    if (!shared) return reportThreadFailure(THREAD_NO_MEMORY);

    startReader(std::move(stdoutRead), stdoutText, stdoutReader);
    const int result = startReader(std::move(stderrRead), stderrText, stderrReader);
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
    if (!CreatePipe(stdoutFirst.receive(), stdoutWrite.receive(), &inheritable, 0) ||
        !CreatePipe(stderrFirst.receive(), stderrWrite.receive(), &inheritable, 0) ||
        !SetStdHandle(STD_OUTPUT_HANDLE, stdoutWrite.get()) ||
        !SetStdHandle(STD_ERROR_HANDLE, stderrWrite.get())) {
        return false;
    }
    // The child must not inherit the read ends: it would keep its own pipes alive.
    const HANDLE self = GetCurrentProcess();
    return DuplicateHandle(self, stdoutFirst.get(), self, stdoutRead.receive(), 0, FALSE,
                           DUPLICATE_SAME_ACCESS) &&
           DuplicateHandle(self, stderrFirst.get(), self, stderrRead.receive(), 0, FALSE,
                           DUPLICATE_SAME_ACCESS);
}

int ProcessRunner::startReader(OwnedHandle pipe, OwnedText& store, ThreadRecord& record) {
    const auto reader = create<Reader>(&store, std::move(pipe), shared);
    const int result =
        reader ? startThread(readPipe, reader, record) : reportThreadFailure(THREAD_NO_MEMORY);
    // Without its reader the pipe closes, so that the child's writes fail instead of waiting.
    if (result != 0) dispose(reader);
    return result;
}

unsigned ProcessRunner::readPipe(void* argument) {
    const auto reader = static_cast<Reader*>(argument);
    Shared& state = *reader->shared;
    Capture capture(*reader->store);
    char bytes[512];
    DWORD count = 0;
    while (ReadFile(reader->pipe.get(), bytes, sizeof bytes, &count, nullptr) && count > 0 &&
           state.stopFlag != 1) {
        state.lastRead = GetTickCount();
        capture.append(bytes, count);
    }
    dispose(reader);
    return 0;
}

bool ProcessRunner::startProcess() {
    STARTUPINFOA startup = {};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES | STARTF_USESHOWWINDOW;
    startup.wShowWindow = SW_HIDE;
    startup.hStdOutput = stdoutWrite.get();
    startup.hStdError = stderrWrite.get();
    PROCESS_INFORMATION information = {};
    if (!CreateProcessA(nullptr, commandLine, nullptr, nullptr, TRUE, NORMAL_PRIORITY_CLASS,
                        nullptr, workingDirectory, &startup, &information)) {
        return false;
    }
    process.reset(information.hProcess);
    const OwnedHandle unneeded(information.hThread);
    return true;
}

// Waits for the program's end and closes the write ends, so that the readers come to theirs.
void ProcessRunner::awaitProcess() {
    if (WaitForSingleObject(process.get(), waitTimeout) != WAIT_OBJECT_0) {
        // There is no program, or none to wait for: the readers are to return from their reads.
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
    return count == 0 || WaitForMultipleObjects(count, handles, TRUE, milliseconds) != WAIT_TIMEOUT;
}

void ProcessRunner::joinReaders() {
    constexpr DWORD POLL = 100;
    DWORD ended = GetTickCount();
    while (!readersEndWithin(POLL)) {
        const DWORD lastRead = shared->lastRead;  // before now: it must not be the later one
        const DWORD now = GetTickCount();
        if (process && WaitForSingleObject(process.get(), 0) == WAIT_TIMEOUT) {
            ended = now;
            continue;
        }
        // A program that ended can leave another behind that inherited its pipes, and whose end
        // nobody is waiting for.
        const DWORD sinceEnd = now - ended;
        if (std::min<DWORD>(sinceEnd, now - lastRead) < IDLE_PATIENCE && sinceEnd < LAST_WORDS) {
            continue;
        }
        // Again in every round: a reader may have been between two reads.
        shared->stopFlag = 1;
        if (stdoutReader.handle) CancelSynchronousIo(stdoutReader.handle.get());
        if (stderrReader.handle) CancelSynchronousIo(stderrReader.handle.get());
    }
    joinThread(stdoutReader);
    joinThread(stderrReader);
}

void ProcessRunner::cleanup() {
    if (started && process) {
        joinReaders();
        process.reset();
    }
    stdoutWrite.reset();
    stderrWrite.reset();
    dispose(std::exchange(shared, nullptr));
    stderrText.reset();
    stdoutText.reset();
}
