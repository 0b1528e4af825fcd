#pragma once

/// The tree that a network on paper should reach, computed from its configuration alone and without
/// the daemon's code: priority vectors are spread over the links until none gets better, then each
/// port's role follows from what both ends of its link say.

#include <cstdint>
#include <map>
#include <string>
#include <tuple>
#include <vector>

#include "topology.h"

enum class Role : uint8_t {
    Disabled = 1,
    Alternate = 2,
    Backup = 3,
    Root = 4,
    Designated = 5,
    Master = 6
};

struct PaperPort {
    uint32_t bridge = 0;
    uint32_t instance = 0;
    uint32_t unit = 0;
    bool operator<(const PaperPort& other) const {
        return std::tie(bridge, instance, unit) <
               std::tie(other.bridge, other.instance, other.unit);
    }
};

struct PaperTree {
    std::map<PaperPort, Role> roles;

    /// Links (numbers) whose two ends both take themselves for designated in the CIST. It happens
    /// on a region's boundary: information from outside is given the receiver's own identifier as
    /// regional root, so with the same root at the same external cost each end compares with
    /// another regional root in mind and may find its own information the better one.
    std::vector<uint32_t> contested;

    /// Links whose two ends both find the other's information better, for the same reason. An
    /// alternate port does not speak, so one end's information ages out there, and whichever end
    /// speaks first stays designated: the paper gives both ends as alternate and leaves it open.
    std::vector<uint32_t> yielding;
};

PaperTree paperTree(const Topology& topology);
