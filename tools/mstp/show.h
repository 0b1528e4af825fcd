#pragma once

/// What the client shows of a snapshot, each form written once for every writer. A form needs the
/// parts of the snapshot that are named here.

#include "model.h"
#include "writer.h"

/// How a port fares in an instance: forwarding, waiting, or held by a protection.
Colour stateColour(const PortView& port, const InstancePortView& view);

/// PART_BRIDGE
void showBridge(Writer& writer, const Snapshot& snapshot);

/// PART_REGION
void showRegion(Writer& writer, const Snapshot& snapshot);

/// PART_INSTANCES
void showInstances(Writer& writer, const Snapshot& snapshot);

/// PART_INSTANCES, PART_PORTS, PART_INSTANCE_PORTS
void showPorts(Writer& writer, const Snapshot& snapshot);

/// PART_PORTS
void showCounters(Writer& writer, const Snapshot& snapshot);

/// One port in every instance; the parts of showPorts().
void showPort(Writer& writer, const Snapshot& snapshot, const PortView& port);

/// All of it.
void showAll(Writer& writer, const Snapshot& snapshot);
