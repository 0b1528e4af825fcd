// What the protocol computes takes effect here, and what it must know of the switch is read here.
//
// A switching chip does not know of spanning tree instances. It has groups: sets of VLANs that
// share one state per port. Every instance owns a group whose VLANs are the instance's, as far as
// they exist on the switch; a VLAN that belongs to no MSTI is the CIST's (8.8.7 of IEEE
// 802.1Q-2005). So a new MSTI takes its VLANs from the CIST, and one that goes gives them back.
//
// The rest are small adapters: which interface delivers BPDUs, its speed, its link, its number, and
// the bridge's address.

#include <cstdio>
#include <cstring>

#include "mstp/context.h"
#include "mstp_debug.h"
#include "mstp_io.h"
#include "mstp_nm.h"
#include "mstp_trace.h"
#include "mstp_xst.h"
#include "platform/hardware.h"
#include "platform/interfaces.h"
#include "platform/stg.h"

static uint32_t kindOf(const tMstpBridge* bridge) {
    return bridge->type == MSTP_BRIDGE_PROVIDER ? KEL_KIND_PROVIDER : KEL_KIND_CUSTOMER;
}

// ---- groups

static tMstpXst* cistOf(const tMstpXst* xst) {
    return &xst->bridge->xsts[0];
}

static bool vlanExists(uint32_t vlan) {
    return kelVlanGetApi(vlan, KEL_VLAN_EXISTS, nullptr) == 0;
}

// Those VLANs of @p list that the switch has: a group takes no others.
static void existingVlans(const uint8_t* list, uint8_t* bitmap) {
    memset(bitmap, 0, MSTP_VLAN_LIST_SIZE);
    for (uint32_t vlan = 1; vlan <= MSTP_VLAN_ID_MAX; vlan++) {
        if (bitListTst(list, vlan - 1) && vlanExists(vlan)) {
            bitListSet(bitmap, vlan - 1);
        }
    }
}

// The MSTI's VLANs leave the CIST's list, all of them, and change groups, as far as they exist.
static void takeVlansFromCist(const tMstpXst* xst) {
    tMstpXst* cist = cistOf(xst);
    uint8_t bitmap[MSTP_VLAN_LIST_SIZE];
    existingVlans(xst->vlanList, bitmap);
    mstpXstVlanDelete(cist, xst->vlanList, xst->vlanLen);
    stgShrProtocolVlanDel(cist->stgId, bitmap, xst->vlanLen);
    stgShrProtocolVlanAdd(xst->stgId, bitmap, xst->vlanLen);
}

static void vlansOfMstis(const tMstpBridge* bridge, uint8_t* taken) {
    memset(taken, 0, MSTP_VLAN_LIST_SIZE);
    for (uint32_t i = 1; i < gMstp.xstLimit; i++) {
        if (bridge->xsts[i].rowStatus != 0) {
            bitListOr(taken, bridge->xsts[i].vlanList, MSTP_VLAN_LIST_SIZE);
        }
    }
}

// The CIST takes every VLAN that no other instance has.
static void takeFreeVlans(tMstpXst* cist) {
    uint8_t taken[MSTP_VLAN_LIST_SIZE];
    uint8_t bitmap[MSTP_VLAN_LIST_SIZE] = {};
    vlansOfMstis(cist->bridge, taken);
    for (uint32_t vlan = 1; vlan <= MSTP_VLAN_ID_MAX; vlan++) {
        if (bitListTst(taken, vlan - 1)) {
            continue;
        }
        bitListSet(cist->vlanList, vlan - 1);
        if (vlanExists(vlan)) {
            bitListSet(bitmap, vlan - 1);
        }
    }
    cist->vlanLen = bitListUsedBytes(cist->vlanList, MSTP_VLAN_LIST_SIZE);
    stgShrProtocolVlanAdd(cist->stgId, bitmap, cist->vlanLen);
}

int32_t mstpStgAdd(tMstpXst* xst) {
    stgShrProtocolAdd(&xst->stgId, kindOf(xst->bridge));
    if (xst->stgId == 0) {
        return -1;
    }
    if (xst->cist != 0) {
        takeFreeVlans(xst);
    } else {
        takeVlansFromCist(xst);
    }
    return 0;
}

static void returnVlansToCist(const tMstpXst* xst, const uint8_t* bitmap) {
    tMstpXst* cist = cistOf(xst);
    mstpXstVlanAdd(cist, xst->vlanList, xst->vlanLen);
    stgShrProtocolVlanAdd(cist->stgId, bitmap, xst->vlanLen);
}

