// Port Role Transitions, IEEE 802.1Q-2005 13.35. Role selection (13.33) says which role a port
// shall have in an instance; this machine takes the port there without ever closing a loop on the
// way. A port that loses its part in the tree stops forwarding before anything else. A port that
// gains one starts to forward only
// - when time has passed that makes it safe (fdWhile), or
// - as root port, when no port that was root port lately can still forward (reRoot, rrWhile), or
// - as designated or master port, when the neighbour agrees or there is none. The designated port
//   proposes; the neighbour blocks its other ports first (sync, synced, allSynced), then agrees.
//
// Each role has a home state where its port stays, and sub-states that last no longer than their
// entry: a port that has proposed, agreed or begun to learn is back home within the same step.
//
// Departures from the standard, on purpose:
// - A port that is anything but designated ends its loop protection and starts from discarding.
// - Where the bridge is forced to plain spanning tree, a new root or designated port waits the full
//   forward delay even if an earlier wait had ended.
// - A new root port is notified.
// - DISABLE_PORT takes the disabled role itself instead of selectedRole.

#include "mstp_port_role_transitions_state_machine.h"

#include "mstp/context.h"
#include "mstp_nm.h"
#include "mstp_passes.h"
#include "mstp_port_timers_state_machine.h"
#include "mstp_state_machine_procedures.h"
#include "mstp_trace.h"

static uint8_t stateOf(const tMstpXstPort* xstPort) {
    return xstPort->fsmState[MSTP_PORT_ROLE_TRANSITIONS_FSM];
}

static void setState(tMstpXstPort* xstPort, uint8_t state) {
    xstPort->fsmState[MSTP_PORT_ROLE_TRANSITIONS_FSM] = state;
}

// MaxAge, FwdDelay and HelloTime (13.24) are the CIST's, also in an MSTI.
static const tMstpTime& cistTimes(const tMstpXstPort* xstPort) {
    return mstpCistPort(xstPort->host)->designatedTimes;
}

static uint32_t twoHelloTimes(const tMstpXstPort* xstPort) {
    return 2U * cistTimes(xstPort).helloTime;
}

static void loadFdWhile(tMstpXstPort* xstPort, uint32_t seconds) {
    mstpLoadCounter(xstPort->xst->bridge, &xstPort->fdWhile, &xstPort->fdWhileTimer, seconds,
                    MSTP_EVENT_FSM);
}

static void loadRrWhile(tMstpXstPort* xstPort, uint32_t seconds) {
    mstpLoadCounter(xstPort->xst->bridge, &xstPort->rrWhile, &xstPort->rrWhileTimer, seconds,
                    MSTP_EVENT_FSM);
}

static void loadRbWhile(tMstpXstPort* xstPort, uint32_t seconds) {
    mstpLoadCounter(xstPort->xst->bridge, &xstPort->rbWhile, &xstPort->rbWhileTimer, seconds,
                    MSTP_EVENT_FSM);
}

static void loadEdgeDelayWhile(tMstpPort* port) {
    mstpLoadCounter(port->bridge, &port->edgeDelayWhile, &port->edgeDelayWhileTimer,
                    port->edgeDelay, MSTP_EVENT_FSM);
}

static void clearFdWhile(tMstpXstPort* xstPort) {
    mstpClearCounter(&xstPort->fdWhile, &xstPort->fdWhileTimer);
}

static void clearRrWhile(tMstpXstPort* xstPort) {
    mstpClearCounter(&xstPort->rrWhile, &xstPort->rrWhileTimer);
}

static void clearRbWhile(tMstpXstPort* xstPort) {
    mstpClearCounter(&xstPort->rbWhile, &xstPort->rbWhileTimer);
}

// What a port does that has no active part in the tree: nobody has to wait for it.
static void standAside(tMstpXstPort* xstPort) {
    xstPort->synced = 1;
    clearRrWhile(xstPort);
    xstPort->reRoot = 0;
    xstPort->sync = 0;
}

// ---- entries of the disabled role

