#pragma once

/// From a stock kernel's link messages to the platform's numbering.

#include <cstdint>

#include "netlink.h"

namespace platform {

/// Where translated messages go.
struct LinkOutput {
    uint8_t* data;
    uint32_t room;
    uint32_t used;
    bool closed = false; ///< nothing more fits until the daemon has served what is there
};

/// Smallest room that takes any one translated message.
inline constexpr uint32_t LINK_OUTPUT_MIN = 64;

/// Each writes one message. @return false when it does not fit; nothing is written then
/// Operational state (attribute 16: 6 up, 2 down) of an interface.
bool putOperState(LinkOutput* output, uint32_t ifindex, bool up);

/// Delete link: the interface has vanished, or left the bridge. It closes the output, since what
/// comes after may be about the next port on the same interface.
bool putGone(LinkOutput* output, uint32_t ifindex);

/// The port must be initialised anew (attribute 52).
bool putChanged(LinkOutput* output, uint32_t ifindex);

/// A VLAN appeared on a port (attribute 40).
bool putVlan(LinkOutput* output, uint32_t ifindex, uint16_t vlan);

/// The system's address is @p address now (attribute 48).
bool putSystemMac(LinkOutput* output, uint32_t ifindex, const uint8_t* address);

/// A message that says nothing.
bool putNothing(LinkOutput* output);

/// Translates one message of the kernel, which may come to nothing.
/// @return false when the result does not fit: nothing has happened then, to be tried again
bool translateMessage(const Bytes& message, LinkOutput* output);

} // namespace platform
