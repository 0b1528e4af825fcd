// Port Transmit, IEEE 802.1Q-2005 13.31. One machine a port decides when a BPDU leaves and of which
// kind: an RST or MST BPDU where the neighbour understands it, otherwise a Configuration BPDU from
// a designated port and a TCN BPDU from a root port. Other machines only say that there is news, by
// newInfo for the CIST and newInfoMsti for the MSTIs; every hello time a designated port, and a
// root port that spreads a topology change, makes news of its own. No more than txHoldCount BPDUs
// leave in a second: txCount counts them, and the one-second timer counts it down.
//
// While role selection is at work (allTransmitReady is not set) nothing is sent, for a BPDU would
// carry a mixture of old and new roles. Beyond the standard, the port's summary of its roles is
// brought up to date with every periodic step.

#include "mstp_port_transmit_state_machine.h"

#include "mstp/context.h"
#include "mstp_passes.h"
#include "mstp_port_timers_state_machine.h"
#include "mstp_state_machine_procedures.h"
#include "mstp_trace.h"

static void setState(tMstpPort* port, uint8_t state) {
    port->fsmState[MSTP_PORT_TRANSMIT_FSM] = state;
}

void mstpPortTransmitInit(tMstpPort* port) {
    port->newInfoMsti = 1;
    port->newInfo = 1;
    port->txCount = 0;
    setState(port, MSTP_PORT_TRANSMIT_INIT);
}

void mstpPortTransmitPeriodic(tMstpPort* port) {
    updtPortRole(port);
    bool spreadsChange = port->cistRootPort != 0 && mstpCistPort(port)->tcWhile != 0;
    port->newInfo = port->newInfo != 0 || port->cistDesignatedPort != 0 || spreadsChange;
    port->newInfoMsti = port->newInfoMsti != 0 || port->mstiDesignatedOrTCpropagatingRootPort != 0;
    setState(port, MSTP_PORT_TRANSMIT_PERIODIC);
}

void mstpPortTransmitConfig(tMstpPort* port) {
    port->newInfo = 0;
    txConfig(port);
    port->txCount++;
    mstpCistPort(port)->tcAck = 0;
    setState(port, MSTP_PORT_TRANSMIT_CONFIG);
}

void mstpPortTransmitTcn(tMstpPort* port) {
    port->newInfo = 0;
    txTcn(port);
    port->txCount++;
    setState(port, MSTP_PORT_TRANSMIT_TCN);
}

void mstpPortTransmitRstp(tMstpPort* port) {
    port->newInfoMsti = 0;
    port->newInfo = 0;
    txMstp(port);
    port->txCount++;
    mstpCistPort(port)->tcAck = 0;
    setState(port, MSTP_PORT_TRANSMIT_RSTP);
}

void mstpPortTransmitIdle(tMstpPort* port) {
    traceTransition("IDLE", "TRANSMIT_IDLE");
    mstpLoadCounter(port->bridge, &port->helloWhen, &port->helloWhenTimer,
                    mstpCistPort(port)->designatedTimes.helloTime, MSTP_EVENT_TICK);
    setState(port, MSTP_PORT_TRANSMIT_IDLE);
}

// Every other state passes to IDLE at once.
static void enter(tMstpPort* port, const char* condition, const char* target,
                  void (*state)(tMstpPort*)) {
    traceTransition(condition, target);
    state(port);
    mstpPortTransmitIdle(port);
}

// The operands that RSTP, TCN and CONFIG have in common.
static bool maySend(const tMstpPort* port) {
    return port->txCount < port->bridge->txHoldCount && port->helloWhen != 0;
}

static bool hasRstpNews(const tMstpPort* port) {
    return port->newInfo != 0 || (port->newInfoMsti != 0 && port->mstiMasterPort == 0);
}

static bool sendRstp(tMstpPort* port) {
    if (!hasRstpNews(port) || !maySend(port)) {
        return false;
    }
    enter(port,
          "sendRSTP && (newInfo || (newInfoMsti && !mstiMasterPort)) && (txCount < TxHoldCount) && "
          "(helloWhen !=0)",
          "TRANSMIT_RSTP", mstpPortTransmitRstp);
    return true;
}

static bool sendStp(tMstpPort* port) {
    if (port->newInfo == 0 || !maySend(port)) {
        return false;
    }
    if (port->cistRootPort != 0) {
        enter(port,
              "!sendRSTP && newInfo  && cistRootPort && (txCount < TxHoldCount) && "
              "(helloWhen != 0)",
              "TRANSMIT_TCN", mstpPortTransmitTcn);
        return true;
    }
    if (port->cistDesignatedPort != 0) {
        enter(port,
              "!sendRSTP && newInfo && cistDesignatedPort && (txCount < TxHoldCount) && "
              "(helloWhen != 0)",
              "TRANSMIT_CONFIG", mstpPortTransmitConfig);
        return true;
    }
    return false;
}

static bool evaluate(tMstpPort* port) {
    if (port->allTransmitReady == 0) {
        return false;
    }
    bool moved = false;
    if (port->helloWhen == 0) {
        enter(port, "helloWhen == 0", "TRANSMIT_PERIODIC", mstpPortTransmitPeriodic);
        moved = true;
    }
    moved |= port->sendRSTP != 0 ? sendRstp(port) : sendStp(port);
    return moved;
}

void mstpPortTransmitFSM(tMstpPort* port) {
    if (mstpCistPort(port)->state == MSTP_SLOT_FREE) {
        tracePort(MSTP_DEBUG_REFUSAL, "mstp port %s  Port Instance0 NULL", port);
        return;
    }
    tracePort(MSTP_DEBUG_MACHINE, "mstp port %s  Port Transmit state machine", port);
    if (port->bridge->begin != 0 || port->portEnabled == 0) {
        enter(port, "BEGIN || !portEnabled", "TRANSMIT_INIT", mstpPortTransmitInit);
    }
    updtAllTransmitReady(port);
    mstpRunPasses(port, evaluate);
}
