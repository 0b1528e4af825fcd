// The loop's wait is select, with one addition: while translated link messages are still to be
// fetched, the link socket counts as readable and nothing is waited for.

#include "link_socket.h"
#include "platform/seam.h"

namespace {

int32_t selectNow(int32_t nfds, fd_set* readfds, fd_set* writefds, fd_set* exceptfds) {
    timeval none = {};
    const int32_t ready = select(nfds, readfds, writefds, exceptfds, &none);
    if (ready >= 0) {
        return ready;
    }
    // After a failure the sets say nothing.
    fd_set* const sets[] = {readfds, writefds, exceptfds};
    for (fd_set* set : sets) {
        if (set != nullptr) {
            FD_ZERO(set);
        }
    }
    return 0;
}

} // namespace

int32_t platformSelect(int32_t nfds, fd_set* readfds, fd_set* writefds, fd_set* exceptfds,
                       timeval* timeout) {
    const int32_t pending = platform::linkSocketPending();
    if (pending < 0 || pending >= nfds || readfds == nullptr || !FD_ISSET(pending, readfds)) {
        return select(nfds, readfds, writefds, exceptfds, timeout);
    }
    const int32_t ready = selectNow(nfds, readfds, writefds, exceptfds);
    if (FD_ISSET(pending, readfds)) {
        return ready;
    }
    FD_SET(pending, readfds);
    return ready + 1;
}
