// The socket half of the simulated platform. The core opens its three sockets through the C library
// as on a switch; the linker's --wrap hands those calls to the functions here, which know a few
// descriptors of their own and pass every other on.

#include <linux/netlink.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/sysinfo.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "mstp/context.h"
#include "mstp_main.h"
#include "platform/seam.h"
#include "sim_platform.h"

static constexpr int PACKET_FD = 901;
static constexpr int LINK_FD = 902;
static constexpr int COMMAND_FD = 903;
static constexpr int CLIENT_FD = 904;

static size_t clientOffset;
static uint32_t clientReceives;
static uint32_t allocationToFail;
static uint64_t allocationCount;

static bool ours(int fd) {
    return fd >= PACKET_FD && fd <= CLIENT_FD;
}

static std::string nameOf(int fd) {
    static const char* const names[] = {"packet", "link", "command", "client"};
    return names[fd - PACKET_FD];
}

// The result that the test asked for, errno set when it fails.
static int resultOf(const std::string& name) {
    const sim::Switch& sw = sim::here();
    const auto result = sw.results.find(name);
    if (result == sw.results.end() || result->second == 0) {
        return 0;
    }
    errno = EIO;
    return -1;
}

static void take(sim::Source source) {
    if (sim::here().onTake) {
        sim::here().onTake(source);
    }
}

// Records a call; gives its result.
static int answer(const std::string& call) {
    sim::Switch& sw = sim::here();
    if (sw.recordCalls) {
        sw.calls.push_back(call);
    }
    return resultOf(call.substr(0, call.find(' ')));
}

void sim::failAllocation(uint32_t nth) {
    allocationToFail = nth;
}

uint64_t sim::allocations() {
    return allocationCount;
}

static std::vector<uint8_t> gather(const msghdr* message) {
    std::vector<uint8_t> bytes;
    for (size_t i = 0; i < message->msg_iovlen; i++) {
        const auto* base = static_cast<const uint8_t*>(message->msg_iov[i].iov_base);
        bytes.insert(bytes.end(), base, base + message->msg_iov[i].iov_len);
    }
    return bytes;
}

extern "C" {

int __real_socket(int domain, int type, int protocol);
int __real_bind(int fd, const sockaddr* address, socklen_t length);
int __real_listen(int fd, int backlog);
int __real_setsockopt(int fd, int level, int name, const void* value, socklen_t length);
int __real_close(int fd);
int __real_accept(int fd, sockaddr* address, socklen_t* length);
ssize_t __real_recv(int fd, void* buffer, size_t length, int flags);
ssize_t __real_sendmsg(int fd, const msghdr* message, int flags);
void* __real_calloc(size_t count, size_t size);

int __wrap_socket(int domain, int type, int protocol) {
    int fd = 0;
    if (domain == AF_PACKET) {
        fd = PACKET_FD;
    } else if (domain == AF_NETLINK) {
        fd = LINK_FD;
    } else if (domain == AF_UNIX) {
        fd = COMMAND_FD;
    } else {
        return __real_socket(domain, type, protocol);
    }
    const std::string call = "socket:" + nameOf(fd) + " type=" + std::to_string(type) +
                             " protocol=" + std::to_string(protocol);
    return answer(call) == 0 ? fd : -1;
}

int __wrap_bind(int fd, const sockaddr* address, socklen_t length) {
    if (!ours(fd)) {
        return __real_bind(fd, address, length);
    }
    return answer("bind:" + nameOf(fd) + " length=" + std::to_string(length));
}

int __wrap_listen(int fd, int backlog) {
    if (!ours(fd)) {
        return __real_listen(fd, backlog);
    }
    return answer("listen:" + nameOf(fd) + " backlog=" + std::to_string(backlog));
}

int __wrap_setsockopt(int fd, int level, int name, const void* value, socklen_t length) {
    if (!ours(fd)) {
        return __real_setsockopt(fd, level, name, value, length);
    }
    int number = 0;
    memcpy(&number, value, std::min<size_t>(length, sizeof number));
    return answer("setsockopt:" + nameOf(fd) + " level=" + std::to_string(level) +
                  " option=" + std::to_string(name) + " value=" + std::to_string(number));
}

int __wrap_close(int fd) {
    if (!ours(fd)) {
        return __real_close(fd);
    }
    if (fd == CLIENT_FD) {
        sim::here().requests.pop_front();
    }
    return answer("close:" + nameOf(fd));
}

int __wrap_accept(int fd, sockaddr* address, socklen_t* length) {
    if (!ours(fd)) {
        return __real_accept(fd, address, length);
    }
    sim::Switch& sw = sim::here();
    if (answer("accept:command") != 0 || sw.requests.empty()) {
        return -1;
    }
    take(sim::Source::Command);
    clientOffset = 0;
    clientReceives = 0;
    sw.replies.emplace_back();
    return CLIENT_FD;
}

ssize_t __wrap_recv(int fd, void* buffer, size_t length, int flags) {
    if (fd != CLIENT_FD) {
        return __real_recv(fd, buffer, length, flags);
    }
    // A test may also ask for the failure of a connection's first or second receive alone.
    const std::string which = "recv:client:" + std::to_string(++clientReceives);
    if (answer("recv:client") != 0 || resultOf(which) != 0) {
        return -1;
    }
    const std::vector<uint8_t>& request = sim::here().requests.front();
    const size_t count = std::min(length, request.size() - std::min(clientOffset, request.size()));
    if (count > 0) {
        memcpy(buffer, request.data() + clientOffset, count);
    }
    clientOffset += count;
    return static_cast<ssize_t>(count);
}

ssize_t __wrap_sendmsg(int fd, const msghdr* message, int flags) {
    if (!ours(fd)) {
        return __real_sendmsg(fd, message, flags);
    }
    sim::Switch& sw = sim::here();
    const auto result = sw.results.find("sendmsg:" + nameOf(fd));
    if (result != sw.results.end() && result->second != 0) {
        errno = EIO;
        return result->second;
    }
    std::vector<uint8_t> bytes = gather(message);
    const auto count = static_cast<ssize_t>(bytes.size());
    if (fd == CLIENT_FD) {
        sw.replies.back() = std::move(bytes);
        return count;
    }
    sim::Frame frame;
    frame.bytes = std::move(bytes);
    memcpy(&frame.address, message->msg_name,
           std::min<size_t>(message->msg_namelen, sizeof frame.address));
    frame.unit = static_cast<uint32_t>(frame.address.sll_ifindex);
    frame.flags = flags;
    frame.pieces = message->msg_iovlen;
    if (sw.onSend) {
        sw.onSend(frame);
    } else {
        sw.sent.push_back(std::move(frame));
    }
    return count;
}

int __wrap_sysinfo(struct sysinfo* info) {
    *info = {};
    info->uptime = static_cast<long>(sim::now() / 1'000'000);
    return 0;
}

void* __wrap_calloc(size_t count, size_t size) {
    allocationCount++;
    if (allocationToFail > 0 && --allocationToFail == 0) {
        return nullptr;
    }
    return __real_calloc(count, size);
}
}

