// Link events: what the switch's kernel tells about its interfaces.
//
// A datagram holds messages; a message about a link names an interface and carries attributes, each
// with a type and a length. They turn into ports that come up, go down or vanish, into a new system
// address, and into VLANs that come to and leave the hardware groups of their instances. An
// interface that is no port may still belong to one, whose properties then have changed.
//
// The lengths come from outside: nothing is read beyond the datagram, and whatever does not fit
// ends the walk without a word.

#include "mstp_link_events.h"

#include <linux/netlink.h>
#include <linux/rtnetlink.h>

#include <cstring>

#include "mstp/context.h"
#include "mstp_bridge.h"
#include "mstp_io.h"
#include "mstp_port.h"
#include "mstp_xst.h"
#include "platform/interfaces.h"
#include "platform/seam.h"
#include "platform/stg.h"

static constexpr int32_t HEADER_SIZE = 16; // of a message, and of the link within
static constexpr int32_t ATTRIBUTE_HEADER_SIZE = 4;
static constexpr uint32_t JUST_REGISTERED = 0xFFFFFFFF;
static_assert(sizeof(nlmsghdr) == HEADER_SIZE && sizeof(ifinfomsg) == HEADER_SIZE);
static_assert(sizeof(rtattr) == ATTRIBUTE_HEADER_SIZE);

static int32_t aligned(uint32_t length) {
    return static_cast<int32_t>((length + 3) & ~3U);
}

// ---- VLANs

/// The first instance that holds @p vlan; none for a number that is no VLAN.
static tMstpXst* xstOfVlan(uint32_t vlan) {
    if (vlan < 1 || vlan > MSTP_VLAN_ID_MAX) {
        return nullptr;
    }
    for (tMstpXst* xst : xstsOf(&gMstp.bridges[0])) {
        if (bitListTst(xst->vlanList, vlan - 1)) {
            return xst;
        }
    }
    return nullptr;
}

/// Tells the group of the VLAN's instance that the VLAN came or went.
static void changeGroup(uint32_t vlan,
                        int32_t (*change)(uint32_t stgId, const uint8_t* bitmap, uint32_t length)) {
    const tMstpXst* xst = xstOfVlan(vlan);
    if (xst == nullptr || xst->stgId == 0) {
        return;
    }
    uint8_t bitmap[MSTP_VLAN_LIST_SIZE] = {};
    bitListSet(bitmap, vlan - 1);
    change(xst->stgId, bitmap, MSTP_VLAN_LIST_SIZE);
}

static void reprogram(uint32_t vlan, uint32_t unit) {
    tMstpXst* xst = xstOfVlan(vlan);
    tMstpXstPort* xstPort = xst != nullptr ? mstpXstPortGet(xst, unit) : nullptr;
    if (xstPort != nullptr) {
        mstpStgPortSet(xstPort);
    }
}

// ---- ports

static void removePort(tMstpPort* port) {
    if (port != nullptr) {
        mstpBridgePortRemove(port);
    }
}

static void initPort(tMstpPort* port) {
    if (port != nullptr) {
        mstpBridgePortInit(port);
    }
}

static void initOwner(tMstpBridge* bridge, uint32_t ifindex) {
    uint32_t member = 0;
    uint32_t owner = 0;
    if (sysIFGet(ifindex, KEL_IF_IS_MEMBER, &member) == 0 &&
        sysIFGet(ifindex, KEL_IF_OWNER_UNIT, &owner) == 0) {
        initPort(mstpBridgePortGet(bridge, owner));
    }
}

static void changeOperState(tMstpBridge* bridge, uint32_t ifindex, uint8_t state) {
    tMstpPort* port = mstpBridgePortGet(bridge, ifindex);
    if (port == nullptr) {
        initOwner(bridge, ifindex);
        return;
    }
    if (state == PLATFORM_LINK_OPER_DOWN && port->operState != MSTP_PORT_OPERATE_DOWN) {
        mstpPortLinkDown(port);
    } else if (state == PLATFORM_LINK_OPER_UP && port->operState != MSTP_PORT_OPERATE_UP) {
        mstpPortLinkUp(port);
    }
}

static void changeMac(tMstpBridge* bridge, const uint8_t* data, uint32_t length) {
    memcpy(bridge->bridgeMac, data, length < MSTP_MAC_SIZE ? length : MSTP_MAC_SIZE);
    mstpBridgeReset(bridge);
}

// ---- messages

