#pragma once

/// A daemon on the simulated platform, for benchmarks: ports and instances as asked for, run until
/// nothing changes any more.

#include <cstdint>

#include "mstp/context.h"
#include "sim_platform.h"

class BenchBridge {
  public:
    /// @param instances  the CIST included, 1 to 64; no VLAN is mapped to the others
    BenchBridge(uint32_t ports, uint32_t instances);
    ~BenchBridge();
    BenchBridge(const BenchBridge&) = delete;
    BenchBridge& operator=(const BenchBridge&) = delete;

    /// Moves virtual time and runs the timers that come due.
    void advance(uint32_t ticks);

    tMstpPort* port(uint32_t unit);

    sim::Switch sw;
    tMstpBridge* bridge = nullptr;

    static constexpr uint32_t FIRST_UNIT = 1;
};

/// Bytes of the pools of a daemon with this much room.
uint64_t poolBytes(uint32_t ports, uint32_t instances);
