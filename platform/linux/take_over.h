#pragma once

namespace platform {

/// Has the kernel leave the spanning tree of the bridge that bears the daemon's bridge name to user
/// space. Without such a bridge there is nothing to do. When the kernel keeps it to itself, says so
/// and ends the process: two spanning trees on one bridge would undo each other's work.
/// From then on, SIGTERM and SIGINT give the bridge back, as it was found, and end the process.
void takeBridgeOver();

} // namespace platform
