// Topology Change, IEEE 802.1Q-2005 13.39. When a port starts to forward, stations may be reached
// by other ways than the bridges have learnt. The machine of that port detects the change, tells
// the neighbours for a time (tcWhile) and the bridge's other ports of the instance (tcProp); they
// pass it on and ask for a flush of their own addresses (fdbFlush). A change is heard from a
// neighbour as a flag of its messages (rcvdTc) or, from an old one, as a message of its own
// (rcvdTcn), which the designated port acknowledges (tcAck, rcvdTcAck). Edge ports neither cause
// nor carry changes.
//
// Nothing is flushed here: the driver of the machines does that, and holds it back where
// topology-change protection says so.

#include "mstp_topology_change_state_machine.h"

#include "mstp/context.h"
#include "mstp_passes.h"
#include "mstp_port_timers_state_machine.h"
#include "mstp_state_machine_procedures.h"
#include "mstp_trace.h"

static uint8_t stateOf(const tMstpXstPort* xstPort) {
    return xstPort->fsmState[MSTP_TOPOLOGY_CHANGE_FSM];
}

static void setState(tMstpXstPort* xstPort, uint8_t state) {
    xstPort->fsmState[MSTP_TOPOLOGY_CHANGE_FSM] = state;
}

static bool isCist(const tMstpXstPort* xstPort) {
    return xstPort->xst->cist != 0;
}

void mstpTopologyChangeInactive(tMstpXstPort* xstPort) {
    xstPort->fdbFlush = 1;
    mstpClearCounter(&xstPort->tcWhile, &xstPort->tcWhileTimer);
    if (isCist(xstPort)) {
        xstPort->tcAck = 0;
    }
    setState(xstPort, MSTP_TOPOLOGY_CHANGE_INACTIVE);
}

void mstpTopologyChangeLearning(tMstpXstPort* xstPort) {
    if (isCist(xstPort)) {
        xstPort->rcvdTcAck = 0;
        xstPort->rcvdTcn = 0;
    }
    xstPort->tcProp = 0;
    xstPort->rcvdTc = 0;
    setState(xstPort, MSTP_TOPOLOGY_CHANGE_LEARNING);
}

void mstpTopologyChangeDetected(tMstpXstPort* xstPort) {
    newTcWhile(xstPort);
    setTcPropTree(xstPort->xst, xstPort);
    *mstpNewInfoXst(xstPort) = 1;
    setState(xstPort, MSTP_TOPOLOGY_CHANGE_DETECTED);
}

void mstpTopologyChangeNotifiedTcn(tMstpXstPort* xstPort) {
    newTcWhile(xstPort);
    setState(xstPort, MSTP_TOPOLOGY_CHANGE_NOTIFIED_TCN);
}

void mstpTopologyChangeNotifiedTc(tMstpXstPort* xstPort) {
    if (isCist(xstPort)) {
        xstPort->rcvdTcn = 0;
    }
    xstPort->rcvdTc = 0;
    if (isCist(xstPort) && xstPort->role == MSTP_DESIGNATED_PORT) {
        xstPort->tcAck = 1;
    }
    setTcPropTree(xstPort->xst, xstPort);
    setState(xstPort, MSTP_TOPOLOGY_CHANGE_NOTIFIED_TC);
}

void mstpTopologyChangePropagating(tMstpXstPort* xstPort) {
    newTcWhile(xstPort);
    xstPort->fdbFlush = 1;
    xstPort->tcProp = 0;
    setState(xstPort, MSTP_TOPOLOGY_CHANGE_PROPAGATING);
}

void mstpTopologyChangeAcknowledged(tMstpXstPort* xstPort) {
    mstpClearCounter(&xstPort->tcWhile, &xstPort->tcWhileTimer);
    xstPort->rcvdTcAck = 0;
    setState(xstPort, MSTP_TOPOLOGY_CHANGE_ACKNOWLEDGED);
}

void mstpTopologyChangeActive(tMstpXstPort* xstPort) {
    traceTransition("UCT", "ACTIVE");
    setState(xstPort, MSTP_TOPOLOGY_CHANGE_ACTIVE);
}

static bool roleIsActive(const tMstpXstPort* xstPort) {
    return xstPort->role == MSTP_ROOT_PORT || xstPort->role == MSTP_DESIGNATED_PORT ||
           xstPort->role == MSTP_MASTER_PORT;
}

