#pragma once

/// Port State Transition, 13.36 of IEEE 802.1Q-2005. The states' entries perform the state's
/// actions and store its number in fsmState[MSTP_PORT_STATE_TRANSITION_FSM].

#include "mstp/records.h"

/// DISCARDING, which also asks for an address flush, on every entry.
void mstpPortStateTransitionDiscarding(tMstpXstPort* xstPort);

void mstpPortStateTransitionLearning(tMstpXstPort* xstPort);
void mstpPortStateTransitionForwarding(tMstpXstPort* xstPort);

/// One run of the machine: `learning`, `forwarding` and the hardware follow `learn` and `forward`.
/// `selected` and `updtInfo` do not hold it back.
void mstpPortStateTransitionFSM(tMstpXstPort* xstPort);