static void serveAttribute(tMstpBridge* bridge, uint32_t ifindex, uint16_t type,
                           const uint8_t* data, uint32_t length) {
    uint16_t vlan = 0;
    switch (type) {
    case PLATFORM_LINK_OPERSTATE:
        if (length >= 1) {
            changeOperState(bridge, ifindex, data[0]);
        }
        return;
    case PLATFORM_LINK_PORT_GONE:
        removePort(mstpBridgePortGet(bridge, ifindex));
        return;
    case PLATFORM_LINK_VLAN:
        if (length >= sizeof vlan) {
            memcpy(&vlan, data, sizeof vlan);
            reprogram(vlan, ifindex);
        }
        return;
    case PLATFORM_LINK_SYSTEM_MAC:
        changeMac(bridge, data, length);
        return;
    case PLATFORM_LINK_PORT_CHANGED:
    case PLATFORM_LINK_PORT_RESET:
        initPort(mstpBridgePortGet(bridge, ifindex));
        return;
    default:
        return;
    }
}

static ifinfomsg linkOf(const nlmsghdr* h) {
    ifinfomsg link;
    memcpy(&link, reinterpret_cast<const uint8_t*>(h) + HEADER_SIZE, sizeof link);
    return link;
}

/// Where an interface sits. @return false if the platform does not know
static bool locate(uint32_t ifindex, tPhyIfIndex* position) {
    *position = {};
    return kelIndexTrans(ifindex, KEL_INDEX_POSITION, position) == 0;
}

static void serveAttributes(tMstpBridge* bridge, uint32_t ifindex, const uint8_t* next,
                            int32_t remaining) {
    while (remaining >= ATTRIBUTE_HEADER_SIZE) {
        rtattr attribute;
        memcpy(&attribute, next, sizeof attribute);
        if (attribute.rta_len < ATTRIBUTE_HEADER_SIZE || attribute.rta_len > remaining) {
            return;
        }
        serveAttribute(bridge, ifindex, attribute.rta_type, next + ATTRIBUTE_HEADER_SIZE,
                       attribute.rta_len - ATTRIBUTE_HEADER_SIZE);
        next += aligned(attribute.rta_len);
        remaining -= aligned(attribute.rta_len);
    }
}

void mstpProcessNewlink(const nlmsghdr* h, int32_t len) {
    tMstpBridge* bridge = mstpBridgeGet(1);
    if (bridge == nullptr || len < HEADER_SIZE) {
        return;
    }
    const ifinfomsg link = linkOf(h);
    const auto ifindex = static_cast<uint32_t>(link.ifi_index);
    if (link.ifi_change == JUST_REGISTERED) {
        tPhyIfIndex position;
        if (locate(ifindex, &position) && position.endType == KEL_END_VLAN) {
            changeGroup(position.virtualnum, stgShrProtocolVlanAdd);
        }
        return;
    }
    // The space walked is deliberately that of message and link header together less one header,
    // so the walk may run into the next message; it never leaves the datagram.
    const int32_t space = static_cast<int32_t>(h->nlmsg_len) - HEADER_SIZE;
    const int32_t left = len - HEADER_SIZE;
    serveAttributes(bridge, ifindex, reinterpret_cast<const uint8_t*>(h) + 2 * HEADER_SIZE,
                    space < left ? space : left);
}

void mstpProcessDellink(const nlmsghdr* h, int32_t len) {
    tMstpBridge* bridge = mstpBridgeGet(1);
    tPhyIfIndex position;
    if (bridge == nullptr || len < HEADER_SIZE) {
        return;
    }
    const auto ifindex = static_cast<uint32_t>(linkOf(h).ifi_index);
    if (!locate(ifindex, &position)) {
        return;
    }
    if (position.endType == KEL_END_VLAN) {
        changeGroup(position.virtualnum, stgShrProtocolVlanDel);
    } else if (position.endType == KEL_END_PORT) {
        removePort(mstpBridgePortGet(bridge, ifindex));
    }
}

int32_t mstpRtmProcess(const void* buf, int32_t len) {
    const auto* next = static_cast<const uint8_t*>(buf);
    int32_t remaining = len;
    while (remaining >= HEADER_SIZE) {
        nlmsghdr header;
        memcpy(&header, next, sizeof header);
        if (header.nlmsg_len < HEADER_SIZE || header.nlmsg_len > static_cast<uint32_t>(remaining)) {
            break;
        }
        const auto* message = reinterpret_cast<const nlmsghdr*>(next);
        if (header.nlmsg_type == RTM_NEWLINK) {
            mstpProcessNewlink(message, remaining - HEADER_SIZE);
        } else if (header.nlmsg_type == RTM_DELLINK) {
            mstpProcessDellink(message, remaining - HEADER_SIZE);
        }
        next += aligned(header.nlmsg_len);
        remaining -= aligned(header.nlmsg_len);
    }
    return 0;
}
