#pragma once

/// What must hold of a running bridge after every step, whatever it heard and however it was set.

#include "running_bridge.h"

/// Walks all records; dies where something is broken.
void checkEverything(RunningBridge& running);

struct ReceivedBefore {
    uint32_t counted = 0;
};

/// BPDUs that the bridge's ports have counted so far.
ReceivedBefore countReceived(RunningBridge& running);

/// After one frame: at most one BPDU more was counted.
void checkReceived(RunningBridge& running, const ReceivedBefore& before);