void mstpPortRoleTransitionsInitPort(tMstpXstPort* xstPort) {
    xstPort->role = MSTP_DISABLED_PORT;
    xstPort->forward = 0;
    xstPort->learn = 0;
    xstPort->synced = 0;
    xstPort->sync = 1;
    xstPort->reRoot = 1;
    loadRrWhile(xstPort, cistTimes(xstPort).forwardDelay);
    loadFdWhile(xstPort, cistTimes(xstPort).maxAge);
    clearRbWhile(xstPort);
    setState(xstPort, MSTP_PORT_ROLE_TRANSITIONS_INIT_PORT);
}

void mstpPortRoleTransitionsDisablePort(tMstpXstPort* xstPort) {
    traceXstPort(MSTP_DEBUG_ACTIVITY, "msti %d port %s transitions disable port", xstPort);
    xstPort->role = MSTP_DISABLED_PORT;
    xstPort->forward = 0;
    xstPort->learn = 0;
    setState(xstPort, MSTP_PORT_ROLE_TRANSITIONS_DISABLE_PORT);
}

void mstpPortRoleTransitionsDisabledPort(tMstpXstPort* xstPort) {
    traceXstPort(MSTP_DEBUG_ACTIVITY, "msti %d port %s transitions disabled port", xstPort);
    loadFdWhile(xstPort, cistTimes(xstPort).maxAge);
    standAside(xstPort);
    setState(xstPort, MSTP_PORT_ROLE_TRANSITIONS_DISABLED_PORT);
}

// ---- actions that the sub-states of several roles share

static void passProposalOn(tMstpXstPort* xstPort) {
    setSyncTree(xstPort->xst);
    xstPort->proposed = 0;
}

static void makeAgreement(tMstpXstPort* xstPort) {
    xstPort->proposed = 0;
    xstPort->agree = 1;
}

static void agreeAndTell(tMstpXstPort* xstPort) {
    makeAgreement(xstPort);
    *mstpNewInfoXst(xstPort) = 1;
}

static void endSync(tMstpXstPort* xstPort) {
    xstPort->synced = 1;
    xstPort->sync = 0;
}

static void startToLearn(tMstpXstPort* xstPort) {
    xstPort->learn = 1;
    loadFdWhile(xstPort, xstPort->host->forwardDelay);
}

static void startToForward(tMstpXstPort* xstPort) {
    xstPort->forward = 1;
    clearFdWhile(xstPort);
}

static void fallBackToDiscarding(tMstpXstPort* xstPort) {
    xstPort->disputed = 0;
    xstPort->forward = 0;
    xstPort->learn = 0;
    loadFdWhile(xstPort, xstPort->host->forwardDelay);
}

// ---- entries of the master role

void mstpPortRoleTransitionsMasterProposed(tMstpXstPort* xstPort) {
    passProposalOn(xstPort);
    setState(xstPort, MSTP_PORT_ROLE_TRANSITIONS_MASTER_PROPOSED);
}

void mstpPortRoleTransitionsMasterAgreed(tMstpXstPort* xstPort) {
    xstPort->sync = 0;
    makeAgreement(xstPort);
    setState(xstPort, MSTP_PORT_ROLE_TRANSITIONS_MASTER_AGREED);
}

void mstpPortRoleTransitionsMasterSynced(tMstpXstPort* xstPort) {
    clearRrWhile(xstPort);
    endSync(xstPort);
    setState(xstPort, MSTP_PORT_ROLE_TRANSITIONS_MASTER_SYNCED);
}

void mstpPortRoleTransitionsMasterRetired(tMstpXstPort* xstPort) {
    xstPort->reRoot = 0;
    setState(xstPort, MSTP_PORT_ROLE_TRANSITIONS_MASTER_RETIRED);
}

void mstpPortRoleTransitionsMasterForward(tMstpXstPort* xstPort) {
    startToForward(xstPort);
    xstPort->agreed = xstPort->host->sendRSTP;
    setState(xstPort, MSTP_PORT_ROLE_TRANSITIONS_MASTER_FORWARD);
}

void mstpPortRoleTransitionsMasterLearn(tMstpXstPort* xstPort) {
    startToLearn(xstPort);
    setState(xstPort, MSTP_PORT_ROLE_TRANSITIONS_MASTER_LEARN);
}

void mstpPortRoleTransitionsMasterDiscard(tMstpXstPort* xstPort) {
    fallBackToDiscarding(xstPort);
    setState(xstPort, MSTP_PORT_ROLE_TRANSITIONS_MASTER_DISCARD);
}

