#pragma once

/// A network on paper: what its bridges are configured to and how they are joined. The simulation
/// is built from it, and so is the tree that it should reach.

#include <array>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

struct PaperBridge {
    std::array<uint8_t, 6> mac = {};
    uint32_t version = 3;
    uint32_t region = 0;              ///< bridges of one region share name, revision and VLAN map
    std::vector<uint32_t> priorities; ///< priority nibble by instance; element 0 is the CIST's
};

struct PaperLink {
    std::array<uint32_t, 2> bridges = {};
    std::array<uint32_t, 2> units = {}; ///< interface and port number at each end
    uint32_t speed = 1000;              ///< Mb/s
    bool up = true;
    bool snooping = false; ///< both ends speak the pre-standard form of the MST BPDU
};

struct Topology {
    std::string name;
    uint32_t instances = 1; ///< MSTIs 1..instances besides the CIST
    std::vector<PaperBridge> bridges;
    std::vector<PaperLink> links;

    bool runsMsti(uint32_t bridge) const { return bridges[bridge].version == 3; }

    /// True if the two bridges of a link are in one region.
    bool internal(const PaperLink& link) const {
        const PaperBridge& a = bridges[link.bridges[0]];
        const PaperBridge& b = bridges[link.bridges[1]];
        return a.version == 3 && b.version == 3 && a.region == b.region;
    }
};

Topology chain(uint32_t bridges, uint32_t instances);
Topology ring(uint32_t bridges, uint32_t instances);
Topology mesh(uint32_t bridges, uint32_t instances);

/// A ring with random chords, random speeds and random priorities.
Topology randomGraph(uint32_t bridges, uint32_t chords, uint32_t instances, uint32_t seed);

/// Gives the bridges random priorities for every instance.
void shufflePriorities(Topology& topology, uint32_t seed);

/// Forces some bridges to older versions and puts the others into two regions.
void mixVersions(Topology& topology, uint32_t seed);
