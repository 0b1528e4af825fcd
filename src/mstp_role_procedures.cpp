// Roles. Every instance elects a root by comparing priority vectors (13.10, 13.11 of IEEE
// 802.1Q-2005): what a port hears, with the cost of hearing it there added, competes with the
// bridge's own vector, and the smallest wins. The port that heard the winner becomes root port.
// The winner with this bridge as its sender is what every port would tell its LAN, the designated
// priority vector. A port that hears something worse than that is designated; one that hears
// something as good or better only offers another way to the root (alternate) or loops back to this
// very bridge (backup), and discards. Where the CIST's way to the root leaves the region, all MSTIs
// follow it: such a port is their master port.
//
// Roles are computed for a whole instance at once, by the Port Role Selection machine, when some
// port's information changed. The computation walks the instance's ports a fixed number of times.
// A port whose link is down still gets its vectors and its role; it is only no way to the root.

#include "mstp/context.h"
#include "mstp_nm.h"
#include "mstp_state_machine_procedures.h"
#include "mstp_vector.h"

void clearReselectTree(tMstpXst* xst) {
    for (tMstpXstPort* xstPort : xstPortsOf(xst)) {
        xstPort->reselect = 0;
    }
}

void setReRootTree(tMstpXst* xst) {
    for (tMstpXstPort* xstPort : xstPortsOf(xst)) {
        xstPort->reRoot = 1;
    }
}

void setSyncTree(tMstpXst* xst) {
    for (tMstpXstPort* xstPort : xstPortsOf(xst)) {
        xstPort->sync = 1;
    }
}

void updtRolesDisabledTree(tMstpXst* xst) {
    for (tMstpXstPort* xstPort : xstPortsOf(xst)) {
        xstPort->selectedRole = MSTP_DISABLED_PORT;
    }
}

void setSelectedTree(tMstpXst* xst) {
    if (mstpWantsReselection(xst)) {
        return;
    }
    for (tMstpXstPort* xstPort : xstPortsOf(xst)) {
        xstPort->selected = 1;
    }
}

bool mstpWantsReselection(tMstpXst* xst) {
    for (const tMstpXstPort* xstPort : xstPortsOf(xst)) {
        if (xstPort->reselect != 0 && mstpPortIsLive(xstPort->host)) {
            return true;
        }
    }
    return false;
}

void updtInterReselect(tMstpBridge* bridge) {
    for (tMstpXst* xst : xstsOf(bridge)) {
        if (xst->cist != 0) {
            continue;
        }
        for (tMstpXstPort* xstPort : xstPortsOf(xst)) {
            xstPort->reselect = 1;
        }
    }
}

void syncMaster(tMstpPort* port) {
    if (port->infoInternal == 0) {
        return;
    }
    for (tMstpXstPort* xstPort : xstPortsOf(port)) {
        if (xstPort->xst->xstId == 0) {
            continue;
        }
        xstPort->agree = 0;
        xstPort->agreed = 0;
        xstPort->synced = 0;
        xstPort->sync = 1;
    }
}

static void addToPortRole(tMstpPort* port, const tMstpXstPort* xstPort) {
    const bool cist = xstPort->xst->cist != 0;
    if (xstPort->role == MSTP_DESIGNATED_PORT) {
        if (cist) {
            port->cistDesignatedPort = 1;
        } else {
            port->mstiDesignatedOrTCpropagatingRootPort = 1;
        }
    } else if (xstPort->role == MSTP_ROOT_PORT) {
        if (cist) {
            port->cistRootPort = 1;
            port->mstiMasterPort = port->infoInternal == 0 ? 1 : 0;
        } else if (xstPort->tcProp != 0) {
            port->mstiDesignatedOrTCpropagatingRootPort = 1;
        }
    }
}

void updtPortRole(tMstpPort* port) {
    port->cistRootPort = 0;
    port->cistDesignatedPort = 0;
    port->mstiDesignatedOrTCpropagatingRootPort = 0;
    port->mstiMasterPort = 0;
    for (const tMstpXstPort* xstPort : xstPortsOf(port)) {
        addToPortRole(port, xstPort);
    }
}

void updtPortUpdtInfo(tMstpPort* port) {
    port->updtCistInfo = 0;
    port->updtMstiInfo = 0;
    for (const tMstpXstPort* xstPort : xstPortsOf(port)) {
        if (xstPort->updtInfo == 0) {
            continue;
        }
        port->updtMstiInfo = 1;
        if (xstPort->xst->cist != 0) {
            port->updtCistInfo = 1;
            return;
        }
    }
}

void clearMaster(tMstpXstPort* xstPort) {
    if (xstPort->master == 0) {
        return;
    }
    xstPort->master = 0;
    xstPort->xst->masterPortId = tMstpPortId{};
}

