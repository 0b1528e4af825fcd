#pragma once

/// The kernel's messages about the VLANs of its bridges.

#include "netlink.h"

namespace platform {

/// Takes over what @p message (RTM_NEWVLAN, or with @p member false RTM_DELVLAN) tells of VLANs of
/// the bridge and its ports, and of the kernel's instances.
void readVlans(const Bytes& message, bool member);

} // namespace platform
