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

#include <linux/filter.h>
#include <linux/if_ether.h>
#include <linux/if_packet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>

#include "membership.h"
#include "platform/seam.h"

namespace {

constexpr uint32_t kLengthMax = 1500;
constexpr uint8_t kDataOffset = 17; // addresses, length, LLC header

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

// Replaces the control data, which have room for @p room bytes.
bool writePacketInfo(msghdr* message, size_t room, const sockaddr_ll& source) {
    if (room < CMSG_SPACE(sizeof(packet_rxpktinfo))) {
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

} // namespace

int32_t platformPktSocketSetup(int32_t fd) {
    // The filter comes first, so that nothing else can slip in after the bind. Option 20, which
    // asks for packet information elsewhere, makes a stock kernel bypass the queues when sending.
    setOption(fd, PACKET_QDISC_BYPASS, 0);
    if (!attachFilter(fd) || !setOption(fd, PACKET_AUXDATA, 1) || !bindToLlc(fd)) {
        return -1;
    }
    platform::setPacketSocket(fd);
    return 0;
}

int32_t platformPktRecv(int32_t fd, msghdr* message) {
    const size_t room = message->msg_controllen;
    if (message->msg_namelen < sizeof(sockaddr_ll) || message->msg_iovlen < 1 ||
        message->msg_iov[0].iov_len < kDataOffset) {
        errno = EINVAL;
        return -1;
    }
    const ssize_t length = recvmsg(fd, message, MSG_DONTWAIT);
    if (length < 0) {
        return -1;
    }
    sockaddr_ll source;
    memcpy(&source, message->msg_name, sizeof source);
    const auto* destination = static_cast<const uint8_t*>(message->msg_iov[0].iov_base);
    const bool whole = length >= kDataOffset && (message->msg_flags & MSG_TRUNC) == 0;
    if (!whole || source.sll_pkttype != PACKET_MULTICAST || carriedVlanTag(message) ||
        !platform::wantsBpdu(static_cast<uint32_t>(source.sll_ifindex), destination) ||
        !writePacketInfo(message, room, source)) {
        return 0;
    }
    return static_cast<int32_t>(length);
}
