// Attributes of interfaces. Each is read from, or written to, the service that keeps it.

#include <sys/socket.h>

#include <cstdint>

#include "interface_speed.h"
#include "interface_state.h"
#include "kernel_bridge.h"
#include "membership.h"
#include "platform/interfaces.h"
#include "platform/octets.h"
#include "port_table.h"

namespace {

// What the daemon has read of a port is kept, to tell it of changes.
int32_t readSpeed(uint32_t unit, uint32_t* speed) {
    const int32_t result = platform::interfaceSpeed(unit, speed);
    platform::PortEntry* port = platform::findPort(unit);
    if (port != nullptr) {
        port->speed = result == 0 ? *speed : 0;
    }
    return result;
}

int32_t readOperState(uint32_t unit, uint32_t* state) {
    const int32_t result = platform::interfaceOperState(unit, state);
    platform::PortEntry* port = platform::findPort(unit);
    if (port != nullptr) {
        port->up = result == 0 && *state == platform::OPER_STATE_UP;
    }
    return result;
}

int32_t proveNeighbours(uint32_t unit, const octetstring* vlans, bool ipv4, bool ipv6) {
    if (platform::findBridgePort(unit) == nullptr) {
        return 0;
    }
    if (ipv4) {
        platform::proveNeighbours(AF_INET, octetBytes(vlans), vlans->len);
    }
    if (ipv6) {
        platform::proveNeighbours(AF_INET6, octetBytes(vlans), vlans->len);
    }
    return 0;
}

} // namespace

// KEL_IF_PROTOCOL_USE is not kept here: the read fails, which means that no other protocol owns the
// interface.
int32_t kelIfGetApi(uint32_t unit, uint32_t attribute, void* value) {
    switch (attribute) {
    case KEL_IF_SPEED:
        return readSpeed(unit, static_cast<uint32_t*>(value));
    case KEL_IF_OPER_STATUS:
        return readOperState(unit, static_cast<uint32_t*>(value));
    default:
        return -1;
    }
}

// The address resolution entries are the kernel's neighbours of both families.
int32_t kelIfSetApi(uint32_t unit, uint32_t attribute, void* value) {
    const auto* vlans = static_cast<const octetstring*>(value);
    switch (attribute) {
    case KEL_IF_BPDU_ATTACH:
        return platform::attachBpdus(unit, *static_cast<uint32_t*>(value));
    case KEL_IF_BPDU_DETACH:
        return platform::detachBpdus(unit);
    case KEL_IF_FLUSH_MAC:
        return platform::flushLearned(unit, octetBytes(vlans), vlans->len);
    case KEL_IF_FLUSH_ARP:
        return proveNeighbours(unit, vlans, true, false);
    case KEL_IF_FLUSH_ND:
        return proveNeighbours(unit, vlans, false, true);
    case KEL_IF_FLUSH_ARL:
        return proveNeighbours(unit, vlans, true, true);
    default:
        return -1;
    }
}
