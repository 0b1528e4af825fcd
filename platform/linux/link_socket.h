#pragma once

#include <cstdint>

namespace platform {

/// The link socket if translated messages wait for the daemon although the socket itself may have
/// none, else -1.
int32_t linkSocketPending();

/// Has the present state of every port told.
void reportAllPorts();

} // namespace platform
