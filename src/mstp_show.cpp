// Show calls: the records as they stand, item by item, for someone who debugs a switch at its
// console. They change nothing (but for the test hook) and go to standard output, unlike traces,
// which tell what happens and go to the debug channel.

#include "mstp_show.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "mstp/context.h"
#include "mstp_bridge.h"
#include "mstp_main.h"
#include "mstp_port.h"
#include "mstp_port_timers_state_machine.h"
#include "mstp_xst.h"

static constexpr uint32_t VLAN_TEXT_FULL = 513; // characters after which no VLAN is added
static constexpr uint32_t RULE_LENGTH = 48;
static constexpr uint32_t BRIDGE_PRIORITY_STEP = 4096;
static constexpr uint32_t PORT_PRIORITY_STEP = 16;

// ---- values

void mstpBridgeIdPrint(const tMstpBridgeId* id) {
    printf("%d.%02x%02x-%02x%02x-%02x%02x", id->priority * BRIDGE_PRIORITY_STEP, id->mac[0],
           id->mac[1], id->mac[2], id->mac[3], id->mac[4], id->mac[5]);
}

void mstpPortIdPrint(const tMstpPortId* id) {
    printf("%d.%d", id->priority * PORT_PRIORITY_STEP, mstpPortIdNumber(id));
}

void mstpTimePrint(const tMstpTime* time) {
    printf("\r\n {");
    printf("\r\nmessageAge:%d", time->messageAge);
    printf("\r\nmaxAge:%d", time->maxAge);
    printf("\r\nforwardDelay:%d", time->forwardDelay);
    printf("\r\nhelloTime:%d", time->helloTime);
    printf("\r\nremainingHops:%d", time->remainingHops);
    printf("\r\n }");
}

static void bridgeIdItem(const char* label, const tMstpBridgeId* id) {
    printf("\r\n%s", label);
    mstpBridgeIdPrint(id);
}

static void portIdItem(const char* label, const tMstpPortId* id) {
    printf("\r\n%s", label);
    mstpPortIdPrint(id);
}

static void timesItem(const char* label, const tMstpTime* times) {
    printf("\r\n%s", label);
    mstpTimePrint(times);
}

static void vectorItem(const char* label, const tMstpPriorityVector* vector) {
    printf("\r\n%s", label);
    mstpVectorPrint(vector);
}

static void timerItem(const char* name, tTimerNode* timer) {
    printf("\r\n %s:%d", name, mstpRemain(timer));
}

void mstpVectorPrint(const tMstpPriorityVector* vector) {
    printf("\r\n {");
    bridgeIdItem(" rootId:", &vector->rootId);
    printf("\r\n extRootPathCost:%d", vector->extRootPathCost);
    bridgeIdItem(" rRootId:", &vector->rRootId);
    printf("\r\n intRootPathCost:%d", vector->intRootPathCost);
    bridgeIdItem(" designatedBridgeId:", &vector->designatedBridgeId);
    portIdItem(" designatedPortId:", &vector->designatedPortId);
    portIdItem(" rcvPortId:", &vector->rcvPortId);
    printf("\r\n }");
}

static void rule(char character) {
    char line[RULE_LENGTH + 1] = {};
    memset(line, character, RULE_LENGTH);
    printf("\r\n%s", line);
}

// ---- resources

template <class Range> static uint32_t countOf(Range range) {
    uint32_t count = 0;
    for ([[maybe_unused]] auto* record : range) {
        count++;
    }
    return count;
}

/// Records of all bridges that @p count counts of one.
template <class Count> static uint32_t sumOverBridges(Count count) {
    uint32_t sum = 0;
    for (tMstpBridge* bridge : bridges()) {
        sum += count(bridge);
    }
    return sum;
}

static uint32_t xstPortsOfBridge(tMstpBridge* bridge) {
    uint32_t sum = 0;
    for (tMstpPort* port : portsOf(bridge)) {
        sum += countOf(xstPortsOf(port));
    }
    return sum;
}

/// @return the bytes of the row's records
static uint32_t resourceRow(const char* name, size_t size, uint32_t total, uint32_t used) {
    printf("\r\n%-16s%-8d%-8d%-8d", name, static_cast<int32_t>(size), total, used);
    return static_cast<uint32_t>(size) * total;
}

