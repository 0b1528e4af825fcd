// A bridge port is one interface of the switch; an instance port is its presence in one spanning
// tree instance. IEEE 802.1Q-2005 keeps variables of both kinds (13.24): what concerns the wire
// (BPDUs, timers of transmission, edge detection) exists once per port, what concerns a tree
// (role, state, priority vectors) once per port and instance.
//
// Each port owns an array of instance ports; the record of instance n is element n. A record in
// use is linked twice, into its instance's list and into its port's list. Ports are added without
// being initialised: link events and posted work do that, and do it again whenever the link
// changes.

#include "mstp_port.h"

#include <cstring>

#include "mstp/context.h"
#include "mstp_bridge.h"
#include "mstp_bridge_detection_state_machine.h"
#include "mstp_debug.h"
#include "mstp_io.h"
#include "mstp_main.h"
#include "mstp_port_information_state_machine.h"
#include "mstp_port_protocol_migration_state_machine.h"
#include "mstp_port_receive_state_machine.h"
#include "mstp_port_role_selection_state_machine.h"
#include "mstp_port_role_transitions_state_machine.h"
#include "mstp_port_state_transition_state_machine.h"
#include "mstp_port_timers_state_machine.h"
#include "mstp_port_transmit_state_machine.h"
#include "mstp_state_machine_procedures.h"
#include "mstp_topology_change_state_machine.h"
#include "mstp_trace.h"
#include "mstp_vector.h"
#include "mstp_xst.h"
#include "platform/interfaces.h"

static constexpr uint8_t DEFAULT_PORT_PRIORITY = 8; // times 16
static constexpr uint32_t DEFAULT_SNOOPING = 2;

// ---- Helpers

static void traceOfBridge(const char* what, const tMstpBridge* bridge, uint32_t unit) {
    if (mstpTracing(MSTP_DEBUG_OBJECT)) {
        mstpDebug("bridge %d %s port %s", bridge->index, what, mstpNameOf(unit).text);
    }
}

static void stopPortTimers(tMstpPort* port) {
    timerStop(&gMstp.timerList, &port->mdelayWhileTimer);
    timerStop(&gMstp.timerList, &port->helloWhenTimer);
    timerStop(&gMstp.timerList, &port->edgeDelayWhileTimer);
    timerStop(&gMstp.timerList, &port->bpduGuardTimer);
    timerStop(&gMstp.timerList, &port->p2pHoldTimer);
}

static void stopXstPortTimers(tMstpXstPort* xstPort) {
    timerStop(&gMstp.timerList, &xstPort->tcWhileTimer);
    timerStop(&gMstp.timerList, &xstPort->fdWhileTimer);
    timerStop(&gMstp.timerList, &xstPort->rcvdInfoWhileTimer);
    timerStop(&gMstp.timerList, &xstPort->rrWhileTimer);
    timerStop(&gMstp.timerList, &xstPort->rbWhileTimer);
    timerStop(&gMstp.timerList, &xstPort->tcHoldoffTimer);
    timerStop(&gMstp.timerList, &xstPort->rootHoldoffTimer);
    timerStop(&gMstp.timerList, &xstPort->loopHoldTimer);
}

static void unlinkXstPort(tMstpXstPort* xstPort) {
    listRemove(&xstPort->node);
    listRemove(&xstPort->element);
}

// Zeroes what belongs to the port's present use; its array of instance ports stays its own. A timer
// that still ran would fire out of the zeroed record.
static void clearPort(tMstpPort* port) {
    stopPortTimers(port);
    memset(static_cast<void*>(port), 0, offsetof(tMstpPort, xstPortList));
}

static void clearXstPort(tMstpXstPort* xstPort) {
    stopXstPortTimers(xstPort);
    unlinkXstPort(xstPort);
    memset(xstPort, 0, sizeof *xstPort);
}

static void identify(tMstpXstPort* xstPort, tMstpPort* port) {
    xstPort->host = port;
    xstPort->portId.priority = DEFAULT_PORT_PRIORITY;
    mstpPortIdSetNumber(&xstPort->portId, port->index);
}

// ---- Adding, finding

// Bits of the interface's protocol-use record that stand for protocols which exclude this one.
static bool isOwnedByOther(uint32_t unit) {
    uint8_t use[KEL_IF_PROTOCOL_USE_SIZE] = {};
    if (kelIfGetApi(unit, KEL_IF_PROTOCOL_USE, use) != 0) {
        return false;
    }
    return (use[0] & 0x04) != 0 || (use[1] & (0x01 | 0x02 | 0x04)) != 0 ||
           (use[2] & (0x80 | 0x40 | 0x20)) != 0;
}

