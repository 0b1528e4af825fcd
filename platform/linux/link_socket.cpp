// Link events. One call reads at most one datagram of the kernel and hands over its translation, as
// much as fits; the rest is kept, and the loop's wait reports the socket as readable until it has
// been fetched.
//
// The kernel drops messages when the socket's buffer is full, and says so once. Nobody can know
// then which port's news was lost. So whatever is still queued, being older than what was lost, is
// thrown away, the bridge is read anew, and the present state of every known interface is asked for
// and reported. News that come in meanwhile wait in the socket and are reported afterwards.
//
// A kernel that is short of memory may refuse to answer. It is asked again after a pause, about all
// ports, since being told twice harms none; till then news are told as ever. The loop wakes at
// least once a second, so that nothing need end its wait.

#include "link_socket.h"

#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>

#include "bridge_news.h"
#include "kernel_bridge.h"
#include "link_translate.h"
#include "netlink.h"
#include "platform/seam.h"
#include "platform/timer.h"
#include "port_table.h"

namespace {

using platform::Bytes;
using platform::LinkOutput;
using platform::PortEntry;

constexpr uint32_t kDatagramSize = 65536;
constexpr uint32_t kDrainMax = 65536; // datagrams
constexpr int kReceiveBuffer = 4 * 1024 * 1024;
constexpr uint64_t kPause = 100'000; // microseconds

alignas(8) uint8_t gDatagram[kDatagramSize];
Bytes gRest;          // of gDatagram, not yet translated
uint32_t gNextNumber; // port number to report next after a loss, 0 when nothing was lost
bool gUnanswered;     // the kernel did not tell of some port before that number
uint64_t gReportAt;   // not before, in microseconds of platformClock()
int32_t gLinkSocket = -1;

void startReport(uint64_t at) {
    gNextNumber = 1;
    gUnanswered = false;
    gReportAt = at;
}

bool reportIsDue() {
    return gNextNumber != 0 && (gReportAt == 0 || platformClock() >= gReportAt);
}

bool pending() {
    return gRest.length != 0 || reportIsDue() || platform::bridgeNewsWait();
}

// A socket that is seen for the first time gets room for a burst of events on many ports.
void adopt(int32_t fd) {
    if (fd == gLinkSocket) {
        return;
    }
    gLinkSocket = fd;
    gRest = {};
    gNextNumber = 0;
    if (setsockopt(fd, SOL_SOCKET, SO_RCVBUFFORCE, &kReceiveBuffer, sizeof kReceiveBuffer) != 0) {
        setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &kReceiveBuffer, sizeof kReceiveBuffer);
    }
}

bool socketIsEmpty(int32_t error) {
    return error == EAGAIN || error == EWOULDBLOCK;
}

void startOver(int32_t fd) {
    for (uint32_t i = 0; i < kDrainMax; i++) {
        if (recv(fd, gDatagram, sizeof gDatagram, MSG_DONTWAIT) < 0 && socketIsEmpty(errno)) {
            break;
        }
    }
    gRest = {};
    startReport(0);
    platform::kernelBridge()->rereadWanted = true;
}

// Only the kernel's own messages count. @return 0, or -1 with errno set
int32_t receiveDatagram(int32_t fd) {
    sockaddr_nl source = {};
    iovec vector = {gDatagram, sizeof gDatagram};
    msghdr message = {};
    message.msg_name = &source;
    message.msg_namelen = sizeof source;
    message.msg_iov = &vector;
    message.msg_iovlen = 1;
    const ssize_t length = recvmsg(fd, &message, MSG_DONTWAIT);
    if (length < 0) {
        if (errno == ENOBUFS) {
            startOver(fd);
            return 0;
        }
        return socketIsEmpty(errno) || errno == EINTR ? 0 : -1;
    }
    if (source.nl_pid != 0) {
        return 0;
    }
    if ((message.msg_flags & MSG_TRUNC) != 0) {
        startOver(fd);
        return 0;
    }
    gRest = {gDatagram, static_cast<uint32_t>(length)};
    return 0;
}

