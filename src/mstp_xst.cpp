// A spanning tree instance is one tree through the network: the CIST (instance 0), which every
// bridge takes part in, or an MSTI, which exists inside a region (13.5 of IEEE 802.1Q-2005). VLANs
// are mapped to instances, and a port forwards a VLAN's frames by its state in that VLAN's
// instance.
//
// An instance is a slot of its bridge's slice of the instance pool, at its own number. It is added
// first, without taking part in anything; the caller then declares its row active, and only then
// does initialisation bind it to a hardware group and take in the bridge's ports.

#include "mstp_xst.h"

#include <cstring>

#include "mstp/context.h"
#include "mstp_bridge.h"
#include "mstp_debug.h"
#include "mstp_io.h"
#include "mstp_port.h"
#include "mstp_time.h"
#include "mstp_trace.h"
#include "mstp_vector.h"

static constexpr uint8_t DEFAULT_BRIDGE_PRIORITY = 8; // times 4096

// The third byte of the bridge's address, deliberately, and not the highest instance number.
static void updtXstIdMax(tMstpBridge* bridge) {
    bridge->xstIdMax = bridge->bridgeMac[2];
}

static void traceOfBridge(const char* what, const tMstpBridge* bridge, uint32_t xstId) {
    if (mstpTracing(MSTP_DEBUG_OBJECT)) {
        mstpDebug("bridge %d %s msti %d", bridge->index, what, xstId);
    }
}

// A slot may be taken anew while it stands in its bridge's list and ports stand in its own.
static void letGo(tMstpXst* xst) {
    if (!listLinked(&xst->node)) {
        return;
    }
    listRemove(&xst->node);
    xst->bridge->xstCount--;
    for (tMstpXstPort* xstPort : xstPortsOf(xst)) {
        listRemove(&xstPort->node);
    }
}

tMstpXst* mstpXstAdd(tMstpBridge* bridge, uint32_t index) {
    traceOfBridge("add", bridge, index);
    if (index >= gMstp.xstLimit) {
        return nullptr;
    }
    tMstpXst* xst = &bridge->xsts[index];
    letGo(xst);
    memset(xst, 0, sizeof *xst);
    listInit(&xst->xstPortList);
    xst->xstId = static_cast<uint8_t>(index);
    xst->bridge = bridge;
    xst->cist = index == 0 ? 1 : 0;
    xst->bridgeId.priority = DEFAULT_BRIDGE_PRIORITY;
    mstpBridgeIdSetExtension(&xst->bridgeId, index);
    memcpy(xst->bridgeId.mac, bridge->bridgeMac, MSTP_MAC_SIZE);
    bridge->xstCount++;
    listInsertSorted<tMstpXst, offsetof(tMstpXst, node)>(
        &bridge->xstList, &xst->node, [](const tMstpXst* each) { return each->xstId; });
    updtXstIdMax(bridge);
    return xst;
}

tMstpXst* mstpXstGet(tMstpBridge* bridge, uint32_t index) {
    if (index >= gMstp.xstLimit) {
        return nullptr;
    }
    tMstpXst* xst = &bridge->xsts[index];
    return xst->rowStatus != 0 ? xst : nullptr;
}

static void removeAllPorts(tMstpBridge* bridge) {
    for (tMstpPort* port : portsOf(bridge)) {
        mstpBridgePortDisable(port);
        mstpBridgePortDelete(bridge, port);
    }
}

int32_t mstpXstDelete(tMstpXst* xst) {
    if (xst->rowStatus == 0) {
        return -1;
    }
    tMstpBridge* bridge = xst->bridge;
    traceOfBridge("del", bridge, xst->xstId);
    xst->rowStatus = 0;
    xst->xstId = 0;
    xst->bridge = nullptr;
    bridge->xstCount--;
    listRemove(&xst->node);
    if (listEmpty(&bridge->xstList)) {
        bridge->xstIdMax = 0;
        removeAllPorts(bridge);
    } else {
        updtXstIdMax(bridge);
    }
    return 0;
}

