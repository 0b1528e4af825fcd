#pragma once

#include <cstdint>
#include <ostream>

#include "daemon.h"

struct WatchOptions {
    double seconds = 0;       ///< how long to watch; 0 = until interrupted
    uint32_t intervalMs = 20; ///< time between two looks
    bool epoch = false;       ///< times as seconds since 1970 instead of the time of day
};

/// Prints a line for each change of a role or a state as it happens.
void watchRoles(std::ostream& out, const Daemon& daemon, const WatchOptions& options);
