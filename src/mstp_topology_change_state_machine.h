#pragma once

/// Topology Change, 13.39 of IEEE 802.1Q-2005. The states' entries perform the state's actions and
/// store its number in fsmState[MSTP_TOPOLOGY_CHANGE_FSM].

#include "mstp/records.h"

void mstpTopologyChangeInactive(tMstpXstPort* xstPort);
void mstpTopologyChangeLearning(tMstpXstPort* xstPort);

// These five last no longer than their entry; the machine goes on to ACTIVE at once, from
// NOTIFIED_TCN by way of NOTIFIED_TC.
void mstpTopologyChangeDetected(tMstpXstPort* xstPort);
void mstpTopologyChangeNotifiedTcn(tMstpXstPort* xstPort);
void mstpTopologyChangeNotifiedTc(tMstpXstPort* xstPort);
void mstpTopologyChangePropagating(tMstpXstPort* xstPort);
void mstpTopologyChangeAcknowledged(tMstpXstPort* xstPort);

/// ACTIVE, which traces its unconditional transition on every entry.
void mstpTopologyChangeActive(tMstpXstPort* xstPort);

/// One run of the machine: detects, takes and passes on topology changes, and asks for flushes by
/// `fdbFlush`. `selected` and `updtInfo` do not hold it back.
void mstpTopologyChangeFSM(tMstpXstPort* xstPort);