void updtRerooted(tMstpXstPort* xstPort) {
    xstPort->reRooted = 0;
    for (const tMstpXstPort* other : xstPortsOf(xstPort->xst)) {
        if (other->rrWhile != 0 && other != xstPort && mstpPortIsLive(other->host)) {
            return;
        }
    }
    xstPort->reRooted = 1;
}

// True while the machines still have to act on the last computation of roles.
static bool isUnsettled(const tMstpXstPort* xstPort) {
    return xstPort->selected == 0 || xstPort->selectedRole != xstPort->role ||
           xstPort->updtInfo != 0;
}

void updtAllSynced(tMstpXstPort* xstPort) {
    xstPort->allSynced = 0;
    bool allButRootSynced = true;
    bool allOthersSynced = true;
    for (const tMstpXstPort* each : xstPortsOf(xstPort->xst)) {
        const bool unsettled = isUnsettled(each);
        if ((each->synced != 0 && !unsettled) || !mstpPortIsLive(each->host)) {
            continue;
        }
        if (unsettled) {
            return;
        }
        if (each->synced == 0) {
            allButRootSynced = allButRootSynced && each->role == MSTP_ROOT_PORT;
            allOthersSynced = allOthersSynced && each == xstPort;
        }
    }
    switch (xstPort->role) {
    case MSTP_ROOT_PORT:
    case MSTP_ALTERNATE_PORT:
        xstPort->allSynced = allButRootSynced ? 1 : 0;
        break;
    case MSTP_DESIGNATED_PORT:
    case MSTP_MASTER_PORT:
        xstPort->allSynced = allOthersSynced ? 1 : 0;
        break;
    default:
        break;
    }
}

// updtRolesTree, first part: the candidates for the root.

namespace {

// The best root priority vector found so far, and the root times that go with it.
struct tRootPath {
    tMstpPriorityVector priority;
    tMstpTime times;
    tMstpXstPort* port; // where it was heard; none for the bridge's own vector
};

} // namespace

static bool isRootPathCandidate(const tMstpXstPort* xstPort) {
    return mstpPortIsLive(xstPort->host) && xstPort->infoIs == MSTP_RECEIVED &&
           xstPort->host->restrictedRole == 0 &&
           !mstpSameBridgeId(&xstPort->msgPriority.designatedBridgeId, &xstPort->xst->bridgeId);
}

// The root path priority vector of 13.10. Costs, age and hops wrap in their width.
static tRootPath rootPathThrough(tMstpXstPort* xstPort) {
    tRootPath path{xstPort->portPriority, xstPort->portTimes, xstPort};
    if (xstPort->host->rcvdInternal != 0) {
        path.priority.intRootPathCost += xstPort->pathCost;
        path.times.remainingHops--;
    } else {
        path.priority.extRootPathCost += xstPort->pathCost;
        path.times.messageAge++;
    }
    return path;
}

static tRootPath selectRootPath(tMstpXst* xst) {
    tRootPath best{xst->bridgePriority, xst->bridgeTimes, nullptr};
    for (tMstpXstPort* xstPort : xstPortsOf(xst)) {
        if (!isRootPathCandidate(xstPort)) {
            continue;
        }
        tRootPath path = rootPathThrough(xstPort);
        if (mstpVectorCmp(&path.priority, &best.priority, MSTP_VECTOR_SIZE) >= 0) {
            continue;
        }
        // rootPriority still holds the old root here, and that is the one notified.
        if (gMstp.trap != 0 && !mstpSameBridgeId(&path.priority.rootId, &best.priority.rootId)) {
            mstpTrapNewRoot(xst);
        }
        best = path;
    }
    return best;
}

// updtRolesTree, second part: what each port would tell its LAN.

static void setDesignatedVectors(tMstpXst* xst, const tRootPath& root) {
    for (tMstpXstPort* xstPort : xstPortsOf(xst)) {
        xstPort->designatedPriority = root.priority;
        xstPort->designatedPriority.designatedBridgeId = xst->bridgeId;
        xstPort->designatedPriority.designatedPortId = xstPort->portId;
        xstPort->designatedPriority.rcvPortId = xstPort->portId;
        xstPort->designatedTimes = root.times;
    }
}

// The MSTIs must synchronise anew when the region's way to the CIST root moves to another boundary.
static void syncMastersOfNewRegionalRoot(tMstpXst* xst, const tRootPath& root) {
    if (mstpSameBridgeId(&xst->rootPriority.rRootId, &root.priority.rRootId)) {
        return;
    }
    if (xst->rootPriority.extRootPathCost == 0 && root.priority.extRootPathCost == 0) {
        return;
    }
    for (tMstpXstPort* xstPort : xstPortsOf(xst)) {
        syncMaster(xstPort->host);
    }
}

// updtRolesTree, third part: the roles. updtInfo is left as it is where no rule here speaks of it.