static bool heardOfChange(const tMstpXstPort* xstPort) {
    return xstPort->rcvdTc != 0 || xstPort->rcvdTcn != 0 || xstPort->rcvdTcAck != 0 ||
           xstPort->tcProp != 0;
}

static bool mayRest(const tMstpXstPort* xstPort) {
    return !roleIsActive(xstPort) && xstPort->learn == 0 && xstPort->learning == 0 &&
           !heardOfChange(xstPort);
}

static bool startsToForward(const tMstpXstPort* xstPort) {
    return roleIsActive(xstPort) && xstPort->forward != 0 && xstPort->host->operEdge == 0;
}

static bool fromLearning(tMstpXstPort* xstPort) {
    bool moved = false;
    if (heardOfChange(xstPort)) {
        traceTransition("rcvdTc || rcvdTcn || rcvdTcAck || tcProp", "LEARNING");
        mstpTopologyChangeLearning(xstPort);
        moved = true;
    }
    if (mayRest(xstPort)) {
        traceTransition("(role != RootPort) && (role != DesignatedPort) && (role != MasterPort) && "
                        "!(learn || learning) && !(rcvdTc || rcvdTcn || rcvdTcAck || tcProp)",
                        "INACTIVE");
        mstpTopologyChangeInactive(xstPort);
        moved = true;
    }
    if (startsToForward(xstPort)) {
        traceTransition("((role == RootPort) || (role == DesignatedPort) || (role == MasterPort)) "
                        "&&  forward && !operEdge",
                        "DETECTED");
        mstpTopologyChangeDetected(xstPort);
        mstpTopologyChangeActive(xstPort);
        moved = true;
    }
    return moved;
}

// Departs from 13.39 on purpose: every test is made, also after the first one has left ACTIVE.
static bool fromActive(tMstpXstPort* xstPort) {
    bool moved = false;
    if (!roleIsActive(xstPort) || xstPort->host->operEdge != 0) {
        traceTransition("((role != RootPort) && (role != DesignatedPort) && (role != MasterPort)) "
                        "|| operEdge",
                        "LEARNING");
        mstpTopologyChangeLearning(xstPort);
        moved = true;
    }
    if (xstPort->rcvdTcn != 0) {
        traceTransition("rcvdTcn", "NOTIFIED_TCN");
        mstpTopologyChangeNotifiedTcn(xstPort);
        traceTransition("UCT", "NOTIFIED_TC");
        mstpTopologyChangeNotifiedTc(xstPort);
        mstpTopologyChangeActive(xstPort);
        moved = true;
    }
    if (xstPort->rcvdTc != 0) {
        traceTransition("rcvdTc", "NOTIFIED_TC");
        mstpTopologyChangeNotifiedTc(xstPort);
        mstpTopologyChangeActive(xstPort);
        moved = true;
    }
    if (xstPort->tcProp != 0 && xstPort->host->operEdge == 0) {
        traceTransition("tcProp && !operEdge", "PROPAGATING");
        mstpTopologyChangePropagating(xstPort);
        mstpTopologyChangeActive(xstPort);
        moved = true;
    }
    if (xstPort->rcvdTcAck != 0) {
        traceTransition(" rcvdTcAck", "ACKNOWLEDGED");
        mstpTopologyChangeAcknowledged(xstPort);
        mstpTopologyChangeActive(xstPort);
        moved = true;
    }
    return moved;
}

static bool evaluate(tMstpXstPort* xstPort) {
    bool moved = false;
    if (stateOf(xstPort) == MSTP_TOPOLOGY_CHANGE_INACTIVE) {
        if (xstPort->learn == 0 || xstPort->fdbFlush != 0) {
            return false;
        }
        traceTransition("learn && !fdbFlush", "LEARNING");
        mstpTopologyChangeLearning(xstPort);
        moved = true;
    }
    if (stateOf(xstPort) == MSTP_TOPOLOGY_CHANGE_LEARNING) {
        moved |= fromLearning(xstPort);
    }
    if (stateOf(xstPort) == MSTP_TOPOLOGY_CHANGE_ACTIVE) {
        moved |= fromActive(xstPort);
    }
    return moved;
}

void mstpTopologyChangeFSM(tMstpXstPort* xstPort) {
    traceXstPort(MSTP_DEBUG_MACHINE, "msti %d port %s  Topology Change state machine", xstPort);
    if (xstPort->xst->bridge->begin != 0) {
        traceTransition("BEGIN", "INACTIVE");
        mstpTopologyChangeInactive(xstPort);
    }
    mstpRunPasses(xstPort, evaluate);
}
