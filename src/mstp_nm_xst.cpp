// Management of spanning tree instances: their life, their VLANs, their priority, and what they
// know of their root. The key is the instance's number.
//
// A VLAN belongs to exactly one instance, and to the CIST when no MSTI has it, so every change of
// an MSTI's VLANs is the opposite change of the CIST's; the region's digest and the hardware groups
// follow in the same step. A change that the machines depend on restarts the instance.

#include "mstp/context.h"
#include "mstp_bridge.h"
#include "mstp_nm.h"
#include "mstp_nm_table.h"
#include "mstp_xst.h"
#include "platform/hardware.h"
#include "platform/interfaces.h"
#include "platform/stg.h"

using X = tMstpXst;
using V = tMstpPriorityVector;
using Row = tNmRow<X>;

static constexpr uint32_t PRIORITY_STEP = 4096;

static int32_t getBridgePriority(X* xst, uint32_t* value) {
    *value = xst->bridgeId.priority * PRIORITY_STEP;
    return NM_OK;
}

static int32_t setBridgePriority(X* xst, uint32_t value) {
    xst->bridgeId.priority = (value / PRIORITY_STEP) & 0x0F;
    return NM_OK;
}

// Without a root port the value stays as it came.
static int32_t getRootPort(X* xst, uint32_t* value) {
    for (tMstpXstPort* xstPort : xstPortsOf(xst)) {
        if (xstPort->role == MSTP_PORT_ROLE_ROOT) {
            return sysIndexTrans(xstPort->host->unit, KEL_INDEX_IFINDEX, value) == 0 ? NM_OK
                                                                                     : NM_REFUSED;
        }
    }
    return NM_OK;
}

static int32_t getRemainingHops(X* xst, uint32_t* value) {
    *value = xst->rootTimes.remainingHops;
    return NM_OK;
}

// ---- VLANs

static int32_t getVlanList(X* xst, octetstring* value) {
    return nmPutOctets(value, xst->vlanList, xst->vlanLen);
}

/// True for the bit of a VLAN that the switch has.
static bool onSwitch(uint32_t bit) {
    const uint32_t vlan = bit + 1;
    return vlan <= MSTP_VLAN_ID_MAX && kelVlanGetApi(vlan, KEL_VLAN_EXISTS, nullptr) == 0;
}

static bool heldByAnotherMsti(const X* xst, uint32_t bit) {
    for (uint32_t xstId = 1; xstId < gMstp.xstLimit; xstId++) {
        const X* other = mstpXstGet(xst->bridge, xstId);
        if (other != nullptr && other != xst && bitListTst(other->vlanList, bit)) {
            return true;
        }
    }
    return false;
}

/// Takes the VLANs of @p value from the CIST and marks in @p existing those that the switch has.
/// @return false at the first VLAN that another MSTI holds; the VLANs before it are taken
static bool takeFromCist(const X* xst, X* cist, const octetstring* value, uint8_t* existing) {
    const uint8_t* list = octetBytes(value);
    for (uint32_t bit = 0; bit < value->len * 8; bit++) {
        if (!bitListTst(list, bit)) {
            continue;
        }
        if (heldByAnotherMsti(xst, bit)) {
            return false;
        }
        if (onSwitch(bit)) {
            bitListSet(existing, bit);
        }
        if (cist != nullptr) {
            bitListClr(cist->vlanList, bit);
        }
    }
    return true;
}

static bool hasGroup(const X* xst) {
    return xst->stgId != 0;
}

static int32_t addVlans(X* xst, octetstring* value) {
    if (xst->bridge->forceVersion < MSTP_FORCE_ATUODOT1S) {
        return NM_REFUSED;
    }
    X* cist = mstpXstGet(xst->bridge, 0);
    uint8_t existing[MSTP_VLAN_LIST_SIZE] = {};
    if (!takeFromCist(xst, cist, value, existing)) {
        return NM_REFUSED;
    }
    if (cist != nullptr) {
        cist->vlanLen = bitListUsedBytes(cist->vlanList, MSTP_VLAN_LIST_SIZE);
    }
    mstpXstVlanAdd(xst, octetBytes(value), value->len);
    mstpBridgeDigest(xst->bridge);
    if (cist != nullptr && hasGroup(cist)) {
        stgShrProtocolVlanDel(cist->stgId, existing, value->len);
    }
    if (hasGroup(xst)) {
        stgShrProtocolVlanAdd(xst->stgId, existing, value->len);
    }
    return NM_OK;
}

