#pragma once

/// Port Role Transitions, 13.35 of IEEE 802.1Q-2005. The states' entries perform the state's
/// actions and store its number in fsmState[MSTP_PORT_ROLE_TRANSITIONS_FSM]. Between runs a port is
/// in INIT_PORT, DISABLE_PORT, DISABLED_PORT, BLOCK_PORT or one of the home states MASTER_PORT,
/// ROOT_PORT, DESIGNATED_PORT and ALTERNATE_PORT; every other state is left for its home state at
/// once. The home states trace their unconditional transition on every entry.

#include "mstp/records.h"

void mstpPortRoleTransitionsInitPort(tMstpXstPort* xstPort);

/// Takes the disabled role whatever selectedRole says.
void mstpPortRoleTransitionsDisablePort(tMstpXstPort* xstPort);

void mstpPortRoleTransitionsDisabledPort(tMstpXstPort* xstPort);

void mstpPortRoleTransitionsMasterProposed(tMstpXstPort* xstPort);

/// Sends nothing, unlike the AGREED of the other roles.
void mstpPortRoleTransitionsMasterAgreed(tMstpXstPort* xstPort);

void mstpPortRoleTransitionsMasterSynced(tMstpXstPort* xstPort);
void mstpPortRoleTransitionsMasterRetired(tMstpXstPort* xstPort);
void mstpPortRoleTransitionsMasterForward(tMstpXstPort* xstPort);
void mstpPortRoleTransitionsMasterLearn(tMstpXstPort* xstPort);
void mstpPortRoleTransitionsMasterDiscard(tMstpXstPort* xstPort);
void mstpPortRoleTransitionsMasterPort(tMstpXstPort* xstPort);

void mstpPortRoleTransitionsRootProposed(tMstpXstPort* xstPort);
void mstpPortRoleTransitionsRootAgreed(tMstpXstPort* xstPort);
void mstpPortRoleTransitionsRootSynced(tMstpXstPort* xstPort);

/// REROOT: the instance's other ports shall give way to this root port.
void mstpPortRoleTransitionsReroot(tMstpXstPort* xstPort);

void mstpPortRoleTransitionsRootForward(tMstpXstPort* xstPort);
void mstpPortRoleTransitionsRootLearn(tMstpXstPort* xstPort);

/// REROOTED: this root port forwards, it waits for nobody any more.
void mstpPortRoleTransitionsRerooted(tMstpXstPort* xstPort);

void mstpPortRoleTransitionsRootPort(tMstpXstPort* xstPort);

/// In the CIST it also starts the port's edgeDelayWhile.
void mstpPortRoleTransitionsDesignatedPropose(tMstpXstPort* xstPort);

void mstpPortRoleTransitionsDesignatedAgreed(tMstpXstPort* xstPort);
void mstpPortRoleTransitionsDesignatedSynced(tMstpXstPort* xstPort);
void mstpPortRoleTransitionsDesignatedRetired(tMstpXstPort* xstPort);
void mstpPortRoleTransitionsDesignatedForward(tMstpXstPort* xstPort);
void mstpPortRoleTransitionsDesignatedLearn(tMstpXstPort* xstPort);
void mstpPortRoleTransitionsDesignatedDiscard(tMstpXstPort* xstPort);
void mstpPortRoleTransitionsDesignatedPort(tMstpXstPort* xstPort);

void mstpPortRoleTransitionsAlternateProposed(tMstpXstPort* xstPort);
void mstpPortRoleTransitionsAlternateAgreed(tMstpXstPort* xstPort);

/// Takes the selected role, alternate or backup.
void mstpPortRoleTransitionsBlockPort(tMstpXstPort* xstPort);

void mstpPortRoleTransitionsBackupPort(tMstpXstPort* xstPort);
void mstpPortRoleTransitionsAlternatePort(tMstpXstPort* xstPort);

/// One run of the machine: `role` follows `selectedRole`, and `learn` and `forward` what the role,
/// its timers and its agreements with the neighbour allow. While `selected` is clear or `updtInfo`
/// set, BEGIN alone has an effect, and `allSynced` and `reRooted` are brought up to date.
void mstpPortRoleTransitionsFSM(tMstpXstPort* xstPort);
