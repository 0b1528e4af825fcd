#pragma once

/// The trees that a network should reach, computed from its configuration alone and without the
/// daemon's code: priority vectors (13.10 of IEEE 802.1Q-2005) are spread over the segments until
/// none gets better, then each port's role follows from what the ends of its segment say.

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

namespace oracle {

struct PortInstance {
    uint32_t priority = 8; ///< nibble
    uint32_t cost = 0;     ///< 0 = by the link's speed
};

struct Port {
    uint32_t unit = 0;
    uint32_t number = 0;   ///< of the port identifier, 0 = the unit
    uint32_t speed = 1000; ///< Mb/s
    bool restrictedRole = false;
    std::map<uint32_t, PortInstance> instances; ///< what is absent has the defaults
};

struct Bridge {
    std::array<uint8_t, 6> mac = {};
    uint32_t version = 3; ///< 1 STP, 2 RSTP, 3 MSTP
    /// Bridges of equal regions share name, revision and VLAN map: see regionOf.
    std::string region;
    std::map<uint32_t, uint32_t> priorities = {{0, 8}}; ///< nibble by instance, the CIST's included
    uint32_t maxHops = 20;
    uint32_t maxAge = 20;
    bool decadeCosts = false;       ///< path costs by the speed's decade
    std::map<uint32_t, Port> ports; ///< by unit, those that spanning tree runs on

    bool runs(uint32_t instance) const {
        return priorities.count(instance) != 0 && (instance == 0 || version >= 3);
    }
};

struct End {
    uint32_t bridge = 0;
    uint32_t unit = 0;
    bool up = true;
    /// The port has fallen back to classic STP. Nothing: as soon as an STP bridge is there. Which
    /// is only likely: an STP bridge that is never designated need not be heard of at all.
    std::optional<bool> classic = {};
};

/// A link, or a hub with any number of ends. Ends without spanning tree (hosts) may be left out.
struct Segment {
    std::vector<End> ends;
    bool up = true;
};

struct Network {
    std::vector<Bridge> bridges;
    std::vector<Segment> segments;
};

enum class Role : uint8_t {
    Disabled = 1,
    Alternate = 2,
    Backup = 3,
    Root = 4,
    Designated = 5,
    Master = 6
};

struct PortKey {
    uint32_t bridge = 0;
    uint32_t instance = 0;
    uint32_t unit = 0;
    bool operator<(const PortKey& other) const {
        return std::tie(bridge, instance, unit) <
               std::tie(other.bridge, other.instance, other.unit);
    }
};

/// What a bridge knows of an instance's root. Identifiers are eight bytes, priority first.
struct Knowledge {
    uint64_t root = 0;
    uint64_t externalCost = 0;
    uint64_t regionalRoot = 0;
    uint64_t internalCost = 0;
    uint32_t rootUnit = 0; ///< of the root port, 0 = none
    uint32_t hops = 0;     ///< that are left of what the regional root gave
    uint32_t age = 0;      ///< of the root's information, in bridges outside regions
    uint32_t maxAge = 0;   ///< the root's
};

struct Trees {
    std::map<PortKey, Role> roles;
    std::map<std::pair<uint32_t, uint32_t>, Knowledge> knowledge; ///< by bridge and instance

    /// Segments on which more than one end takes itself for designated in the CIST. It happens on a
    /// region's boundary: information from outside is given the receiver's own identifier as
    /// regional root, so with the same root at the same external cost each end compares with
    /// another regional root in mind and may find its own information the better one.
    std::vector<uint32_t> contested;

    /// Segments on which no end takes itself for designated, for the same reason. An alternate port
    /// does not speak, so information ages out there, and whichever end speaks first stays
    /// designated: the ends are given as alternate, and which one speaks is open.
    std::vector<uint32_t> yielding;

    /// Bridges that better information reaches too old or with too few hops left. They and what
    /// lies behind them find no stable tree.
    std::vector<uint32_t> tooFar;
};

/// The region key of an MST configuration identifier.
std::string regionOf(const std::string& name, uint32_t revision, uint32_t formatSelector,
                     const std::map<uint32_t, std::vector<uint8_t>>& vlansOfMstis);

/// The path cost that a speed (Mb/s) stands for.
uint32_t costOfSpeed(uint32_t speed, bool decades);

Trees compute(const Network& network);

} // namespace oracle