void mstpPortRoleTransitionsMasterPort(tMstpXstPort* xstPort) {
    traceXstPort(MSTP_DEBUG_ACTIVITY, "msti %d port %s transitions master port", xstPort);
    traceTransition("(UCT", "MASTER_PORT");
    xstPort->role = MSTP_MASTER_PORT;
    setState(xstPort, MSTP_PORT_ROLE_TRANSITIONS_MASTER_PORT);
}

// ---- entries of the root role

void mstpPortRoleTransitionsRootProposed(tMstpXstPort* xstPort) {
    passProposalOn(xstPort);
    setState(xstPort, MSTP_PORT_ROLE_TRANSITIONS_ROOT_PROPOSED);
}

void mstpPortRoleTransitionsRootAgreed(tMstpXstPort* xstPort) {
    xstPort->sync = 0;
    agreeAndTell(xstPort);
    setState(xstPort, MSTP_PORT_ROLE_TRANSITIONS_ROOT_AGREED);
}

void mstpPortRoleTransitionsRootSynced(tMstpXstPort* xstPort) {
    endSync(xstPort);
    setState(xstPort, MSTP_PORT_ROLE_TRANSITIONS_ROOT_SYNCED);
}

void mstpPortRoleTransitionsReroot(tMstpXstPort* xstPort) {
    setReRootTree(xstPort->xst);
    setState(xstPort, MSTP_PORT_ROLE_TRANSITIONS_REROOT);
}

void mstpPortRoleTransitionsRootForward(tMstpXstPort* xstPort) {
    startToForward(xstPort);
    setState(xstPort, MSTP_PORT_ROLE_TRANSITIONS_ROOT_FORWARD);
}

void mstpPortRoleTransitionsRootLearn(tMstpXstPort* xstPort) {
    startToLearn(xstPort);
    setState(xstPort, MSTP_PORT_ROLE_TRANSITIONS_ROOT_LEARN);
}

void mstpPortRoleTransitionsRerooted(tMstpXstPort* xstPort) {
    xstPort->reRoot = 0;
    setState(xstPort, MSTP_PORT_ROLE_TRANSITIONS_REROOTED);
}

void mstpPortRoleTransitionsRootPort(tMstpXstPort* xstPort) {
    traceXstPort(MSTP_DEBUG_ACTIVITY, "msti %d port %s transitions root port", xstPort);
    traceTransition("UCT", "ROOT_PORT");
    xstPort->role = MSTP_ROOT_PORT;
    loadRrWhile(xstPort, cistTimes(xstPort).forwardDelay);
    setState(xstPort, MSTP_PORT_ROLE_TRANSITIONS_ROOT_PORT);
}

// ---- entries of the designated role

void mstpPortRoleTransitionsDesignatedPropose(tMstpXstPort* xstPort) {
    xstPort->proposing = 1;
    if (xstPort->xst->cist != 0) {
        loadEdgeDelayWhile(xstPort->host);
    }
    *mstpNewInfoXst(xstPort) = 1;
    setState(xstPort, MSTP_PORT_ROLE_TRANSITIONS_DESIGNATED_PROPOSE);
}

void mstpPortRoleTransitionsDesignatedAgreed(tMstpXstPort* xstPort) {
    xstPort->sync = 0;
    agreeAndTell(xstPort);
    setState(xstPort, MSTP_PORT_ROLE_TRANSITIONS_DESIGNATED_AGREED);
}

void mstpPortRoleTransitionsDesignatedSynced(tMstpXstPort* xstPort) {
    clearRrWhile(xstPort);
    endSync(xstPort);
    setState(xstPort, MSTP_PORT_ROLE_TRANSITIONS_DESIGNATED_SYNCED);
}

void mstpPortRoleTransitionsDesignatedRetired(tMstpXstPort* xstPort) {
    xstPort->reRoot = 0;
    setState(xstPort, MSTP_PORT_ROLE_TRANSITIONS_DESIGNATED_RETIRED);
}

void mstpPortRoleTransitionsDesignatedForward(tMstpXstPort* xstPort) {
    startToForward(xstPort);
    xstPort->agreed = xstPort->host->sendRSTP;
    setState(xstPort, MSTP_PORT_ROLE_TRANSITIONS_DESIGNATED_FORWARD);
}

