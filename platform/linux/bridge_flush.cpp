// Forgetting learned addresses, and proving neighbours.
//
// The kernel flushes by port and VLAN, one VLAN a request, and each request walks its whole table.
// So only few VLANs are flushed one by one; for more, and where they are all that the port has, the
// port is flushed as a whole: what is forgotten without need is learned again. Addresses that an
// operator or another protocol entered stay; those that hardware learned go like the bridge's own,
// by a request of their own unless no switching chip is behind the port. An older kernel flushes
// whole ports only.
//
// The stations that the bridge itself talks to have moved to other ports at most, so their entries
// are not dropped: the kernel is made to prove those that it trusts without having asked lately.
// The question also shows every bridge on the way where the station is now.

#include <linux/if_link.h>
#include <linux/neighbour.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "kernel_bridge.h"
#include "netlink_request.h"

namespace {

using platform::BridgePort;
using platform::Bytes;
using platform::kernelBridge;
using platform::LinkInfo;
using platform::NetlinkRequest;
using platform::VLAN_LIST_SIZE;
using platform::VLAN_MAX;

constexpr uint32_t kSingleVlansMax = 32;
constexpr uint16_t kWholePort = 0;
constexpr uint16_t kEntered = NUD_NOARP | NUD_PERMANENT;
constexpr uint32_t kAddressMax = 16;
constexpr uint32_t kNeighboursMax = 1024; // of which the kernel keeps no more by default

struct Neighbour {
    uint32_t ifindex;
    bool concerned; // it is in a VLAN whose neighbours are to be proved
    uint8_t length;
    uint8_t address[kAddressMax];
};

// What is to be proved of one family.
struct Proof {
    bool wanted;
    uint8_t family;
    uint8_t vlans[VLAN_LIST_SIZE];
};

NetlinkRequest gRequest;
Proof gProofs[2] = {{false, AF_INET, {}}, {false, AF_INET6, {}}};
Neighbour gNeighbours[kNeighboursMax];
uint32_t gNeighbourCount;

// ---- learned addresses

int32_t flushEntries(uint32_t ifindex, uint16_t vlan, uint8_t flags, uint8_t flagsMask) {
    ndmsg body = {};
    body.ndm_family = AF_BRIDGE;
    body.ndm_ifindex = static_cast<int>(ifindex);
    body.ndm_flags = static_cast<uint8_t>(NTF_MASTER | flags);
    platform::requestBegin(&gRequest, RTM_DELNEIGH, NLM_F_BULK, &body, sizeof body);
    if (vlan != kWholePort) {
        platform::requestPutValue(&gRequest, NDA_VLAN, vlan);
    }
    platform::requestPutValue(&gRequest, NDA_NDM_STATE_MASK, kEntered);
    platform::requestPutValue(&gRequest, NDA_NDM_FLAGS_MASK, flagsMask);
    return platform::netlinkRequest(&gRequest, nullptr, nullptr);
}

// Those that the bridge learned, then those that hardware did.
int32_t flushVlan(const BridgePort& port, uint16_t vlan) {
    const int32_t error = flushEntries(port.ifindex, vlan, 0, NTF_EXT_LEARNED);
    if (error != 0 || port.plain) {
        return error;
    }
    constexpr uint8_t kHardware = NTF_EXT_LEARNED | NTF_OFFLOADED;
    return flushEntries(port.ifindex, vlan, kHardware, kHardware);
}

int32_t flushOldKernel(uint32_t ifindex) {
    ifinfomsg body = {};
    body.ifi_family = AF_BRIDGE;
    body.ifi_index = static_cast<int>(ifindex);
    platform::requestBegin(&gRequest, RTM_SETLINK, 0, &body, sizeof body);
    const uint32_t nest = platform::requestNest(&gRequest, IFLA_PROTINFO);
    platform::requestPut(&gRequest, IFLA_BRPORT_FLUSH, nullptr, 0);
    platform::requestEndNest(&gRequest, nest);
    return platform::netlinkRequest(&gRequest, nullptr, nullptr);
}

// An older kernel takes a flush for the deletion of one entry and misses its address.
int32_t flushPort(const BridgePort& port) {
    if (!kernelBridge()->wholePortsOnly) {
        const int32_t error = flushVlan(port, kWholePort);
        if (error != EINVAL && error != EOPNOTSUPP) {
            return error;
        }
    }
    const int32_t error = flushOldKernel(port.ifindex);
    kernelBridge()->wholePortsOnly = kernelBridge()->wholePortsOnly || error == 0;
    return error;
}

void findChip(BridgePort* port) {
    LinkInfo link = {};
    port->plain =
        port->plain || (platform::queryLink(port->ifindex, &link) == 0 && !link.hasSwitch);
}

struct Share {
    uint32_t listed; // VLANs of the port that are to be flushed
    uint32_t all;    // VLANs of the port
};

Share shareOf(const BridgePort& port, const uint8_t* vlans, uint32_t length) {
    Share share = {};
    for (uint32_t vlan = 1; vlan <= VLAN_MAX; vlan++) {
        if (platform::hasVlan(port.vlans, vlan)) {
            share.all++;
            share.listed += (vlan - 1) / 8 < length && platform::hasVlan(vlans, vlan) ? 1 : 0;
        }
    }
    return share;
}

int32_t flushSingly(const BridgePort& port, const uint8_t* vlans, uint32_t length) {
    const uint32_t end = std::min(VLAN_MAX, length * 8);
    for (uint16_t vlan = 1; vlan <= end; vlan++) {
        if (platform::hasVlan(vlans, vlan) && platform::hasVlan(port.vlans, vlan) &&
            flushVlan(port, vlan) != 0) {
            return flushPort(port);
        }
    }
    return 0;
}

// ---- neighbours

// The bridge's own interface counts whatever the VLANs, one for a VLAN on it if the VLAN does.
bool isConcerned(uint32_t ifindex, const uint8_t* vlans) {
    if (ifindex == kernelBridge()->ifindex) {
        return true;
    }
    LinkInfo link = {};
    return platform::queryLink(ifindex, &link) == 0 && link.kind == platform::LinkKind::VLAN &&
           link.below == kernelBridge()->ifindex && link.vlan >= 1 && link.vlan <= VLAN_MAX &&
           platform::hasVlan(vlans, link.vlan);
}

// A stale neighbour is proved anyhow before it is trusted again.
void keepNeighbour(const Bytes& message, void* context) {
    const auto* proof = static_cast<const Proof*>(context);
    ndmsg body;
    if (message.length < NLMSG_HDRLEN + sizeof body || gNeighbourCount == kNeighboursMax) {
        return;
    }
    memcpy(&body, message.data + NLMSG_HDRLEN, sizeof body);
    const auto ifindex = static_cast<uint32_t>(body.ndm_ifindex);
    if (body.ndm_family != proof->family || (body.ndm_state & (NUD_REACHABLE | NUD_DELAY)) == 0) {
        return;
    }
    Bytes rest = {message.data + NLMSG_HDRLEN + sizeof body,
                  message.length - static_cast<uint32_t>(NLMSG_HDRLEN + sizeof body)};
    uint16_t type;
    Bytes value;
    while (platform::nextAttribute(&rest, &type, &value)) {
        if (type == NDA_DST && value.length <= kAddressMax) {
            Neighbour* kept = &gNeighbours[gNeighbourCount++];
            kept->ifindex = ifindex;
            kept->length = static_cast<uint8_t>(value.length);
            memcpy(kept->address, value.data, value.length);
            return;
        }
    }
}

void proveNeighbour(const Neighbour& neighbour, uint8_t family) {
    ndmsg body = {};
    body.ndm_family = family;
    body.ndm_ifindex = static_cast<int>(neighbour.ifindex);
    body.ndm_state = NUD_PROBE;
    platform::requestBegin(&gRequest, RTM_NEWNEIGH, NLM_F_REPLACE, &body, sizeof body);
    platform::requestPut(&gRequest, NDA_DST, neighbour.address, neighbour.length);
    platform::netlinkRequest(&gRequest, nullptr, nullptr);
}

// The kernel is asked once for each interface: mostly all neighbours are on few.
void findConcerned(const uint8_t* vlans) {
    for (uint32_t i = 0; i < gNeighbourCount; i++) {
        Neighbour* neighbour = &gNeighbours[i];
        const Neighbour* other = std::find_if(gNeighbours, neighbour, [&](const Neighbour& before) {
            return before.ifindex == neighbour->ifindex;
        });
        neighbour->concerned =
            other != neighbour ? other->concerned : isConcerned(neighbour->ifindex, vlans);
    }
}

void prove(Proof* proof) {
    gNeighbourCount = 0;
    ndmsg body = {};
    body.ndm_family = proof->family;
    platform::requestBegin(&gRequest, RTM_GETNEIGH, NLM_F_DUMP, &body, sizeof body);
    if (platform::netlinkRequest(&gRequest, keepNeighbour, proof) != 0) {
        return;
    }
    findConcerned(proof->vlans);
    for (uint32_t i = 0; i < gNeighbourCount; i++) {
        if (gNeighbours[i].concerned) {
            proveNeighbour(gNeighbours[i], proof->family);
        }
    }
}

} // namespace

