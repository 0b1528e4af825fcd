// Notifications to network management: another root, another root port, a port state that changed.
// The callers look at the switch for notifications first; nothing is remembered and nothing is held
// back here.

#include "mstp_nm.h"
#include "platform/notify.h"

void mstpTrapNewRoot(tMstpXst* xst) {
    sendStpNewRootTrap(xst->xstId, reinterpret_cast<const uint8_t*>(&xst->rootPriority.rootId));
}

void mstpTrapNewRootPort(tMstpXstPort* xstPort) {
    sendStpNewRootPortTrap(xstPort->xst->xstId, xstPort->host->unit);
}

void mstpTrapTopologyChange(tMstpXst* xst, tMstpXstPort* xstPort) {
    sendStpTopoChgTrap(xst->xstId, xstPort->host->unit, xstPort->hwState);
}
