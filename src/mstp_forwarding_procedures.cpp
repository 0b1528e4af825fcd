// Forwarding, learning and topology changes. The machines decide per instance port whether frames
// are forwarded and addresses learnt; the procedures here write that decision to the hardware
// (hwState, then the instance's hardware group). Between decision and hardware stand this system's
// own holds: BPDU guard and loop protection keep a port discarding whatever the machines ask, and
// root protection lets it learn but not forward. A hold counts while its timer has a whole second
// or more left; when it ends the timer's call-back enables forwarding by itself.
//
// A topology change travels as a flag in BPDUs. newTcWhile makes a port send it for a while,
// setTcFlags takes it from what was received, setTcPropTree hands it on to the instance's other
// ports, each of which then forgets what it learnt.

#include "mstp_io.h"
#include "mstp_main.h"
#include "mstp_port_timers_state_machine.h"
#include "mstp_state_machine_procedures.h"
#include "mstp_trace.h"

static void setHardwareState(tMstpXstPort* xstPort, uint8_t hwState, const char* text) {
    traceXstPort(MSTP_DEBUG_ACTIVITY, text, xstPort);
    xstPort->hwState = hwState;
    mstpStgPortSet(xstPort);
}

static bool holds(tTimerNode* timer) {
    return mstpRemain(timer) != 0;
}

static bool isHeldDiscarding(tMstpXstPort* xstPort) {
    return holds(&xstPort->host->bpduGuardTimer) || holds(&xstPort->loopHoldTimer);
}

void disableForwarding(tMstpXstPort* xstPort) {
    setHardwareState(xstPort, MSTP_PORT_STATE_DISCARDING, "msti %d port %s disable forwarding");
}

void disableLearning(tMstpXstPort* xstPort) {
    if (!isHeldDiscarding(xstPort)) {
        setHardwareState(xstPort, MSTP_PORT_STATE_DISCARDING, "msti %d port %s disable learning");
    }
}

void enableLearning(tMstpXstPort* xstPort) {
    if (!isHeldDiscarding(xstPort)) {
        setHardwareState(xstPort, MSTP_PORT_STATE_LEARNING, "msti %d port %s eable learning");
    }
}

void enableForwarding(tMstpXstPort* xstPort) {
    if (holds(&xstPort->host->bpduGuardTimer)) {
        disableForwarding(xstPort);
        return;
    }
    if (!holds(&xstPort->loopHoldTimer) && !holds(&xstPort->rootHoldoffTimer)) {
        setHardwareState(xstPort, MSTP_PORT_STATE_FORWARDING, "msti %d port %s enable forwarding");
    }
}

void enableForwardingAll(tMstpPort* port) {
    for (tMstpXstPort* xstPort : xstPortsOf(port)) {
        enableForwarding(xstPort);
    }
}

static bool hasForwardingRole(const tMstpXstPort* xstPort) {
    return xstPort->role == MSTP_ROOT_PORT || xstPort->role == MSTP_DESIGNATED_PORT ||
           xstPort->role == MSTP_MASTER_PORT;
}

void enableForwardingAllByRole(tMstpPort* port) {
    for (tMstpXstPort* xstPort : xstPortsOf(port)) {
        if (hasForwardingRole(xstPort)) {
            enableForwarding(xstPort);
        }
    }
}

static void loadTcWhile(tMstpXstPort* xstPort, uint32_t seconds) {
    mstpLoadCounter(xstPort->host->bridge, &xstPort->tcWhile, &xstPort->tcWhileTimer, seconds,
                    MSTP_EVENT_FSM);
}

void newTcWhile(tMstpXstPort* xstPort) {
    tMstpXst* xst = xstPort->xst;
    if (xstPort->tcWhile == 0) {
        if (xstPort->host->sendRSTP != 0) {
            loadTcWhile(xstPort, mstpCistPort(xstPort->host)->portTimes.helloTime + 1U);
            *mstpNewInfoXst(xstPort) = 1;
        } else {
            loadTcWhile(xstPort, 0U + xst->rootTimes.maxAge + xst->rootTimes.forwardDelay);
        }
    }
    // Every call counts, also one made while tcWhile runs: that is what management reports.
    xst->topologyChange = 1;
    xst->timeSinceTopologyChange = mstpGetSysUpTime();
    xst->topologyChangesCount++;
}

// Beyond the standard, every topology change received marks the port's next flush (arpFlush).
static void receiveTc(tMstpXstPort* xstPort) {
    xstPort->rcvdTc = 1;
    xstPort->host->arpFlush = 1;
}

// infoInternal deliberately stands where the standard has rcvdInternal.
static void receiveCistTc(tMstpXstPort* xstPort) {
    if (xstPort->host->infoInternal != 0) {
        receiveTc(xstPort);
        return;
    }
    for (tMstpXstPort* each : xstPortsOf(xstPort->host)) {
        receiveTc(each);
    }
}

void setTcFlags(tMstpXstPort* xstPort) {
    const bool cist = xstPort->xst->cist != 0;
    if (cist && xstPort->msgFlag.master != 0) {
        xstPort->rcvdTcAck = 1;
    }
    if (xstPort->msgFlag.topologyChange == 0) {
        return;
    }
    if (cist) {
        receiveCistTc(xstPort);
    } else {
        receiveTc(xstPort);
    }
}

void setTcPropTree(tMstpXst* xst, tMstpXstPort* xstPort) {
    if (xstPort->host->restrictedTcn != 0) {
        return;
    }
    for (tMstpXstPort* other : xstPortsOf(xst)) {
        if (other != xstPort) {
            other->tcProp = 1;
        }
    }
}

void updtForwardDelay(tMstpPort* port) {
    const tMstpTime& times = mstpCistPort(port)->designatedTimes;
    port->forwardDelay = port->sendRSTP != 0 ? times.helloTime : times.forwardDelay;
}

void updtEdgeDelay(tMstpPort* port) {
    port->edgeDelay = port->operPointToPointMAC != 0 ? port->migrateTime
                                                     : mstpCistPort(port)->designatedTimes.maxAge;
}
