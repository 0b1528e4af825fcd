#include "invariants.h"

#include <cstring>
#include <initializer_list>

#include "check.h"
#include "mstp/context.h"
#include "mstp_bpdu.h"
#include "mstp_io.h"
#include "mstp_port_timers_state_machine.h"
#include "platform/stg.h"

// ---- timers

// A node that stands in a list is held there from both sides.
static void checkLinks(const tTimerNode& node) {
    const list_head* link = &node.node;
    CHECK((link->next == nullptr) == (link->prev == nullptr));
    if (link->next != nullptr) {
        CHECK(link->next->prev == link && link->prev->next == link);
        CHECK(node.callBack != nullptr);
    }
}

// A counter and its node go together: the node is armed while the counter runs, for no longer than
// the counter says, and clears that very counter.
static void checkCounter(const tMstpBridge* bridge, const uint8_t& counter, const tTimerNode& node,
                         uint32_t event) {
    checkLinks(node);
    if (!listLinked(&node.node)) {
        CHECK(counter == 0);
        return;
    }
    CHECK(node.arg1 == bridge);
    CHECK(node.arg2 == &counter);
    CHECK(reinterpret_cast<uintptr_t>(node.arg3) == event);
    CHECK(timerRemain(&node) <= static_cast<int32_t>(counter * TIMER_TICKS_PER_SECOND));
}

static void checkHold(const tTimerNode& node, TIMERFUNCPTR callBack, const void* owner) {
    checkLinks(node);
    if (listLinked(&node.node)) {
        CHECK(node.callBack == callBack);
        CHECK(node.arg1 == owner);
    }
}

static void checkTimers(const tMstpPort* port) {
    const tMstpBridge* bridge = port->bridge;
    checkCounter(bridge, port->helloWhen, port->helloWhenTimer, MSTP_EVENT_TICK);
    checkCounter(bridge, port->mdelayWhile, port->mdelayWhileTimer, MSTP_EVENT_FSM);
    checkCounter(bridge, port->edgeDelayWhile, port->edgeDelayWhileTimer, MSTP_EVENT_FSM);
    checkHold(port->bpduGuardTimer, mstpBpduGuardExpired, port);
    checkHold(port->p2pHoldTimer, mstpP2pHoldExpired, port);
}

static void checkTimers(const tMstpXstPort* xstPort) {
    const tMstpBridge* bridge = xstPort->xst->bridge;
    checkCounter(bridge, xstPort->fdWhile, xstPort->fdWhileTimer, MSTP_EVENT_FSM);
    checkCounter(bridge, xstPort->rrWhile, xstPort->rrWhileTimer, MSTP_EVENT_FSM);
    checkCounter(bridge, xstPort->rbWhile, xstPort->rbWhileTimer, MSTP_EVENT_FSM);
    checkCounter(bridge, xstPort->tcWhile, xstPort->tcWhileTimer, MSTP_EVENT_FSM);
    checkCounter(bridge, xstPort->rcvdInfoWhile, xstPort->rcvdInfoWhileTimer, MSTP_EVENT_FSM);
    checkHold(xstPort->rootHoldoffTimer, mstpXstPortHoldExpired, xstPort);
    checkHold(xstPort->loopHoldTimer, mstpXstPortHoldExpired, xstPort);
    checkLinks(xstPort->tcHoldoffTimer);
}

// ---- values

static void checkFlags(std::initializer_list<uint8_t> flags) {
    for (const uint8_t flag : flags) {
        CHECK(flag <= 1);
    }
}

static void checkValues(const tMstpPort* port) {
    checkFlags({port->portEnabled,
                port->rcvdBpdu,
                port->rcvdRSTP,
                port->rcvdSTP,
                port->rcvdAnyMsg,
                port->rcvdCistMsg,
                port->rcvdMstiMsg,
                port->rcvdInternal,
                port->infoInternal,
                port->sendRSTP,
                port->rstpVersion,
                port->stpVersion,
                port->mcheck,
                port->adminEdge,
                port->autoEdge,
                port->operEdge,
                port->newInfo,
                port->newInfoMsti,
                port->allTransmitReady,
                port->operPointToPointMAC,
                port->operState,
                port->arpFlush,
                port->inited});
    CHECK(port->bpduType == MSTP_BPDU_CONFIG || port->bpduType == MSTP_BPDU_RST ||
          port->bpduType == MSTP_BPDU_TCN);
    CHECK(port->fsmState[MSTP_PORT_RECEIVE_FSM] <= MSTP_PORT_RECEIVE);
    CHECK(port->fsmState[MSTP_PORT_PROTOCOL_MIGRATION_FSM] <= MSTP_PORT_PROTOCOL_MIGRATION_SENSING);
    CHECK(port->fsmState[MSTP_BRIDGE_DETECTION_FSM] <= MSTP_BRIDGE_DETECTION_NOT_EDGE);
    CHECK(port->fsmState[MSTP_PORT_TRANSMIT_FSM] == MSTP_PORT_TRANSMIT_IDLE);
}

