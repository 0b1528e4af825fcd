// A bridge is one spanning tree entity: it owns ports and instances, and this module creates it,
// initialises it and drives the state machines of IEEE 802.1Q-2005 clause 13 on it.
//
// The standard lets all machines run at once and forever. Here they run in passes: whoever changes
// something that a machine looks at sets an event bit and wakes the main loop, which makes one pass
// over the ports whose link is up. Within a pass the order is fixed: per port first the machines
// that exist once per port, then for each instance of the port the five that exist per instance,
// the Port Transmit machine last. What one port's machines change reaches the ports before it on
// the next pass; a pass is never repeated here.
//
// Bridges with the same MST configuration identifier form a region (13.7). The identifier's last
// component, a digest of the table that assigns every VLAN to an instance, is computed here, and
// so is the bulk assignment that deals a list of VLANs out over a fresh set of instances.

#include "mstp_bridge.h"

#include <cstring>

#include "mstp/context.h"
#include "mstp_bridge_detection_state_machine.h"
#include "mstp_debug.h"
#include "mstp_io.h"
#include "mstp_main.h"
#include "mstp_port.h"
#include "mstp_port_information_state_machine.h"
#include "mstp_port_protocol_migration_state_machine.h"
#include "mstp_port_receive_state_machine.h"
#include "mstp_port_role_selection_state_machine.h"
#include "mstp_port_role_transitions_state_machine.h"
#include "mstp_port_state_transition_state_machine.h"
#include "mstp_port_timers_state_machine.h"
#include "mstp_port_transmit_state_machine.h"
#include "mstp_topology_change_state_machine.h"
#include "mstp_trace.h"
#include "mstp_xst.h"
#include "platform/digest.h"

// ---- Creation and deletion

// A slot may be taken anew while records still hang on it. They would keep pointing at its lists.
static void letGo(tMstpBridge* bridge) {
    timerStop(&gMstp.timerList, &bridge->oneSecondTimer);
    listRemove(&bridge->node);
    for (tMstpPort* port : portsOf(bridge)) {
        listRemove(&port->node);
    }
    for (tMstpXst* xst : xstsOf(bridge)) {
        listRemove(&xst->node);
    }
}

static void setDefaults(tMstpBridge* bridge, uint32_t index) {
    bridge->index = static_cast<uint8_t>(index);
    bridge->type = MSTP_BRIDGE_CUSTOMER;
    bridge->rowStatus = MSTP_ACTIVE;
    bridge->migrateTime = 3;
    bridge->bridgeMaxAge = 20;
    bridge->bridgeHelloTime = 2;
    bridge->bridgeForwardDelay = 15;
    bridge->bridgeMaxHops = 20;
    bridge->txHoldCount = 6;
    bridge->pathCostDefault = MSTP_PATHCOST_8021T2001;
    bridge->capable = MSTP_CAPABLE_DOT1Q;
    bridge->forceVersion = MSTP_FORCE_ATUODOT1S;
    bridge->ageingTime = 300;
    bridge->nameLen = gMstp.bridgeLen;
    memcpy(bridge->cfgIdName, gMstp.bridgeName, gMstp.bridgeLen);
    bridge->p2pDetection = 1;
    bridge->tcHoldOffTime = 10;
    bridge->bpduGuardTime = -1;
    bridge->loopHoldTime = -1;
    // The stride is the number of bridges, not of instances, deliberately.
    bridge->xsts = gMstp.xsts + static_cast<size_t>(index - 1) * gMstp.bridgeLimit;
    listInit(&bridge->portsList);
    listInit(&bridge->xstList);
}

tMstpBridge* mstpBridgeAdd(uint32_t index) {
    if (mstpTracing(MSTP_DEBUG_OBJECT)) {
        mstpDebug("bridge %d add ", index);
    }
    if (index == 0 || index > gMstp.bridgeLimit) {
        return nullptr;
    }
    tMstpBridge* bridge = &gMstp.bridges[index - 1];
    letGo(bridge);
    memset(bridge, 0, sizeof *bridge);
    setDefaults(bridge, index);
    mstpUpdtBridgeMac(bridge);
    listInsertSorted<tMstpBridge, offsetof(tMstpBridge, node)>(
        &gMstp.bridgeList, &bridge->node, [](const tMstpBridge* each) { return each->index; });
    return bridge;
}

tMstpBridge* mstpBridgeGet(uint32_t index) {
    if (index == 0 || index > gMstp.bridgeLimit) {
        return nullptr;
    }
    tMstpBridge* bridge = &gMstp.bridges[index - 1];
    return bridge->rowStatus != 0 ? bridge : nullptr;
}

int32_t mstpBridgeDelete(tMstpBridge* bridge) {
    traceBridge(MSTP_DEBUG_OBJECT, "bridge %d del ", bridge);
    timerStop(&gMstp.timerList, &bridge->oneSecondTimer);
    for (tMstpXst* xst : xstsOf(bridge)) {
        mstpXstDisable(xst);
    }
    for (tMstpPort* port : portsOf(bridge)) {
        mstpBridgePortDisable(port);
    }
    listRemove(&bridge->node);
    bridge->rowStatus = 0;
    return 0;
}

