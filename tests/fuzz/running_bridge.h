#pragma once

/// A bridge in virtual time with the CIST, MSTIs 1 and 2 and ports 1 and 2, set up through the
/// management interface as a client would and running its real loop.

#include <cstdint>
#include <memory>
#include <vector>

#include "mstp/records.h"
#include "mstp_main.h"
#include "sim_platform.h"

class RunningBridge {
  public:
    RunningBridge();
    ~RunningBridge();
    RunningBridge(const RunningBridge&) = delete;
    RunningBridge& operator=(const RunningBridge&) = delete;

    /// Runs the loop until @p ticks have passed, each timer at its own time.
    void wait(uint32_t ticks);

    /// Hands one frame, headers included, to the loop.
    void receive(uint32_t unit, std::vector<uint8_t> frame);

    /// Ticks since the bridge was started.
    uint64_t elapsed() const;

    sim::Switch sw;
    tMstpBridge* bridge = nullptr;

  private:
    void iterate();

    std::unique_ptr<tMstpLoop> m_loop = std::make_unique<tMstpLoop>();
    uint64_t m_start = 0;
};
