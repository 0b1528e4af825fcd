// The packet socket sees every frame that any interface receives, unless it is told otherwise. Here
// it is bound to frames with an LLC header, and a filter program in the kernel lets only BPDUs
// through: everything else costs the daemon nothing. Copies of what this system sends are no frames
// of type multicast, and are left out. So are frames with a VLAN tag, which are no BPDUs: if no
// VLAN device claims such a frame, the kernel takes the tag off but marks the frame as another
// host's; where the tag was taken off by hardware, the kernel may also have noted it. A BPDU for
// the other kind of bridge is left alone, as the port's own filter would.
//
// A stock kernel gives no packet information, so it is made here. The frame begins with its
// Ethernet header, so the BPDU's offset is a constant.
//
// Frames are not handed on in the order in which they come, but port by port in turn: see
// packet_queue.cpp. While some wait, the loop's wait reports the socket as readable.

#include <linux/filter.h>
#include <linux/if_ether.h>
#include <linux/if_packet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>

#include "membership.h"
#include "packet_queue.h"
#include "packet_socket.h"
#include "platform/seam.h"
#include "port_table.h"

namespace {

using platform::QueuedFrame;

constexpr uint32_t kLengthMax = 1500;
constexpr uint8_t kDataOffset = 17; // addresses, length, LLC header
constexpr uint32_t kReadsMax = 256; // frames in a turn
constexpr int kReceiveBuffer = 4 * 1024 * 1024;

int32_t gPacketSocket = -1;

// Jumps count the instructions that they skip. Every mismatch goes to the last one, which drops.
bool attachFilter(int32_t fd) {
    constexpr auto ancillary = [](int32_t offset) {
        return static_cast<uint32_t>(SKF_AD_OFF + offset);
    };
    sock_filter program[] = {
        BPF_STMT(BPF_LD | BPF_B | BPF_ABS, ancillary(SKF_AD_VLAN_TAG_PRESENT)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, 0, 0, 14),
        BPF_STMT(BPF_LD | BPF_B | BPF_ABS, ancillary(SKF_AD_PKTTYPE)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, PACKET_MULTICAST, 0, 12),
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, 0), // destination
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, 0x0180C200, 0, 10),
        BPF_STMT(BPF_LD | BPF_H | BPF_ABS, 4),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, 0x0000, 1, 0),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, 0x0008, 0, 7),
        BPF_STMT(BPF_LD | BPF_H | BPF_ABS, 12), // length
        BPF_JUMP(BPF_JMP | BPF_JGT | BPF_K, kLengthMax, 5, 0),
        BPF_STMT(BPF_LD | BPF_H | BPF_ABS, 14), // DSAP, SSAP
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, 0x4242, 0, 3),
        BPF_STMT(BPF_LD | BPF_B | BPF_ABS, 16), // control
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, 0x03, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, 0xFFFFFFFF), // keep the whole frame
        BPF_STMT(BPF_RET | BPF_K, 0),
    };
    const sock_fprog filter = {sizeof program / sizeof program[0], program};
    return setsockopt(fd, SOL_SOCKET, SO_ATTACH_FILTER, &filter, sizeof filter) == 0;
}

bool setOption(int32_t fd, int option, int value) {
    return setsockopt(fd, SOL_PACKET, option, &value, sizeof value) == 0;
}

// Room for what arrives while the daemon is busy with one frame. Without the right to it the
// kernel's limit has to do.
void enlargeBuffer(int32_t fd) {
    if (setsockopt(fd, SOL_SOCKET, SO_RCVBUFFORCE, &kReceiveBuffer, sizeof kReceiveBuffer) != 0) {
        setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &kReceiveBuffer, sizeof kReceiveBuffer);
    }
}

bool bindToLlc(int32_t fd) {
    sockaddr_ll address = {};
    address.sll_family = AF_PACKET;
    address.sll_protocol = htons(ETH_P_802_2);
    return bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
}

bool carriedVlanTag(msghdr* message) {
    for (cmsghdr* c = CMSG_FIRSTHDR(message); c != nullptr; c = CMSG_NXTHDR(message, c)) {
        if (c->cmsg_level == SOL_PACKET && c->cmsg_type == PACKET_AUXDATA &&
            c->cmsg_len >= CMSG_LEN(sizeof(tpacket_auxdata))) {
            tpacket_auxdata notes;
            memcpy(&notes, CMSG_DATA(c), sizeof notes);
            return (notes.tp_status & TP_STATUS_VLAN_VALID) != 0;
        }
    }
    return false;
}

