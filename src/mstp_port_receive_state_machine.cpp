// Port Receive, IEEE 802.1Q-2005 13.28. One machine a port stands where BPDUs enter the protocol:
// it notes which version the neighbour speaks and whether it belongs to this region, and spreads
// the message over the port's instances, whose Port Information machines then read it. On a port
// that is disabled it throws away what is pending.
//
// A BPDU lives only as long as the receive path holds it, so the driver runs the machine with none
// in hand: a BPDU that is pending then stays pending, and the machine stays where it is.
//
// Every BPDU restarts edgeDelayWhile, by whose running out Bridge Detection tells that nobody
// speaks spanning tree at the other end.

#include "mstp_port_receive_state_machine.h"

#include "mstp/context.h"
#include "mstp_port_protocol_migration_state_machine.h"
#include "mstp_port_timers_state_machine.h"
#include "mstp_state_machine_procedures.h"
#include "mstp_trace.h"

static void restartEdgeDelay(tMstpPort* port) {
    mstpLoadCounter(port->bridge, &port->edgeDelayWhile, &port->edgeDelayWhileTimer,
                    port->migrateTime, MSTP_EVENT_FSM);
}

void mstpPortDicscard(tMstpPort* port) {
    port->rcvdBpdu = 0;
    port->rcvdRSTP = 0;
    port->rcvdSTP = 0;
    clearAllRcvdMsgs(port);
    restartEdgeDelay(port);
    port->fsmState[MSTP_PORT_RECEIVE_FSM] = MSTP_PORT_DISCARD;
}

// The neighbour has just joined this region. What the port's master ports said holds no longer, and
// the version seen so far was that of a stranger. An addition to the standard.
static void neighbourJoinedRegion(tMstpPort* port) {
    for (tMstpXstPort* xstPort : xstPortsOf(port)) {
        if (xstPort->role == MSTP_MASTER_PORT) {
            xstPort->reselect = 1;
        }
    }
    mstpPortProtocolMigrationSending(port);
}

// An addition to the standard: what an MST BPDU means beyond its content.
static void heardMstBpdu(tMstpPort* port, uint8_t wasInternal) {
    uint8_t forceVersion = port->bridge->forceVersion;
    if (forceVersion == MSTP_FORCE_LEGACYDOT1D1998) {
        port->newInfo = 1;
    }
    if (wasInternal == 0 && port->rcvdInternal != 0 && forceVersion == MSTP_FORCE_ATUODOT1S) {
        neighbourJoinedRegion(port);
    }
}

static void traceRegion(const tMstpPort* port) {
    tracePort(MSTP_DEBUG_ACTIVITY,
              port->rcvdInternal != 0 ? "port %s received bpdu from the same region"
                                      : "port %s received bpdu from the different region",
              port);
}

void mstpPortReceive(tMstpPort* port, tMstpBpdu* bpdu) {
    if (bpdu == nullptr || mstpCistPort(port)->state != MSTP_SLOT_IN_USE) {
        return;
    }
    updtBPDUVersion(port, bpdu);
    uint8_t wasInternal = port->rcvdInternal;
    port->rcvdInternal = static_cast<uint8_t>(fromSameRegion(port, bpdu));
    if (bpdu->protocolType == MSTP_PROTOCOL_TYPE_MSTP) {
        heardMstBpdu(port, wasInternal);
    }
    traceRegion(port);
    setRcvdMsgs(port, bpdu);
    port->rcvdBpdu = 0;
    port->operEdge = 0;
    restartEdgeDelay(port);
    port->fsmState[MSTP_PORT_RECEIVE_FSM] = MSTP_PORT_RECEIVE;
}

static bool mustDiscard(const tMstpPort* port) {
    bool unsettled = port->rcvdBpdu != 0 || port->edgeDelayWhile != port->migrateTime;
    return port->bridge->begin != 0 || (unsettled && port->portEnabled == 0);
}

static bool mayReceive(const tMstpPort* port) {
    return port->rcvdBpdu != 0 && port->portEnabled != 0;
}

void mstpPortReceiveFSM(tMstpPort* port, tMstpBpdu* bpdu) {
    tracePort(MSTP_DEBUG_MACHINE, "mstp port %s Port Receive state machine", port);
    const uint8_t& state = port->fsmState[MSTP_PORT_RECEIVE_FSM];

    if (mustDiscard(port)) {
        traceTransition("BEGIN || ((rcvdBpdu || edgeDelayWhile != MigrateTime)) && !portEnabled)",
                        "DISCARD");
        mstpPortDicscard(port);
    }
    if (state == MSTP_PORT_DISCARD && mayReceive(port)) {
        traceTransition("rcvdBpdu && portEnabled", "RECEIVE");
        mstpPortReceive(port, bpdu);
    }
    if (state == MSTP_PORT_RECEIVE && mayReceive(port) && port->rcvdAnyMsg == 0) {
        traceTransition("rcvdBpdu && portEnabled && !rcvdAnyMsg", "RECEIVE");
        mstpPortReceive(port, bpdu);
    }
}
