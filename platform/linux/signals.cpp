// Signals are read, not handled: a registered one is blocked for good and waits in a descriptor
// that the loop's select watches with its sockets. So there is no moment between looking and
// waiting in which one could be missed, nothing runs inside a handler, and no system call anywhere
// is cut short by one. A wait that unblocks the signals for its duration would deliver them late or
// never while frames keep the sockets readable.

#include "platform/signals.h"

#include <sys/select.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <csignal>

#include "signals.h"

namespace {

constexpr int32_t SIGNALS = 65; // numbers go from 1 to 64

int gDescriptor = -1;
sigset_t gWatched; // valid once the descriptor is open
void (*gCallBacks[SIGNALS])();

bool canBeHeld(int32_t number) {
    return number > 0 && number < SIGNALS && number != SIGKILL && number != SIGSTOP;
}

// @p number joins the signals that the descriptor tells of.
bool watchSignal(int32_t number) {
    sigset_t watched;
    if (gDescriptor < 0) {
        sigemptyset(&watched);
    } else {
        watched = gWatched;
    }
    if (sigaddset(&watched, number) != 0) {
        return false;
    }
    const int fd = signalfd(gDescriptor, &watched, SFD_NONBLOCK | SFD_CLOEXEC);
    if (fd < 0) {
        return false;
    }
    if (fd >= FD_SETSIZE) {
        close(fd);
        return false;
    }
    gDescriptor = fd;
    gWatched = watched;
    return true;
}

} // namespace

int32_t platformOnSignal(int32_t number, void (*callBack)()) {
    if (!canBeHeld(number) || callBack == nullptr || !watchSignal(number)) {
        return -1;
    }
    gCallBacks[number] = callBack;
    return sigprocmask(SIG_BLOCK, &gWatched, nullptr);
}

namespace platform {

int32_t signalDescriptor() {
    return gDescriptor;
}

void serveSignals() {
    signalfd_siginfo info;
    while (read(gDescriptor, &info, sizeof info) == static_cast<ssize_t>(sizeof info)) {
        gCallBacks[info.ssi_signo]();
    }
}

} // namespace platform
