#pragma once

/// The service for hardware spanning tree groups: a group is a set of VLANs that share one state
/// per port.

#include <cstdint>

enum : uint32_t {
    STG_PORT_DISABLE = 1,
    STG_PORT_BLOCKING = 2,
    STG_PORT_LISTENING = 3,
    STG_PORT_LEARNING = 4,
    STG_PORT_FORWARDING = 5,
    STG_PORT_BROKEN = 6,
};

/// Allocates a group of @p kind (KEL_KIND_CUSTOMER or KEL_KIND_PROVIDER) and writes its number,
/// never 0, to @p stgId, which is untouched on failure. If @p stgId holds the number of a group
/// already, that group stays, of @p kind from now on: an instance that is started again keeps its
/// own.
int32_t stgShrProtocolAdd(uint32_t* stgId, uint32_t kind);

/// Releases a group.
int32_t stgShrProtocolDel(uint32_t stgId);

/// Adds to, or removes from, the group the VLANs of @p bitmap: @p length bytes, VLAN 1 is the most
/// significant bit of byte 0.
int32_t stgShrProtocolVlanAdd(uint32_t stgId, const uint8_t* bitmap, uint32_t length);
int32_t stgShrProtocolVlanDel(uint32_t stgId, const uint8_t* bitmap, uint32_t length);

/// Sets the state (STG_PORT_*) of interface @p unit in the group.
int32_t stgShrProtocolPortStateSet(uint32_t stgId, uint32_t unit, uint32_t state);