static tMstpPort* freePort() {
    for (uint32_t i = 0; i < gMstp.portLimit; i++) {
        if (gMstp.ports[i].state == MSTP_SLOT_FREE) {
            return &gMstp.ports[i];
        }
    }
    return nullptr;
}

static void setDefaults(tMstpPort* port, tMstpBridge* bridge, uint32_t unit) {
    clearPort(port);
    port->state = MSTP_SLOT_IN_USE;
    port->unit = unit;
    port->adminPointToPointMAC = 1;
    port->snoopingEnable = DEFAULT_SNOOPING;
    listInit(&port->xstPortList);
    mstpUpdtPortIndex(port);
    port->bridge = bridge;
}

static void joinXsts(tMstpPort* port) {
    for (uint32_t id = 0; id < gMstp.xstLimit; id++) {
        clearXstPort(&port->xstPorts[id]);
        identify(&port->xstPorts[id], port);
    }
    for (tMstpXst* xst : xstsOf(port->bridge)) {
        if (xst->rowStatus == MSTP_ACTIVE) {
            mstpXstPortAdd(xst, port);
        }
    }
}

// The slot that a new port gets, none if the port is refused.
static tMstpPort* slotFor(tMstpBridge* bridge, uint32_t unit) {
    if (bridge->portCount >= gMstp.portLimit) {
        traceBridge(MSTP_DEBUG_REFUSAL, "bridge %d port num exceed limit", bridge);
        return nullptr;
    }
    if (isOwnedByOther(unit)) {
        mstpDebug("Can not enable stp to %s, protocol conflict!", mstpNameOf(unit).text);
        return nullptr;
    }
    tMstpPort* port = freePort();
    if (port == nullptr) {
        traceBridge(MSTP_DEBUG_REFUSAL, "bridge %d no free port", bridge);
    }
    return port;
}

tMstpPort* mstpBridgePortAdd(tMstpBridge* bridge, uint32_t unit) {
    traceOfBridge("add", bridge, unit);
    tMstpPort* port = slotFor(bridge, unit);
    if (port == nullptr) {
        return nullptr;
    }
    setDefaults(port, bridge, unit);
    mstpAttach(port);
    bridge->portCount++;
    listInsertSorted<tMstpPort, offsetof(tMstpPort, node)>(
        &bridge->portsList, &port->node, [](const tMstpPort* each) { return each->unit; });
    joinXsts(port);
    if (bridge->portCount == 1) {
        mstpBridgeStartOneSecondTimer(bridge);
    }
    return port;
}

tMstpXstPort* mstpXstPortAdd(tMstpXst* xst, tMstpPort* port) {
    if (mstpTracing(MSTP_DEBUG_OBJECT)) {
        mstpDebug("msti %d add port %s", xst->xstId, mstpNameOf(port->unit).text);
    }
    if (xst->xstId >= gMstp.xstLimit) {
        return nullptr;
    }
    tMstpXstPort* xstPort = &port->xstPorts[xst->xstId];
    unlinkXstPort(xstPort);
    xstPort->state = MSTP_SLOT_IN_USE;
    xstPort->xst = xst;
    identify(xstPort, port);
    listInsertSorted<tMstpXstPort, offsetof(tMstpXstPort, node)>(
        &xst->xstPortList, &xstPort->node,
        [](const tMstpXstPort* each) { return each->host->unit; });
    listInsertSorted<tMstpXstPort, offsetof(tMstpXstPort, element)>(
        &port->xstPortList, &xstPort->element,
        [](const tMstpXstPort* each) { return each->xst->xstId; });
    return xstPort;
}

tMstpPort* mstpBridgePortGet(tMstpBridge* bridge, uint32_t unit) {
    if (bridge == nullptr) {
        return nullptr;
    }
    for (tMstpPort* port : portsOf(bridge)) {
        if (port->unit == unit) {
            return port;
        }
    }
    return nullptr;
}

tMstpXstPort* mstpXstPortGet(tMstpXst* xst, uint32_t unit) {
    for (tMstpXstPort* xstPort : xstPortsOf(xst)) {
        if (xstPort->host->unit == unit) {
            return xstPort;
        }
    }
    return nullptr;
}

// ---- Initialisation

static void enterInitialStates(tMstpPort* port) {
    mstpPortDicscard(port);
    mstpPortProtocolMigrationCheckingRstp(port);
    if (port->adminEdge != 0) {
        mstpBridgeDetectionEdge(port);
    } else {
        mstpBridgeDetectionNotEdge(port);
    }
    mstpPortTransmitInit(port);
    mstpPortTransmitIdle(port);
}