void translateRest(LinkOutput* output) {
    Bytes message;
    Bytes rest = gRest;
    while (platform::nextMessage(&rest, &message)) {
        if (!platform::translateMessage(message, output)) {
            return;
        }
        gRest = rest;
    }
    gRest = {};
}

enum class Report { DONE, NO_ROOM, UNANSWERED };

Report reportOf(bool fits) {
    return fits ? Report::DONE : Report::NO_ROOM;
}

Report reportGone(const PortEntry* port, LinkOutput* output) {
    return reportOf(!platform::portAttached(port) || platform::putGone(output, port->ifindex));
}

Report reportPort(PortEntry* port, LinkOutput* output) {
    if (port->left) {
        const Report report = reportGone(port, output);
        port->left = report != Report::DONE;
        return report;
    }
    platform::LinkInfo link;
    const int32_t error = platform::queryLink(port->ifindex, &link);
    if (error == ENODEV) {
        const Report report = reportGone(port, output);
        if (report == Report::DONE) {
            platform::portVanished(port);
        }
        return report;
    }
    if (error != 0) {
        return Report::UNANSWERED;
    }
    return reportOf(!platform::portAttached(port) ||
                    platform::putOperState(output, port->ifindex, platform::linkIsUp(link)));
}

void reportPorts(LinkOutput* output) {
    if (platform::kernelBridge()->rereadWanted && platform::rereadBridge() != 0) {
        gReportAt = platformClock() + kPause;
        return;
    }
    for (; gNextNumber <= platform::PORT_NUMBER_MAX; gNextNumber++) {
        PortEntry* port = platform::portOfNumber(gNextNumber);
        if (port == nullptr || port->vanished) {
            continue;
        }
        const Report report = reportPort(port, output);
        if (report == Report::NO_ROOM) {
            return;
        }
        gUnanswered = gUnanswered || report == Report::UNANSWERED;
    }
    if (gUnanswered) {
        startReport(platformClock() + kPause);
    } else {
        gNextNumber = 0;
    }
}

bool groupExists(int fd, uint32_t group) {
    return setsockopt(fd, SOL_NETLINK, NETLINK_ADD_MEMBERSHIP, &group, sizeof group) == 0;
}

} // namespace

namespace platform {

int32_t linkSocketPending() {
    return pending() ? gLinkSocket : -1;
}

void reportAllPorts() {
    startReport(0);
}

} // namespace platform

// Asked for when a link socket is made: what waited on an earlier one of the same number is void.
// An older kernel does not know the group of bridge VLANs and refuses to join it.
uint32_t platformLinkGroups(uint32_t* list) {
    gLinkSocket = -1;
    gRest = {};
    gNextNumber = 0;
    platform::kernelBridge()->rereadWanted = true;
    uint32_t count = 0;
    list[count++] = RTNLGRP_LINK;
    const int fd = socket(AF_NETLINK, SOCK_DGRAM | SOCK_CLOEXEC, NETLINK_ROUTE);
    if (fd >= 0) {
        if (groupExists(fd, RTNLGRP_BRVLAN)) {
            list[count++] = RTNLGRP_BRVLAN;
        }
        close(fd);
    }
    return count;
}

int32_t platformLinkRecv(int32_t fd, void* buffer, uint32_t length) {
    if (length < platform::LINK_OUTPUT_MIN) {
        errno = EINVAL;
        return -1;
    }
    adopt(fd);
    if (!pending() && receiveDatagram(fd) != 0) {
        return -1;
    }
    LinkOutput output = {static_cast<uint8_t*>(buffer), length, 0, false};
    if (reportIsDue()) {
        reportPorts(&output);
    } else {
        translateRest(&output);
        platform::putBridgeNews(&output);
    }
    if (output.used == 0) {
        platform::putNothing(&output);
    }
    return static_cast<int32_t>(output.used);
}
