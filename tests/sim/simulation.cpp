#include "simulation.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "mstp_bridge.h"
#include "mstp_nm.h"
#include "mstp_xst.h"

// Instance i carries the VLANs i * 10 and, that regions differ, one more of its region's.
static constexpr uint32_t VLANS_PER_INSTANCE = 10;
static constexpr uint64_t PORTS_AFTER = 100'000;
static constexpr uint32_t PORT_PRIORITY_STEP = 16;

// Two bridges learn of the same change a link's delay apart. No frame gets round in that time.
static constexpr uint64_t LOOP_GRACE = 1'000;

static bool oneRegion(const Topology& topology) {
    const std::vector<oracle::Bridge>& bridges = topology.network.bridges;
    return std::all_of(bridges.begin(), bridges.end(), [&](const oracle::Bridge& each) {
        return each.version >= 3 && each.region == bridges[0].region;
    });
}

static void expectSet(int32_t result, const char* what) {
    EXPECT_EQ(result, 0) << what;
}

Simulation::Simulation(const Topology& topology) : m_topology(topology) {
    for (uint32_t b = 0; b < m_topology.bridges(); b++) {
        const oracle::Bridge& bridge = m_topology.network.bridges[b];
        sim::NodeOptions options;
        options.name = bridge.region;
        options.mac.assign(bridge.mac.begin(), bridge.mac.end());
        options.configure = [this](sim::Network& /*network*/, uint32_t node) { configure(node); };
        m_network.declareNode(options);
    }
    for (const oracle::Segment& segment : m_topology.network.segments) {
        std::vector<sim::LinkEnd> ends;
        sim::LinkOptions options;
        for (const oracle::End& end : segment.ends) {
            ends.push_back({end.bridge, end.unit});
            options.speed = m_topology.network.bridges[end.bridge].ports.at(end.unit).speed;
        }
        m_network.addHub(ends, options);
    }
    std::vector<uint32_t> vlans = {1};
    for (uint32_t instance = 1; instance <= m_topology.instances; instance++) {
        vlans.push_back(instance * VLANS_PER_INSTANCE);
    }
    m_invariants = std::make_unique<sim::Invariants>(m_network, vlans);
    m_invariants->allowLoopsFor(oneRegion(m_topology) ? LOOP_GRACE : UINT64_MAX);
    for (uint32_t b = 0; b < m_topology.bridges(); b++) {
        m_network.start(b);
    }
}

static void mapVlans(const oracle::Bridge& bridge, uint32_t instance) {
    uint8_t vlans[MSTP_VLAN_LIST_SIZE] = {};
    const uint32_t region = static_cast<uint32_t>(bridge.region.back() - '0');
    bitListSet(vlans, instance * VLANS_PER_INSTANCE - 1);
    bitListSet(vlans, instance * VLANS_PER_INSTANCE + region);
    octetstring list = {reinterpret_cast<int8_t*>(vlans), sizeof vlans};
    expectSet(mstpXstSetApi(instance, MSTP_XST_VLANLIST, &list), "VLANs");
}

// Instances first, then the reset that starts the bridge, then its ports.
void Simulation::configure(uint32_t number) {
    const oracle::Bridge& bridge = m_topology.network.bridges[number];
    for (const auto& [instance, nibble] : bridge.priorities) {
        if (!bridge.runs(instance)) {
            continue;
        }
        uint32_t create = MSTP_CREATEANDGO;
        expectSet(mstpXstSetApi(instance, MSTP_XST_ROWSTATUS, &create), "row status");
        uint32_t priority = nibble << 12;
        expectSet(mstpXstSetApi(instance, MSTP_XST_BRIDGEPRIORITY, &priority), "priority");
        if (instance != 0) {
            mapVlans(bridge, instance);
        }
    }
    uint32_t version = bridge.version;
    expectSet(mstpGeneralSetApi(0, MSTP_GEN_FORCEVERSION, &version), "version");
    uint32_t revision = 1;
    expectSet(mstpGeneralSetApi(0, MSTP_GEN_CFGIDREVLEVEL, &revision), "revision");
    m_network.later(number, PORTS_AFTER, [this, number] { configurePorts(number); });
}

static void configureInstancePort(uint32_t instance, const oracle::Port& port) {
    const auto found = port.instances.find(instance);
    if (found == port.instances.end()) {
        return;
    }
    tMstpXstPortIndex index = {instance, port.unit};
    uint32_t priority = found->second.priority * PORT_PRIORITY_STEP;
    expectSet(mstpXstPortSetApi(&index, MSTP_XSTPORT_PRIORITY, &priority), "port priority");
    uint32_t cost = found->second.cost;
    if (cost != 0) {
        expectSet(mstpXstPortSetApi(&index, MSTP_XSTPORT_ADMINPATHCOST, &cost), "path cost");
    }
}

// A port on a hub is told so: nobody can find out by itself who else will speak there.
static void declareShared(const Topology& topology, uint32_t bridge) {
    for (const oracle::Segment& segment : topology.network.segments) {
        for (const oracle::End& end : segment.ends) {
            if (end.bridge == bridge && segment.ends.size() > 2) {
                uint32_t pointToPoint = MSTP_FALSE;
                expectSet(mstpPortSetApi(end.unit, MSTP_PORT_ADMINPOINTTOPOINT, &pointToPoint),
                          "point-to-point");
            }
        }
    }
}

void Simulation::configurePorts(uint32_t number) {
    const oracle::Bridge& bridge = m_topology.network.bridges[number];
    for (const auto& [unit, port] : bridge.ports) {
        uint32_t off = MSTP_FALSE;
        expectSet(mstpPortSetApi(unit, MSTP_PORT_ADMINNONSTP, &off), "port");
        uint32_t form = m_topology.snooping ? MSTP_TRUE : MSTP_FALSE;
        expectSet(mstpPortSetApi(unit, MSTP_PORT_BPDUSNOOPINGENABLE, &form), "snooping");
        for (const auto& [instance, nibble] : bridge.priorities) {
            if (bridge.runs(instance)) {
                configureInstancePort(instance, port);
            }
        }
    }
    declareShared(m_topology, number);
}

