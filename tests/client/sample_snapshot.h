#pragma once

/// A bridge with something of everything: not the root of the CIST, root of instance 1, a port that
/// root protection holds, an edge port, one that BPDU guard shut, one whose link is down.

#include "model.h"

Snapshot sampleSnapshot();
