#pragma once

namespace platform {

/// Turns the bridge's MST mode on, if it has VLAN filtering and the kernel can, and says once what
/// follows where it cannot be.
void chooseMode();

} // namespace platform