void mstpRscShow() {
    const uint32_t bridgeLimit = gMstp.bridgeLimit;
    const uint32_t xstLimit = gMstp.xstLimit;
    const uint32_t portLimit = gMstp.portLimit;
    uint32_t bytes = 0;
    printf("\r\nmstp resource:");
    printf("\r\n%-16s%-8s%-8s%-8s", "", "size", "total", "used");
    bytes += resourceRow("bridge", sizeof(tMstpBridge), bridgeLimit, countOf(bridges()));
    bytes += resourceRow("port", sizeof(tMstpPort), portLimit,
                         sumOverBridges([](tMstpBridge* each) { return countOf(portsOf(each)); }));
    bytes += resourceRow("xst", sizeof(tMstpXst), bridgeLimit * xstLimit,
                         sumOverBridges([](tMstpBridge* each) { return countOf(xstsOf(each)); }));
    bytes += resourceRow("xstPort", sizeof(tMstpXstPort), xstLimit * portLimit,
                         sumOverBridges(xstPortsOfBridge));
    resourceRow("gMstp", sizeof(tMstp), 1, 0);
    printf("\r\ntotal:%d", bytes);
    fflush(stdout);
}

// ---- bridges

static void showBridge(tMstpBridge* bridge) {
    const uint8_t* mac = bridge->bridgeMac;
    printf("\r\nbridge[%d]", bridge->index);
    printf("\r\ntype:%d", bridge->type);
    printf("\r\nname:%.*s", static_cast<int>(sizeof bridge->cfgIdName),
           reinterpret_cast<const char*>(bridge->cfgIdName));
    printf("\r\nmac:%02x:%02x:%02x:%02x:%02x:%02x", mac[0], mac[1], mac[2], mac[3], mac[4], mac[5]);
    printf("\r\nport:");
    for (const tMstpPort* port : portsOf(bridge)) {
        printf("%x,", port->unit);
    }
    printf("\r\nxst:");
    for (const tMstpXst* xst : xstsOf(bridge)) {
        printf("%x,", xst->xstId);
    }
}

void mstpBridgeShow() {
    for (tMstpBridge* bridge : bridges()) {
        showBridge(bridge);
    }
    fflush(stdout);
}

// ---- instances

/// Text that grows at its end; what its buffer cannot hold is cut.
struct tText {
    char text[VLAN_TEXT_FULL + 32];
    uint32_t length;
};

__attribute__((format(printf, 2, 3))) static void append(tText* text, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const int32_t added =
        vsnprintf(text->text + text->length, sizeof text->text - text->length, format, arguments);
    va_end(arguments);
    text->length += static_cast<uint32_t>(added);
}

/// The last bit of the run of set bits that begins at @p bit.
static uint32_t endOfRun(const uint8_t* list, uint32_t bits, uint32_t bit) {
    while (bit + 1 < bits && bitListTst(list, bit + 1)) {
        bit++;
    }
    return bit;
}

/// VLANs as ranges: "1-5,7,10-12". A list too long for the text ends with a comma.
static void vlanText(const tMstpXst* xst, tText* text) {
    const uint32_t bits = xst->vlanLen * 8;
    text->text[0] = '\0';
    text->length = 0;
    for (uint32_t bit = 0; bit < bits; bit++) {
        if (!bitListTst(xst->vlanList, bit)) {
            continue;
        }
        const uint32_t last = endOfRun(xst->vlanList, bits, bit);
        append(text, text->length == 0 ? "%d" : ",%d", bit + 1);
        if (last > bit) {
            append(text, "-%d", last + 1);
        }
        if (text->length >= VLAN_TEXT_FULL) {
            append(text, ",");
            return;
        }
        bit = last;
    }
}

static void showXst(tMstpXst* xst) {
    tText vlans;
    vlanText(xst, &vlans);
    printf("\r\nxstId:%d", xst->xstId);
    printf("\r\nstgId:%d", xst->stgId);
    printf("\r\nrowStatus:%d", xst->rowStatus);
    printf("\r\ncist:%d", xst->cist);
    bridgeIdItem("bridgeId:", &xst->bridgeId);
    portIdItem("rootPortId:", &xst->rootPortId);
    printf("\r\nvlan:%s", vlans.text);
    vectorItem("rootPriority:", &xst->rootPriority);
    timesItem("rootTimes:", &xst->rootTimes);
    printf("\r\nport:");
    for (const tMstpXstPort* xstPort : xstPortsOf(xst)) {
        printf("%d,", xstPort->host->unit);
    }
}