namespace platform {

int32_t flushLearned(uint32_t ifindex, const uint8_t* vlans, uint32_t length) {
    settleBridge();
    BridgePort* port = findBridgePort(ifindex);
    if (port == nullptr) {
        return 0;
    }
    findChip(port);
    int32_t error = 0;
    const Share share = shareOf(*port, vlans, std::min(length, VLAN_LIST_SIZE));
    if (!kernelBridge()->vlanFiltering || share.listed == share.all ||
        share.listed > kSingleVlansMax || (kernelBridge()->wholePortsOnly && share.listed != 0)) {
        error = flushPort(*port);
    } else {
        error = flushSingly(*port, vlans, std::min(length, VLAN_LIST_SIZE));
    }
    return error == 0 ? 0 : -1;
}

void proveNeighbours(uint8_t family, const uint8_t* vlans, uint32_t length) {
    for (Proof& proof : gProofs) {
        if (proof.family != family) {
            continue;
        }
        proof.wanted = true;
        for (uint32_t i = 0; i < std::min(length, VLAN_LIST_SIZE); i++) {
            proof.vlans[i] = static_cast<uint8_t>(proof.vlans[i] | vlans[i]);
        }
    }
}

void proveNeighboursNow() {
    if (!gProofs[0].wanted && !gProofs[1].wanted) {
        return;
    }
    for (Proof& proof : gProofs) {
        if (proof.wanted) {
            prove(&proof);
        }
        proof.wanted = false;
        memset(proof.vlans, 0, sizeof proof.vlans);
    }
}

} // namespace platform
