#pragma once

/// Known results: what follows from the protocol itself and yet is not what one would wish for.
/// docs/known-results.md explains each. A known result asks for something in the network that can
/// bring it about: a network of one region whose bridges are alike, and whose daemons and links do
/// not fail, has none.

#include <functional>
#include <set>
#include <string>

#include "lab.h"

namespace simtool {

inline constexpr const char* CONTESTED = "contested boundary";

/// How long a loop in a VLAN may last in this network, if nothing else makes it longer; 0 = none is
/// right.
Microseconds toleratedLoop(const Scenario& scenario, uint32_t vlan);

/// How much longer at the most while ports wait for their hold counts.
Microseconds toleratedHeldLoop(const Scenario& scenario);

/// How long frames are on their way at the most.
Microseconds underWay(const Scenario& scenario);

/// The known result that a loop of this length is, which is tolerated.
std::string knownLoop(const Scenario& scenario, Microseconds length);

/// What a run tells of causes, beside the scenario.
struct Signs {
    /// True if a bridge followed a root that was gone so long before a time.
    std::function<bool(Microseconds time, Microseconds before)> oldRoot =
        [](Microseconds, Microseconds) { return false; };
    /// Instances in which a port refuses a better root at the end.
    std::set<uint32_t> refusing;
};

/// The known result that a violation is; empty if it is none.
std::string knownResult(const Scenario& scenario, const Failure& failure, const Signs& signs = {});

} // namespace simtool
