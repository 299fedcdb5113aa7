#include "services/programs/child_process.h"

#include <atomic>
#include <cstring>

#include "services/owners.h"
#include "services/path.h"
#include "services/programs/thread.h"
#include "services/text.h"

namespace {

constexpr DWORD IDLE_MS = 2000;  // after the end, for what is still in the pipe
constexpr DWORD RETRY_MS = 100;  // between two cancellations of a read
constexpr size_t COMMAND_BYTES = 4 * PATH_BYTES + 512;

// Ends the main thread's read when the program has ended but its output stays open.
struct Watch {
    HANDLE process;
    OwnedHandle reader;  // the thread that reads
    OwnedHandle done;    // an event: the reading is over
    std::atomic<bool> expired{false};
};

unsigned watchProcess(void* argument) {
    Watch& watch = *static_cast<Watch*>(argument);
    const HANDLE either[] = {watch.done.get(), watch.process};
    if (WaitForMultipleObjects(2, either, FALSE, INFINITE) == WAIT_OBJECT_0) return 0;
    if (WaitForSingleObject(watch.done.get(), IDLE_MS) == WAIT_OBJECT_0) return 0;
    watch.expired = true;
    do {
        // In every round: the reader may have been between two reads.
        CancelSynchronousIo(watch.reader.get());
    } while (WaitForSingleObject(watch.done.get(), RETRY_MS) == WAIT_TIMEOUT);
    return 0;
}

// Cuts what is read into lines.
class LineCutter {
  public:
    LineCutter(LineReceiver receive, void* context) : receive_(receive), context_(context) {}

    void add(const char* bytes, size_t count) {
        for (size_t i = 0; i < count; ++i) {
            // A zero would end the text of the line.
            if (bytes[i] != '\n' && bytes[i] != '\r' && bytes[i] != '\0') line_[used_++] = bytes[i];
            if (bytes[i] == '\n' || used_ == sizeof line_ - 1) flush();
        }
    }
    void end() {
        if (used_ > 0) flush();
    }

  private:
    void flush() {
        line_[used_] = '\0';
        used_ = 0;
        receive_(context_, line_);
    }

    LineReceiver receive_;
    void* context_;
    char line_[4096] = "";
    size_t used_ = 0;
};

// The handles that the program inherits, and no others of this process: another pipe of it, which
// a program left behind would keep open, is somebody else's.
class Inheritance {
  public:
    ~Inheritance() {
        if (list_) DeleteProcThreadAttributeList(list());
    }
    bool prepare(HANDLE* handles, size_t count) {
        SIZE_T size = 0;
        InitializeProcThreadAttributeList(nullptr, 1, 0, &size);
        list_.reset(static_cast<char*>(malloc(size)));
        if (!list_ || !InitializeProcThreadAttributeList(list(), 1, 0, &size)) {
            list_.reset();
            return false;
        }
        return UpdateProcThreadAttribute(list(), 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST, handles,
                                         count * sizeof *handles, nullptr, nullptr);
    }
    LPPROC_THREAD_ATTRIBUTE_LIST list() const {
        return reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(list_.get());
    }

    Inheritance() = default;
    Inheritance(const Inheritance&) = delete;
    Inheritance& operator=(const Inheritance&) = delete;

  private:
    OwnedBuffer list_;
};

DWORD start(const char* path, char* command, HANDLE input, HANDLE output, OwnedHandle& process) {
    HANDLE handles[] = {input, output};
    Inheritance inheritance;
    if (!inheritance.prepare(handles, 2)) return GetLastError();
    STARTUPINFOEXA startup = {};
    startup.StartupInfo.cb = sizeof startup;
    startup.StartupInfo.dwFlags = STARTF_USESTDHANDLES | STARTF_USESHOWWINDOW;
    startup.StartupInfo.wShowWindow = SW_HIDE;
    startup.StartupInfo.hStdInput = input;
    startup.StartupInfo.hStdOutput = output;
    startup.StartupInfo.hStdError = output;
    startup.lpAttributeList = inheritance.list();
    PROCESS_INFORMATION information = {};
    if (!CreateProcessA(path, command, nullptr, nullptr, TRUE, EXTENDED_STARTUPINFO_PRESENT,
                        nullptr, nullptr, &startup.StartupInfo, &information)) {
        return GetLastError();
    }
    process.reset(information.hProcess);
    const OwnedHandle mainThread(information.hThread);
    return ERROR_SUCCESS;
}

void readLines(HANDLE pipe, const Watch& watch, LineReceiver receive, void* context) {
    LineCutter lines(receive, context);
    char bytes[1024];
    DWORD count = 0;
    while (!watch.expired && ReadFile(pipe, bytes, sizeof bytes, &count, nullptr)) {
        lines.add(bytes, count);
    }
    lines.end();
}

// Reads all that the program prints, and waits for its end.
DWORD follow(HANDLE process, OwnedHandle pipe, LineReceiver receive, void* context) {
    const HANDLE self = GetCurrentProcess();
    Watch watch = {process, {}, OwnedHandle(CreateEventA(nullptr, TRUE, FALSE, nullptr)), false};
    ThreadRecord thread;
    if (!watch.done ||
        !DuplicateHandle(self, GetCurrentThread(), self, watch.reader.put(), 0, FALSE,
                         DUPLICATE_SAME_ACCESS) ||
        startThread(watchProcess, &watch, thread) != 0) {
        // Nothing is read without the watch, which alone can end a read. The writes then fail.
        pipe.reset();
        WaitForSingleObject(process, INFINITE);
        return ERROR_NOT_ENOUGH_MEMORY;
    }
    readLines(pipe.get(), watch, receive, context);
    SetEvent(watch.done.get());
    joinThread(thread);
    WaitForSingleObject(process, INFINITE);
    return ERROR_SUCCESS;
}

}  // namespace

DWORD runChild(const char* path, const char* arguments, LineReceiver receive, void* context,
               DWORD* exitCode) {
    char command[COMMAND_BYTES];
    if (strchr(path, '"')) return ERROR_INVALID_NAME;
    if (formatText(command, sizeof command, "\"%s\"%s", path, arguments) != TEXT_OK) {
        return ERROR_FILENAME_EXCED_RANGE;
    }
    SECURITY_ATTRIBUTES inheritable = {sizeof inheritable, nullptr, TRUE};
    OwnedHandle pipe;
    OwnedHandle output;
    const OwnedHandle input =
        ownFile(CreateFileA("NUL", GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, &inheritable,
                            OPEN_EXISTING, 0, nullptr));
    if (!input || !CreatePipe(pipe.put(), output.put(), &inheritable, 0)) return GetLastError();
    OwnedHandle process;
    DWORD status = start(path, command, input.get(), output.get(), process);
    if (status != ERROR_SUCCESS) return status;
    output.reset();  // the pipe ends with the last program that writes to it
    status = follow(process.get(), std::move(pipe), receive, context);
    if (!GetExitCodeProcess(process.get(), exitCode)) return GetLastError();
    return status;
}
