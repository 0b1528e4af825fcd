#include "simulation.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>

#include "mstp_bridge.h"
#include "mstp_nm.h"
#include "mstp_port.h"
#include "mstp_xst.h"

// An instance i of region r carries the VLANs i * 10 + r.
static constexpr uint32_t VLANS_PER_INSTANCE = 10;

static void expectSet(int32_t result, const char* what) {
    EXPECT_EQ(result, 0) << what;
}

Simulation::Simulation(const Topology& topology) : m_topology(topology) {
    for (uint32_t b = 0; b < m_topology.bridges.size(); b++) {
        sim::NodeOptions options;
        options.name = "region" + std::to_string(m_topology.bridges[b].region);
        options.mac.assign(m_topology.bridges[b].mac.begin(), m_topology.bridges[b].mac.end());
        m_network.addNode(options);
    }
    for (const PaperLink& link : m_topology.links) {
        sim::LinkOptions options;
        options.speed = link.speed;
        m_network.addLink({link.bridges[0], link.units[0]}, {link.bridges[1], link.units[1]},
                          options);
    }
    for (uint32_t b = 0; b < m_topology.bridges.size(); b++) {
        configure(b);
    }
}

static void addPort(uint32_t unit, bool snooping) {
    uint32_t enable = MSTP_FALSE;
    expectSet(mstpPortSetApi(unit, MSTP_PORT_ADMINNONSTP, &enable), "port");
    uint32_t form = snooping ? MSTP_TRUE : MSTP_FALSE;
    expectSet(mstpPortSetApi(unit, MSTP_PORT_BPDUSNOOPINGENABLE, &form), "snooping");
}

