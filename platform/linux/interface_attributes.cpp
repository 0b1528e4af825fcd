// Attributes of interfaces. Each is read from, or written to, the service that keeps it.

#include <cstdint>

#include "interface_speed.h"
#include "interface_state.h"
#include "membership.h"
#include "platform/interfaces.h"

// KEL_IF_PROTOCOL_USE is not kept here: the read fails, which means that no other protocol owns the
// interface.
int32_t kelIfGetApi(uint32_t unit, uint32_t attribute, void* value) {
    switch (attribute) {
    case KEL_IF_SPEED:
        return platform::interfaceSpeed(unit, static_cast<uint32_t*>(value));
    case KEL_IF_OPER_STATUS:
        return platform::interfaceOperState(unit, static_cast<uint32_t*>(value));
    default:
        return -1;
    }
}

// An interface outside a kernel bridge has learnt nothing that could be flushed.
int32_t kelIfSetApi(uint32_t unit, uint32_t attribute, void* value) {
    switch (attribute) {
    case KEL_IF_BPDU_ATTACH:
        return platform::attachBpdus(unit, *static_cast<uint32_t*>(value));
    case KEL_IF_BPDU_DETACH:
        return platform::detachBpdus(unit);
    case KEL_IF_FLUSH_MAC:
    case KEL_IF_FLUSH_ARP:
    case KEL_IF_FLUSH_ND:
    case KEL_IF_FLUSH_ARL:
        return 0;
    default:
        return -1;
    }
}