// ---- the five calls of the seam
// ------------------------------------------------------------------

int32_t platformPktSocketSetup(int32_t fd) {
    return answer("platformPktSocketSetup fd=" + nameOf(fd));
}

int32_t platformPktRecv(int32_t /*fd*/, msghdr* message) {
    sim::Switch& sw = sim::here();
    if (sw.received.empty()) {
        errno = EAGAIN;
        return -1;
    }
    take(sim::Source::Frame);
    const sim::Frame frame = sw.received.front();
    sw.received.pop_front();
    const size_t length = std::min(frame.bytes.size(), message->msg_iov[0].iov_len);
    std::copy_n(frame.bytes.begin(), length, static_cast<uint8_t*>(message->msg_iov[0].iov_base));
    auto* address = static_cast<sockaddr_ll*>(message->msg_name);
    *address = frame.address;
    address->sll_ifindex = static_cast<int>(frame.unit);
    if (!sw.withPacketInfo) {
        message->msg_controllen = 0;
        return static_cast<int32_t>(length);
    }
    cmsghdr* control = CMSG_FIRSTHDR(message);
    control->cmsg_level = SOL_PACKET;
    control->cmsg_type = MSTP_PACKET_RXPKTINFO;
    control->cmsg_len = CMSG_LEN(sizeof(packet_rxpktinfo));
    packet_rxpktinfo info = {};
    info.pkt_inport = frame.unit;
    info.pkt_dataoffset = sw.dataOffset;
    memcpy(CMSG_DATA(control), &info, sizeof info);
    message->msg_controllen = CMSG_SPACE(sizeof info);
    return static_cast<int32_t>(length);
}

uint32_t platformLinkGroups(uint32_t* list) {
    list[0] = 32;
    list[1] = 31;
    list[2] = 40;
    list[3] = 1;
    return 4;
}

int32_t platformLinkRecv(int32_t /*fd*/, void* buffer, uint32_t length) {
    sim::Switch& sw = sim::here();
    if (sw.linkMessages.empty()) {
        errno = EAGAIN;
        return -1;
    }
    take(sim::Source::Link);
    const std::vector<uint8_t> datagram = sw.linkMessages.front();
    sw.linkMessages.pop_front();
    const size_t count = std::min<size_t>(datagram.size(), length);
    std::copy_n(datagram.begin(), count, static_cast<uint8_t*>(buffer));
    return static_cast<int32_t>(count);
}

// The wait itself is the simulation's: this call tells what is readable now and notes the time-out.
int32_t platformSelect(int32_t /*nfds*/, fd_set* readfds, fd_set* /*writefds*/,
                       fd_set* /*exceptfds*/, timeval* timeout) {
    sim::Switch& sw = sim::here();
    sw.waitMicroseconds = timeout->tv_sec * 1'000'000 + timeout->tv_usec;
    FD_ZERO(readfds);
    int32_t ready = 0;
    const auto mark = [&](bool waiting, int fd) {
        if (waiting) {
            FD_SET(fd, readfds);
            ready++;
        }
    };
    mark(!sw.received.empty(), PACKET_FD);
    mark(!sw.linkMessages.empty(), LINK_FD);
    mark(!sw.requests.empty(), COMMAND_FD);
    return ready;
}
