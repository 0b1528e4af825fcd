// Port Role Selection: one machine for each instance, the only caller of the role computation. It
// waits for a port whose information changed (reselect), has the roles of the whole instance
// computed, and marks the result as consistent (selected) unless another change came in meanwhile.
// The driver runs it after every port's Port Information machine, so most runs find nothing to do.
// The machine keeps no state: outside a run it always stands in ROLE_SELECTION.

#include "mstp_port_role_selection_state_machine.h"

#include "mstp_passes.h"
#include "mstp_state_machine_procedures.h"
#include "mstp_trace.h"

void mstpPortRoleSelectionInitTree(tMstpXst* xst) {
    updtRolesDisabledTree(xst);
}

void mstpPortRoleSelection(tMstpXst* xst) {
    clearReselectTree(xst);
    updtRolesTree(xst);
    setSelectedTree(xst);
}

static bool selectAgain(tMstpXst* xst) {
    if (!mstpWantsReselection(xst)) {
        return false;
    }
    traceTransition("reselect1 || reselect2 || ... reselectN", "ROLE_SELECTION");
    mstpPortRoleSelection(xst);
    return true;
}

// IEEE 802.1Q-2005 13.33.
void mstpPortRoleSelectionFSM(tMstpXst* xst) {
    traceXst(MSTP_DEBUG_MACHINE, "msti %d Port Role Selection state machine", xst);
    if (xst->bridge->begin != 0) {
        traceTransition("BEGIN", "INIT_TREE");
        mstpPortRoleSelectionInitTree(xst);
        traceTransition("UCT", "ROLE_SELECTION");
        mstpPortRoleSelection(xst);
    }
    mstpRunPasses(xst, selectAgain);
}
