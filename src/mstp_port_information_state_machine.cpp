// Port Information, IEEE 802.1Q-2005 13.32. One machine an instance port keeps the best spanning
// tree information that the port's segment offers. It compares each received message with what it
// holds and records, repeats or rejects it; it takes over this bridge's own information when role
// selection (13.33) says that the port is designated; and it drops received information that is no
// longer repeated. Whenever what it holds changes it asks for a new selection of roles.
//
// Three additions to the standard:
// - Loop protection: a port that waited for its neighbour and no longer hears it would become
//   designated and forward. That is right when the neighbour is gone and a loop when the link has
//   only become one-way, so the port is put to discarding for a time.
// - Root protection: an instance so protected takes no superior information. The port that hears
//   some may learn but not forward until it has been quiet for three hello times.
// - On a point-to-point link nobody else can be heard than the one neighbour. When it stops being
//   the better one, a root port resets its whole instance and an alternate port starts afresh.

#include "mstp_port_information_state_machine.h"

#include "mstp/context.h"
#include "mstp_passes.h"
#include "mstp_port.h"
#include "mstp_port_timers_state_machine.h"
#include "mstp_state_machine_procedures.h"
#include "mstp_trace.h"
#include "mstp_xst.h"

inline constexpr uint32_t ROOT_HOLD_OFF_HELLO_TIMES = 3;

static uint8_t stateOf(const tMstpXstPort* xstPort) {
    return xstPort->fsmState[MSTP_PORT_INFORMATION_FSM];
}

static void setState(tMstpXstPort* xstPort, uint8_t state) {
    xstPort->fsmState[MSTP_PORT_INFORMATION_FSM] = state;
}

static void selectRolesAnew(tMstpXstPort* xstPort) {
    xstPort->reselect = 1;
    xstPort->selected = 0;
}

void mstpPortInformationDisabled(tMstpXstPort* xstPort) {
    xstPort->rcvdMsg = 0;
    xstPort->agreed = 0;
    xstPort->agree = 0;
    xstPort->proposed = 0;
    xstPort->proposing = 0;
    mstpClearCounter(&xstPort->rcvdInfoWhile, &xstPort->rcvdInfoWhileTimer);
    xstPort->infoIs = MSTP_DISABLED;
    selectRolesAnew(xstPort);
    setState(xstPort, MSTP_PORT_INFORMATION_DISABLED);
}

void mstpPortInformationAged(tMstpXstPort* xstPort) {
    xstPort->infoIs = MSTP_AGED;
    selectRolesAnew(xstPort);
    setState(xstPort, MSTP_PORT_INFORMATION_AGED);
}

// What the neighbour agreed to stays agreed as long as the new information is no worse.
static void keepAgreement(tMstpXstPort* xstPort) {
    if (xstPort->agreed == 0) {
        xstPort->synced = 0;
        return;
    }
    xstPort->agreed = betterorsameInfo(xstPort, MSTP_MINE);
    xstPort->synced = xstPort->synced != 0 && xstPort->agreed != 0;
}

void mstpPortInformationUpdate(tMstpXstPort* xstPort) {
    xstPort->proposed = 0;
    xstPort->proposing = 0;
    keepAgreement(xstPort);
    xstPort->portPriority = xstPort->designatedPriority;
    xstPort->portTimes = xstPort->designatedTimes;
    xstPort->updtInfo = 0;
    xstPort->infoIs = MSTP_MINE;
    *mstpNewInfoXst(xstPort) = 1;
    setState(xstPort, MSTP_PORT_INFORMATION_UPDATE);
}

void mstpPortInformationSuperior(tMstpXstPort* xstPort) {
    xstPort->host->infoInternal = xstPort->host->rcvdInternal;
    xstPort->proposing = 0;
    xstPort->agreed = 0;
    recordProposal(xstPort);
    setTcFlags(xstPort);
    xstPort->agree = xstPort->agree != 0 && betterorsameInfo(xstPort, MSTP_RECEIVED) != 0;
    recordAgreement(xstPort);
    xstPort->synced = xstPort->synced != 0 && xstPort->agreed != 0;
    recordPriority(xstPort);
    recordTimes(xstPort);
    updtRcvdInfoWhile(xstPort);
    xstPort->infoIs = MSTP_RECEIVED;
    selectRolesAnew(xstPort);
    xstPort->rcvdMsg = 0;
    setState(xstPort, MSTP_PORT_INFORMATION_SUPERIOR_DESIGNATED);
}

