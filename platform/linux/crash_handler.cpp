// When the daemon crashes it says where. The handler runs on a stack of its own, since the crash
// may be an overflow of the ordinary one, and then lets the signal take its default action, so that
// the exit status and the core file are those of the crash.
//
// A handler may call little: no allocation, no stdio. backtrace_symbols_fd keeps to that, but it
// writes mangled names, and the demangler allocates. So a child process, a copy of the crashed one,
// writes the trace in C++ names: it reads what backtrace_symbols_fd writes from a pipe that was
// opened beforehand and holds more than a whole trace. If the child crashes in turn, or hangs, for
// example because the heap is what was damaged, the names are written as they are.

#include <cxxabi.h>
#include <execinfo.h>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>

#include "platform/debug.h"
#include "process.h"

namespace {

constexpr int kFrames = 64;
constexpr uint32_t kStackSize = 256 * 1024;
constexpr uint32_t kLineSize = 1024;
constexpr unsigned kChildSeconds = 2;
constexpr int kSignals[] = {SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT, SIGSYS, SIGTRAP};

alignas(16) uint8_t gStack[kStackSize];
int gPipe[2] = {-1, -1};
void* gFrames[kFrames];
volatile sig_atomic_t gFrameCount;
volatile sig_atomic_t gCrashes;

void say(const char* text, size_t length) {
    // Nothing can be done about a failure.
    [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, text, length);
}

void say(const char* text) {
    say(text, strlen(text));
}

const char* signalName(int number) {
    switch (number) {
    case SIGSEGV:
        return "SIGSEGV, invalid memory reference";
    case SIGBUS:
        return "SIGBUS, bad memory access";
    case SIGILL:
        return "SIGILL, illegal instruction";
    case SIGFPE:
        return "SIGFPE, arithmetic error";
    case SIGABRT:
        return "SIGABRT, abort";
    case SIGSYS:
        return "SIGSYS, bad system call";
    default:
        return "SIGTRAP, trap";
    }
}

// A line reads "file(name+0x12) [0x34]"; @p line is NUL-terminated and may be changed.
void sayLine(char* line) {
    char* name = strchr(line, '(');
    char* offset = name != nullptr ? strchr(name, '+') : nullptr;
    if (offset == nullptr || strncmp(name + 1, "_Z", 2) != 0) {
        say(line);
        return;
    }
    say(line, static_cast<size_t>(name + 1 - line));
    *offset = '\0';
    const char* readable = abi::__cxa_demangle(name + 1, nullptr, nullptr, nullptr);
    say(readable != nullptr ? readable : name + 1);
    *offset = '+';
    say(offset);
}

// Takes lines out of the pipe. One that is longer than the buffer is cut in two.
void sayPipedLines() {
    char line[kLineSize + 1];
    size_t length = 0;
    char byte;
    while (read(gPipe[0], &byte, 1) == 1) {
        line[length++] = byte;
        if (byte == '\n' || length == kLineSize) {
            line[length] = '\0';
            sayLine(line);
            length = 0;
        }
    }
    line[length] = '\0';
    sayLine(line);
}

[[noreturn]] void sayReadableTrace() {
    for (const int number : kSignals) {
        signal(number, SIG_DFL);
    }
    signal(SIGALRM, SIG_DFL);
    alarm(kChildSeconds);
    backtrace_symbols_fd(gFrames, gFrameCount, gPipe[1]);
    sayPipedLines();
    _exit(0);
}

// A copy of this process; handlers of fork, which might wait for a lock, are left out.
pid_t copyProcess() {
#if defined(__GLIBC__) && __GLIBC_PREREQ(2, 34)
    return _Fork();
#else
    return fork();
#endif
}

bool childSaysReadableTrace() {
    if (gPipe[1] < 0) {
        return false;
    }
    const pid_t child = copyProcess();
    if (child == 0) {
        sayReadableTrace();
    }
    int status = 1;
    while (child > 0 && waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return child > 0 && status == 0;
}

void sayTrace() {
    if (!childSaysReadableTrace()) {
        say("\n");
        backtrace_symbols_fd(gFrames, gFrameCount, STDERR_FILENO);
    }
}

void dieOf(int number) {
    signal(number, SIG_DFL);
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, number);
    sigprocmask(SIG_UNBLOCK, &set, nullptr);
    raise(number);
    _exit(128 + number);
}

// A crash inside this handler ends the process without more words.
void onCrash(int number) {
    gCrashes = gCrashes + 1;
    if (gCrashes == 1) {
        say("crashed: ");
        say(signalName(number));
        say("\n");
        gFrameCount = backtrace(gFrames, kFrames);
        sayTrace();
    }
    dieOf(number);
}

// A signal that somebody has already taken, such as a memory checker, stays theirs.
void installFor(int number) {
    struct sigaction present = {};
    if (sigaction(number, nullptr, &present) != 0 || present.sa_handler != SIG_DFL) {
        return;
    }
    struct sigaction action = {};
    action.sa_handler = onCrash;
    action.sa_flags = SA_ONSTACK | SA_NODEFER;
    sigemptyset(&action.sa_mask);
    sigaction(number, &action, nullptr);
}

void openTracePipe() {
    if (gPipe[0] >= 0) {
        return;
    }
    if (pipe2(gPipe, O_NONBLOCK | O_CLOEXEC) != 0) {
        gPipe[0] = -1;
        gPipe[1] = -1;
    }
}

void takeAlternateStack() {
    stack_t present = {};
    if (sigaltstack(nullptr, &present) == 0 && (present.ss_flags & SS_DISABLE) == 0) {
        return;
    }
    stack_t stack = {};
    stack.ss_sp = gStack;
    stack.ss_size = sizeof gStack;
    sigaltstack(&stack, nullptr);
}

} // namespace

void kelCatchSegFault(int32_t argc, char** argv) {
    platform::setBridgeName(argc, argv);
    // A management client that hangs up before its reply must not end the daemon.
    signal(SIGPIPE, SIG_IGN);
    // The first backtrace loads a library, which is no work for a handler.
    gFrameCount = backtrace(gFrames, kFrames);
    gFrameCount = 0;
    openTracePipe();
    takeAlternateStack();
    for (const int number : kSignals) {
        installFor(number);
    }
}
