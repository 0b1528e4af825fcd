// The loop's wait is select, with two additions: while translated link messages are still to be
// fetched, the link socket counts as readable and nothing is waited for; and signals that the core
// asked for are served here, on the way out of the wait.

#include <algorithm>

#include "kernel_bridge.h"
#include "link_socket.h"
#include "platform/seam.h"
#include "service_manager.h"
#include "signals.h"

namespace {

// After a failure the sets say nothing.
int32_t forget(fd_set* readfds, fd_set* writefds, fd_set* exceptfds) {
    fd_set* const sets[] = {readfds, writefds, exceptfds};
    for (fd_set* set : sets) {
        if (set != nullptr) {
            FD_ZERO(set);
        }
    }
    return 0;
}

// A select whose caller sees nothing of the descriptor that signals arrive by.
int32_t selectServingSignals(int32_t nfds, fd_set* readfds, fd_set* writefds, fd_set* exceptfds,
                             timeval* timeout) {
    const int32_t signals = platform::signalDescriptor();
    if (signals < 0 || readfds == nullptr) {
        return select(nfds, readfds, writefds, exceptfds, timeout);
    }
    FD_SET(signals, readfds);
    const int32_t ready =
        select(std::max(nfds, signals + 1), readfds, writefds, exceptfds, timeout);
    if (ready < 1 || !FD_ISSET(signals, readfds)) {
        return ready;
    }
    FD_CLR(signals, readfds);
    platform::serveSignals();
    return ready - 1;
}

int32_t selectNow(int32_t nfds, fd_set* readfds, fd_set* writefds, fd_set* exceptfds) {
    timeval none = {};
    const int32_t ready = selectServingSignals(nfds, readfds, writefds, exceptfds, &none);
    return ready >= 0 ? ready : forget(readfds, writefds, exceptfds);
}

} // namespace

int32_t platformSelect(int32_t nfds, fd_set* readfds, fd_set* writefds, fd_set* exceptfds,
                       timeval* timeout) {
    platform::serviceAlive();
    platform::serveBridge();
    const int32_t pending = platform::linkSocketPending();
    if (pending < 0 || pending >= nfds || readfds == nullptr || !FD_ISSET(pending, readfds)) {
        return selectServingSignals(nfds, readfds, writefds, exceptfds, timeout);
    }
    const int32_t ready = selectNow(nfds, readfds, writefds, exceptfds);
    if (FD_ISSET(pending, readfds)) {
        return ready;
    }
    FD_SET(pending, readfds);
    return ready + 1;
}
