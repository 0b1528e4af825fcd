// The loop's wait is select, with two additions: while frames or translated link messages are still
// to be fetched, their socket counts as readable and nothing is waited for; and signals that the
// core asked for are served here, on the way out of the wait.

#include <algorithm>

#include "kernel_bridge.h"
#include "link_socket.h"
#include "packet_socket.h"
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

// True if the caller waits for @p fd to become readable; -1 is none.
bool isAskedFor(int32_t fd, int32_t nfds, const fd_set* readfds) {
    return fd >= 0 && fd < nfds && readfds != nullptr && FD_ISSET(fd, readfds);
}

} // namespace

int32_t platformSelect(int32_t nfds, fd_set* readfds, fd_set* writefds, fd_set* exceptfds,
                       timeval* timeout) {
    platform::serviceAlive();
    platform::serveBridge();
    const int32_t pending[] = {platform::packetSocketPending(), platform::linkSocketPending()};
    const bool asked[] = {isAskedFor(pending[0], nfds, readfds),
                          isAskedFor(pending[1], nfds, readfds)};
    if (!asked[0] && !asked[1]) {
        return selectServingSignals(nfds, readfds, writefds, exceptfds, timeout);
    }
    int32_t ready = selectNow(nfds, readfds, writefds, exceptfds);
    for (uint32_t i = 0; i < 2; i++) {
        if (asked[i] && !FD_ISSET(pending[i], readfds)) {
            FD_SET(pending[i], readfds);
            ready++;
        }
    }
    return ready;
}