// ---- Initialisation and posted work

// Below full MSTP only the CIST runs.
static void removeMstis(tMstpBridge* bridge) {
    for (tMstpXst* xst : xstsOf(bridge)) {
        if (xst->xstId != 0) {
            mstpXstDisable(xst);
            mstpXstDelete(xst);
        }
    }
}

static void restartXsts(tMstpBridge* bridge) {
    for (tMstpXst* xst : xstsOf(bridge)) {
        if (xst->rowStatus == MSTP_ACTIVE) {
            mstpXstDisable(xst);
            xst->rowStatus = MSTP_ACTIVE;
            mstpXstInit(xst);
        }
    }
}

int32_t mstpBridgeInit(tMstpBridge* bridge) {
    traceBridge(MSTP_DEBUG_ACTIVITY, "bridge %d init", bridge);
    for (tMstpPort* port : portsOf(bridge)) {
        mstpBridgePortInit(port);
    }
    if (bridge->forceVersion < MSTP_FORCE_ATUODOT1S) {
        removeMstis(bridge);
    }
    restartXsts(bridge);
    mstpBridgeDigest(bridge);
    bridge->begin = 1;
    mstpBridgeFSM(bridge);
    bridge->begin = 0;
    const int32_t result = mstpBridgeStartOneSecondTimer(bridge);
    bridge->inited = 1;
    gMstp.busyDoing = MSTP_BUSY_NULL;
    return result;
}

void mstpBridgeInitPorts(tMstpBridge* bridge) {
    for (tMstpPort* port : portsOf(bridge)) {
        if (port->inited == 0) {
            mstpBridgePortInit(port);
        }
    }
}

void mstpBridgeReset(tMstpBridge* bridge) {
    if ((bridge->event & MSTP_EVENT_REINIT) == 0) {
        mstpBridgePost(bridge, MSTP_EVENT_REINIT);
    }
}

void mstpBridgePost(tMstpBridge* bridge, uint32_t bits) {
    bridge->event |= bits;
    mstpSendMsg(MSTP_MSG_NULL);
}

int32_t mstpBridgeStartOneSecondTimer(tMstpBridge* bridge) {
    return mstpRestartTimer(&bridge->oneSecondTimer, TIMER_TICKS_PER_SECOND,
                            mstpIntervalTimerExpired, bridge);
}

int32_t mstpBridgeTimerProcess(tMstpBridge* bridge) {
    traceBridge(MSTP_DEBUG_ACTIVITY, "bridge %d timer process", bridge);
    for (tMstpPort* port : portsOf(bridge)) {
        if (mstpPortIsLive(port)) {
            port->tick = 1;
            mstpPortTimerFSM(port);
        }
    }
    return 0;
}

void mstpBridgeIntervalTx(tMstpBridge* bridge) {
    for (tMstpPort* port : portsOf(bridge)) {
        if (mstpPortIsLive(port)) {
            mstpPortTransmitFSM(port);
        }
    }
}

// ---- The driver

void mstpBridgePortDoNothing() {}

static void holdOffExpired(void*, void*, void*) {
    mstpBridgePortDoNothing();
}

void mstpFlushListInit(tMstpFlushList* flush) {
    memset(flush->vlans, 0, sizeof flush->vlans);
    flush->list.pBuf = reinterpret_cast<int8_t*>(flush->vlans);
    flush->list.len = 0;
}

// The instance's VLANs join those that the port will flush.
static void collectVlans(const tMstpXst* xst, tMstpFlushList* flush) {
    const uint32_t length = xst->vlanLen < MSTP_VLAN_LIST_SIZE ? xst->vlanLen : MSTP_VLAN_LIST_SIZE;
    bitListOr(flush->vlans, xst->vlanList, length);
    if (flush->list.len < length) {
        flush->list.len = length;
    }
}

// Under topology change protection flushes of an instance port keep a distance: one that comes too
// early stays pending. Otherwise this flush starts the next distance.
static bool isHeldOff(tMstpXstPort* xstPort, TIMERFUNCPTR expired) {
    const tMstpBridge* bridge = xstPort->host->bridge;
    if (bridge->tcProtection == 0) {
        return false;
    }
    if (mstpRemain(&xstPort->tcHoldoffTimer) != 0) {
        return true;
    }
    mstpRestartTimer(&xstPort->tcHoldoffTimer, bridge->tcHoldOffTime * TIMER_TICKS_PER_SECOND,
                     expired, nullptr);
    return false;
}

static void runXstPort(tMstpXstPort* xstPort) {
    mstpPortInformationFSM(xstPort);
    mstpPortRoleSelectionFSM(xstPort->xst);
    mstpPortRoleTransitionsFSM(xstPort);
    mstpPortStateTransitionFSM(xstPort);
    mstpTopologyChangeFSM(xstPort);
}

