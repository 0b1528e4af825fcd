#pragma once

/// What the spanning tree groups hold.

#include <cstdint>

namespace platform {

inline constexpr uint32_t GROUP_MAX = 256;

/// The group whose state port states proper are: the first, which is the CIST's.
inline constexpr uint32_t GROUP_OF_PORTS = 1;

/// Kernel instance of a group that has none yet.
inline constexpr uint16_t INSTANCE_NONE = 0xFFFF;

/// True if VLAN @p vlan (1 to 4094) is in the group.
bool groupHasVlan(uint32_t stgId, uint32_t vlan);

/// The state (STG_PORT_*) of interface @p ifindex in the group, 0 if none was set.
uint32_t groupPortState(uint32_t stgId, uint32_t ifindex);

/// The same by port number; 0 also for group 0 and number 0.
uint32_t groupStateOfNumber(uint32_t stgId, uint32_t number);

/// No group holds a state of port number @p number any more.
void forgetGroupPort(uint32_t number);

/// The group that VLAN @p vlan follows: an MSTI's before the CIST's. 0 for none.
uint32_t groupOfVlan(uint32_t vlan);

/// True while there is a group besides the CIST's.
bool manyGroups();

/// The kernel's instance of the group; INSTANCE_NONE before one was given to it, and for group 0.
uint16_t groupInstance(uint32_t stgId);
void setGroupInstance(uint32_t stgId, uint16_t instance);

/// The group that has the kernel's instance @p instance, 0 for none.
uint32_t groupOfInstance(uint16_t instance);

} // namespace platform
