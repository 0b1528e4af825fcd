// Port Protocol Migration, IEEE 802.1Q-2005 13.29. A neighbour that speaks only classic STP drops
// RST and MST BPDUs unread, so a port that hears one must fall back to its language, and return to
// its own when the old bridge is gone. The machine keeps that choice in sendRSTP. After each change
// it listens for mdelayWhile before it lets itself be persuaded again, for BPDUs of the past may
// still be on their way. Management sets mcheck to make a port try the newer protocol at once.
//
// The forward delay depends on the choice, so beyond the standard it is brought up to date with
// every change and after every run.

#include "mstp_port_protocol_migration_state_machine.h"

#include "mstp/context.h"
#include "mstp_passes.h"
#include "mstp_port_timers_state_machine.h"
#include "mstp_state_machine_procedures.h"
#include "mstp_trace.h"

static void restartMigrationDelay(tMstpPort* port) {
    mstpLoadCounter(port->bridge, &port->mdelayWhile, &port->mdelayWhileTimer, port->migrateTime,
                    MSTP_EVENT_FSM);
}

static uint8_t stateOf(const tMstpPort* port) {
    return port->fsmState[MSTP_PORT_PROTOCOL_MIGRATION_FSM];
}

static void setState(tMstpPort* port, uint8_t state) {
    port->fsmState[MSTP_PORT_PROTOCOL_MIGRATION_FSM] = state;
}

void mstpPortProtocolMigrationCheckingRstp(tMstpPort* port) {
    port->mcheck = 0;
    port->sendRSTP = port->rstpVersion;
    updtForwardDelay(port);
    restartMigrationDelay(port);
    setState(port, MSTP_PORT_PROTOCOL_MIGRATION_CHECKING_RSTP);
}

void mstpPortProtocolMigrationSelectingStp(tMstpPort* port) {
    port->sendRSTP = 0;
    updtForwardDelay(port);
    restartMigrationDelay(port);
    setState(port, MSTP_PORT_PROTOCOL_MIGRATION_SELECTING_STP);
}

void mstpPortProtocolMigrationSending(tMstpPort* port) {
    port->rcvdRSTP = 0;
    port->rcvdSTP = 0;
    setState(port, MSTP_PORT_PROTOCOL_MIGRATION_SENSING);
}

static bool fromCheckingRstp(tMstpPort* port) {
    bool moved = false;
    if (port->mdelayWhile != port->migrateTime && port->portEnabled == 0) {
        traceTransition("(mdelayWhile != MigrateTime)&& !portEnabled", "CHECKING_RSTP");
        mstpPortProtocolMigrationCheckingRstp(port);
        moved = true;
    }
    if (port->mdelayWhile == 0) {
        traceTransition("mdelayWhile == 0", "SENSING");
        mstpPortProtocolMigrationSending(port);
        moved = true;
    }
    return moved;
}

static bool fromSelectingStp(tMstpPort* port) {
    if (port->mdelayWhile != 0 && port->portEnabled != 0 && port->mcheck == 0) {
        return false;
    }
    traceTransition("(mdelayWhile == 0) ||!portEnabled || mcheck", "SENSING");
    mstpPortProtocolMigrationSending(port);
    return true;
}

static bool mustCheckRstp(const tMstpPort* port) {
    bool heardRstp = port->rstpVersion != 0 && port->sendRSTP == 0 && port->rcvdRSTP != 0;
    return port->portEnabled == 0 || port->mcheck != 0 || heardRstp;
}

// Deliberately not the standard's: sendRSTP and rcvdSTP are looked at also when the port has just
// left for CHECKING_RSTP, so a port that heard STP selects it without waiting for mdelayWhile.
static bool fromSensing(tMstpPort* port) {
    bool moved = false;
    if (mustCheckRstp(port)) {
        traceTransition("!portEnabled || mcheck ||((rstpVersion) && !sendRSTP && rcvdRSTP))",
                        "CHECKING_RSTP");
        mstpPortProtocolMigrationCheckingRstp(port);
        moved = true;
    }
    if (port->sendRSTP != 0 && port->rcvdSTP != 0) {
        traceTransition("sendRSTP && rcvdSTP", "SELECTING_STP");
        mstpPortProtocolMigrationSelectingStp(port);
        moved = true;
    }
    return moved;
}

// Each block sees the state as the one before left it.
static bool evaluate(tMstpPort* port) {
    bool moved = false;
    if (stateOf(port) == MSTP_PORT_PROTOCOL_MIGRATION_CHECKING_RSTP) {
        moved |= fromCheckingRstp(port);
    }
    if (stateOf(port) == MSTP_PORT_PROTOCOL_MIGRATION_SELECTING_STP) {
        moved |= fromSelectingStp(port);
    }
    if (stateOf(port) == MSTP_PORT_PROTOCOL_MIGRATION_SENSING) {
        moved |= fromSensing(port);
    }
    return moved;
}

void mstpPortProtocolMigrationFSM(tMstpPort* port) {
    tracePort(MSTP_DEBUG_MACHINE, "mstp port %s  Port Protocol Migration state machine", port);
    if (port->bridge->begin != 0) {
        traceTransition("BEGIN", "CHECKING_RSTP");
        mstpPortProtocolMigrationCheckingRstp(port);
    }
    mstpRunPasses(port, evaluate);
    updtForwardDelay(port);
}