// Writes the control data, if there is room for them.
bool writePacketInfo(msghdr* message, const sockaddr_ll& source) {
    if (message->msg_controllen < CMSG_SPACE(sizeof(packet_rxpktinfo))) {
        return false;
    }
    packet_rxpktinfo info = {};
    info.pkt_inport = static_cast<uint32_t>(source.sll_ifindex);
    memcpy(info.pkt_srcaddr, source.sll_addr, ETH_ALEN);
    info.pkt_dataoffset = kDataOffset;
    message->msg_controllen = CMSG_SPACE(sizeof info);
    cmsghdr* control = CMSG_FIRSTHDR(message);
    control->cmsg_level = SOL_PACKET;
    control->cmsg_type = MSTP_PACKET_RXPKTINFO;
    control->cmsg_len = CMSG_LEN(sizeof info);
    memcpy(CMSG_DATA(control), &info, sizeof info);
    return true;
}

bool isWanted(const QueuedFrame& frame) {
    return platform::wantsBpdu(static_cast<uint32_t>(frame.source.sll_ifindex), frame.data);
}

// @return 0, also when the frame is nobody's, or an errno value
int32_t readFrame(int32_t fd, QueuedFrame* frame) {
    alignas(cmsghdr) uint8_t control[CMSG_SPACE(sizeof(tpacket_auxdata))];
    iovec vector = {frame->data, sizeof frame->data};
    msghdr message = {};
    message.msg_name = &frame->source;
    message.msg_namelen = sizeof frame->source;
    message.msg_iov = &vector;
    message.msg_iovlen = 1;
    message.msg_control = control;
    message.msg_controllen = sizeof control;
    const ssize_t length = recvmsg(fd, &message, MSG_DONTWAIT);
    if (length < 0) {
        return errno;
    }
    const bool whole = length >= kDataOffset && (message.msg_flags & MSG_TRUNC) == 0;
    if (!whole || frame->source.sll_pkttype != PACKET_MULTICAST || carriedVlanTag(&message) ||
        !isWanted(*frame)) {
        return 0;
    }
    frame->length = static_cast<uint16_t>(length);
    const auto ifindex = static_cast<uint32_t>(frame->source.sll_ifindex);
    platform::keepFrame(platform::portNumber(platform::findPort(ifindex)));
    return 0;
}

// All that has arrived, but for what a flood adds meanwhile. @return why it ended
int32_t readFrames(int32_t fd) {
    for (uint32_t i = 0; i < kReadsMax; i++) {
        QueuedFrame* frame = platform::freeFrame();
        const int32_t error = frame != nullptr ? readFrame(fd, frame) : EAGAIN;
        if (error != 0) {
            return error;
        }
    }
    return EAGAIN;
}

// @return false if it does not fit, or its port is none any more
bool handOver(const QueuedFrame& frame, msghdr* message) {
    if (frame.length > message->msg_iov[0].iov_len || !isWanted(frame)) {
        return false;
    }
    memcpy(message->msg_iov[0].iov_base, frame.data, frame.length);
    memcpy(message->msg_name, &frame.source, sizeof frame.source);
    message->msg_namelen = sizeof frame.source;
    message->msg_flags = 0;
    return writePacketInfo(message, frame.source);
}

} // namespace

int32_t platformPktSocketSetup(int32_t fd) {
    // The filter comes first, so that nothing else can slip in after the bind. Option 20, which
    // asks for packet information elsewhere, makes a stock kernel bypass the queues when sending.
    setOption(fd, PACKET_QDISC_BYPASS, 0);
    if (!attachFilter(fd) || !setOption(fd, PACKET_AUXDATA, 1) || !bindToLlc(fd)) {
        return -1;
    }
    enlargeBuffer(fd);
    platform::clearFrames();
    gPacketSocket = fd;
    platform::setPacketSocket(fd);
    return 0;
}

int32_t platformPktRecv(int32_t fd, msghdr* message) {
    if (message->msg_namelen < sizeof(sockaddr_ll) || message->msg_iovlen < 1 ||
        message->msg_iov[0].iov_len < kDataOffset) {
        errno = EINVAL;
        return -1;
    }
    const int32_t error = readFrames(fd);
    const QueuedFrame* frame = platform::takeFrame();
    if (frame == nullptr) {
        errno = error;
        return -1;
    }
    return handOver(*frame, message) ? frame->length : 0;
}

namespace platform {

int32_t packetSocketPending() {
    return framesWait() ? gPacketSocket : -1;
}

} // namespace platform
