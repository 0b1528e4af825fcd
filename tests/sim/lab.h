#pragma once

/// A network to play with: bridges with one command, links that pick their own interfaces.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "network.h"

struct LabBridge {
    uint32_t priority = 8; ///< nibble
    uint32_t version = 3;
    std::vector<uint32_t> edgeUnits;
    uint32_t receiveQueue = 256;
};

class Lab {
  public:
    explicit Lab(uint64_t seed = 1) : network(seed) {}

    /// Adds a bridge that runs the CIST on all its interfaces. @return its number
    uint32_t bridge(const LabBridge& options = {});
    /// Adds one whose daemon does not run yet. @return its number
    uint32_t lateBridge(const LabBridge& options = {});
    /// Joins bridges over their next free interfaces. @return the link's number
    uint32_t join(uint32_t a, uint32_t b, const sim::LinkOptions& options = {});
    uint32_t hub(const std::vector<uint32_t>& bridges, const sim::LinkOptions& options = {});
    /// A host at a bridge's next free interface. @return its number
    uint32_t host(uint32_t bridge);
    /// A ring of as many bridges, the first of which becomes the root.
    void ring(uint32_t bridges);

    void settle(uint64_t quietSeconds = 40);

    sim::Network network;

  private:
    uint32_t freeUnit(uint32_t bridge) const;
    sim::NodeOptions nodeOptions(const LabBridge& options) const;
};

/// Writes down all that happens, one line each, so that two runs can be compared.
class Diary : public sim::Observer {
  public:
    void frameSent(const sim::FrameEvent& event) override;
    void frameDelivered(const sim::FrameEvent& event) override;
    void frameLost(const sim::FrameEvent& event, sim::Loss why) override;
    void frameDuplicated(const sim::FrameEvent& event) override;
    void stateChanged(const sim::StateEvent& event) override;
    void roleChanged(const sim::RoleEvent& event) override;
    void flushed(const sim::FlushEvent& event) override;
    void driverPassed(const sim::PassEvent& event) override;
    void testFrameFinished(const sim::TestFrame& frame) override;

    std::string text;
    uint32_t sent = 0;
    uint32_t delivered = 0;
    uint32_t duplicated = 0;
    std::vector<sim::Loss> losses;
    std::vector<sim::RoleEvent> roles;
    std::vector<sim::StateEvent> states;
    std::vector<sim::FlushEvent> flushes;
    std::vector<sim::TestFrame> finished;
    std::vector<uint64_t> passes;
};
