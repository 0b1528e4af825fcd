// Management of a port's presence in an instance. The key is the instance's number and the
// interface's unit.
//
// Whatever becomes of a set, the instance port's machines start afresh afterwards, also when the
// attribute is unknown or the platform refuses; only a key that names nothing disturbs nothing.

#include "mstp_bridge.h"
#include "mstp_nm.h"
#include "mstp_nm_table.h"
#include "mstp_port.h"
#include "mstp_xst.h"
#include "platform/hardware.h"

using XP = tMstpXstPort;
using V = tMstpPriorityVector;
using Row = tNmRow<XP>;

static constexpr uint32_t PRIORITY_STEP = 16;

static int32_t getPriority(XP* xstPort, uint32_t* value) {
    *value = xstPort->portId.priority * PRIORITY_STEP;
    return NM_OK;
}

static int32_t setPriority(XP* xstPort, uint32_t value) {
    xstPort->portId.priority = (value / PRIORITY_STEP) & 0x0F;
    xstPort->reselect = 1;
    return NM_OK;
}

static int32_t setAdminPathCost(XP* xstPort, uint32_t value) {
    xstPort->adminPathCost = value;
    xstPort->pathCost = value != 0 ? value : xstPort->operPathCost;
    xstPort->reselect = 1;
    return NM_OK;
}

static int32_t getProtection(XP* xstPort, uint32_t* value) {
    *value = nmHold(&xstPort->host->bpduGuardTimer, MSTP_PROTECTION_BPDU_GUARD) |
             nmHold(&xstPort->rootHoldoffTimer, MSTP_PROTECTION_ROOT) |
             nmHold(&xstPort->loopHoldTimer, MSTP_PROTECTION_LOOP) |
             nmHold(&xstPort->tcHoldoffTimer, MSTP_PROTECTION_TC);
    return NM_OK;
}

static int32_t getFromSameRegion(XP* xstPort, uint32_t* value) {
    *value = xstPort->host->rcvdInternal != 0 ? 1 : 0;
    return NM_OK;
}

// ---- the table

static constexpr Row XST_PORT[] = {
    nmRefused<XP>(MSTP_XSTPORT_XSTID),
    nmRefused<XP>(MSTP_XSTPORT_INDEX),
    nmReadOnly<XP>(MSTP_XSTPORT_STATE, nmGetField<&XP::hwState>),
    nmReadOnly<XP>(MSTP_XSTPORT_ROLE, nmGetField<&XP::role>),
    nmOctetsReadOnly<XP>(MSTP_XSTPORT_DESIGNATEDROOT,
                         nmGetInnerBytes<&XP::portPriority, &V::rootId>),
    nmReadOnly<XP>(MSTP_XSTPORT_EXTERNALROOTCOST,
                   nmGetInner<&XP::portPriority, &V::extRootPathCost>),
    nmOctetsReadOnly<XP>(MSTP_XSTPORT_REGIONALROOT,
                         nmGetInnerBytes<&XP::portPriority, &V::rRootId>),
    nmReadOnly<XP>(MSTP_XSTPORT_INTERALROOTCOST,
                   nmGetInner<&XP::portPriority, &V::intRootPathCost>),
    nmOctetsReadOnly<XP>(MSTP_XSTPORT_DESIGNATEDBRIDGE,
                         nmGetInnerBytes<&XP::portPriority, &V::designatedBridgeId>),
    nmOctetsReadOnly<XP>(MSTP_XSTPORT_DESIGNATEDPORT,
                         nmGetInnerBytes<&XP::portPriority, &V::designatedPortId>),
    nmReadWrite<XP>(MSTP_XSTPORT_PRIORITY, getPriority, setPriority),
    nmReadWrite<XP>(MSTP_XSTPORT_ADMINPATHCOST, nmGetField<&XP::adminPathCost>, setAdminPathCost),
    nmReadOnly<XP>(MSTP_XSTPORT_OPERPATHCOST, nmGetField<&XP::operPathCost>),
    nmReadOnly<XP>(MSTP_XSTPORT_PROTECTION, getProtection),
    nmReadOnly<XP>(MSTP_XSTPORT_FROMSAMEREGION, getFromSameRegion),
};

bool mstpXstPortIsOctets(uint32_t attribute) {
    return nmIsOctets(nmFind(XST_PORT, attribute));
}

/// @return none for no bridge, an instance that the version does not run, or a missing record
static tMstpXstPort* find(const tMstpXstPortIndex* index) {
    tMstpBridge* bridge = mstpBridgeGet(1);
    if (bridge == nullptr || index == nullptr || !mstpXstRuns(bridge, index->xstId)) {
        return nullptr;
    }
    tMstpXst* xst = mstpXstGet(bridge, index->xstId);
    return xst != nullptr ? mstpXstPortGet(xst, index->unit) : nullptr;
}

int32_t mstpXstPortGetApi(tMstpXstPortIndex* index, uint32_t attribute, void* value) {
    const NmLocked locked;
    return nmRead(nmFind(XST_PORT, attribute), find(index), value);
}

static int32_t offerAndWrite(tMstpXstPort* xstPort, tMstpXstPortIndex* index, uint32_t attribute,
                             void* value, uint32_t flag) {
    const Row* row = nmFind(XST_PORT, attribute);
    if (!nmTakes(row, value)) {
        return NM_REFUSED;
    }
    const int32_t result = kelHwMstpXstPortSync(index, attribute + MSTP_XSTPORT_SYNC_BASE, value,
                                                nmSyncFlag(row, flag));
    return result != 0 ? result : nmWrite(row, xstPort, value);
}

int32_t _mstpXstPortSetApi(tMstpXstPortIndex* index, uint32_t attribute, void* value,
                           uint32_t flag) {
    const NmLocked locked;
    tMstpXstPort* xstPort = find(index);
    if (xstPort == nullptr) {
        return NM_REFUSED;
    }
    const int32_t result = offerAndWrite(xstPort, index, attribute, value, flag);
    mstpXstPortInit(xstPort);
    return result;
}

int32_t mstpXstPortSetApi(tMstpXstPortIndex* index, uint32_t attribute, void* value) {
    return _mstpXstPortSetApi(index, attribute, value, MSTP_SET_FLAG);
}

int32_t mstpXstPortSyncApi(tMstpXstPortIndex* index, uint32_t attribute, void* value) {
    return _mstpXstPortSetApi(index, attribute, value, MSTP_SYNC_FLAG);
}
