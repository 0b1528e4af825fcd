#pragma once

/// Which interfaces hand BPDUs to the daemon.

#include <cstdint>

namespace platform {

/// The packet socket has been opened; it is a member of no group yet.
void setPacketSocket(int32_t fd);

/// Makes the packet socket a member of the BPDU group of @p kind (KEL_KIND_*) on the interface,
/// instead of a group joined before. The interface counts as a port from then on, whatever the
/// result. @return 0 or -1
int32_t attachBpdus(uint32_t ifindex, uint32_t kind);

/// Leaves the group; the interface is no port any more. @return 0 or -1
int32_t detachBpdus(uint32_t ifindex);

/// True for a frame to @p destination (6 bytes) that the interface's port is meant to hear.
bool wantsBpdu(uint32_t ifindex, const uint8_t* destination);

} // namespace platform