void mstpXstShow(uint32_t xstId) {
    tMstpBridge* bridge = mstpBridgeGet(1);
    tMstpXst* xst = bridge != nullptr ? mstpXstGet(bridge, xstId) : nullptr;
    if (xst != nullptr) {
        showXst(xst);
    }
    fflush(stdout);
}

// ---- ports

static void showPortCounters(const tMstpPort* port) {
    printf("\r\n rxTcnBpdu:%d", port->rxTcnBpdu);
    printf("\r\n rxCfgBpdu:%d", port->rxCfgBpdu);
    printf("\r\n rxRstBpdu:%d", port->rxRstBpdu);
    printf("\r\n rxMstBpdu:%d", port->rxMstBpdu);
    printf("\r\n txTcnBpdu:%d", port->txTcnBpdu);
    printf("\r\n txCfgBpdu:%d", port->txCfgBpdu);
    printf("\r\n txRstBpdu:%d", port->txRstBpdu);
    printf("\r\n txMstBpdu:%d", port->txMstBpdu);
}

static void showPort(tMstpPort* port) {
    printf("\r\n port:%d", port->index);
    printf("\r\n unit:%d", port->unit);
    printf("\r\n state:%d", port->state);
    printf("\r\n sendRSTP:%d", port->sendRSTP);
    printf("\r\n rcvdRSTP:%d", port->rcvdRSTP);
    printf("\r\n rcvdSTP:%d", port->rcvdSTP);
    printf("\r\n upTime:%d", port->upTime);
    printf("\r\n speed:%d", port->speed);
    printf("\r\n forwardDelay:%d", port->forwardDelay);
    printf("\r\n migrateTime:%d", port->migrateTime);
    printf("\r\n operPathCost:%d", port->operPathCost);
    printf("\r\n infoInternal:%d", port->infoInternal);
    printf("\r\n rcvdInternal:%d", port->rcvdInternal);
    showPortCounters(port);
    timerItem("helloWhenTimer", &port->helloWhenTimer);
    timerItem("mdelayWhileTimer", &port->mdelayWhileTimer);
    timerItem("edgeDelayWhileTimer", &port->edgeDelayWhileTimer);
    timerItem("bpduGuardTimer", &port->bpduGuardTimer);
    timerItem("p2pHoldTimer", &port->p2pHoldTimer);
    printf("\r\nxst:");
    for (const tMstpXstPort* xstPort : xstPortsOf(port)) {
        printf("%d,", xstPort->xst->xstId);
    }
}

void mstpPortShow(uint32_t unit) {
    tMstpPort* port = mstpBridgePortGet(mstpBridgeGet(1), unit);
    if (port != nullptr) {
        showPort(port);
    }
    fflush(stdout);
}

// ---- instance ports

struct tFlagName {
    const char* name;
    uint8_t tMstpXstPort::*flag;
};

static constexpr tFlagName XST_PORT_FLAGS[] = {
    {"disputed", &tMstpXstPort::disputed},   {"learn", &tMstpXstPort::learn},
    {"forward", &tMstpXstPort::forward},     {"fdbFlush", &tMstpXstPort::fdbFlush},
    {"agree", &tMstpXstPort::agree},         {"forwarding", &tMstpXstPort::forwarding},
    {"learning", &tMstpXstPort::learning},   {"proposed", &tMstpXstPort::proposed},
    {"proposing", &tMstpXstPort::proposing}, {"rcvdMsg", &tMstpXstPort::rcvdMsg},
    {"rcvdTc", &tMstpXstPort::rcvdTc},       {"rcvdTcAck", &tMstpXstPort::rcvdTcAck},
    {"rcvdTcn", &tMstpXstPort::rcvdTcn},     {"tcAck", &tMstpXstPort::tcAck},
    {"reRoot", &tMstpXstPort::reRoot},       {"reselect", &tMstpXstPort::reselect},
    {"selected", &tMstpXstPort::selected},   {"tcProp", &tMstpXstPort::tcProp},
    {"updtInfo", &tMstpXstPort::updtInfo},   {"agreed", &tMstpXstPort::agreed},
    {"sync", &tMstpXstPort::sync},           {"synced", &tMstpXstPort::synced},
    {"master", &tMstpXstPort::master},       {"mastered", &tMstpXstPort::mastered},
    {"reRooted", &tMstpXstPort::reRooted},   {"allSynced", &tMstpXstPort::allSynced},
};

