#include "paper_tree.h"

#include <optional>
#include <tuple>

namespace {

// Root, external cost, regional root, internal cost, designated bridge and port, receiving port.
using Vector = std::tuple<uint64_t, uint64_t, uint64_t, uint64_t, uint64_t, uint32_t, uint32_t>;

constexpr uint32_t PORT_PRIORITY = 8;

uint64_t bridgeId(const PaperBridge& bridge, uint32_t instance) {
    uint64_t id = (static_cast<uint64_t>(bridge.priorities[instance]) << 12) | instance;
    for (const uint8_t byte : bridge.mac) {
        id = (id << 8) | byte;
    }
    return id;
}

uint32_t portId(uint32_t unit) {
    return (PORT_PRIORITY << 12) | unit;
}

uint64_t cost(const PaperLink& link) {
    return 20'000'000 / link.speed;
}

class Tree {
  public:
    explicit Tree(const Topology& topology) : m_topology(topology) {}

    PaperTree compute() {
        spread(0);
        PaperTree tree;
        for (uint32_t number = 0; number < m_topology.links.size(); number++) {
            uint32_t designated = 0;
            uint32_t alternate = 0;
            for (uint32_t side = 0; side < 2; side++) {
                const Role role = cistRole(m_topology.links[number], side);
                setRole(tree, number, side, 0, role);
                designated += role == Role::Designated ? 1 : 0;
                alternate += role == Role::Alternate ? 1 : 0;
            }
            if (designated == 2 && m_topology.links[number].up) {
                tree.contested.push_back(number);
            }
            if (alternate == 2) {
                tree.yielding.push_back(number);
            }
        }
        for (uint32_t instance = 1; instance <= m_topology.instances; instance++) {
            spread(instance);
            for (uint32_t number = 0; number < m_topology.links.size(); number++) {
                for (uint32_t side = 0; side < 2; side++) {
                    if (m_topology.runsMsti(m_topology.links[number].bridges[side])) {
                        setRole(tree, number, side, instance,
                                mstiRole(tree, number, side, instance));
                    }
                }
            }
        }
        return tree;
    }

  private:
    const PaperBridge& bridge(uint32_t number) const { return m_topology.bridges[number]; }

    void setRole(PaperTree& tree, uint32_t number, uint32_t side, uint32_t instance, Role role) {
        const PaperLink& link = m_topology.links[number];
        tree.roles[{link.bridges[side], instance, link.units[side]}] = role;
    }

    // Each bridge starts as its own root and adopts what it hears while that is better. Costs only
    // grow along a path, so this ends.
    void spread(uint32_t instance) {
        m_best.clear();
        m_rootLink.assign(m_topology.bridges.size(), std::nullopt);
        m_rootSide.assign(m_topology.bridges.size(), 0);
        for (const PaperBridge& each : m_topology.bridges) {
            const uint64_t own = bridgeId(each, instance);
            m_best.emplace_back(own, 0, own, 0, own, 0, 0);
        }
        for (uint32_t round = 0; round < 4 * m_topology.bridges.size() + 4; round++) {
            std::vector<Vector> next;
            for (uint32_t b = 0; b < m_topology.bridges.size(); b++) {
                next.push_back(bestOf(b, instance));
            }
            if (next == m_best) {
                return;
            }
            m_best = next;
        }
    }

    Vector bestOf(uint32_t b, uint32_t instance) {
        const uint64_t own = bridgeId(bridge(b), instance);
        Vector best(own, 0, own, 0, own, 0, 0);
        m_rootLink[b] = std::nullopt;
        for (uint32_t number = 0; number < m_topology.links.size(); number++) {
            const PaperLink& link = m_topology.links[number];
            for (uint32_t side = 0; side < 2; side++) {
                if (link.bridges[side] != b || !heard(link, instance)) {
                    continue;
                }
                Vector path = message(link, side, instance);
                if (m_topology.internal(link)) {
                    std::get<3>(path) += cost(link);
                } else {
                    std::get<1>(path) += cost(link);
                }
                if (path < best) {
                    best = path;
                    m_rootLink[b] = number;
                    m_rootSide[b] = side;
                }
            }
        }
        return best;
    }

    // MSTI information counts only inside a region.
    bool heard(const PaperLink& link, uint32_t instance) const {
        return link.up && (instance == 0 || m_topology.internal(link));
    }

    // What the bridge at @p side hears from the other end.
    Vector message(const PaperLink& link, uint32_t side, uint32_t instance) const {
        const uint32_t receiver = link.bridges[side];
        const uint32_t sender = link.bridges[1 - side];
        const auto& [root, external, regional, inner, designated, port, received] = m_best[sender];
        const uint64_t senderId = bridgeId(bridge(sender), instance);
        const uint32_t senderPort = portId(link.units[1 - side]);
        const uint32_t receiverPort = portId(link.units[side]);
        if (m_topology.internal(link)) {
            return {root, external, regional, inner, senderId, senderPort, receiverPort};
        }
        // An MST bridge signs what it sends over the boundary with its regional root, unless the
        // neighbour's age makes it send configuration BPDUs, which it signs itself.
        const bool configuration = bridge(sender).version == 1 || bridge(receiver).version == 1;
        const uint64_t signature = configuration ? senderId : regional;
        return {root,       external,    bridgeId(bridge(receiver), instance), 0, signature,
                senderPort, receiverPort};
    }

    Vector ownClaim(const PaperLink& link, uint32_t side, uint32_t instance) const {
        const auto& [root, external, regional, inner, designated, port, received] =
            m_best[link.bridges[side]];
        const uint32_t own = portId(link.units[side]);
        return {root, external, regional, inner, bridgeId(bridge(link.bridges[side]), instance),
                own,  own};
    }

    bool isRootPort(const PaperLink& link, uint32_t side) const {
        const uint32_t b = link.bridges[side];
        return m_rootLink[b].has_value() && &m_topology.links[*m_rootLink[b]] == &link &&
               m_rootSide[b] == side;
    }

    Role roleByVectors(const PaperLink& link, uint32_t side, uint32_t instance) const {
        if (isRootPort(link, side)) {
            return Role::Root;
        }
        return message(link, side, instance) < ownClaim(link, side, instance) ? Role::Alternate
                                                                              : Role::Designated;
    }

    Role cistRole(const PaperLink& link, uint32_t side) const {
        return link.up ? roleByVectors(link, side, 0) : Role::Disabled;
    }

    // On a boundary an MSTI follows the CIST.
    Role mstiRole(const PaperTree& tree, uint32_t number, uint32_t side, uint32_t instance) const {
        const PaperLink& link = m_topology.links[number];
        if (!link.up) {
            return Role::Disabled;
        }
        if (m_topology.internal(link)) {
            return roleByVectors(link, side, instance);
        }
        const Role cist = tree.roles.at({link.bridges[side], 0, link.units[side]});
        if (cist == Role::Root) {
            return Role::Master;
        }
        return cist == Role::Alternate ? Role::Alternate : Role::Designated;
    }

    const Topology& m_topology;
    std::vector<Vector> m_best;
    std::vector<std::optional<uint32_t>> m_rootLink;
    std::vector<uint32_t> m_rootSide;
};

} // namespace

PaperTree paperTree(const Topology& topology) {
    return Tree(topology).compute();
}
