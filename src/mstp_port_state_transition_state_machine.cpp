// Port State Transition, IEEE 802.1Q-2005 13.36. Port Role Transitions (13.35) asks with `learn`
// and `forward` for what a port shall do in an instance. This machine makes it so: it has the
// hardware follow and records in `learning` and `forwarding` how far the port has come. A port
// reaches forwarding by way of learning and falls from either straight to discarding.
//
// Two departures from the standard:
// - Every entry to DISCARDING asks for a flush of the addresses learnt on the port: what lay behind
//   it may now be reached another way.
// - In LEARNING the request to forward is looked at even if the request to learn has just ended.
//
// A hold (BPDU guard, loop protection, root protection) may keep the hardware discarding all the
// same; the machine does not know.

#include "mstp_port_state_transition_state_machine.h"

#include "mstp/context.h"
#include "mstp_debug.h"
#include "mstp_passes.h"
#include "mstp_state_machine_procedures.h"
#include "mstp_trace.h"

static uint8_t stateOf(const tMstpXstPort* xstPort) {
    return xstPort->fsmState[MSTP_PORT_STATE_TRANSITION_FSM];
}

static void setState(tMstpXstPort* xstPort, uint8_t state) {
    xstPort->fsmState[MSTP_PORT_STATE_TRANSITION_FSM] = state;
}

void mstpPortStateTransitionDiscarding(tMstpXstPort* xstPort) {
    disableLearning(xstPort);
    xstPort->learning = 0;
    disableForwarding(xstPort);
    xstPort->forwarding = 0;
    xstPort->fdbFlush = 1;
    setState(xstPort, MSTP_PORT_STATE_TRANSITION_DISCARDING);
}

void mstpPortStateTransitionLearning(tMstpXstPort* xstPort) {
    enableLearning(xstPort);
    xstPort->learning = 1;
    setState(xstPort, MSTP_PORT_STATE_TRANSITION_LEARNING);
}

void mstpPortStateTransitionForwarding(tMstpXstPort* xstPort) {
    enableForwarding(xstPort);
    xstPort->forwarding = 1;
    setState(xstPort, MSTP_PORT_STATE_TRANSITION_FORWARDING);
}

static void fromLearning(tMstpXstPort* xstPort, bool* moved) {
    if (xstPort->learn == 0) {
        traceTransition("!learn", "DISCARDING");
        mstpPortStateTransitionDiscarding(xstPort);
        *moved = true;
    }
    // Departs from 13.36 on purpose: also made from DISCARDING, if it was just entered.
    if (xstPort->forward != 0) {
        traceTransition("forward", "FORWARDING");
        mstpPortStateTransitionForwarding(xstPort);
        *moved = true;
    }
}

static bool evaluate(tMstpXstPort* xstPort) {
    bool moved = false;
    if (stateOf(xstPort) == MSTP_PORT_STATE_TRANSITION_DISCARDING) {
        if (xstPort->learn == 0) {
            return false;
        }
        traceTransition("learn", "LEARNING");
        mstpPortStateTransitionLearning(xstPort);
        moved = true;
    }
    if (stateOf(xstPort) == MSTP_PORT_STATE_TRANSITION_LEARNING) {
        fromLearning(xstPort, &moved);
    }
    if (stateOf(xstPort) == MSTP_PORT_STATE_TRANSITION_FORWARDING && xstPort->forward == 0) {
        traceTransition("!forward", "DISCARDING");
        mstpPortStateTransitionDiscarding(xstPort);
        moved = true;
    }
    return moved;
}

// Alone among the machines this one names its port by the unit's number.
static void traceRun(const tMstpXstPort* xstPort) {
    if (mstpTracing(MSTP_DEBUG_MACHINE)) {
        mstpDebug("msti %d port %d Port State Transition state machine", xstPort->xst->xstId,
                  xstPort->host->unit);
    }
}

void mstpPortStateTransitionFSM(tMstpXstPort* xstPort) {
    traceRun(xstPort);
    if (xstPort->xst->bridge->begin != 0) {
        traceTransition("BEGIN", "DISCARDING");
        mstpPortStateTransitionDiscarding(xstPort);
    }
    mstpRunPasses(xstPort, evaluate);
}