static void readSettings(tMstpPort* port) {
    const tMstpBridge* bridge = port->bridge;
    port->operPointToPointMAC = port->adminPointToPointMAC;
    port->operMacEnabled = 1;
    port->adminMacEnabled = 1;
    port->stpVersion = bridge->forceVersion == MSTP_FORCE_LEGACYDOT1D1998 ? 1 : 0;
    port->rstpVersion = bridge->forceVersion >= MSTP_FORCE_DOT1W ? 1 : 0;
    port->migrateTime = bridge->migrateTime;
    port->edgeDelay = bridge->migrateTime;
    port->forwardDelay = bridge->bridgeForwardDelay;
}

static void readLink(tMstpPort* port) {
    mstpUpdtPortOperState(port);
    port->upTime = port->operState == MSTP_PORT_OPERATE_UP ? mstpGetSysUpTime() : 0;
    mstpUpdtPortSpeed(port);
    mstpUpdtPortOperPathcost(port);
}

static void zeroCounters(tMstpPort* port) {
    port->rxTcnBpdu = 0;
    port->rxCfgBpdu = 0;
    port->rxRstBpdu = 0;
    port->rxMstBpdu = 0;
    port->txTcnBpdu = 0;
    port->txCfgBpdu = 0;
    port->txRstBpdu = 0;
    port->txMstBpdu = 0;
    port->mdelayWhile = 0;
    port->helloWhen = 0;
    port->edgeDelayWhile = 0;
    port->txCount = 0;
}

int32_t mstpBridgePortInit(tMstpPort* port) {
    tracePort(MSTP_DEBUG_ACTIVITY, "mstp port %s init", port);
    readSettings(port);
    readLink(port);
    zeroCounters(port);
    stopPortTimers(port);
    for (tMstpXstPort* xstPort : xstPortsOf(port)) {
        mstpXstPortInit(xstPort);
    }
    enterInitialStates(port);
    port->inited = 1;
    mstpBridgePost(port->bridge, MSTP_EVENT_FSM);
    return 0;
}

static void enterInitialStates(tMstpXstPort* xstPort) {
    mstpPortInformationDisabled(xstPort);
    mstpPortRoleSelectionInitTree(xstPort->xst);
    mstpPortRoleSelection(xstPort->xst);
    mstpPortRoleTransitionsInitPort(xstPort);
    mstpPortRoleTransitionsDisablePort(xstPort);
    mstpPortStateTransitionDiscarding(xstPort);
    mstpTopologyChangeInactive(xstPort);
}

static void zeroCounters(tMstpXstPort* xstPort) {
    xstPort->fdWhile = 0;
    xstPort->rrWhile = 0;
    xstPort->rbWhile = 0;
    xstPort->tcWhile = 0;
    xstPort->rcvdInfoWhile = 0;
}

// The port knows of no better root than its own bridge.
static void resetVectors(tMstpXstPort* xstPort) {
    tMstpXst* xst = xstPort->xst;
    tMstpBridgeId* self = &xst->bridgeId;
    mstpVectorCreate(&xstPort->portPriority, self, 0, self, 0, self, &xstPort->portId,
                     &xstPort->portId);
    xstPort->portTimes = xst->bridgeTimes;
    xstPort->designatedPriority = xstPort->portPriority;
    xstPort->designatedTimes = xstPort->portTimes;
    memset(&xstPort->msgPriority, 0, sizeof xstPort->msgPriority);
    memset(&xstPort->msgTimes, 0, sizeof xstPort->msgTimes);
}

int32_t mstpXstPortInit(tMstpXstPort* xstPort) {
    traceXstPort(MSTP_DEBUG_ACTIVITY, "msti %d port %s init", xstPort);
    zeroCounters(xstPort);
    stopXstPortTimers(xstPort);
    disableForwarding(xstPort);
    xstPort->operPathCost = xstPort->host->operPathCost;
    xstPort->pathCost =
        xstPort->adminPathCost != 0 ? xstPort->adminPathCost : xstPort->operPathCost;
    resetVectors(xstPort);
    enterInitialStates(xstPort);
    xstPort->host->bridge->event |= MSTP_EVENT_FSM;
    return 0;
}

// ---- Disabling, deleting

int32_t mstpXstPortDisable(tMstpXstPort* xstPort) {
    traceXstPort(MSTP_DEBUG_ACTIVITY, "msti %d port %s disable", xstPort);
    stopXstPortTimers(xstPort);
    xstPort->state = MSTP_SLOT_DISABLED;
    xstPort->infoIs = MSTP_DISABLED;
    enableForwarding(xstPort);
    return 0;
}

int32_t mstpBridgePortDisable(tMstpPort* port) {
    if (port->state == MSTP_SLOT_FREE) {
        return -1;
    }
    tracePort(MSTP_DEBUG_ACTIVITY, "mstp port %s disable", port);
    stopPortTimers(port);
    for (tMstpXstPort* xstPort : xstPortsOf(port)) {
        mstpXstPortDisable(xstPort);
    }
    port->state = MSTP_SLOT_DISABLED;
    return 0;
}

