#pragma once

/// Reading of rtnetlink messages, and questions to the kernel about its interfaces. Every length
/// that a message claims is checked against the bytes that are there.

#include <linux/netlink.h>
#include <sys/socket.h>

#include <cstdint>

namespace platform {

/// Bytes still to be read.
struct Bytes {
    const uint8_t* data;
    uint32_t length;
};

/// Takes the next message off @p rest, 4-byte aligned. @p message is the header and all that
/// belongs to it. @return false at the end, and at the first message whose length is not true
bool nextMessage(Bytes* rest, Bytes* message);

/// Takes the next attribute off @p rest. @param type  without the flag bits
/// @return false at the end, and at the first attribute whose length is not true
bool nextAttribute(Bytes* rest, uint16_t* type, Bytes* value);

/// The header of @p message; its length field is not to be used.
nlmsghdr messageHeader(const Bytes& message);

inline constexpr uint32_t LINK_ADDRESS_SIZE = 6;
inline constexpr uint32_t LINK_NAME_SIZE = 16;

enum class LinkKind : uint8_t { OTHER, BRIDGE, VLAN };

/// What a link message says. Numbers are 0, and texts empty, where it says nothing.
struct LinkInfo {
    uint8_t family;
    uint32_t ifindex;
    uint16_t type;     ///< ARPHRD_*
    uint32_t flags;    ///< IFF_*
    int32_t operState; ///< IF_OPER_*, -1 when the message does not tell
    uint8_t address[LINK_ADDRESS_SIZE];
    bool hasAddress; ///< address is valid: the message tells one of 6 bytes
    char name[LINK_NAME_SIZE];
    uint32_t master; ///< the interface that this one is a port of
    uint32_t below;  ///< the interface that this one stands on
    bool hasSwitch;  ///< the message names the switching chip that it belongs to
    LinkKind kind;
    uint16_t vlan;     ///< of a VLAN interface
    uint32_t stpState; ///< of a bridge: 0 off, 1 the kernel's own, 2 left to user space
    bool vlanFiltering;
    bool mstKnown; ///< the kernel has MST mode
    bool mstEnabled;
    int32_t portState; ///< BR_STATE_* of a bridge's port, -1 when the message does not tell
};

/// Reads message @p message of type RTM_NEWLINK or RTM_DELLINK.
/// @return false when it is too short or names no interface
bool readLink(const Bytes& message, LinkInfo* link);

/// True when frames can pass: operational state up, or unknown on an interface that runs, since
/// devices without a notion of it stay unknown.
bool linkIsUp(const LinkInfo& link);

/// Asks the kernel for interface @p ifindex. @return 0, or an errno value: ENODEV when there is
/// none
int32_t queryLink(uint32_t ifindex, LinkInfo* link);

using LinkVisitor = void (*)(const LinkInfo& link, void* context);

/// Asks the kernel for all interfaces of the network namespace, or with AF_BRIDGE for those that
/// are bridge ports. One may be visited twice. @return 0 or an errno value
int32_t visitLinks(LinkVisitor visit, void* context, uint8_t family = AF_UNSPEC);

} // namespace platform
