#pragma once

#include <cstdint>

namespace platform {

/// Reads the speed of an interface in Mb/s. @return 0; -1 when it is unknown, @p speed untouched
int32_t interfaceSpeed(uint32_t ifindex, uint32_t* speed);

} // namespace platform