// The CIST's group deliberately takes every VLAN of the list's range, named in it or not; the
// instance's group gives up those that the instance held, and the caller's list keeps only them.
static int32_t removeVlans(X* xst, octetstring* value) {
    uint8_t* list = octetBytes(value);
    uint8_t existing[MSTP_VLAN_LIST_SIZE] = {};
    for (uint32_t bit = 0; bit < value->len * 8; bit++) {
        if (!bitListTst(xst->vlanList, bit)) {
            bitListClr(list, bit);
        }
        if (onSwitch(bit)) {
            bitListSet(existing, bit);
        }
    }
    mstpXstVlanDelete(xst, list, value->len);
    X* cist = mstpXstGet(xst->bridge, 0);
    if (cist != nullptr) {
        mstpXstVlanAdd(cist, list, value->len);
    }
    mstpBridgeDigest(xst->bridge);
    if (cist != nullptr && hasGroup(cist)) {
        stgShrProtocolVlanAdd(cist->stgId, existing, value->len);
    }
    if (hasGroup(xst)) {
        stgShrProtocolVlanDel(xst->stgId, list, value->len);
    }
    return NM_OK;
}

// ---- life

static int32_t destroy(X* xst) {
    if (xst == nullptr) {
        return NM_REFUSED;
    }
    tMstpBridge* bridge = xst->bridge;
    mstpXstDisable(xst);
    xst->rowStatus = MSTP_NOTINSERVICE;
    mstpXstDelete(xst);
    mstpBridgeDigest(bridge);
    return NM_OK;
}

static int32_t start(X* xst) {
    if (xst == nullptr) {
        return NM_REFUSED;
    }
    xst->rowStatus = MSTP_ACTIVE;
    mstpXstInit(xst);
    return NM_OK;
}

/// @param xst  none for an instance that does not exist
static int32_t setRowStatus(tMstpBridge* bridge, uint32_t xstId, X* xst, uint32_t value) {
    switch (value) {
    case MSTP_DESTORY:
        return destroy(xst);
    case MSTP_CREATEANDGO:
    case MSTP_CREATEANDWAIT:
        return start(xst != nullptr ? xst : mstpXstAdd(bridge, xstId));
    case MSTP_ACTIVE:
        return xst != nullptr && xst->rowStatus == MSTP_ACTIVE ? NM_OK : start(xst);
    default:
        return NM_OK;
    }
}

static int32_t setOwnRowStatus(X* xst, uint32_t value) {
    return setRowStatus(xst->bridge, xst->xstId, xst, value);
}

// ---- the table

static constexpr Row XST[] = {
    nmRefused<X>(MSTP_XST_ID),
    nmReadWrite<X>(MSTP_XST_BRIDGEPRIORITY, getBridgePriority, setBridgePriority),
    nmOctetsReadOnly<X>(MSTP_XST_BRIDGEID, nmGetBytes<&X::bridgeId>),
    nmOctetsReadOnly<X>(MSTP_XST_DESIGNATEDROOT, nmGetInnerBytes<&X::rootPriority, &V::rootId>),
    nmReadOnly<X>(MSTP_XST_EXTERNALROOTCOST, nmGetInner<&X::rootPriority, &V::extRootPathCost>),
    nmOctetsReadOnly<X>(MSTP_XST_REGIONALROOT, nmGetInnerBytes<&X::rootPriority, &V::rRootId>),
    nmReadOnly<X>(MSTP_XST_INTERNALROOTCOST, nmGetInner<&X::rootPriority, &V::intRootPathCost>),
    nmReadOnly<X>(MSTP_XST_ROOTPORT, getRootPort),
    nmOctetsReadOnly<X>(MSTP_XST_MASTERPORT, nmGetBytes<&X::masterPortId>),
    nmOctetsReadOnly<X>(MSTP_XST_DESIGNATEDBRIDGE,
                        nmGetInnerBytes<&X::rootPriority, &V::designatedBridgeId>),
    nmOctetsReadOnly<X>(MSTP_XST_DESIGNATEDPORT,
                        nmGetInnerBytes<&X::rootPriority, &V::designatedPortId>),
    nmReadOnly<X>(MSTP_XST_TIMESINCETOPOLOGYCHANGE, nmGetField<&X::timeSinceTopologyChange>),
    nmReadOnly<X>(MSTP_XST_TOPOLOGYCHANGESCOUNT, nmGetField<&X::topologyChangesCount>),
    nmReadOnly<X>(MSTP_XST_TOPOLOGYCHANGEFLAG, nmGetField<&X::topologyChange>),
    nmOctetsReadWrite<X>(MSTP_XST_VLANLIST, getVlanList, addVlans, MSTP_VLAN_LIST_SIZE),
    nmOctetsReadWrite<X>(MSTP_XST_VLANLISTDEL, nullptr, removeVlans, MSTP_VLAN_LIST_SIZE),
    nmReadWrite<X>(MSTP_XST_ROWSTATUS, nmGetField<&X::rowStatus>, setOwnRowStatus),
    nmReadWrite<X>(MSTP_XST_ROOTPROTECTION, nmGetTruth<&X::rootProtection>,
                   nmSetTruth<&X::rootProtection>),
    nmReadOnly<X>(MSTP_XST_REMAININGHOPS, getRemainingHops),
};