void mstpPortInformationRepeatedDesignated(tMstpXstPort* xstPort) {
    xstPort->host->infoInternal = xstPort->host->rcvdInternal;
    recordProposal(xstPort);
    setTcFlags(xstPort);
    recordAgreement(xstPort);
    updtRcvdInfoWhile(xstPort);
    xstPort->rcvdMsg = 0;
    setState(xstPort, MSTP_PORT_INFORMATION_REPEATED_DESIGNATED);
}

void mstpPortInformationInferiorDesignated(tMstpXstPort* xstPort) {
    recordDispute(xstPort);
    xstPort->rcvdMsg = 0;
    setState(xstPort, MSTP_PORT_INFORMATION_INFERIOR_DESIGNATED);
}

void mstpPortInformationNotDesignated(tMstpXstPort* xstPort) {
    recordAgreement(xstPort);
    setTcFlags(xstPort);
    xstPort->rcvdMsg = 0;
    setState(xstPort, MSTP_PORT_INFORMATION_NOT_DESIGNATED);
}

void mstpPortInformationOther(tMstpXstPort* xstPort) {
    xstPort->rcvdMsg = 0;
    setState(xstPort, MSTP_PORT_INFORMATION_OTHER);
}

void mstpPortInformationReceive(tMstpXstPort* xstPort) {
    xstPort->rcvdInfo = rcvInfo(xstPort);
    recordMastered(xstPort);
    setState(xstPort, MSTP_PORT_INFORMATION_RECEIVE);
}

void mstpPortInformationCurrent(tMstpXstPort* xstPort) {
    traceTransition("UCT", "CURRENT");
    setState(xstPort, MSTP_PORT_INFORMATION_CURRENT);
}

static bool loopProtectionApplies(const tMstpXstPort* xstPort) {
    return xstPort->xst->bridge->loopProtection != 0 &&
           (xstPort->role == MSTP_ROOT_PORT || xstPort->role == MSTP_ALTERNATE_PORT ||
            xstPort->role == MSTP_BACKUP_PORT);
}

// A hold time of -1, which nobody has set yet, makes a delay that only management ends.
static void holdForLoopProtection(tMstpXstPort* xstPort) {
    reportXstPort("loop protection,instance %d port %s aged and change to designated,set discard",
                  xstPort);
    disableForwarding(xstPort);
    uint32_t seconds = static_cast<uint32_t>(xstPort->xst->bridge->loopHoldTime);
    mstpRestartTimer(&xstPort->loopHoldTimer, seconds * TIMER_TICKS_PER_SECOND,
                     mstpXstPortHoldExpired, xstPort);
}

static void applyRootProtection(tMstpXstPort* xstPort) {
    if (mstpRemain(&xstPort->rootHoldoffTimer) == 0) {
        reportXstPort("root protection,instance %d recv unexpect bpdu,set port %s learn", xstPort);
        enableLearning(xstPort);
    }
    mstpPortInformationOther(xstPort);
    mstpPortInformationCurrent(xstPort);
    uint32_t helloTime = mstpCistPort(xstPort->host)->designatedTimes.helloTime;
    mstpRestartTimer(&xstPort->rootHoldoffTimer,
                     helloTime * ROOT_HOLD_OFF_HELLO_TIMES * TIMER_TICKS_PER_SECOND,
                     mstpXstPortHoldExpired, xstPort);
}

static bool mustDisable(const tMstpXstPort* xstPort) {
    return xstPort->xst->bridge->begin != 0 ||
           (xstPort->host->portEnabled == 0 && xstPort->infoIs != MSTP_DISABLED);
}

static bool mustUpdate(const tMstpXstPort* xstPort) {
    return xstPort->selected != 0 && xstPort->updtInfo != 0;
}

// A message that waits is read before the information that it may repeat is aged.
static bool mustAge(const tMstpXstPort* xstPort) {
    return xstPort->infoIs == MSTP_RECEIVED && xstPort->rcvdInfoWhile == 0 &&
           xstPort->updtInfo == 0 && xstPort->rcvdMsg == 0;
}

static bool mayReceive(const tMstpXstPort* xstPort) {
    return xstPort->rcvdMsg != 0 && xstPort->updtInfo == 0;
}

static bool heardDesignated(const tMstpXstPort* xstPort) {
    return xstPort->rcvdInfo == MSTP_SUPERIOR_DESIGNATED_INFO ||
           xstPort->rcvdInfo == MSTP_REPEATED_DESIGNATED_INFO;
}

static bool onPointToPoint(const tMstpXstPort* xstPort) {
    return xstPort->host->adminPointToPointMAC != 0 && xstPort->host->operPointToPointMAC != 0;
}

