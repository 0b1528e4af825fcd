#pragma once

/// Known results: what follows from the protocol itself and yet is not what one would wish for.
/// docs/known-results.md explains each. A known result asks for something in the network that can
/// bring it about: a network of one region whose bridges are alike, and whose daemons and links do
/// not fail, has none.

#include <string>

#include "lab.h"

namespace simtool {

/// How long a loop may last in this network, if nothing else makes it longer; 0 = none is right.
Microseconds toleratedLoop(const Scenario& scenario);

/// How much longer where a port waits for its hold count.
Microseconds toleratedHeldLoop(const Scenario& scenario);

/// How long frames are on their way at the most.
Microseconds underWay(const Scenario& scenario);

/// The known result that a loop of this length is, which is tolerated.
std::string knownLoop(const Scenario& scenario, Microseconds length);

/// The known result that a violation is; empty if it is none.
std::string knownResult(const Scenario& scenario, const Failure& failure);

} // namespace simtool