int32_t mstpXstPortDelete(tMstpXstPort* xstPort) {
    if (xstPort->state == MSTP_SLOT_FREE) {
        return -1;
    }
    traceXstPort(MSTP_DEBUG_OBJECT, "msti %d del port %s", xstPort);
    xstPort->state = MSTP_SLOT_FREE;
    unlinkXstPort(xstPort);
    if (xstPort->role == MSTP_PORT_ROLE_ROOT || xstPort->role == MSTP_PORT_ROLE_MASTER) {
        mstpXstReset(xstPort->xst);
    }
    clearXstPort(xstPort);
    return 0;
}

int32_t mstpBridgePortDelete(tMstpBridge* bridge, tMstpPort* port) {
    traceOfBridge("del", bridge, port->unit);
    mstpDetach(port);
    bridge->portCount--;
    for (tMstpXstPort* xstPort : xstPortsOf(port)) {
        mstpXstPortDelete(xstPort);
    }
    port->state = MSTP_SLOT_FREE;
    listRemove(&port->node);
    if (bridge->portCount == 0) {
        timerStop(&gMstp.timerList, &bridge->oneSecondTimer);
    }
    clearPort(port);
    return 0;
}

// ---- Cost of the link

static constexpr uint32_t COST_NUMERATOR = 20000000;

// 17.14 of IEEE 802.1D-2004 gives the recommended values; a cost is never 0.
static uint32_t costByDivision(uint32_t speed) {
    const uint32_t cost = COST_NUMERATOR / speed;
    return cost != 0 ? cost : 1;
}

static uint32_t costByDecade(uint32_t speed) {
    if (speed > 10000000) {
        return 1;
    }
    if (speed == 10000000) {
        return 2;
    }
    uint32_t cost = COST_NUMERATOR;
    for (uint32_t decade = 10; decade <= speed; decade *= 10) {
        cost /= 10;
    }
    return cost;
}

static uint32_t costOf(uint32_t speed, uint8_t method) {
    if (speed == 0) {
        return COST_NUMERATOR;
    }
    return method == MSTP_PATHCOST_8021T2001 ? costByDivision(speed) : costByDecade(speed);
}

uint32_t mstpUpdtPortOperPathcost(tMstpPort* port) {
    port->operPathCost = costOf(port->speed, port->bridge->pathCostDefault);
    return port->operPathCost;
}

// ---- Flushing

static void flushOne(tMstpPort* port, uint32_t attribute, octetstring* vlanList,
                     const char* failure) {
    if (kelIfSetApi(port->unit, attribute, vlanList) != 0) {
        reportPort(failure, port);
    }
}

void mstpPortFlush(tMstpPort* port, octetstring* vlanList) {
    if (vlanList->len == 0) {
        return;
    }
    flushOne(port, KEL_IF_FLUSH_MAC, vlanList, "\r\n if %s flush mac error");
    if (port->arpFlush != 0 && gMstp.onlyFlushMac != 0) {
        port->arpFlush = 0;
        return;
    }
    flushOne(port, KEL_IF_FLUSH_ARP, vlanList, "\r\n if %s flush arp error");
    flushOne(port, KEL_IF_FLUSH_ARL, vlanList, "\r\n if %s flush arl error");
    flushOne(port, KEL_IF_FLUSH_ND, vlanList, "\r\n if %s flush nd error");
    port->arpFlush = 0;
}

// ---- Machines of one port, link events

void mstpPortDoNothing() {}

static void holdOffExpired(void*, void*, void*) {
    mstpPortDoNothing();
}

void mstpBridgePortFSM(tMstpPort* port) {
    tracePort(MSTP_DEBUG_ACTIVITY, "port %s FSM process", port);
    if (!mstpPortIsLive(port)) {
        return;
    }
    tMstpFlushList flush;
    mstpFlushListInit(&flush);
    mstpPortProtocolMigrationFSM(port);
    mstpBridgeDetectionFSM(port);
    mstpDriveXstPorts(port, &flush, holdOffExpired);
}

static int32_t readNewLink(tMstpPort* port) {
    mstpBridgePortInit(port);
    mstpSendMsg(MSTP_MSG_NULL);
    return 0;
}

// Up and down are the same work: initialisation reads what the link has become.
int32_t mstpPortLinkUp(tMstpPort* port) {
    tracePort(MSTP_DEBUG_OBJECT, "port %s link up", port);
    return readNewLink(port);
}

int32_t mstpPortLinkDown(tMstpPort* port) {
    tracePort(MSTP_DEBUG_OBJECT, "port %s link down", port);
    return readNewLink(port);
}