void mstpPortRoleTransitionsDesignatedLearn(tMstpXstPort* xstPort) {
    startToLearn(xstPort);
    setState(xstPort, MSTP_PORT_ROLE_TRANSITIONS_DESIGNATED_LEARN);
}

void mstpPortRoleTransitionsDesignatedDiscard(tMstpXstPort* xstPort) {
    fallBackToDiscarding(xstPort);
    setState(xstPort, MSTP_PORT_ROLE_TRANSITIONS_DESIGNATED_DISCARD);
}

void mstpPortRoleTransitionsDesignatedPort(tMstpXstPort* xstPort) {
    traceXstPort(MSTP_DEBUG_ACTIVITY, "msti %d port %s transitions designated port", xstPort);
    traceTransition("UCT", "DESIGNATED_PORT");
    xstPort->role = MSTP_DESIGNATED_PORT;
    setState(xstPort, MSTP_PORT_ROLE_TRANSITIONS_DESIGNATED_PORT);
}

// ---- entries of the alternate and backup roles

void mstpPortRoleTransitionsAlternateProposed(tMstpXstPort* xstPort) {
    passProposalOn(xstPort);
    setState(xstPort, MSTP_PORT_ROLE_TRANSITIONS_ALTERNATE_PROPOSED);
}

void mstpPortRoleTransitionsAlternateAgreed(tMstpXstPort* xstPort) {
    agreeAndTell(xstPort);
    setState(xstPort, MSTP_PORT_ROLE_TRANSITIONS_ALTERNATE_AGREED);
}

void mstpPortRoleTransitionsBlockPort(tMstpXstPort* xstPort) {
    traceXstPort(MSTP_DEBUG_ACTIVITY, "msti %d port %s transitions block port", xstPort);
    xstPort->role = xstPort->selectedRole;
    xstPort->forward = 0;
    xstPort->learn = 0;
    setState(xstPort, MSTP_PORT_ROLE_TRANSITIONS_BLOCK_PORT);
}

void mstpPortRoleTransitionsBackupPort(tMstpXstPort* xstPort) {
    traceXstPort(MSTP_DEBUG_ACTIVITY, "msti %d port %s transitions backup port", xstPort);
    loadRbWhile(xstPort, twoHelloTimes(xstPort));
    setState(xstPort, MSTP_PORT_ROLE_TRANSITIONS_BACKUP_PORT);
}

void mstpPortRoleTransitionsAlternatePort(tMstpXstPort* xstPort) {
    traceXstPort(MSTP_DEBUG_ACTIVITY, "msti %d port %s transitions alternate port", xstPort);
    traceTransition("UCT", "ALTERNATE_PORT");
    loadFdWhile(xstPort, xstPort->host->forwardDelay);
    standAside(xstPort);
    setState(xstPort, MSTP_PORT_ROLE_TRANSITIONS_ALTERNATE_PORT);
}

// ---- conditions that groups share

static bool becomes(const tMstpXstPort* xstPort, uint8_t role) {
    return xstPort->selectedRole == role && xstPort->role != role;
}

static bool quiet(const tMstpXstPort* xstPort) {
    return xstPort->learning == 0 && xstPort->forwarding == 0;
}

static bool proposedAnew(const tMstpXstPort* xstPort) {
    return xstPort->proposed != 0 && xstPort->agree == 0;
}

static bool mayAgree(const tMstpXstPort* xstPort) {
    return (xstPort->allSynced != 0 && xstPort->agree == 0) ||
           (xstPort->proposed != 0 && xstPort->agree != 0);
}

static bool isSynced(const tMstpXstPort* xstPort) {
    const bool safe = quiet(xstPort) || xstPort->agreed != 0 || xstPort->host->operEdge != 0;
    return (safe && xstPort->synced == 0) || (xstPort->sync != 0 && xstPort->synced != 0);
}

static bool stillTakesPart(const tMstpXstPort* xstPort) {
    return xstPort->sync != 0 || xstPort->reRoot != 0 || xstPort->synced == 0;
}

static bool isRetired(const tMstpXstPort* xstPort) {
    return xstPort->reRoot != 0 && xstPort->rrWhile == 0;
}

