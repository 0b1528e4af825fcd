#pragma once

/// Five calls that keep the core free of one kernel's particulars.

#include <sys/select.h>
#include <sys/socket.h>

#include <cstdint>

inline constexpr uint32_t PLATFORM_LINK_GROUPS_MAX = 8;

/// The platform's numbering of the attributes of a link message that mean something to the daemon.
enum : uint16_t {
    PLATFORM_LINK_OPERSTATE = 16,    ///< 1 byte: PLATFORM_LINK_OPER_*
    PLATFORM_LINK_PORT_GONE = 38,    ///< the interface is no port any more
    PLATFORM_LINK_VLAN = 40,         ///< 2 bytes: the interface became a member of this VLAN
    PLATFORM_LINK_SYSTEM_MAC = 48,   ///< 6 bytes: the system's address changed to this
    PLATFORM_LINK_PORT_CHANGED = 52, ///< the port must be initialised anew; so says the next
    PLATFORM_LINK_PORT_RESET = 53,
};

enum : uint8_t { PLATFORM_LINK_OPER_DOWN = 2, PLATFORM_LINK_OPER_UP = 6 };

/// Receive packet information, attached to every frame as a control message (SOL_PACKET, type 20).
/// Host byte order.
struct packet_rxpktinfo {
    uint32_t pkt_inport;
    uint8_t pkt_srcaddr[8];
    uint16_t pkt_outervid;
    uint16_t pkt_innervid;
    uint8_t pkt_dataoffset; ///< offset of the BPDU's first byte in the received data
    uint8_t pkt_outerpri;
    uint8_t pkt_innerpri;
    uint8_t pkt_cblen;
    uint8_t pkt_cb[32];
    uint32_t pkt_flags;
};
static_assert(sizeof(packet_rxpktinfo) == 56);

inline constexpr int32_t MSTP_PACKET_RXPKTINFO = 20;

/// Called once after the packet socket is made and its options are set: makes it deliver BPDUs
/// only. @return 0, or -1 when the socket is of no use: start-up then fails
int32_t platformPktSocketSetup(int32_t fd);

/// A recvmsg without blocking. The control data carry a packet_rxpktinfo message (SOL_PACKET, type
/// 20) whose data offset is that of the byte after the LLC header; the name is a sockaddr_ll.
/// @return bytes of the frame, 0 or less for none
int32_t platformPktRecv(int32_t fd, msghdr* message);

/// Writes to @p list (room for PLATFORM_LINK_GROUPS_MAX) the multicast groups that the link socket
/// joins, in order. @return how many
uint32_t platformLinkGroups(uint32_t* list);

/// One datagram of link messages in the platform's numbering, at most @p length bytes into
/// @p buffer. Of a port it tells the operational state (new link, attribute 16, one byte: 2 down,
/// 6 up), that its speed changed while it was up (attribute 52), and that it vanished or left the
/// bridge (delete link); of the bridge that its address changed (attribute 48, the address) and
/// that VLANs appeared on a port (attribute 40, two bytes: one VLAN of each group concerned).
/// Nothing else of the kernel's messages comes through, since its numbers mean other things. When
/// the kernel has lost messages, the present state of every port is told. A datagram that means
/// nothing to the daemon comes as an empty message, not as 0.
/// @return bytes, below 1 on failure with errno set
int32_t platformLinkRecv(int32_t fd, void* buffer, uint32_t length);

/// The loop's wait, with the arguments and the result of select.
int32_t platformSelect(int32_t nfds, fd_set* readfds, fd_set* writefds, fd_set* exceptfds,
                       timeval* timeout);
