// A netlink datagram is a row of messages: a 16-byte header that begins with the message's length,
// then a body. A link message's body is an ifinfomsg and a row of attributes, each a 4-byte header
// with length and type, then the value. Messages and attributes start on multiples of 4.

#include "netlink.h"

#include <linux/if.h>
#include <linux/if_bridge.h>
#include <linux/if_link.h>
#include <linux/rtnetlink.h>

#include <algorithm>
#include <cstring>

namespace {

constexpr uint32_t kAlignment = 4;

uint32_t aligned(uint32_t length) {
    return (length + kAlignment - 1) & ~(kAlignment - 1);
}

void skip(platform::Bytes* rest, uint32_t length) {
    const uint32_t step = std::min(length, rest->length);
    rest->data += step;
    rest->length -= step;
}

// A number, or numbers; 0 when the kernel tells another size than expected.
template <class T> T numberIn(const platform::Bytes& value) {
    T number = {};
    if (value.length >= sizeof number) {
        memcpy(&number, value.data, sizeof number);
    }
    return number;
}

bool isText(const platform::Bytes& value, const char* text) {
    const size_t length = strlen(text);
    return value.length >= length && memcmp(value.data, text, length) == 0 &&
           (value.length == length || value.data[length] == 0);
}

void readPortData(platform::Bytes data, platform::LinkInfo* link) {
    uint16_t type;
    platform::Bytes value;
    while (platform::nextAttribute(&data, &type, &value)) {
        if (type == IFLA_BRPORT_STATE && value.length >= 1) {
            link->portState = value.data[0];
        }
    }
}

// The kernel tells which options it knows, and which of them are on.
void readOptions(const platform::Bytes& value, platform::LinkInfo* link) {
    const auto options = numberIn<br_boolopt_multi>(value);
    link->mstKnown = (options.optmask & (1U << BR_BOOLOPT_MST_ENABLE)) != 0;
    link->mstEnabled = (options.optval & (1U << BR_BOOLOPT_MST_ENABLE)) != 0;
}

void readBridgeData(platform::Bytes data, platform::LinkInfo* link) {
    uint16_t type;
    platform::Bytes value;
    while (platform::nextAttribute(&data, &type, &value)) {
        if (type == IFLA_BR_VLAN_FILTERING) {
            link->vlanFiltering = numberIn<uint8_t>(value) != 0;
        } else if (type == IFLA_BR_STP_STATE) {
            link->stpState = numberIn<uint32_t>(value);
        } else if (type == IFLA_BR_MULTI_BOOLOPT) {
            readOptions(value, link);
        }
    }
}

void readVlanData(platform::Bytes data, platform::LinkInfo* link) {
    uint16_t type;
    platform::Bytes value;
    while (platform::nextAttribute(&data, &type, &value)) {
        if (type == IFLA_VLAN_ID) {
            link->vlan = numberIn<uint16_t>(value);
        }
    }
}

// The kind comes before its data.
void readKind(platform::Bytes info, platform::LinkInfo* link) {
    uint16_t type;
    platform::Bytes value;
    while (platform::nextAttribute(&info, &type, &value)) {
        if (type == IFLA_INFO_KIND && isText(value, "bridge")) {
            link->kind = platform::LinkKind::BRIDGE;
        } else if (type == IFLA_INFO_KIND && isText(value, "vlan")) {
            link->kind = platform::LinkKind::VLAN;
        } else if (type == IFLA_INFO_DATA && link->kind == platform::LinkKind::BRIDGE) {
            readBridgeData(value, link);
        } else if (type == IFLA_INFO_DATA && link->kind == platform::LinkKind::VLAN) {
            readVlanData(value, link);
        }
    }
}

void readLinkAttribute(uint16_t type, const platform::Bytes& value, platform::LinkInfo* link) {
    switch (type) {
    case IFLA_OPERSTATE:
        link->operState = value.length >= 1 ? value.data[0] : -1;
        return;
    case IFLA_ADDRESS:
        if (value.length == platform::LINK_ADDRESS_SIZE) {
            memcpy(link->address, value.data, platform::LINK_ADDRESS_SIZE);
            link->hasAddress = true;
        }
        return;
    case IFLA_IFNAME:
        memcpy(link->name, value.data, std::min<size_t>(value.length, sizeof link->name - 1));
        return;
    case IFLA_MASTER:
        link->master = numberIn<uint32_t>(value);
        return;
    case IFLA_LINK:
        link->below = numberIn<uint32_t>(value);
        return;
    case IFLA_PHYS_SWITCH_ID:
        link->hasSwitch = value.length != 0;
        return;
    case IFLA_LINKINFO:
        readKind(value, link);
        return;
    case IFLA_PROTINFO:
        readPortData(value, link);
        return;
    default:
        return;
    }
}

} // namespace

namespace platform {

nlmsghdr messageHeader(const Bytes& message) {
    nlmsghdr header;
    memcpy(&header, message.data, sizeof header);
    return header;
}

bool nextMessage(Bytes* rest, Bytes* message) {
    if (rest->length < NLMSG_HDRLEN) {
        return false;
    }
    const uint32_t length = messageHeader(*rest).nlmsg_len;
    if (length < NLMSG_HDRLEN || length > rest->length) {
        return false;
    }
    *message = {rest->data, length};
    skip(rest, aligned(length));
    return true;
}

bool nextAttribute(Bytes* rest, uint16_t* type, Bytes* value) {
    rtattr header;
    if (rest->length < sizeof header) {
        return false;
    }
    memcpy(&header, rest->data, sizeof header);
    if (header.rta_len < sizeof header || header.rta_len > rest->length) {
        return false;
    }
    *type = header.rta_type & NLA_TYPE_MASK;
    *value = {rest->data + sizeof header, header.rta_len - static_cast<uint32_t>(sizeof header)};
    skip(rest, aligned(header.rta_len));
    return true;
}

bool readLink(const Bytes& message, LinkInfo* link) {
    ifinfomsg body;
    if (message.length < NLMSG_HDRLEN + sizeof body) {
        return false;
    }
    memcpy(&body, message.data + NLMSG_HDRLEN, sizeof body);
    if (body.ifi_index <= 0) {
        return false;
    }
    *link = {};
    link->family = body.ifi_family;
    link->ifindex = static_cast<uint32_t>(body.ifi_index);
    link->type = body.ifi_type;
    link->flags = body.ifi_flags;
    link->operState = -1;
    link->portState = -1;

    Bytes rest = message;
    skip(&rest, aligned(NLMSG_HDRLEN + sizeof body));
    uint16_t type;
    Bytes value;
    while (nextAttribute(&rest, &type, &value)) {
        readLinkAttribute(type, value, link);
    }
    return true;
}

bool linkIsUp(const LinkInfo& link) {
    constexpr uint32_t kRunning = IFF_UP | IFF_RUNNING;
    if (link.operState == IF_OPER_UNKNOWN) {
        return (link.flags & kRunning) == kRunning;
    }
    return link.operState == IF_OPER_UP && (link.flags & IFF_UP) != 0;
}

} // namespace platform