static bool mustDiscard(const tMstpXstPort* xstPort) {
    const bool called = (xstPort->sync != 0 && xstPort->synced == 0) ||
                        (xstPort->reRoot != 0 && xstPort->rrWhile != 0) || xstPort->disputed != 0;
    return called && xstPort->host->operEdge == 0 && (xstPort->learn != 0 || xstPort->forward != 0);
}

static constexpr const char* RETIRED_TEXT = "reRoot && (rrWhile == 0)";
static constexpr const char* DISCARD_TEXT = "((sync && !synced) || (reRoot && (rrWhile != 0)) || "
                                            "disputed) && !operEdge && (learn || forward)";

// ---- the groups of transitions, each home state's tests in their order

using tStateEntry = void(tMstpXstPort* xstPort);

// To a state where the port stays. True, for a transition was made.
static bool enter(tMstpXstPort* xstPort, const char* condition, const char* target,
                  tStateEntry* state) {
    traceTransition(condition, target);
    state(xstPort);
    return true;
}

// To a sub-state, and unconditionally on to its home state.
static bool visit(tMstpXstPort* xstPort, const char* condition, const char* target,
                  tStateEntry* subState, tStateEntry* home) {
    traceTransition(condition, target);
    subState(xstPort);
    home(xstPort);
    return true;
}

static bool disabledGroup(tMstpXstPort* xstPort) {
    bool moved = false;
    if (becomes(xstPort, MSTP_DISABLED_PORT)) {
        moved = enter(xstPort, "((selectedRole == DisabledPort) || && (role != selectedRole)",
                      "DISABLE_PORT", mstpPortRoleTransitionsDisablePort);
    }
    if (stateOf(xstPort) == MSTP_PORT_ROLE_TRANSITIONS_DISABLE_PORT && quiet(xstPort)) {
        moved = enter(xstPort, "!learning && !forwarding", "DISABLED_PORT",
                      mstpPortRoleTransitionsDisabledPort);
    }
    if (stateOf(xstPort) == MSTP_PORT_ROLE_TRANSITIONS_DISABLED_PORT &&
        (xstPort->fdWhile != cistTimes(xstPort).maxAge || stillTakesPart(xstPort))) {
        moved = enter(xstPort, "(fdWhile != MaxAge) || sync || reRoot || !synced", "DISABLED_PORT",
                      mstpPortRoleTransitionsDisabledPort);
    }
    return moved;
}

static bool masterMayAdvance(const tMstpXstPort* xstPort) {
    return xstPort->fdWhile == 0 || xstPort->allSynced != 0;
}

static bool atMaster(tMstpXstPort* xstPort) {
    bool moved = false;
    if (proposedAnew(xstPort)) {
        moved = visit(xstPort, "proposed && !agree", "MASTER_PROPOSED",
                      mstpPortRoleTransitionsMasterProposed, mstpPortRoleTransitionsMasterPort);
    }
    if (mayAgree(xstPort)) {
        moved = visit(xstPort, "(allSynced && !agree) || (proposed && agree)", "MASTER_AGREED",
                      mstpPortRoleTransitionsMasterAgreed, mstpPortRoleTransitionsMasterPort);
    }
    if (isSynced(xstPort)) {
        moved = visit(xstPort,
                      "(!learning && !forwarding && !synced) || (agreed && !synced) || "
                      "(operEdge && !synced) || (sync && synced) ",
                      "MASTER_SYNCED", mstpPortRoleTransitionsMasterSynced,
                      mstpPortRoleTransitionsMasterPort);
    }
    if (isRetired(xstPort)) {
        moved = visit(xstPort, RETIRED_TEXT, "MASTER_RETIRED", mstpPortRoleTransitionsMasterRetired,
                      mstpPortRoleTransitionsMasterPort);
    }
    if (mustDiscard(xstPort)) {
        moved = visit(xstPort, DISCARD_TEXT, "MASTER_DISCARD", mstpPortRoleTransitionsMasterDiscard,
                      mstpPortRoleTransitionsMasterPort);
    }
    if (masterMayAdvance(xstPort) && xstPort->learn == 0) {
        moved = visit(xstPort, "((fdWhile == 0) || allSynced) && !learn", "MASTER_LEARN",
                      mstpPortRoleTransitionsMasterLearn, mstpPortRoleTransitionsMasterPort);
    }
    if (masterMayAdvance(xstPort) && xstPort->learn != 0 && xstPort->forward == 0) {
        moved =
            visit(xstPort, "((fdWhile == 0) || allSynced) && (learn && !forward)", "MASTER_FORWARD",
                  mstpPortRoleTransitionsMasterForward, mstpPortRoleTransitionsMasterPort);
    }
    return moved;
}

