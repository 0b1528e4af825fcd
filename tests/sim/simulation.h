#pragma once

/// A network on paper, running: one daemon a bridge, configured through the management interface.

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "invariants.h"
#include "network.h"
#include "oracle.h"
#include "topology.h"

class Simulation {
  public:
    explicit Simulation(const Topology& topology);

    void cut(uint32_t segment);
    void mend(uint32_t segment);
    /// Runs until nothing has changed for @p quiet seconds, @p limit seconds at the longest.
    void settle(uint32_t quiet, uint32_t limit) {
        m_network.runUntilSettled(quiet * 1'000'000ULL, limit * 1'000'000ULL);
    }
    void runSeconds(uint32_t seconds) { m_network.run(seconds * 1'000'000ULL); }

    /// Everything in which the running network differs from the trees on paper, one line each.
    std::vector<std::string> differences();

    /// Loops and bridges out of reach among the forwarding ports of each instance, one line each.
    /// Contested segments are left out: see oracle::Trees.
    std::vector<std::string> brokenTrees();

    /// What was not as it must be at any moment: counters, timers, hardware, memory.
    std::vector<std::string> violations() const;

    const Topology& topology() const { return m_topology; }
    sim::Network& network() { return m_network; }
    const sim::Invariants& invariants() const { return *m_invariants; }

  private:
    void configure(uint32_t bridge);
    void configurePorts(uint32_t bridge);
    void noteFallBacks();
    void checkKnowledge(const oracle::Trees& trees, std::vector<std::string>& lines);
    void checkYielding(uint32_t segment, oracle::Trees& trees, std::vector<std::string>& lines);

    Topology m_topology;
    sim::Network m_network;
    std::unique_ptr<sim::Invariants> m_invariants;
};
