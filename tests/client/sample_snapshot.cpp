#include "sample_snapshot.h"

#include "mstp/bit_list.h"
#include "mstp/enums.h"
#include "mstp/management.h"

// A bridge identifier: priority with the instance, and a MAC address that ends in @p last.
static Octets bridgeId(uint32_t priority, uint8_t last) {
    return {
        static_cast<uint8_t>(priority >> 8), static_cast<uint8_t>(priority), 2, 0, 0, 0, 0, last};
}

static Octets vlanList(uint32_t first, uint32_t last) {
    Octets list(MSTP_VLAN_LIST_SIZE);
    for (uint32_t vlan = first; vlan <= last; vlan++) {
        bitListSet(list.data(), vlan - 1);
    }
    return list;
}

static BridgeView sampleBridge() {
    BridgeView bridge;
    bridge.mac = {2, 0, 0, 0, 0, 1};
    bridge.version = MSTP_FORCE_ATUODOT1S;
    bridge.capable = MSTP_CAPABLE_DOT1Q;
    bridge.type = MSTP_BRIDGE_CUSTOMER;
    bridge.maxAge = 20;
    bridge.helloTime = 2;
    bridge.forwardDelay = 15;
    bridge.maxHops = 20;
    bridge.holdCount = 6;
    bridge.migrateTime = 3;
    bridge.pathCostMethod = MSTP_PATHCOST_8021T2001;
    bridge.bpduGuard = true;
    bridge.tcProtection = true;
    bridge.tcHoldOff = 10;
    bridge.p2pDetection = true;
    bridge.tcFlushesNeighbours = true;
    bridge.debug = 129;
    bridge.maxInstances = 64;
    bridge.maxInstanceId = 63;
    bridge.instanceCount = 2;
    bridge.instanceMark = 1;
    bridge.usedMaxAge = 18;
    bridge.usedHelloTime = 1;
    bridge.usedForwardDelay = 12;
    bridge.usedHops = 19;
    return bridge;
}

static std::vector<InstanceView> sampleInstances() {
    InstanceView cist;
    cist.rowStatus = MSTP_ACTIVE;
    cist.priority = 32768;
    cist.bridgeId = bridgeId(32768, 1);
    cist.designatedRoot = bridgeId(4096, 9);
    cist.regionalRoot = bridgeId(8192, 5);
    cist.externalCost = 200000;
    cist.internalCost = 20000;
    cist.rootPort = 11;
    cist.masterPort = {0, 0};
    cist.designatedBridge = bridgeId(8192, 5);
    cist.designatedPort = {0x80, 3};
    cist.remainingHops = 19;
    cist.changedAt = 9800;
    cist.topologyChanges = 3;
    cist.topologyChange = true;
    cist.vlans = vlanList(1, 9);

    InstanceView msti;
    msti.id = 1;
    msti.rowStatus = MSTP_ACTIVE;
    msti.priority = 4096;
    msti.rootProtection = true;
    msti.bridgeId = bridgeId(4097, 1);
    msti.designatedRoot = msti.bridgeId;
    msti.regionalRoot = msti.bridgeId;
    msti.masterPort = {0x80, 2};
    msti.designatedBridge = msti.bridgeId;
    msti.designatedPort = {0, 0};
    msti.remainingHops = 20;
    msti.vlans = vlanList(10, 19);
    return {cist, msti};
}

static PortView samplePort(uint32_t unit, const char* name, uint32_t upTime) {
    PortView port;
    port.unit = unit;
    port.name = name;
    port.upTime = upTime;
    port.runsSpanningTree = true;
    port.adminMacEnabled = true;
    port.operMacEnabled = true;
    port.operCost = 20000;
    port.adminPointToPoint = true;
    port.pointToPoint = true;
    port.helloTime = 2;
    for (uint32_t i = 0; i < 8; i++) {
        port.counters[i] = unit * 100 + i;
    }
    return port;
}

static std::vector<PortView> samplePorts() {
    std::vector<PortView> ports = {samplePort(11, "eth1", 9995), samplePort(12, "eth2", 8000),
                                   samplePort(13, "eth3", 1000), samplePort(14, "eth4", 0)};
    ports[0].adminCost = 5000;
    ports[1].preStandard = true;
    ports[1].pointToPoint = false;
    ports[2].adminEdge = true;
    ports[2].edge = true;
    ports[2].heldByBpduGuard = true;
    ports[3].filtering = true;
    return ports;
}

static InstancePortView sampleRole(uint32_t instance, uint32_t unit, uint32_t role,
                                   uint32_t state) {
    InstancePortView view;
    view.instance = instance;
    view.unit = unit;
    view.role = role;
    view.state = state;
    view.priority = 128;
    view.operCost = 20000;
    view.designatedRoot = instance == 0 ? bridgeId(4096, 9) : bridgeId(4097, 1);
    view.regionalRoot = instance == 0 ? bridgeId(8192, 5) : bridgeId(4097, 1);
    view.designatedBridge = instance == 0 ? bridgeId(32768, 1) : bridgeId(4097, 1);
    view.designatedPort = {0x80, static_cast<uint8_t>(unit)};
    view.fromSameRegion = true;
    return view;
}

static std::vector<InstancePortView> sampleInstancePorts() {
    const uint32_t forwarding = MSTP_PORT_STATE_FORWARDING;
    const uint32_t discarding = MSTP_PORT_STATE_DISCARDING;
    std::vector<InstancePortView> views = {
        sampleRole(0, 11, MSTP_PORT_ROLE_ROOT, forwarding),
        sampleRole(0, 12, MSTP_PORT_ROLE_ALTERNATE, discarding),
        sampleRole(0, 13, MSTP_PORT_ROLE_DESIGNATED, discarding),
        sampleRole(0, 14, MSTP_PORT_ROLE_DISABLED, discarding),
        sampleRole(1, 11, MSTP_PORT_ROLE_DESIGNATED, forwarding),
        sampleRole(1, 12, MSTP_PORT_ROLE_DESIGNATED, discarding),
        sampleRole(1, 13, MSTP_PORT_ROLE_DESIGNATED, discarding),
        sampleRole(1, 14, MSTP_PORT_ROLE_DISABLED, discarding),
    };
    views[0].adminCost = 5000;
    views[0].designatedBridge = bridgeId(8192, 5);
    views[0].externalCost = 200000;
    views[1].designatedBridge = bridgeId(8192, 5);
    views[1].internalCost = 20000;
    views[2].protection = MSTP_PROTECTION_BPDU_GUARD;
    views[4].protection = MSTP_PROTECTION_TC;
    views[5].protection = MSTP_PROTECTION_ROOT;
    views[6].protection = MSTP_PROTECTION_BPDU_GUARD;
    return views;
}

Snapshot sampleSnapshot() {
    Snapshot snapshot;
    snapshot.now = 10000;
    snapshot.bridge = sampleBridge();
    snapshot.region.name = "lab";
    snapshot.region.revision = 7;
    snapshot.region.digest = Octets(16, 0xAC);
    snapshot.instances = sampleInstances();
    snapshot.ports = samplePorts();
    snapshot.instancePorts = sampleInstancePorts();
    return snapshot;
}
