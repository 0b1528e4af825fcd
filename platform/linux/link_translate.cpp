// The daemon reads link messages in a numbering of its own, in which several attribute numbers mean
// other things than in a stock kernel's messages. So nothing of a kernel's message is handed on:
// what matters in it is written anew, into messages that hold one fact each. Of a port that is its
// operational state, a speed that changed, or that it is gone: its interface vanished or left the
// bridge. What the kernel tells of its bridge goes into the record of it first.

#include "link_translate.h"

#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include <cstring>

#include "bridge_news.h"
#include "bridge_vlans.h"
#include "interface_speed.h"
#include "kernel_bridge.h"
#include "platform/seam.h"
#include "port_table.h"

namespace {

using platform::BridgePort;
using platform::LinkInfo;
using platform::LinkOutput;
using platform::PortEntry;

struct LinkMessage {
    nlmsghdr header;
    ifinfomsg body;
};

// One attribute, and room for its value.
struct AttributeMessage {
    LinkMessage link;
    rtattr attribute;
    uint8_t value[8];
};

bool put(LinkOutput* output, const void* message, uint32_t length) {
    if (output->closed || output->room - output->used < length) {
        return false;
    }
    memcpy(output->data + output->used, message, length);
    output->used += length;
    return true;
}

// ifi_change stays 0: all ones there would announce a new interface.
LinkMessage linkMessage(uint16_t type, uint32_t length, uint32_t ifindex) {
    LinkMessage message = {};
    message.header.nlmsg_type = type;
    message.header.nlmsg_len = length;
    message.body.ifi_index = static_cast<int>(ifindex);
    return message;
}

bool putAttribute(LinkOutput* output, uint32_t ifindex, uint16_t type, const void* value,
                  uint16_t length) {
    AttributeMessage message = {};
    constexpr uint32_t kHeaders = sizeof message - sizeof message.value;
    const uint32_t size = kHeaders + ((length + 3U) & ~3U);
    message.link = linkMessage(RTM_NEWLINK, size, ifindex);
    message.attribute.rta_len = static_cast<uint16_t>(sizeof message.attribute + length);
    message.attribute.rta_type = type;
    if (length != 0) {
        memcpy(message.value, value, length);
    }
    return put(output, &message, size);
}

// A link that was up before and is up still, at another speed.
bool speedChanged(PortEntry* port, bool up) {
    uint32_t speed = 0;
    return up && port->up && platform::interfaceSpeed(port->ifindex, &speed) == 0 &&
           speed != port->speed;
}

bool translateNewLink(const LinkInfo& link, PortEntry* port, LinkOutput* output) {
    if (!platform::portAttached(port) || port->vanished || link.operState < 0) {
        return true;
    }
    const bool up = platform::linkIsUp(link);
    return speedChanged(port, up) ? platform::putChanged(output, link.ifindex)
                                  : platform::putOperState(output, link.ifindex, up);
}

bool translateDelLink(const LinkInfo& link, PortEntry* port, LinkOutput* output) {
    if (platform::portAttached(port) && !platform::putGone(output, link.ifindex)) {
        return false;
    }
    platform::portVanished(port);
    return true;
}

// The bridge's view of a port: it joins, changes its state, or leaves.
bool translateBridgePort(const LinkInfo& link, bool joined, LinkOutput* output) {
    BridgePort* port = platform::findBridgePort(link.ifindex);
    if (joined) {
        platform::noteBridgePort(link);
        return true;
    }
    if (port == nullptr) {
        return true;
    }
    const PortEntry* entry = platform::findPort(link.ifindex);
    if (entry != nullptr && platform::portAttached(entry) &&
        !platform::putGone(output, link.ifindex)) {
        return false;
    }
    platform::leaveBridge(port);
    return true;
}

// The kernel tells of VLANs that were taken off a port in the words in which it tells that the port
// has left. One that left and has returned is told apart by what its own link says in between.
bool isVlanNews(const LinkInfo& link) {
    return platform::findBridgePort(link.ifindex) != nullptr &&
           platform::isStillPortOfBridge(link.ifindex);
}

// A message that tells the operational state tells the master, too, if there is one.
bool hasLeftBridge(const LinkInfo& link) {
    return link.operState >= 0 && platform::findBridgePort(link.ifindex) != nullptr &&
           !platform::isPortOfBridge(link);
}

} // namespace

namespace platform {

bool putOperState(LinkOutput* output, uint32_t ifindex, bool up) {
    const uint8_t state = up ? PLATFORM_LINK_OPER_UP : PLATFORM_LINK_OPER_DOWN;
    return putAttribute(output, ifindex, PLATFORM_LINK_OPERSTATE, &state, sizeof state);
}

bool putGone(LinkOutput* output, uint32_t ifindex) {
    const LinkMessage message = linkMessage(RTM_DELLINK, sizeof message, ifindex);
    if (!put(output, &message, sizeof message)) {
        return false;
    }
    output->closed = true;
    return true;
}

bool putChanged(LinkOutput* output, uint32_t ifindex) {
    return putAttribute(output, ifindex, PLATFORM_LINK_PORT_CHANGED, nullptr, 0);
}

bool putVlan(LinkOutput* output, uint32_t ifindex, uint16_t vlan) {
    return putAttribute(output, ifindex, PLATFORM_LINK_VLAN, &vlan, sizeof vlan);
}

bool putSystemMac(LinkOutput* output, uint32_t ifindex, const uint8_t* address) {
    return putAttribute(output, ifindex, PLATFORM_LINK_SYSTEM_MAC, address, LINK_ADDRESS_SIZE);
}

bool putNothing(LinkOutput* output) {
    nlmsghdr message = {};
    message.nlmsg_type = NLMSG_NOOP;
    message.nlmsg_len = sizeof message;
    return put(output, &message, sizeof message);
}

bool translateMessage(const Bytes& message, LinkOutput* output) {
    const uint16_t type = messageHeader(message).nlmsg_type;
    if (type == RTM_NEWVLAN || type == RTM_DELVLAN) {
        readVlans(message, type == RTM_NEWVLAN);
        return true;
    }
    LinkInfo link;
    if ((type != RTM_NEWLINK && type != RTM_DELLINK) || !readLink(message, &link)) {
        return true;
    }
    if (link.family == AF_BRIDGE) {
        return translateBridgePort(link, type == RTM_NEWLINK || isVlanNews(link), output);
    }
    if (link.family != AF_UNSPEC) {
        return true;
    }
    noteBridgeLink(link, type == RTM_NEWLINK);
    if (type == RTM_NEWLINK && hasLeftBridge(link)) {
        return translateBridgePort(link, false, output);
    }
    PortEntry* port = findPort(link.ifindex);
    if (port == nullptr) {
        return true;
    }
    return type == RTM_NEWLINK ? translateNewLink(link, port, output)
                               : translateDelLink(link, port, output);
}

} // namespace platform