bool mstpXstIsOctets(uint32_t attribute) {
    return nmIsOctets(nmFind(XST, attribute));
}

int32_t mstpXstGetApi(uint32_t xstId, uint32_t attribute, void* value) {
    const NmLocked locked;
    tMstpBridge* bridge = mstpBridgeGet(1);
    if (bridge == nullptr || !mstpXstRuns(bridge, xstId)) {
        return NM_REFUSED;
    }
    return nmRead(nmFind(XST, attribute), mstpXstGet(bridge, xstId), value);
}

static bool concernsLife(uint32_t attribute) {
    return attribute == MSTP_XST_ROWSTATUS;
}

// Changes of VLANs and of life restart the instance although the platform refuses them.
static bool restartsWhenRefused(uint32_t attribute) {
    return attribute == MSTP_XST_VLANLIST || attribute == MSTP_XST_VLANLISTDEL ||
           concernsLife(attribute);
}

static int32_t offerAndWrite(X* xst, uint32_t xstId, const Row* row, void* value, uint32_t flag) {
    const int32_t refusal =
        kelHwMstpXstSync(xstId, row->attribute + MSTP_XST_SYNC_BASE, value, nmSyncFlag(row, flag));
    if (refusal != 0) {
        if (xst != nullptr && restartsWhenRefused(row->attribute)) {
            mstpXstReset(xst); // refuses an instance that is not active
        }
        return refusal;
    }
    if (xst == nullptr) {
        return setRowStatus(mstpBridgeGet(1), xstId, nullptr, *static_cast<uint32_t*>(value));
    }
    const int32_t result = nmWrite(row, xst, value);
    if (result == 0 && !concernsLife(row->attribute)) {
        mstpXstReset(xst);
    }
    return result;
}

int32_t _mstpXstSetApi(uint32_t xstId, uint32_t attribute, void* value, uint32_t flag) {
    const NmLocked locked;
    tMstpBridge* bridge = mstpBridgeGet(1);
    if (bridge == nullptr || !mstpXstRuns(bridge, xstId)) {
        return NM_REFUSED;
    }
    X* xst = mstpXstGet(bridge, xstId);
    if (xst == nullptr && !concernsLife(attribute)) {
        return NM_REFUSED;
    }
    const Row* row = nmFind(XST, attribute);
    if (!nmSettable(row)) {
        mstpXstReset(xst);
        return NM_REFUSED;
    }
    return nmTakes(row, value) ? offerAndWrite(xst, xstId, row, value, flag) : NM_REFUSED;
}

int32_t mstpXstSetApi(uint32_t xstId, uint32_t attribute, void* value) {
    return _mstpXstSetApi(xstId, attribute, value, MSTP_SET_FLAG);
}

int32_t mstpXstSyncApi(uint32_t xstId, uint32_t attribute, void* value) {
    return _mstpXstSetApi(xstId, attribute, value, MSTP_SYNC_FLAG);
}