// Instances first, then the reset that starts the bridge, then its ports.
void Simulation::configure(uint32_t number) {
    const PaperBridge& bridge = m_topology.bridges[number];
    m_network.on(number, [&] {
        const uint32_t instances = bridge.version == 3 ? m_topology.instances : 0;
        for (uint32_t i = 0; i <= instances; i++) {
            uint32_t create = MSTP_CREATEANDGO;
            expectSet(mstpXstSetApi(i, MSTP_XST_ROWSTATUS, &create), "row status");
            uint32_t priority = bridge.priorities[i] << 12;
            expectSet(mstpXstSetApi(i, MSTP_XST_BRIDGEPRIORITY, &priority), "priority");
            if (i == 0) {
                continue;
            }
            uint8_t vlans[MSTP_VLAN_LIST_SIZE] = {};
            bitListSet(vlans, i * VLANS_PER_INSTANCE + bridge.region - 1);
            octetstring list = {reinterpret_cast<int8_t*>(vlans), sizeof vlans};
            expectSet(mstpXstSetApi(i, MSTP_XST_VLANLIST, &list), "VLANs");
        }
        uint32_t version = bridge.version;
        expectSet(mstpGeneralSetApi(0, MSTP_GEN_FORCEVERSION, &version), "version");
        uint32_t revision = 1;
        expectSet(mstpGeneralSetApi(0, MSTP_GEN_CFGIDREVLEVEL, &revision), "revision");
    });
    m_network.run(100'000);
    m_network.on(number, [&] {
        for (const PaperLink& link : m_topology.links) {
            for (uint32_t side = 0; side < 2; side++) {
                if (link.bridges[side] == number) {
                    addPort(link.units[side], link.snooping);
                }
            }
        }
    });
}

void Simulation::cut(uint32_t link) {
    m_topology.links[link].up = false;
    m_network.setLink(link, false);
}

void Simulation::mend(uint32_t link) {
    m_topology.links[link].up = true;
    m_network.setLink(link, true);
}

static std::string describe(const PaperPort& port) {
    return "bridge " + std::to_string(port.bridge) + " instance " + std::to_string(port.instance) +
           " port " + std::to_string(port.unit);
}

uint32_t Simulation::roleOf(const PaperPort& port) {
    uint32_t role = 0;
    m_network.on(port.bridge, [&] {
        tMstpXstPortIndex index = {port.instance, port.unit};
        mstpXstPortGetApi(&index, MSTP_XSTPORT_ROLE, &role);
    });
    return role;
}

// One end of a yielding link has spoken first; the other stays alternate, in every instance.
void Simulation::checkYielding(uint32_t number, PaperTree& tree, std::vector<std::string>& lines) {
    const PaperLink& link = m_topology.links[number];
    uint32_t designated = 0;
    for (uint32_t side = 0; side < 2; side++) {
        const PaperPort cist = {link.bridges[side], 0, link.units[side]};
        const auto role = static_cast<Role>(roleOf(cist));
        designated += role == Role::Designated ? 1 : 0;
        for (uint32_t instance = 0; instance <= m_topology.instances; instance++) {
            const auto found = tree.roles.find({cist.bridge, instance, cist.unit});
            if (found != tree.roles.end()) {
                found->second = role == Role::Designated ? Role::Designated : Role::Alternate;
            }
        }
    }
    if (designated != 1) {
        lines.push_back("link " + std::to_string(number) + " has " + std::to_string(designated) +
                        " designated ends, on paper one");
    }
}

std::vector<std::string> Simulation::differences() {
    std::vector<std::string> lines;
    PaperTree tree = paperTree(m_topology);
    for (const uint32_t link : tree.yielding) {
        checkYielding(link, tree, lines);
    }
    for (const auto& [port, role] : tree.roles) {
        const uint32_t actual = roleOf(port);
        if (actual != static_cast<uint32_t>(role)) {
            lines.push_back(describe(port) + " has role " + std::to_string(actual) + ", on paper " +
                            std::to_string(static_cast<uint32_t>(role)));
        }
    }
    return lines;
}

// A bridge that does not run the instance forwards its VLANs as the CIST says.
bool Simulation::forwards(uint32_t bridge, uint32_t instance, uint32_t unit) {
    bool result = false;
    m_network.on(bridge, [&] {
        tMstpXst* xst = mstpXstGet(mstpBridgeGet(1), m_topology.runsMsti(bridge) ? instance : 0);
        tMstpXstPort* xstPort = mstpXstPortGet(xst, unit);
        result = xstPort != nullptr && xstPort->hwState == MSTP_PORT_STATE_FORWARDING;
    });
    return result;
}

namespace {

// Which bridges hang together.
class Components {
  public:
    explicit Components(size_t count) : m_parent(count) {
        std::iota(m_parent.begin(), m_parent.end(), 0U);
    }
    uint32_t find(uint32_t bridge) {
        while (m_parent[bridge] != bridge) {
            bridge = m_parent[bridge];
        }
        return bridge;
    }
    /// @return false if the two hung together before: the join closes a loop
    bool join(uint32_t a, uint32_t b) {
        const uint32_t rootA = find(a);
        const uint32_t rootB = find(b);
        m_parent[rootA] = rootB;
        return rootA != rootB;
    }

  private:
    std::vector<uint32_t> m_parent;
};

} // namespace

std::vector<std::string> Simulation::brokenTrees() {
    std::vector<std::string> lines;
    const std::vector<uint32_t> contested = paperTree(m_topology).contested;
    for (uint32_t instance = 0; instance <= m_topology.instances; instance++) {
        Components physical(m_topology.bridges.size());
        Components forwarding(m_topology.bridges.size());
        for (uint32_t number = 0; number < m_topology.links.size(); number++) {
            const PaperLink& link = m_topology.links[number];
            if (!link.up) {
                continue;
            }
            physical.join(link.bridges[0], link.bridges[1]);
            const bool both = forwards(link.bridges[0], instance, link.units[0]) &&
                              forwards(link.bridges[1], instance, link.units[1]);
            const bool left =
                std::find(contested.begin(), contested.end(), number) != contested.end();
            if (both && !left && !forwarding.join(link.bridges[0], link.bridges[1])) {
                lines.push_back("instance " + std::to_string(instance) + ": link " +
                                std::to_string(number) + " closes a loop");
            }
        }
        for (uint32_t b = 1; b < m_topology.bridges.size(); b++) {
            if (physical.find(b) == physical.find(0) && forwarding.find(b) != forwarding.find(0)) {
                lines.push_back("instance " + std::to_string(instance) + ": bridge " +
                                std::to_string(b) + " is out of reach");
            }
        }
    }
    return lines;
}
