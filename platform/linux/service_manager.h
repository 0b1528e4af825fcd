#pragma once

namespace platform {

/// Tells the service manager that started the daemon, if one did, that the loop runs: that the
/// daemon is ready on the first call, and a sign of life as often as the manager wants one after
/// that. Called by every wait of the loop; costs next to nothing when there is nothing to tell.
void serviceAlive();

/// Tells it that the daemon is about to end in good order.
void serviceStopping();

} // namespace platform
