#include "lab.h"

#include "mstp_nm.h"

static void set(int32_t result, const char* what) {
    EXPECT_EQ(result, 0) << what;
}

static void startBridge(const LabBridge& bridge) {
    uint32_t create = MSTP_CREATEANDGO;
    set(mstpXstSetApi(0, MSTP_XST_ROWSTATUS, &create), "row status");
    uint32_t priority = bridge.priority << 12;
    set(mstpXstSetApi(0, MSTP_XST_BRIDGEPRIORITY, &priority), "priority");
    uint32_t version = bridge.version;
    set(mstpGeneralSetApi(0, MSTP_GEN_FORCEVERSION, &version), "version");
}

static void startPorts(sim::Network& network, uint32_t node, const LabBridge& bridge) {
    for (const auto& [unit, plug] : network.node(node).plugs) {
        uint32_t off = MSTP_FALSE;
        set(mstpPortSetApi(unit, MSTP_PORT_ADMINNONSTP, &off), "port");
    }
    for (uint32_t unit : bridge.edgeUnits) {
        uint32_t on = MSTP_TRUE;
        set(mstpPortSetApi(unit, MSTP_PORT_ADMINEDGE, &on), "edge");
    }
}

sim::NodeOptions Lab::nodeOptions(const LabBridge& options) const {
    sim::NodeOptions node;
    node.name = "lab";
    node.mac = {0x02, 0, 0, 0, 0, static_cast<uint8_t>(network.nodes() + 1)};
    node.xstLimit = 2;
    node.portLimit = 16;
    node.receiveQueue = options.receiveQueue;
    node.configure = [options](sim::Network& net, uint32_t number) {
        startBridge(options);
        net.later(number, 100'000, [&net, number, options] { startPorts(net, number, options); });
    };
    return node;
}

uint32_t Lab::bridge(const LabBridge& options) {
    return network.addNode(nodeOptions(options));
}

uint32_t Lab::lateBridge(const LabBridge& options) {
    return network.declareNode(nodeOptions(options));
}

uint32_t Lab::freeUnit(uint32_t bridge) const {
    return static_cast<uint32_t>(network.node(bridge).plugs.size()) + 1;
}

uint32_t Lab::join(uint32_t a, uint32_t b, const sim::LinkOptions& options) {
    return network.addLink({a, freeUnit(a)}, {b, freeUnit(b)}, options);
}

uint32_t Lab::hub(const std::vector<uint32_t>& bridges, const sim::LinkOptions& options) {
    std::vector<sim::LinkEnd> ends;
    for (const uint32_t each : bridges) {
        ends.push_back({each, freeUnit(each)});
    }
    return network.addHub(ends, options);
}

uint32_t Lab::host(uint32_t bridge) {
    const uint32_t number = network.addHost("host" + std::to_string(network.hosts()));
    network.addLink({bridge, freeUnit(bridge)}, {sim::HOST + number, 0});
    return number;
}

void Lab::ring(uint32_t bridges) {
    for (uint32_t i = 0; i < bridges; i++) {
        LabBridge options;
        options.priority = i == 0 ? 0 : 8;
        bridge(options);
    }
    for (uint32_t i = 0; i < bridges; i++) {
        join(i, (i + 1) % bridges);
    }
}

void Lab::settle(uint64_t quietSeconds) {
    EXPECT_TRUE(network.runUntilSettled(quietSeconds * 1'000'000, 300'000'000));
}

// ---- the diary

static std::string at(uint64_t time, const char* what, uint64_t a, uint64_t b, uint64_t c) {
    return std::to_string(time) + " " + what + " " + std::to_string(a) + " " + std::to_string(b) +
           " " + std::to_string(c) + "\n";
}

void Diary::frameSent(const sim::FrameEvent& event) {
    sent++;
    text += at(event.time, "sent", event.link, event.from, event.bytes->size());
    for (const uint8_t byte : *event.bytes) {
        text += std::to_string(byte) + " ";
    }
}

void Diary::frameDelivered(const sim::FrameEvent& event) {
    delivered++;
    text += at(event.time, "delivered", event.link, event.to, event.transmission);
}

void Diary::frameLost(const sim::FrameEvent& event, sim::Loss why) {
    losses.push_back(why);
    text += at(event.time, "lost", event.link, event.to, static_cast<uint64_t>(why));
}

void Diary::frameDuplicated(const sim::FrameEvent& event) {
    duplicated++;
    text += at(event.time, "duplicated", event.link, event.to, event.transmission);
}

void Diary::stateChanged(const sim::StateEvent& event) {
    states.push_back(event);
    text += at(event.time, "state", event.node, event.unit, event.after);
}

void Diary::roleChanged(const sim::RoleEvent& event) {
    roles.push_back(event);
    text += at(event.time, "role", event.node, event.unit, event.after);
}

void Diary::flushed(const sim::FlushEvent& event) {
    flushes.push_back(event);
    flushes.back().vlans = nullptr;
    text += at(event.time, "flush", event.node, event.unit, event.forgotten);
}

void Diary::driverPassed(const sim::PassEvent& event) {
    passes.push_back(event.time);
    text += at(event.time, "pass", event.node, event.events, 0);
}

void Diary::testFrameFinished(const sim::TestFrame& frame) {
    finished.push_back(frame);
    text += at(frame.sent, "test", frame.number, frame.missed(), frame.looped);
}