// The times are deliberately compared with those that the root port received, not with rootTimes.
static void updateIfInfoDiffers(tMstpXstPort* xstPort, const tMstpXstPort* rootPort) {
    const bool samePriority =
        mstpVectorCmp(&xstPort->portPriority, &xstPort->designatedPriority, MSTP_VECTOR_SIZE) == 0;
    const bool sameTimes =
        rootPort == nullptr || mstpSameTimes(&xstPort->portTimes, &rootPort->portTimes);
    if (!samePriority || !sameTimes) {
        xstPort->updtInfo = 1;
    }
}

// An MSTI follows the CIST on a port that hears the CIST from outside the region.
// @return true if that settled the role
static bool selectBoundaryRole(tMstpXstPort* xstPort, const tMstpXstPort* rootPort) {
    const tMstpXstPort* cist = mstpCistPort(xstPort->host);
    if (cist->infoIs != MSTP_RECEIVED || xstPort->host->infoInternal != 0) {
        return false;
    }
    if (cist->selectedRole == MSTP_ROOT_PORT) {
        xstPort->selectedRole = MSTP_MASTER_PORT;
        xstPort->master = 1;
        xstPort->xst->masterPortId = xstPort->portId;
    } else if (cist->selectedRole == MSTP_ALTERNATE_PORT) {
        xstPort->selectedRole = MSTP_ALTERNATE_PORT;
    } else {
        return false;
    }
    updateIfInfoDiffers(xstPort, rootPort);
    return true;
}

static bool isHeardFromOwnPort(const tMstpXstPort* xstPort) {
    return mstpSameBridgeId(&xstPort->portPriority.designatedBridgeId, &xstPort->xst->bridgeId) &&
           !mstpSamePortId(&xstPort->portPriority.designatedPortId, &xstPort->portId);
}

static void selectRoleByReceivedInfo(tMstpXstPort* xstPort, const tMstpXstPort* rootPort) {
    if (xstPort == rootPort) {
        xstPort->selectedRole = MSTP_ROOT_PORT;
        xstPort->updtInfo = 0;
        xstPort->xst->rootPortId = xstPort->portId;
        return;
    }
    if (mstpVectorCmp(&xstPort->designatedPriority, &xstPort->portPriority, MSTP_VECTOR_SIZE) < 0) {
        xstPort->selectedRole = MSTP_DESIGNATED_PORT;
        xstPort->updtInfo = 1;
        return;
    }
    xstPort->selectedRole = isHeardFromOwnPort(xstPort) ? MSTP_BACKUP_PORT : MSTP_ALTERNATE_PORT;
    xstPort->updtInfo = 0;
}

static void selectRole(tMstpXstPort* xstPort, const tMstpXstPort* rootPort) {
    xstPort->master = 0;
    if (xstPort->infoIs == MSTP_DISABLED) {
        xstPort->selectedRole = MSTP_DISABLED_PORT;
        return;
    }
    if (xstPort->xst->cist == 0) {
        if (selectBoundaryRole(xstPort, rootPort)) {
            return;
        }
        if (xstPort->infoIs == MSTP_RECEIVED && xstPort->host->infoInternal != 1) {
            return;
        }
    }
    switch (xstPort->infoIs) {
    case MSTP_AGED:
        xstPort->selectedRole = MSTP_DESIGNATED_PORT;
        xstPort->updtInfo = 1;
        break;
    case MSTP_MINE:
        xstPort->selectedRole = MSTP_DESIGNATED_PORT;
        updateIfInfoDiffers(xstPort, rootPort);
        break;
    case MSTP_RECEIVED:
        selectRoleByReceivedInfo(xstPort, rootPort);
        break;
    default:
        break;
    }
}

// True if the roles of the MSTIs at this port hang on the CIST's, so that they are due as well.
static bool concernsMstis(const tMstpXstPort* xstPort) {
    return xstPort->xst->cist != 0 && xstPort->infoIs != MSTP_DISABLED &&
           xstPort->host->infoInternal != 1;
}

static void selectRoles(tMstpXst* xst, const tMstpXstPort* rootPort) {
    bool reselectMstis = false;
    for (tMstpXstPort* xstPort : xstPortsOf(xst)) {
        selectRole(xstPort, rootPort);
        reselectMstis = reselectMstis || concernsMstis(xstPort);
    }
    // Marking is the same once as for every port; once keeps the walk linear.
    if (reselectMstis) {
        updtInterReselect(xst->bridge);
    }
}

void updtRolesTree(tMstpXst* xst) {
    xst->rootPortId = tMstpPortId{};
    xst->masterPortId = tMstpPortId{};
    const tRootPath root = selectRootPath(xst);
    setDesignatedVectors(xst, root);
    syncMastersOfNewRegionalRoot(xst, root);
    xst->rootPriority = root.priority;
    xst->rootTimes = root.times;
    selectRoles(xst, root.port);
}