void mstpDriveXstPorts(tMstpPort* port, tMstpFlushList* flush, TIMERFUNCPTR expired) {
    bool flushes = false;
    for (tMstpXstPort* xstPort : xstPortsOf(port)) {
        runXstPort(xstPort);
        if (xstPort->fdbFlush == 0 || isHeldOff(xstPort, expired)) {
            continue;
        }
        xstPort->fdbFlush = 0;
        collectVlans(xstPort->xst, flush);
        flushes = true;
    }
    if (flushes) {
        mstpPortFlush(port, &flush->list);
    }
}

static void clearReceivedMessages(tMstpPort* port) {
    for (tMstpXstPort* xstPort : xstPortsOf(port)) {
        xstPort->rcvdMsg = 0;
    }
    port->rcvdAnyMsg = 0;
    port->rcvdCistMsg = 0;
    port->rcvdMstiMsg = 0;
}

void mstpBridgeFSM(tMstpBridge* bridge) {
    // One list for the whole pass: a port that flushes also covers the VLANs of the ports before
    // it.
    tMstpFlushList flush;
    mstpFlushListInit(&flush);
    traceBridge(MSTP_DEBUG_ACTIVITY, "bridge %d FSM process", bridge);
    for (tMstpPort* port : portsOf(bridge)) {
        if (!mstpPortIsLive(port)) {
            continue;
        }
        mstpPortReceiveFSM(port, nullptr);
        mstpPortProtocolMigrationFSM(port);
        mstpBridgeDetectionFSM(port);
        mstpDriveXstPorts(port, &flush, holdOffExpired);
        mstpPortTransmitFSM(port);
    }
    for (tMstpPort* port : portsOf(bridge)) {
        if (mstpPortIsLive(port)) {
            clearReceivedMessages(port);
        }
    }
}

// ---- MST region

static constexpr uint32_t TABLE_ENTRIES = 4096;

// Configuration digest signature key, 13.7 of IEEE 802.1Q-2005.
static constexpr uint8_t DIGEST_KEY[16] = {0x13, 0xAC, 0x06, 0xA6, 0x2E, 0x47, 0xFD, 0x51,
                                           0xF9, 0x5D, 0x2B, 0xA2, 0x43, 0xCD, 0x03, 0x46};

// The configuration table holds 16-bit instance numbers, the most significant byte first; bit i of
// an instance's list is VLAN i + 1. There is no entry for the list's last bit.
static void enterVlans(const tMstpXst* xst, uint8_t* table) {
    const uint32_t bits = xst->vlanLen * 8;
    for (uint32_t bit = 0; bit < bits && bit + 1 < TABLE_ENTRIES; bit++) {
        if (bitListTst(xst->vlanList, bit)) {
            table[(bit + 1) * 2 + 1] = xst->xstId;
        }
    }
}

void mstpBridgeDigest(tMstpBridge* bridge) {
    uint8_t table[TABLE_ENTRIES * 2] = {};
    for (const tMstpXst* xst : xstsOf(bridge)) {
        enterVlans(xst, table);
    }
    hmac_md5(table, sizeof table, DIGEST_KEY, sizeof DIGEST_KEY, bridge->cfgIdDigest);
}

static void removeAllXsts(tMstpBridge* bridge) {
    for (tMstpXst* xst : xstsOf(bridge)) {
        mstpXstDisable(xst);
        mstpXstDelete(xst);
    }
}

// @return how many instances there are now
static uint32_t addFastXsts(tMstpBridge* bridge) {
    uint32_t count = 0;
    const int32_t highest = bitListMaxBit(bridge->fastXsts, sizeof bridge->fastXsts);
    for (int32_t id = 0; id <= highest; id++) {
        const uint32_t index = static_cast<uint32_t>(id);
        if (!bitListTst(bridge->fastXsts, index)) {
            continue;
        }
        tMstpXst* xst = mstpXstAdd(bridge, index);
        if (xst != nullptr) {
            xst->rowStatus = MSTP_NOTINSERVICE;
            count++;
        }
    }
    return count;
}

// Deals like cards: the VLANs in ascending order, one to each instance in turn.
static void dealVlans(tMstpBridge* bridge, uint32_t count) {
    uint32_t position = 0;
    for (tMstpXst* xst : xstsOf(bridge)) {
        uint32_t dealt = 0;
        for (uint32_t bit = 0; bit < MSTP_VLAN_ID_MAX; bit++) {
            if (bitListTst(bridge->fastVlans, bit) && dealt++ % count == position) {
                bitListSet(xst->vlanList, bit);
            }
        }
        xst->vlanLen = bitListUsedBytes(xst->vlanList, MSTP_VLAN_LIST_SIZE);
        xst->rowStatus = MSTP_ACTIVE;
        position++;
    }
}

void mstpBridgeFastMapVlan(tMstpBridge* bridge) {
    removeAllXsts(bridge);
    const uint32_t count = addFastXsts(bridge);
    if (count != 0) {
        dealVlans(bridge, count);
    }
}
