#pragma once

/// Requests to the kernel's network devices by ioctl.

#include <net/if.h>

#include <cstdint>

namespace platform {

/// Runs device request @p request (SIOCGIFNAME, SIOCETHTOOL ...). @return 0 or -1 with errno set
int32_t deviceRequest(unsigned long request, ifreq* argument);

/// Writes the name of the interface, NUL-terminated. @return false if it does not exist
bool interfaceName(uint32_t ifindex, char (&name)[IFNAMSIZ]);

bool interfaceExists(uint32_t ifindex);

} // namespace platform