void Simulation::cut(uint32_t segment) {
    m_topology.network.segments[segment].up = false;
    m_network.setLink(segment, false);
}

void Simulation::mend(uint32_t segment) {
    m_topology.network.segments[segment].up = true;
    m_network.setLink(segment, true);
}

static std::string describe(const oracle::PortKey& port) {
    return "bridge " + std::to_string(port.bridge) + " instance " + std::to_string(port.instance) +
           " port " + std::to_string(port.unit);
}

// One end of a yielding segment has spoken first; the others stay alternate, in every instance.
void Simulation::checkYielding(uint32_t number, oracle::Trees& trees,
                               std::vector<std::string>& lines) {
    uint32_t designated = 0;
    for (const oracle::End& end : m_topology.network.segments[number].ends) {
        const bool speaks = m_network.role(end.bridge, 0, end.unit) == MSTP_PORT_ROLE_DESIGNATED;
        designated += speaks ? 1 : 0;
        for (uint32_t instance = 0; instance <= m_topology.instances; instance++) {
            const auto found = trees.roles.find({end.bridge, instance, end.unit});
            if (found != trees.roles.end()) {
                found->second = speaks ? oracle::Role::Designated : oracle::Role::Alternate;
            }
        }
    }
    if (designated != 1) {
        lines.push_back("segment " + std::to_string(number) + " has " + std::to_string(designated) +
                        " designated ends, on paper one");
    }
}

// Whether a port has fallen back for an old neighbour's sake depends on who spoke first.
void Simulation::noteFallBacks() {
    for (oracle::Segment& segment : m_topology.network.segments) {
        for (oracle::End& end : segment.ends) {
            const tMstpPort* port = m_network.port(end.bridge, end.unit);
            end.classic = port != nullptr && port->sendRSTP == 0;
        }
    }
}

static uint64_t number(const tMstpBridgeId& id) {
    uint8_t bytes[sizeof id];
    memcpy(bytes, &id, sizeof id);
    uint64_t value = 0;
    for (const uint8_t byte : bytes) {
        value = value << 8 | byte;
    }
    return value;
}

// What a bridge of an MSTI says of the CIST's root has no meaning there.
static std::string words(uint32_t instance, const oracle::Knowledge& known) {
    char text[160];
    snprintf(text, sizeof text, "regional root %016llx at cost %llu, %u hops left",
             static_cast<unsigned long long>(known.regionalRoot),
             static_cast<unsigned long long>(known.internalCost), known.hops);
    std::string all = text;
    if (instance == 0) {
        snprintf(text, sizeof text, ", root %016llx at cost %llu",
                 static_cast<unsigned long long>(known.root),
                 static_cast<unsigned long long>(known.externalCost));
        all += text;
    }
    return all;
}

static oracle::Knowledge knowledgeOf(uint32_t instance) {
    oracle::Knowledge known;
    const tMstpXst* xst = mstpXstGet(mstpBridgeGet(1), instance);
    if (xst == nullptr) {
        return known;
    }
    known.root = number(xst->rootPriority.rootId);
    known.externalCost = xst->rootPriority.extRootPathCost;
    known.regionalRoot = number(xst->rootPriority.rRootId);
    known.internalCost = xst->rootPriority.intRootPathCost;
    known.hops = xst->rootTimes.remainingHops;
    return known;
}

// What bridges know that are too far away goes round in circles.
void Simulation::checkKnowledge(const oracle::Trees& trees, std::vector<std::string>& lines) {
    if (!trees.tooFar.empty()) {
        return;
    }
    for (const auto& [key, expected] : trees.knowledge) {
        const auto& [bridge, instance] = key;
        oracle::Knowledge actual;
        m_network.on(bridge, [&, i = instance] { actual = knowledgeOf(i); });
        const std::string is = words(instance, actual);
        const std::string paper = words(instance, expected);
        if (is != paper) {
            lines.push_back("bridge " + std::to_string(bridge) + " instance " +
                            std::to_string(instance) + " knows of " + is + "; on paper " + paper);
        }
    }
}

std::vector<std::string> Simulation::differences() {
    std::vector<std::string> lines;
    noteFallBacks();
    oracle::Trees trees = oracle::compute(m_topology.network);
    for (const uint32_t segment : trees.yielding) {
        checkYielding(segment, trees, lines);
    }
    checkKnowledge(trees, lines);
    for (const auto& [port, role] : trees.roles) {
        const uint32_t actual = m_network.role(port.bridge, port.instance, port.unit);
        if (actual != static_cast<uint32_t>(role)) {
            lines.push_back(describe(port) + " has role " + std::to_string(actual) + ", on paper " +
                            std::to_string(static_cast<uint32_t>(role)));
        }
    }
    return lines;
}

std::vector<std::string> Simulation::brokenTrees() {
    sim::Excuses excuses;
    const oracle::Trees trees = oracle::compute(m_topology.network);
    excuses.links.insert(trees.contested.begin(), trees.contested.end());
    m_invariants->setExcuses(excuses);
    return m_invariants->settledViolations();
}

std::vector<std::string> Simulation::violations() const {
    std::vector<std::string> lines;
    for (const sim::Violation& violation : m_invariants->violations()) {
        lines.push_back(std::to_string(violation.time) + " us, bridge " +
                        std::to_string(violation.node) + " port " + std::to_string(violation.unit) +
                        ": " + violation.text);
    }
    return lines;
}