static bool masterGroup(tMstpXstPort* xstPort) {
    bool moved = false;
    if (becomes(xstPort, MSTP_MASTER_PORT)) {
        moved = enter(xstPort, "(selectedRole == MasterPort) && (role != selectedRole)",
                      "MASTER_PORT", mstpPortRoleTransitionsMasterPort);
    }
    if (stateOf(xstPort) == MSTP_PORT_ROLE_TRANSITIONS_MASTER_PORT) {
        moved |= atMaster(xstPort);
    }
    return moved;
}

static bool rootMayAdvance(const tMstpXstPort* xstPort) {
    return xstPort->fdWhile == 0 ||
           (xstPort->reRooted != 0 && xstPort->rbWhile == 0 && xstPort->host->rstpVersion != 0);
}

static bool atRoot(tMstpXstPort* xstPort) {
    bool moved = false;
    if (proposedAnew(xstPort)) {
        moved = visit(xstPort, "proposed && !agree", "ROOT_PROPOSED",
                      mstpPortRoleTransitionsRootProposed, mstpPortRoleTransitionsRootPort);
    }
    if (mayAgree(xstPort)) {
        moved = visit(xstPort, "(allSynced && !agree) || (proposed && agree)", "ROOT_AGREED",
                      mstpPortRoleTransitionsRootAgreed, mstpPortRoleTransitionsRootPort);
    }
    if ((xstPort->agreed != 0 && xstPort->synced == 0) ||
        (xstPort->sync != 0 && xstPort->synced != 0)) {
        moved = visit(xstPort, "(agreed && !synced) ||(sync && synced) ", "ROOT_SYNCED",
                      mstpPortRoleTransitionsRootSynced, mstpPortRoleTransitionsRootPort);
    }
    if (xstPort->forward == 0 && xstPort->reRoot == 0) {
        moved = visit(xstPort, "!forward && !reRoot", "REROOT", mstpPortRoleTransitionsReroot,
                      mstpPortRoleTransitionsRootPort);
    }
    if (rootMayAdvance(xstPort) && xstPort->learn == 0) {
        moved = visit(
            xstPort, "((fdWhile == 0) || (reRooted && (rbWhile == 0)) && (rstpVersion)) && !learn",
            "ROOT_LEARN", mstpPortRoleTransitionsRootLearn, mstpPortRoleTransitionsRootPort);
    }
    if (rootMayAdvance(xstPort) && xstPort->learn != 0 && xstPort->forward == 0) {
        moved = visit(xstPort,
                      "((fdWhile == 0) || (reRooted && (rbWhile == 0)) && (rstpVersion)) && learn "
                      "&& !forward",
                      "ROOT_FORWARD", mstpPortRoleTransitionsRootForward,
                      mstpPortRoleTransitionsRootPort);
    }
    if (xstPort->reRoot != 0 && xstPort->forward != 0) {
        moved = visit(xstPort, "reRoot && forward", "REROOTED", mstpPortRoleTransitionsRerooted,
                      mstpPortRoleTransitionsRootPort);
    }
    if (xstPort->rrWhile != cistTimes(xstPort).forwardDelay) {
        moved = enter(xstPort, "rrWhile != FwdDelay", "ROOT_PORT", mstpPortRoleTransitionsRootPort);
    }
    return moved;
}

// Plain spanning tree knows no agreement, so nothing earlier may shorten the wait.
static void waitAnewIfLegacy(tMstpXstPort* xstPort) {
    if (xstPort->xst->bridge->forceVersion == MSTP_FORCE_LEGACYDOT1D1998) {
        loadFdWhile(xstPort, xstPort->host->forwardDelay);
    }
}

static void becomeRoot(tMstpXstPort* xstPort) {
    waitAnewIfLegacy(xstPort);
    mstpPortRoleTransitionsRootPort(xstPort);
    if (gMstp.trap != 0) {
        mstpTrapNewRootPort(xstPort);
    }
}

