#pragma once

#include <cstdint>
#include <ostream>

#include "daemon.h"

struct WatchOptions {
    double seconds = 0;       ///< how long to watch; 0 = until interrupted
    uint32_t intervalMs = 20; ///< time between two looks
    bool epoch = false;       ///< times as seconds since 1970 instead of the time of day
    bool json = false;        ///< an object a line
};

/// Prints first what there is, then a line for each change as it happens. Goes on when the daemon
/// ends and when it is back; ends after its time, or by an interrupt.
/// @throws Unreachable  no daemon answers the first look
void watchBridge(std::ostream& out, const Daemon& daemon, const WatchOptions& options);
