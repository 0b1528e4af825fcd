#pragma once

/// Networks on paper to test with. The simulation is built from them, and so are the trees that it
/// should reach. Interfaces of a bridge are numbered from 1 in the order in which they are joined.

#include <cstdint>
#include <string>
#include <vector>

#include "oracle.h"
#include "random.h"

struct Topology {
    std::string name;
    uint32_t instances = 1; ///< MSTIs 1..instances besides the CIST
    oracle::Network network;
    bool snooping = false; ///< all ports speak the pre-standard form of the MST BPDU

    size_t bridges() const { return network.bridges.size(); }
    size_t segments() const { return network.segments.size(); }
};

/// Joins bridges by one more link, or hub.
void join(Topology& topology, const std::vector<uint32_t>& bridges, uint32_t speed = 1000);

Topology chain(uint32_t bridges, uint32_t instances);
Topology ring(uint32_t bridges, uint32_t instances);
Topology mesh(uint32_t bridges, uint32_t instances);

/// A ring with random chords, random speeds and random priorities.
Topology randomGraph(uint32_t bridges, uint32_t chords, uint32_t instances, uint32_t seed);

/// Joins random bridges to hubs of two to four ends; a bridge may meet itself there.
void addHubs(Topology& topology, uint32_t hubs, uint32_t seed);

/// Gives the bridges random priorities for every instance.
void shufflePriorities(Topology& topology, uint32_t seed);

/// Gives some ports other priorities and path costs than the usual ones.
void shufflePorts(Topology& topology, uint32_t seed);

/// Forces some bridges to older versions and puts the others into @p regions regions.
void mixVersions(Topology& topology, uint32_t seed, uint32_t regions = 2);

/// Puts the bridges into @p regions regions and leaves their versions.
void mixRegions(Topology& topology, uint32_t seed, uint32_t regions);