static bool rootGroup(tMstpXstPort* xstPort) {
    bool moved = false;
    if (becomes(xstPort, MSTP_ROOT_PORT)) {
        moved = enter(xstPort, "(selectedRole == RootPort) && (role !=selectedRole)", "ROOT_PORT",
                      becomeRoot);
    }
    if (stateOf(xstPort) == MSTP_PORT_ROLE_TRANSITIONS_ROOT_PORT) {
        moved |= atRoot(xstPort);
    }
    return moved;
}

static bool designatedMayAdvance(const tMstpXstPort* xstPort) {
    const bool safe = xstPort->fdWhile == 0 || xstPort->agreed != 0 || xstPort->host->operEdge != 0;
    return safe && (xstPort->rrWhile == 0 || xstPort->reRoot == 0) && xstPort->sync == 0;
}

static bool atDesignated(tMstpXstPort* xstPort) {
    bool moved = false;
    if (xstPort->forward == 0 && xstPort->agreed == 0 && xstPort->proposing == 0 &&
        xstPort->host->operEdge == 0) {
        moved =
            visit(xstPort, "(!forward && !agreed && !proposing && !operEdge", "DESIGNATED_PROPOSE",
                  mstpPortRoleTransitionsDesignatedPropose, mstpPortRoleTransitionsDesignatedPort);
    }
    if (xstPort->allSynced != 0 && (xstPort->proposed != 0 || xstPort->agree == 0)) {
        moved =
            visit(xstPort, "(allSynced && (proposed || !agree)", "DESIGNATED_AGREED",
                  mstpPortRoleTransitionsDesignatedAgreed, mstpPortRoleTransitionsDesignatedPort);
    }
    if (isSynced(xstPort)) {
        moved = visit(xstPort,
                      "(!learning && !forwarding  && !synced) || (agreed && !synced) || "
                      "(operEdge && !synced) || (sync && synced) ",
                      "DESIGNATED_SYNCED", mstpPortRoleTransitionsDesignatedSynced,
                      mstpPortRoleTransitionsDesignatedPort);
    }
    if (isRetired(xstPort)) {
        moved =
            visit(xstPort, RETIRED_TEXT, "DESIGNATED_RETIRED",
                  mstpPortRoleTransitionsDesignatedRetired, mstpPortRoleTransitionsDesignatedPort);
    }
    if (mustDiscard(xstPort)) {
        moved =
            visit(xstPort, DISCARD_TEXT, "DESIGNATED_DISCARD",
                  mstpPortRoleTransitionsDesignatedDiscard, mstpPortRoleTransitionsDesignatedPort);
    }
    if (designatedMayAdvance(xstPort) && xstPort->learn == 0) {
        moved = visit(xstPort,
                      "((fdWhile == 0) || agreed || operEdge) && ((rrWhile ==0) || !reRoot) && "
                      "!sync && !learn",
                      "DESIGNATED_LEARN", mstpPortRoleTransitionsDesignatedLearn,
                      mstpPortRoleTransitionsDesignatedPort);
    }
    if (designatedMayAdvance(xstPort) && xstPort->learn != 0 && xstPort->forward == 0) {
        moved = visit(xstPort,
                      "((fdWhile == 0) || agreed || operEdge) && ((rrWhile ==0) || !reRoot) && "
                      "!sync && (learn && !forward)",
                      "DESIGNATED_FORWARD", mstpPortRoleTransitionsDesignatedForward,
                      mstpPortRoleTransitionsDesignatedPort);
    }
    return moved;
}

static void becomeDesignated(tMstpXstPort* xstPort) {
    waitAnewIfLegacy(xstPort);
    mstpPortRoleTransitionsDesignatedPort(xstPort);
}

static bool designatedGroup(tMstpXstPort* xstPort) {
    bool moved = false;
    if (becomes(xstPort, MSTP_DESIGNATED_PORT)) {
        moved = enter(xstPort, "(selectedRole == DesignatedPort) && (role != selectedRole)",
                      "DESIGNATED_PORT", becomeDesignated);
    }
    if (stateOf(xstPort) == MSTP_PORT_ROLE_TRANSITIONS_DESIGNATED_PORT) {
        moved |= atDesignated(xstPort);
    }
    return moved;
}

