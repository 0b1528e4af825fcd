// The daemon reads link messages in a numbering of its own, in which several attribute numbers mean
// other things than in a stock kernel's messages. So nothing of a kernel's message is handed on:
// what matters in it is written anew, into messages that hold one fact each. Of a port that is its
// operational state, or that its interface is gone; interfaces that are no port are of no interest,
// nor is the bridge's own view of its ports (messages of family bridge).

#include "link_translate.h"

#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include <cstring>

#include "port_table.h"

namespace {

using platform::LinkInfo;
using platform::LinkOutput;
using platform::PortEntry;

constexpr uint16_t kOperStateAttribute = 16;
constexpr uint8_t kOperStateDown = 2;
constexpr uint8_t kOperStateUp = 6;

struct LinkMessage {
    nlmsghdr header;
    ifinfomsg body;
};

struct OperStateMessage {
    LinkMessage link;
    rtattr attribute;
    uint8_t state;
    uint8_t padding[3];
};

bool put(LinkOutput* output, const void* message, uint32_t length) {
    if (output->room - output->used < length) {
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

bool translateNewLink(const LinkInfo& link, PortEntry* port, LinkOutput* output) {
    if (!platform::portAttached(port) || port->vanished || link.operState < 0) {
        return true;
    }
    return platform::putOperState(output, link.ifindex, platform::linkIsUp(link));
}

bool translateDelLink(const LinkInfo& link, PortEntry* port, LinkOutput* output) {
    if (platform::portAttached(port) && !platform::putVanished(output, link.ifindex)) {
        return false;
    }
    platform::portVanished(port);
    return true;
}

} // namespace

namespace platform {

bool putOperState(LinkOutput* output, uint32_t ifindex, bool up) {
    OperStateMessage message = {};
    message.link = linkMessage(RTM_NEWLINK, sizeof message, ifindex);
    message.attribute.rta_len = sizeof message.attribute + sizeof message.state;
    message.attribute.rta_type = kOperStateAttribute;
    message.state = up ? kOperStateUp : kOperStateDown;
    return put(output, &message, sizeof message);
}

bool putVanished(LinkOutput* output, uint32_t ifindex) {
    const LinkMessage message = linkMessage(RTM_DELLINK, sizeof message, ifindex);
    return put(output, &message, sizeof message);
}

bool putNothing(LinkOutput* output) {
    nlmsghdr message = {};
    message.nlmsg_type = NLMSG_NOOP;
    message.nlmsg_len = sizeof message;
    return put(output, &message, sizeof message);
}

bool translateMessage(const Bytes& message, LinkOutput* output) {
    const uint16_t type = messageHeader(message).nlmsg_type;
    LinkInfo link;
    if ((type != RTM_NEWLINK && type != RTM_DELLINK) || !readLink(message, &link) ||
        link.family != AF_UNSPEC) {
        return true;
    }
    PortEntry* port = findPort(link.ifindex);
    if (port == nullptr) {
        return true;
    }
    return type == RTM_NEWLINK ? translateNewLink(link, port, output)
                               : translateDelLink(link, port, output);
}

} // namespace platform