int32_t mstpStgDel(tMstpXst* xst) {
    if (xst->stgId == 0) {
        printf("mstpStgDel MSTI %d  del stg failed,stgId is 0\r\n\r\n", xst->xstId);
        return -1;
    }
    uint8_t bitmap[MSTP_VLAN_LIST_SIZE];
    existingVlans(xst->vlanList, bitmap);
    if (xst->cist == 0) {
        returnVlansToCist(xst, bitmap);
    }
    if (stgShrProtocolVlanDel(xst->stgId, bitmap, xst->vlanLen) != 0) {
        printf("mstpStgDel MSTI %u stgId %u stgShrProtocolVlanDel failed\r\n\r\n", xst->xstId,
               xst->stgId);
        return -1;
    }
    if (stgShrProtocolDel(xst->stgId) != 0) {
        printf("mstpStgDel MSTI %u stgId %u stgShrProtocolDel failed\r\n\r\n", xst->xstId,
               xst->stgId);
        return -1;
    }
    xst->stgId = 0;
    return 0;
}

// Every state but discarding and learning forwards, the disabled one included, deliberately: where
// spanning tree does not run it does not block.
static uint32_t groupStateOf(const tMstpXstPort* xstPort) {
    switch (xstPort->hwState) {
    case MSTP_PORT_STATE_DISCARDING:
        traceXstPort(MSTP_DEBUG_ACTIVITY, "msti %d port %s set port state blocking", xstPort);
        return STG_PORT_BLOCKING;
    case MSTP_PORT_STATE_LEARNING:
        traceXstPort(MSTP_DEBUG_ACTIVITY, "msti %d port %s set port state learning", xstPort);
        return STG_PORT_LEARNING;
    default:
        traceXstPort(MSTP_DEBUG_ACTIVITY, "msti %d port %s set port state forwarding", xstPort);
        return STG_PORT_FORWARDING;
    }
}

int32_t mstpStgPortSet(tMstpXstPort* xstPort) {
    const uint32_t state = groupStateOf(xstPort);
    if (gMstp.trap != 0) {
        mstpTrapTopologyChange(xstPort->xst, xstPort);
    }
    if (xstPort->xst->stgId == 0) {
        return -1;
    }
    return stgShrProtocolPortStateSet(xstPort->xst->stgId, xstPort->host->unit, state);
}

// ---- adapters

int32_t mstpAttach(tMstpPort* port) {
    uint32_t kind = kindOf(port->bridge);
    const int32_t result = kelIfSetApi(port->unit, KEL_IF_BPDU_ATTACH, &kind);
    if (result != 0) {
        reportPort("\r\n if %s bind filter for stp cpu error", port);
    }
    return result;
}

int32_t mstpDetach(tMstpPort* port) {
    uint32_t kind = kindOf(port->bridge);
    port->cookie = nullptr;
    return kelIfSetApi(port->unit, KEL_IF_BPDU_DETACH, &kind);
}

void mstpUpdtPortSpeed(tMstpPort* port) {
    static constexpr uint32_t DEFAULT_SPEED = 100;
    port->speed = DEFAULT_SPEED;
    kelIfGetApi(port->unit, KEL_IF_SPEED, &port->speed);
}

void mstpUpdtPortOperState(tMstpPort* port) {
    static constexpr uint32_t STATUS_UP = 1;
    static constexpr uint32_t STATUS_DOWN = 2;
    uint32_t status = STATUS_DOWN;
    kelIfGetApi(port->unit, KEL_IF_OPER_STATUS, &status);
    port->operState = status == STATUS_UP ? MSTP_PORT_OPERATE_UP : MSTP_PORT_OPERATE_DOWN;
}

void mstpUpdtBridgeMac(tMstpBridge* bridge) {
    octetstring address = {reinterpret_cast<int8_t*>(bridge->bridgeMac), MSTP_MAC_SIZE};
    if (kelScalarGetApi(0, KEL_SCALAR_SYSTEM_MAC, &address) != 0) {
        printf("\r\n get sys mac failed");
    }
}

// The port number of a chassis joins three coordinates; else the platform numbers its ports.
static uint32_t portNumberOf(const tPhyIfIndex* position) {
    if (position->slot == 0) {
        return position->virtualnum;
    }
    return ((position->unit << 10) & 0xC00) + ((position->slot << 6) & 0x3C0) +
           (position->port & 0x3F);
}

void mstpUpdtPortIndex(tMstpPort* port) {
    tPhyIfIndex position = {};
    sysIndexTrans(port->unit, KEL_INDEX_POSITION, &position);
    port->index = portNumberOf(&position) & 0xFFF;
}
