#pragma once

#include <cstdint>

namespace platform {

/// Reads the operational state of an interface: 1 up, 2 down. @return 0; -1 when the kernel gives
/// none, @p state untouched
int32_t interfaceOperState(uint32_t ifindex, uint32_t* state);

} // namespace platform