static void checkValues(const tMstpXstPort* xstPort) {
    checkFlags({xstPort->selected,   xstPort->updtInfo, xstPort->reselect,  xstPort->agree,
                xstPort->agreed,     xstPort->proposed, xstPort->proposing, xstPort->disputed,
                xstPort->sync,       xstPort->synced,   xstPort->allSynced, xstPort->reRoot,
                xstPort->reRooted,   xstPort->learn,    xstPort->learning,  xstPort->forward,
                xstPort->forwarding, xstPort->fdbFlush, xstPort->rcvdTc,    xstPort->rcvdTcAck,
                xstPort->rcvdTcn,    xstPort->tcAck,    xstPort->tcProp,    xstPort->master,
                xstPort->mastered,   xstPort->rcvdMsg});
    CHECK(xstPort->role >= MSTP_PORT_ROLE_DISABLED && xstPort->role <= MSTP_PORT_ROLE_MASTER);
    CHECK(xstPort->selectedRole >= MSTP_PORT_ROLE_DISABLED &&
          xstPort->selectedRole <= MSTP_PORT_ROLE_MASTER);
    CHECK(xstPort->xst->cist == 0 || xstPort->role != MSTP_PORT_ROLE_MASTER);
    CHECK(xstPort->infoIs <= MSTP_RECEIVED);
    CHECK(xstPort->rcvdInfo <= MSTP_OTHER_INFO);
    CHECK(xstPort->hwState >= MSTP_PORT_STATE_DISCARDING &&
          xstPort->hwState <= MSTP_PORT_STATE_FORWARDING);
    CHECK(xstPort->fsmState[MSTP_PORT_INFORMATION_FSM] <= MSTP_PORT_INFORMATION_CURRENT);
    CHECK(xstPort->fsmState[MSTP_PORT_ROLE_TRANSITIONS_FSM] <=
          MSTP_PORT_ROLE_TRANSITIONS_ALTERNATE_PORT);
    CHECK(xstPort->fsmState[MSTP_PORT_STATE_TRANSITION_FSM] <=
          MSTP_PORT_STATE_TRANSITION_FORWARDING);
    CHECK(xstPort->fsmState[MSTP_TOPOLOGY_CHANGE_FSM] <= MSTP_TOPOLOGY_CHANGE_ACTIVE);
}

// ---- structure

static void checkInstancesOf(tMstpPort* port) {
    uint32_t previous = 0;
    bool first = true;
    for (tMstpXstPort* xstPort : xstPortsOf(port)) {
        const uint32_t id = xstPort->xst->xstId;
        CHECK(first || id > previous);
        CHECK(id < gMstp.xstLimit && xstPort == &port->xstPorts[id]);
        CHECK(xstPort->host == port && xstPort->xst == &port->bridge->xsts[id]);
        CHECK(xstPort->state == MSTP_SLOT_IN_USE);
        first = false;
        previous = id;
    }
}

static void checkPort(tMstpPort* port) {
    CHECK(port->state == MSTP_SLOT_IN_USE);
    CHECK(port >= gMstp.ports && port < gMstp.ports + gMstp.portLimit);
    checkTimers(port);
    checkInstancesOf(port);
    if (port->inited == 0) {
        return; // added a moment ago
    }
    checkValues(port);
    for (tMstpXstPort* xstPort : xstPortsOf(port)) {
        checkTimers(xstPort);
        checkValues(xstPort);
    }
}

// The hardware does what the record says.
static void checkHardware(RunningBridge& running, const tMstpXstPort* xstPort) {
    const auto group = running.sw.groups.find(xstPort->xst->stgId);
    CHECK(group != running.sw.groups.end());
    const auto state = group->second.states.find(xstPort->host->unit);
    CHECK(state != group->second.states.end());
    static constexpr uint32_t EXPECTED[] = {0, STG_PORT_BLOCKING, STG_PORT_LEARNING,
                                            STG_PORT_FORWARDING};
    CHECK(state->second == EXPECTED[xstPort->hwState]);
}

