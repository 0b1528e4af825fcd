#pragma once

/// What the spanning tree groups hold.

#include <cstdint>

namespace platform {

inline constexpr uint32_t GROUP_MAX = 256;

/// True if VLAN @p vlan (1 to 4094) is in the group.
bool groupHasVlan(uint32_t stgId, uint32_t vlan);

/// The state (STG_PORT_*) of interface @p ifindex in the group, 0 if none was set.
uint32_t groupPortState(uint32_t stgId, uint32_t ifindex);

/// Port number @p number is free again: no group holds a state of it any more.
void forgetGroupPort(uint32_t number);

} // namespace platform