// The bridge starts as the root of the tree.
static void becomeRoot(tMstpXst* xst) {
    tMstpPortId noPort = {};
    const tMstpBridge* bridge = xst->bridge;
    tMstpBridgeId* self = &xst->bridgeId;
    mstpVectorCreate(&xst->bridgePriority, self, 0, self, 0, self, &noPort, &noPort);
    mstpTimeCreate(&xst->bridgeTimes, 0, bridge->bridgeMaxAge, bridge->bridgeForwardDelay,
                   bridge->bridgeHelloTime, bridge->bridgeMaxHops);
    xst->rootPriority = xst->bridgePriority;
    xst->rootTimes = xst->bridgeTimes;
    xst->rootPortId = noPort;
    xst->masterPortId = noPort;
}

static void takeInPort(tMstpXst* xst, tMstpPort* port) {
    tMstpXstPort* xstPort = mstpXstPortAdd(xst, port);
    if (xstPort != nullptr) {
        mstpXstPortInit(xstPort);
        return;
    }
    if (mstpTracing(MSTP_DEBUG_REFUSAL)) {
        mstpDebug("msti %d add port %s failed", xst->xstId, mstpNameOf(port->unit).text);
    }
}

int32_t mstpXstInit(tMstpXst* xst) {
    if (xst->rowStatus != MSTP_ACTIVE) {
        return -1;
    }
    traceXst(MSTP_DEBUG_ACTIVITY, "msti %d init", xst);
    memcpy(xst->bridgeId.mac, xst->bridge->bridgeMac, MSTP_MAC_SIZE);
    becomeRoot(xst);
    mstpStgAdd(xst);
    for (tMstpPort* port : portsOf(xst->bridge)) {
        takeInPort(xst, port);
    }
    xst->timeSinceTopologyChange = 0;
    xst->topologyChange = 0;
    xst->topologyChangesCount = 0;
    gMstp.xstCount++;
    mstpBridgePost(xst->bridge, MSTP_EVENT_FSM);
    return 0;
}

int32_t mstpXstReset(tMstpXst* xst) {
    if (xst->rowStatus != MSTP_ACTIVE) {
        return -1;
    }
    traceXst(MSTP_DEBUG_ACTIVITY, "msti %d reset", xst);
    becomeRoot(xst);
    for (tMstpXstPort* xstPort : xstPortsOf(xst)) {
        mstpXstPortInit(xstPort);
    }
    mstpBridgePost(xst->bridge, MSTP_EVENT_FSM);
    return 0;
}

int32_t mstpXstDisable(tMstpXst* xst) {
    if (xst->rowStatus != MSTP_ACTIVE) {
        return -1;
    }
    traceXst(MSTP_DEBUG_ACTIVITY, "msti %d disable", xst);
    for (tMstpXstPort* xstPort : xstPortsOf(xst)) {
        mstpXstPortDisable(xstPort);
        mstpXstPortDelete(xstPort);
    }
    mstpStgDel(xst);
    xst->rowStatus = MSTP_NOTINSERVICE;
    gMstp.xstCount--;
    return 0;
}

// ---- VLANs of an instance

static uint32_t boundedLength(uint32_t len) {
    return len < MSTP_VLAN_LIST_SIZE ? len : MSTP_VLAN_LIST_SIZE;
}

// After a change of the first @p len bytes.
static void updtVlanLen(tMstpXst* xst, uint32_t len) {
    const uint32_t touched = len > xst->vlanLen ? len : xst->vlanLen;
    xst->vlanLen = bitListUsedBytes(xst->vlanList, touched);
}

int32_t mstpXstVlanAdd(tMstpXst* xst, const uint8_t* vlanList, uint32_t len) {
    const uint32_t length = boundedLength(len);
    bitListOr(xst->vlanList, vlanList, length);
    updtVlanLen(xst, length);
    return 0;
}

int32_t mstpXstVlanDelete(tMstpXst* xst, const uint8_t* vlanList, uint32_t len) {
    const uint32_t length = boundedLength(len);
    for (uint32_t i = 0; i < length; i++) {
        xst->vlanList[i] = static_cast<uint8_t>(xst->vlanList[i] & ~vlanList[i]);
    }
    updtVlanLen(xst, length);
    return 0;
}
