#pragma once

/// A network on paper, running: one daemon a bridge, configured through the management interface.

#include <cstdint>
#include <string>
#include <vector>

#include "network.h"
#include "paper_tree.h"
#include "topology.h"

class Simulation {
  public:
    explicit Simulation(const Topology& topology);

    void cut(uint32_t link);
    void mend(uint32_t link);
    void runSeconds(uint32_t seconds) { m_network.run(seconds * 1'000'000ULL); }

    /// Everything in which the running network differs from the tree on paper, one line each.
    std::vector<std::string> differences();

    /// Loops and bridges out of reach among the forwarding ports of each instance, one line each.
    /// Contested links are left out: see PaperTree.
    std::vector<std::string> brokenTrees();

    const Topology& topology() const { return m_topology; }
    sim::Network& network() { return m_network; }

  private:
    void configure(uint32_t bridge);
    uint32_t roleOf(const PaperPort& port);
    void checkYielding(uint32_t number, PaperTree& tree, std::vector<std::string>& lines);
    bool forwards(uint32_t bridge, uint32_t instance, uint32_t unit);

    Topology m_topology;
    sim::Network m_network;
};