// True if the only neighbour's information is of no use any more and the record was set afresh.
static bool startedAfresh(tMstpXstPort* xstPort) {
    if (!onPointToPoint(xstPort) || heardDesignated(xstPort)) {
        return false;
    }
    if (xstPort->role == MSTP_ROOT_PORT) {
        mstpXstReset(xstPort->xst);
        return true;
    }
    if (xstPort->role == MSTP_ALTERNATE_PORT) {
        mstpXstPortInit(xstPort);
        return true;
    }
    return false;
}

static void dispatch(tMstpXstPort* xstPort) {
    switch (xstPort->rcvdInfo) {
    case MSTP_SUPERIOR_DESIGNATED_INFO:
        traceTransition("rcvdInfo == SuperiorDesignatedInfo", "SUPERIOR_DESIGNATED");
        mstpPortInformationSuperior(xstPort);
        break;
    case MSTP_REPEATED_DESIGNATED_INFO:
        traceTransition("rcvdInfo == RepeatedDesignatedInfo", "REPEATED_DESIGNATED");
        mstpPortInformationRepeatedDesignated(xstPort);
        break;
    case MSTP_INFERIOR_DESIGNATED_INFO:
        traceTransition("rcvdInfo == InferiorDesignatedInfo", "INFERIOR_DESIGNATED");
        mstpPortInformationInferiorDesignated(xstPort);
        break;
    case MSTP_INFERIOR_ROOT_ALTERNATE_INFO:
        traceTransition("rcvdInfo == InferiorRootAlternateInfo", "NOT DESIGNATED");
        mstpPortInformationNotDesignated(xstPort);
        break;
    default:
        traceTransition("rcvdInfo == OtherInfo", "OTHER");
        mstpPortInformationOther(xstPort);
        break;
    }
    mstpPortInformationCurrent(xstPort);
}

// False ends the run: the record was set afresh, or root protection has dealt with the message.
static bool receive(tMstpXstPort* xstPort) {
    traceTransition("rcvdXstMsg && !updtXstInfo", "RECEIVE");
    mstpPortInformationReceive(xstPort);
    if (startedAfresh(xstPort)) {
        return false;
    }
    if (xstPort->xst->rootProtection != 0 && heardDesignated(xstPort)) {
        applyRootProtection(xstPort);
        return false;
    }
    dispatch(xstPort);
    return true;
}

static bool fromDisabled(tMstpXstPort* xstPort) {
    bool moved = false;
    if (xstPort->rcvdMsg != 0) {
        traceTransition("rcvdMsg", "DISABLED");
        mstpPortInformationDisabled(xstPort);
        moved = true;
    }
    if (xstPort->host->portEnabled != 0) {
        traceTransition("portEnabled", "AGED");
        mstpPortInformationAged(xstPort);
        moved = true;
    }
    return moved;
}

// AGED and CURRENT alike.
static bool updated(tMstpXstPort* xstPort) {
    if (!mustUpdate(xstPort)) {
        return false;
    }
    traceTransition("selected && updtInfo", "UPDATE");
    mstpPortInformationUpdate(xstPort);
    mstpPortInformationCurrent(xstPort);
    return true;
}

static void age(tMstpXstPort* xstPort) {
    traceTransition("(infoIs == Received) && (rcvdInfoWhile == 0) &&!updtInfo && !rcvdXstMsg",
                    "AGED");
    mstpPortInformationAged(xstPort);
    if (loopProtectionApplies(xstPort)) {
        holdForLoopProtection(xstPort);
    }
}

static bool evaluate(tMstpXstPort* xstPort) {
    bool moved = false;
    if (stateOf(xstPort) == MSTP_PORT_INFORMATION_DISABLED) {
        moved |= fromDisabled(xstPort);
    }
    if (stateOf(xstPort) == MSTP_PORT_INFORMATION_AGED) {
        moved |= updated(xstPort);
    }
    if (stateOf(xstPort) != MSTP_PORT_INFORMATION_CURRENT) {
        return moved;
    }
    moved |= updated(xstPort);
    if (mustAge(xstPort)) {
        age(xstPort);
        return true;
    }
    if (!mayReceive(xstPort)) {
        return moved;
    }
    return receive(xstPort);
}

void mstpPortInformationFSM(tMstpXstPort* xstPort) {
    traceXstPort(MSTP_DEBUG_MACHINE, "msti %d port %s Port Information state machine", xstPort);
    if (mustDisable(xstPort)) {
        traceTransition("(!portEnabled && (infoIs != Disabled)) || BEGIN", "DISABLED");
        mstpPortInformationDisabled(xstPort);
    }
    mstpRunPasses(xstPort, evaluate);
}