static void showMessageFlags(tMstpBpduFlag flag) {
    printf("\r\n msgFlag %x", mstpFlagByte(flag));
    printf("\r\n topologyChange %d", flag.topologyChange);
    printf("\r\n proposal %d", flag.proposal);
    printf("\r\n portRole %d 0:unknown,1:alternate or backup,2:root,3:designate", flag.portRole);
    printf("\r\n learning %d", flag.learning);
    printf("\r\n forwarding %d", flag.forwarding);
    printf("\r\n agreement %d", flag.agreement);
    printf("\r\n master/topologyChangeAck %d", flag.master);
}

static void showXstPortTimers(tMstpXstPort* xstPort) {
    timerItem("tcWhileTimer", &xstPort->tcWhileTimer);
    timerItem("fdWhileTimer", &xstPort->fdWhileTimer);
    timerItem("rcvdInfoWhileTimer", &xstPort->rcvdInfoWhileTimer);
    timerItem("rrWhileTimer", &xstPort->rrWhileTimer);
    timerItem("rbWhileTimer", &xstPort->rbWhileTimer);
    timerItem("tcHoldoffTimer", &xstPort->tcHoldoffTimer);
    timerItem("rootHoldoffTimer", &xstPort->rootHoldoffTimer);
    timerItem("loopHoldTimer", &xstPort->loopHoldTimer);
}

static void showXstPort(tMstpXstPort* xstPort) {
    portIdItem(" portId:", &xstPort->portId);
    printf("\r\n xst:%d", xstPort->xst->xstId);
    printf("\r\n port:%d", xstPort->host->index);
    for (const tFlagName& each : XST_PORT_FLAGS) {
        printf("\r\n %s %d", each.name, xstPort->*each.flag);
    }
    printf("\r\n adminPathCost:%d", xstPort->adminPathCost);
    printf("\r\n operPathCost:%d", xstPort->operPathCost);
    printf("\r\n pathCost:%d", xstPort->pathCost);
    printf("\r\n hwState:%d 0:disabled,1:discard,2:learn,3:forward,4:unknown", xstPort->hwState);
    showMessageFlags(xstPort->msgFlag);
    printf("\r\n role:%d 1:disabled,2:alternate,3:backup,4:root,5:designated,6:master,7:nonstp,"
           "8:unknown",
           xstPort->role);
    vectorItem(" designatedPriority:", &xstPort->designatedPriority);
    timesItem(" designatedTimes:", &xstPort->designatedTimes);
    vectorItem(" msgPriority:", &xstPort->msgPriority);
    timesItem(" msgTimes:", &xstPort->msgTimes);
    vectorItem(" portPriority:", &xstPort->portPriority);
    timesItem(" portTimes:", &xstPort->portTimes);
    showXstPortTimers(xstPort);
}

void mstpXstPortShow(uint32_t xstId, uint32_t unit) {
    tMstpBridge* bridge = mstpBridgeGet(1);
    tMstpXst* xst = bridge != nullptr ? mstpXstGet(bridge, xstId) : nullptr;
    tMstpXstPort* xstPort = xst != nullptr ? mstpXstPortGet(xst, unit) : nullptr;
    if (xstPort != nullptr) {
        showXstPort(xstPort);
    }
    fflush(stdout);
}

// ---- everything

static void showMembers(tMstpXst* xst) {
    for (tMstpXstPort* xstPort : xstPortsOf(xst)) {
        mstpXstPortShow(xst->xstId, xstPort->host->unit);
        rule('.');
    }
}

static void showParts(tMstpBridge* bridge) {
    for (const tMstpXst* xst : xstsOf(bridge)) {
        mstpXstShow(xst->xstId);
        rule('.');
    }
    rule('-');
    for (const tMstpPort* port : portsOf(bridge)) {
        mstpPortShow(port->unit);
        rule('.');
    }
    rule('-');
    for (tMstpXst* xst : xstsOf(bridge)) {
        showMembers(xst);
    }
}

void mstpInfoShow() {
    mstpBridgeShow();
    rule('-');
    for (tMstpBridge* bridge : bridges()) {
        showParts(bridge);
    }
    fflush(stdout);
}

void mstpTst() {
    tMstpBridge* bridge = mstpBridgeGet(1);
    if (bridge == nullptr) {
        return;
    }
    bridge->begin = 1;
    for (tMstpPort* port : portsOf(bridge)) {
        port->upTime = mstpGetSysUpTime();
    }
    mstpBridgeFSM(bridge);
    bridge->begin = 0;
}
