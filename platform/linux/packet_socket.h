#pragma once

#include <cstdint>

namespace platform {

/// The packet socket while frames that have been read from it wait for the daemon, else -1.
int32_t packetSocketPending();

} // namespace platform