static bool atAlternate(tMstpXstPort* xstPort) {
    bool moved = false;
    if (proposedAnew(xstPort)) {
        moved =
            visit(xstPort, "proposed && !agree", "ALTERNATE_PROPOSED",
                  mstpPortRoleTransitionsAlternateProposed, mstpPortRoleTransitionsAlternatePort);
    }
    if (mayAgree(xstPort)) {
        moved = visit(xstPort, "(allSynced && !agree) ||(proposed && agree)", "ALTERNATE_AGREED",
                      mstpPortRoleTransitionsAlternateAgreed, mstpPortRoleTransitionsAlternatePort);
    }
    if (xstPort->rbWhile != twoHelloTimes(xstPort) && xstPort->role == MSTP_BACKUP_PORT) {
        moved = visit(xstPort, "(rbWhile != 2*HelloTime) && (role == BackupPort)", "BACKUP_PORT",
                      mstpPortRoleTransitionsBackupPort, mstpPortRoleTransitionsAlternatePort);
    }
    if (xstPort->fdWhile != xstPort->host->forwardDelay || stillTakesPart(xstPort)) {
        moved = enter(xstPort, "(fdWhile != forwardDelay) || sync || reRoot || !synced",
                      "ALTERNATE_PORT", mstpPortRoleTransitionsAlternatePort);
    }
    return moved;
}

static bool alternateGroup(tMstpXstPort* xstPort) {
    bool moved = false;
    if (becomes(xstPort, MSTP_ALTERNATE_PORT) || becomes(xstPort, MSTP_BACKUP_PORT)) {
        moved = enter(xstPort,
                      "((selectedRole == AlternatePort) || (selectedRole == BackupPort)) && "
                      "(role !=selectedRole)",
                      "BLOCK_PORT", mstpPortRoleTransitionsBlockPort);
    }
    if (stateOf(xstPort) == MSTP_PORT_ROLE_TRANSITIONS_BLOCK_PORT && quiet(xstPort)) {
        moved = enter(xstPort, "!learning && !forwarding", "ALTERNATE_PORT",
                      mstpPortRoleTransitionsAlternatePort);
    }
    if (stateOf(xstPort) == MSTP_PORT_ROLE_TRANSITIONS_ALTERNATE_PORT) {
        moved |= atAlternate(xstPort);
    }
    return moved;
}

// ---- a run

// Loop protection holds back a port that would forward as designated; any other role ends the hold,
// and the port starts from discarding.
static void releaseLoopHold(tMstpXstPort* xstPort) {
    if (xstPort->selectedRole == MSTP_DESIGNATED_PORT || mstpRemain(&xstPort->loopHoldTimer) == 0) {
        return;
    }
    timerStop(&gMstp.timerList, &xstPort->loopHoldTimer);
    xstPort->forward = 0;
    xstPort->learn = 0;
}

// Every group is looked at whatever selectedRole is: a home state that the port is about to leave
// makes its own transitions first, if its group comes before that of the new role.
static bool evaluate(tMstpXstPort* xstPort) {
    updtAllSynced(xstPort);
    updtRerooted(xstPort);
    if (xstPort->selected == 0 || xstPort->updtInfo != 0) {
        return false;
    }
    releaseLoopHold(xstPort);
    bool moved = disabledGroup(xstPort);
    moved |= masterGroup(xstPort);
    moved |= rootGroup(xstPort);
    moved |= designatedGroup(xstPort);
    moved |= alternateGroup(xstPort);
    return moved;
}

static void begin(tMstpXstPort* xstPort) {
    traceTransition("BEGIN", "INIT_PORT");
    mstpPortRoleTransitionsInitPort(xstPort);
    traceTransition("UCT", "DISABLE_PORT");
    mstpPortRoleTransitionsDisablePort(xstPort);
}

void mstpPortRoleTransitionsFSM(tMstpXstPort* xstPort) {
    traceXstPort(MSTP_DEBUG_MACHINE, "msti %d port %s Port Role Transitions state machine",
                 xstPort);
    if (xstPort->xst->bridge->begin != 0) {
        begin(xstPort);
    }
    mstpRunPasses(xstPort, evaluate);
}
