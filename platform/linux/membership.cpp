// A network device passes up only the group addresses that somebody asked for. The packet socket
// therefore joins, on each interface that becomes a port, the group address to which the bridges of
// this network send their BPDUs. The kernel counts memberships, so each is joined once and left
// once; it ends by itself when the interface vanishes.

#include "membership.h"

#include <net/ethernet.h>
#include <netpacket/packet.h>
#include <sys/socket.h>

#include <cstring>

#include "kernel_bridge.h"
#include "platform/interfaces.h"
#include "port_table.h"

namespace {

constexpr uint8_t kCustomerGroup[ETH_ALEN] = {0x01, 0x80, 0xC2, 0x00, 0x00, 0x00};
constexpr uint8_t kProviderGroup[ETH_ALEN] = {0x01, 0x80, 0xC2, 0x00, 0x00, 0x08};

int32_t gPacketSocket = -1;

const uint8_t* groupOf(uint32_t kind) {
    return kind == KEL_KIND_PROVIDER ? kProviderGroup : kCustomerGroup;
}

int32_t changeMembership(int option, const platform::PortEntry* port) {
    packet_mreq request = {};
    request.mr_ifindex = static_cast<int>(port->ifindex);
    request.mr_type = PACKET_MR_MULTICAST;
    request.mr_alen = ETH_ALEN;
    memcpy(request.mr_address, groupOf(port->kind), ETH_ALEN);
    return setsockopt(gPacketSocket, SOL_PACKET, option, &request, sizeof request);
}

int32_t leaveGroup(platform::PortEntry* port) {
    if (!port->joined) {
        return 0;
    }
    port->joined = false;
    return changeMembership(PACKET_DROP_MEMBERSHIP, port);
}

int32_t joinGroup(platform::PortEntry* port) {
    const int32_t result = changeMembership(PACKET_ADD_MEMBERSHIP, port);
    port->joined = result == 0;
    return result;
}

} // namespace

namespace platform {

void setPacketSocket(int32_t fd) {
    gPacketSocket = fd;
    for (uint32_t number = 1; number <= PORT_NUMBER_MAX; number++) {
        PortEntry* port = portOfNumber(number);
        if (port != nullptr) {
            port->joined = false;
            portReleased(port);
        }
    }
}

int32_t attachBpdus(uint32_t ifindex, uint32_t kind) {
    PortEntry* port = obtainPort(ifindex);
    if (port == nullptr || (kind != KEL_KIND_CUSTOMER && kind != KEL_KIND_PROVIDER)) {
        return -1;
    }
    if (port->joined && port->kind == kind) {
        return 0;
    }
    leaveGroup(port);
    const bool isNew = !portAttached(port);
    port->kind = kind;
    if (isNew) {
        bridgePortAttached(ifindex);
    }
    return joinGroup(port);
}

int32_t detachBpdus(uint32_t ifindex) {
    PortEntry* port = findPort(ifindex);
    if (port == nullptr) {
        return -1;
    }
    const int32_t result = leaveGroup(port);
    bridgePortReleased(ifindex);
    portReleased(port);
    return result;
}

bool wantsBpdu(uint32_t ifindex, const uint8_t* destination) {
    const PortEntry* port = findPort(ifindex);
    return port != nullptr && portAttached(port) &&
           memcmp(destination, groupOf(port->kind), ETH_ALEN) == 0;
}

} // namespace platform