// The CIST knows one way to the root at most. An MSTI may not: the record of a port that has come
// to the region's boundary keeps the role it had, deliberately, until the CIST's role there
// decides.
static void checkXst(RunningBridge& running, tMstpXst* xst) {
    uint32_t roots = 0;
    for (tMstpXstPort* xstPort : xstPortsOf(xst)) {
        CHECK(xstPort->xst == xst && xstPort->state == MSTP_SLOT_IN_USE);
        roots += xstPort->selectedRole == MSTP_PORT_ROLE_ROOT ? 1 : 0;
        if (xstPort->host->inited != 0) {
            checkHardware(running, xstPort);
        }
    }
    CHECK(xst->cist == 0 || roots <= 1);
    CHECK(xst->vlanLen <= MSTP_VLAN_LIST_SIZE);
}

// ---- frames

static bool isBpdu(const uint8_t* bytes, uint32_t length) {
    tMstpBpdu bpdu;
    return mstpParse(&bpdu, bytes, length) == 0;
}

static bool isLegacyBpdu(const uint8_t* bytes, uint32_t length) {
    std::vector<uint8_t> standard(MSTP_LEGACY_BUFFER_SIZE);
    const int32_t size =
        mstpLegacyBpduToStandard(reinterpret_cast<tMstpBpdu*>(standard.data()), bytes, length);
    return size != 0 && isBpdu(standard.data(), static_cast<uint32_t>(size));
}

// A new protocol version reaches the ports one tick after the bridge: an RST BPDU that leaves in
// between bears none, and no one takes it. Nor does one under a version that does not exist.
static bool isVersionless(const tMstpBridge* bridge, const uint8_t* bytes, uint32_t length) {
    return bridge->forceVersion != MSTP_FORCE_DOT1W &&
           bridge->forceVersion != MSTP_FORCE_ATUODOT1S && length == MSTP_RST_BPDU_SIZE &&
           bytes[2] == MSTP_VERSION_STP && bytes[3] == MSTP_BPDU_RST;
}

// What leaves is a frame of its own length around a BPDU that the bridge itself would take.
static void checkSent(const tMstpBridge* bridge, const sim::Frame& frame) {
    const auto size = static_cast<uint32_t>(frame.bytes.size());
    CHECK(size > MSTP_FRAME_HEADER_SIZE);
    const uint8_t* bytes = frame.bytes.data();
    CHECK(static_cast<uint32_t>(bytes[12] << 8 | bytes[13]) == size - 14);
    CHECK(memcmp(bytes + 14, "\x42\x42\x03", MSTP_LLC_SIZE) == 0);
    const uint8_t* bpdu = bytes + MSTP_FRAME_HEADER_SIZE;
    const uint32_t length = size - MSTP_FRAME_HEADER_SIZE;
    CHECK(isBpdu(bpdu, length) || isLegacyBpdu(bpdu, length) ||
          isVersionless(bridge, bpdu, length));
}

// ---- all

ReceivedBefore countReceived(RunningBridge& running) {
    ReceivedBefore result;
    for (const tMstpPort* port : portsOf(running.bridge)) {
        result.counted += port->rxTcnBpdu + port->rxCfgBpdu + port->rxRstBpdu + port->rxMstBpdu;
    }
    return result;
}

void checkReceived(RunningBridge& running, const ReceivedBefore& before) {
    CHECK(countReceived(running).counted - before.counted <= 1);
}

void checkEverything(RunningBridge& running) {
    uint32_t previous = 0;
    uint32_t ports = 0;
    for (tMstpPort* port : portsOf(running.bridge)) {
        CHECK(port->unit > previous && port->bridge == running.bridge);
        checkPort(port);
        previous = port->unit;
        ports++;
    }
    CHECK(ports == running.bridge->portCount && ports <= gMstp.portLimit);
    checkLinks(running.bridge->oneSecondTimer);
    CHECK(ports == 0 || listLinked(&running.bridge->oneSecondTimer.node));
    for (tMstpXst* xst : xstsOf(running.bridge)) {
        checkXst(running, xst);
    }
    CHECK(running.bridge->begin == 0);
    for (const sim::Frame& frame : running.sw.sent) {
        checkSent(running.bridge, frame);
    }
}
