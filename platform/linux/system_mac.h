#pragma once

#include <cstdint>

namespace platform {

/// True when @p address (6 bytes) identifies a bridge and is not the system's address as the daemon
/// knows it. False while it has not asked for any.
bool systemMacDiffers(const uint8_t* address);

/// The daemon has been told that the system's address is @p address.
void noteSystemMac(const uint8_t* address);

} // namespace platform
