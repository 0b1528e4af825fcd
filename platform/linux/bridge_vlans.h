#pragma once

/// The kernel's messages about the VLANs of its bridges.

#include "netlink_request.h"

namespace platform {

/// Takes over what @p message (RTM_NEWVLAN, or with @p member false RTM_DELVLAN) tells of VLANs of
/// the bridge and its ports, and of the kernel's instances.
void readVlans(const Bytes& message, bool member);

/// Asks for the VLANs of interface @p ifindex, or with 0 of all bridges and their ports. @p flags
/// are BRIDGE_VLANDB_DUMPF_*. @return 0 or an errno value
int32_t dumpVlans(uint32_t ifindex, uint32_t flags, MessageVisitor visit, void* context);

} // namespace platform
