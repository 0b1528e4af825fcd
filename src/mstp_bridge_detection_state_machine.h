#pragma once

/// Bridge Detection, 13.30 of IEEE 802.1Q-2005.

#include "mstp/records.h"

/// Entries of EDGE and NOT_EDGE: operEdge becomes 1 and 0.
void mstpBridgeDetectionEdge(tMstpPort* port);
void mstpBridgeDetectionNotEdge(tMstpPort* port);

/// Runs the machine, MSTP_FSM_PASSES passes at the most.
void mstpBridgeDetectionFSM(tMstpPort* port);
