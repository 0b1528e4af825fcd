// The spanning trees of a network by relaxation. Each bridge starts as its own root and, round by
// round, takes the best of what its ports hear; costs only grow along a path, so this ends. A
// port's role then follows: what it hears is better than what it would say, or it is designated.
//
// Inside a region information keeps its regional root and grows in internal cost and hops; over a
// boundary it grows in external cost and age, and the receiver takes itself for the regional root
// of it. A segment on which a bridge speaks classic STP is a boundary for all, and there a bridge
// signs with its own identifier instead of its regional root's.

#include "oracle.h"

#include <algorithm>
#include <optional>
#include <set>

namespace oracle {

namespace {

constexpr uint32_t REFERENCE = 20'000'000; // cost of a link of 1 Mb/s
constexpr uint32_t FASTEST_DECADE = 10'000'000;

// Root, external cost, regional root, internal cost, designated bridge and port, receiving port.
using Vector = std::tuple<uint64_t, uint64_t, uint64_t, uint64_t, uint64_t, uint32_t, uint32_t>;

struct Message {
    Vector vector;
    uint32_t sender = 0;
    bool internal = false;
    uint32_t hops = 0;
    uint32_t age = 0;
    uint32_t maxAge = 0;
};

uint64_t bridgeId(const Bridge& bridge, uint32_t instance) {
    uint64_t id = (static_cast<uint64_t>(bridge.priorities.at(instance)) << 12) | instance;
    for (const uint8_t byte : bridge.mac) {
        id = (id << 8) | byte;
    }
    return id;
}

const PortInstance& settingsOf(const Port& port, uint32_t instance) {
    static const PortInstance defaults;
    const auto found = port.instances.find(instance);
    return found != port.instances.end() ? found->second : defaults;
}

uint32_t portId(const Port& port, uint32_t instance) {
    const uint32_t number = port.number != 0 ? port.number : port.unit;
    return (settingsOf(port, instance).priority << 12) | (number & 0xFFF);
}

class Computation {
  public:
    explicit Computation(const Network& network)
        : m_network(network), m_state(network.bridges.size()), m_ports(network.bridges.size()) {
        for (uint32_t s = 0; s < network.segments.size(); s++) {
            for (const End& end : network.segments[s].ends) {
                if (bridge(end.bridge).ports.count(end.unit) != 0) {
                    m_ports[end.bridge].push_back({s, end});
                }
            }
        }
        // A tie of ports goes to the first, and that is the lowest unit.
        for (auto& ports : m_ports) {
            std::sort(ports.begin(), ports.end(), [](const Attachment& a, const Attachment& b) {
                return a.end.unit < b.end.unit;
            });
        }
    }

    Trees run() {
        std::set<uint32_t> instances = {0};
        for (const Bridge& each : m_network.bridges) {
            for (const auto& [instance, priority] : each.priorities) {
                instances.insert(instance);
            }
        }
        for (const uint32_t instance : instances) {
            m_instance = instance;
            spread();
            m_tooFar.insert(m_farNow.begin(), m_farNow.end());
            noteKnowledge();
            assignRoles();
        }
        judgeSegments();
        m_trees.tooFar.assign(m_tooFar.begin(), m_tooFar.end());
        return std::move(m_trees);
    }

  private:
    struct State {
        Vector best;
        uint32_t rootUnit = 0;
        uint32_t hops = 0;
        uint32_t age = 0;
        uint32_t maxAge = 0;
    };
    struct Attachment {
        uint32_t segment = 0;
        End end;
    };

    const Bridge& bridge(uint32_t number) const { return m_network.bridges[number]; }
    const Port& port(const End& end) const { return bridge(end.bridge).ports.at(end.unit); }
    uint64_t idOf(uint32_t number) const { return bridgeId(bridge(number), m_instance); }

    bool speaks(uint32_t segment, const End& end) const {
        return m_network.segments[segment].up && end.up &&
               bridge(end.bridge).ports.count(end.unit) != 0;
    }

    // True if a port speaks classic STP, for its bridge's or for a neighbour's sake.
    bool isClassic(uint32_t segment, const End& at) const {
        if (at.classic || bridge(at.bridge).version < 2) {
            return at.classic.value_or(true);
        }
        const auto& ends = m_network.segments[segment].ends;
        return std::any_of(ends.begin(), ends.end(), [&](const End& end) {
            return speaks(segment, end) && bridge(end.bridge).version < 2;
        });
    }

    bool isInternal(uint32_t segment, const End& from, const End& to) const {
        const Bridge& sender = bridge(from.bridge);
        const Bridge& receiver = bridge(to.bridge);
        return sender.version >= 3 && receiver.version >= 3 && sender.region == receiver.region &&
               !isClassic(segment, from);
    }

    // What @p to would hear if @p from spoke. None where it would not count.
    std::optional<Message> message(uint32_t segment, const End& from, const End& to) {
        if (!bridge(from.bridge).runs(m_instance)) {
            return std::nullopt;
        }
        const State& sender = m_state[from.bridge];
        const auto& [root, external, regional, inner, designated, sent, received] = sender.best;
        const uint32_t fromId = portId(port(from), m_instance);
        const uint32_t toId = portId(port(to), m_instance);
        Message result;
        result.sender = from.bridge;
        result.hops = sender.hops;
        result.age = sender.age;
        result.maxAge = sender.maxAge;
        result.internal = isInternal(segment, from, to);
        if (result.internal) {
            result.vector = {root, external, regional, inner, idOf(from.bridge), fromId, toId};
            return result;
        }
        if (m_instance != 0) {
            return std::nullopt;
        }
        const uint64_t signature = isClassic(segment, from) ? idOf(from.bridge) : regional;
        result.vector = {root, external, idOf(to.bridge), 0, signature, fromId, toId};
        result.hops = bridge(to.bridge).maxHops;
        return result;
    }

    // The best that a port hears. Another port of its own bridge may be the one that says it.
    std::optional<Message> heard(uint32_t segment, const End& at) {
        std::optional<Message> best;
        if (!speaks(segment, at)) {
            return best;
        }
        for (const End& other : m_network.segments[segment].ends) {
            const bool same = other.bridge == at.bridge && other.unit == at.unit;
            if (same || !speaks(segment, other)) {
                continue;
            }
            const std::optional<Message> each = message(segment, other, at);
            if (each && (!best || each->vector < best->vector)) {
                best = each;
            }
        }
        return best;
    }

    // Information ends where no hop is left of it, or where it would be older than the root allows.
    static bool tooOld(const Message& message) {
        return message.internal ? message.hops <= 1 : message.age + 1 > message.maxAge;
    }

    Vector rootPath(const Message& message, const End& at) const {
        const Port& here = port(at);
        const uint32_t set = settingsOf(here, m_instance).cost;
        const uint32_t cost =
            set != 0 ? set : costOfSpeed(here.speed, bridge(at.bridge).decadeCosts);
        Vector path = message.vector;
        (message.internal ? std::get<3>(path) : std::get<1>(path)) += cost;
        return path;
    }

    State own(uint32_t number) const {
        const uint64_t id = idOf(number);
        State state;
        state.best = {id, 0, id, 0, id, 0, 0};
        state.hops = bridge(number).maxHops;
        state.maxAge = bridge(number).maxAge;
        return state;
    }

    State choose(uint32_t number) {
        State best = own(number);
        for (const Attachment& attachment : m_ports[number]) {
            const std::optional<Message> message = heard(attachment.segment, attachment.end);
            if (!message || message->sender == number || port(attachment.end).restrictedRole) {
                continue;
            }
            const Vector path = rootPath(*message, attachment.end);
            if (path >= best.best) {
                continue;
            }
            if (tooOld(*message)) {
                m_farNow.insert(number);
                continue;
            }
            best.best = path;
            best.rootUnit = attachment.end.unit;
            best.hops = message->internal ? message->hops - 1 : message->hops;
            best.age = message->internal ? message->age : message->age + 1;
            best.maxAge = message->maxAge;
        }
        return best;
    }

    void spread() {
        for (uint32_t b = 0; b < m_state.size(); b++) {
            m_state[b] = bridge(b).runs(m_instance) ? own(b) : State();
        }
        for (size_t round = 0; round < 4 * m_state.size() + 4; round++) {
            std::vector<State> next = m_state;
            bool changed = false;
            m_farNow.clear();
            for (uint32_t b = 0; b < m_state.size(); b++) {
                if (!bridge(b).runs(m_instance)) {
                    continue;
                }
                next[b] = choose(b);
                changed = changed || next[b].best != m_state[b].best ||
                          next[b].hops != m_state[b].hops || next[b].age != m_state[b].age;
            }
            m_state = std::move(next);
            if (!changed) {
                return;
            }
        }
    }

    void noteKnowledge() {
        for (uint32_t b = 0; b < m_state.size(); b++) {
            if (!bridge(b).runs(m_instance)) {
                continue;
            }
            const State& state = m_state[b];
            Knowledge& known = m_trees.knowledge[{b, m_instance}];
            known.root = std::get<0>(state.best);
            known.externalCost = std::get<1>(state.best);
            known.regionalRoot = std::get<2>(state.best);
            known.internalCost = std::get<3>(state.best);
            known.rootUnit = state.rootUnit;
            known.hops = state.hops;
            known.age = state.age;
            known.maxAge = state.maxAge;
        }
    }

    Role byVectors(uint32_t number, const Attachment& attachment) {
        if (m_state[number].rootUnit == attachment.end.unit) {
            return Role::Root;
        }
        const std::optional<Message> message = heard(attachment.segment, attachment.end);
        if (!message || tooOld(*message)) {
            return Role::Designated;
        }
        Vector claim = m_state[number].best;
        std::get<4>(claim) = idOf(number);
        std::get<5>(claim) = portId(port(attachment.end), m_instance);
        std::get<6>(claim) = std::get<5>(claim);
        if (claim < message->vector) {
            return Role::Designated;
        }
        return message->sender == number ? Role::Backup : Role::Alternate;
    }

    // On a boundary an MSTI follows the CIST.
    Role mstiRole(uint32_t number, const Attachment& attachment) {
        const Role cist = m_trees.roles.at({number, 0, attachment.end.unit});
        if (m_boundary.count({number, attachment.end.unit}) == 0) {
            return byVectors(number, attachment);
        }
        if (cist == Role::Root) {
            return Role::Master;
        }
        return cist == Role::Alternate ? Role::Alternate : Role::Designated;
    }

    void assignRoles() {
        for (uint32_t b = 0; b < m_ports.size(); b++) {
            if (!bridge(b).runs(m_instance)) {
                continue;
            }
            for (const Attachment& each : m_ports[b]) {
                Role role = Role::Disabled;
                if (speaks(each.segment, each.end)) {
                    role = m_instance == 0 ? byVectors(b, each) : mstiRole(b, each);
                }
                m_trees.roles[{b, m_instance, each.end.unit}] = role;
                const bool receives = role != Role::Disabled && role != Role::Designated;
                if (m_instance == 0 && receives && !heard(each.segment, each.end)->internal) {
                    m_boundary.insert({b, each.end.unit});
                }
            }
        }
    }

    void judgeSegments() {
        for (uint32_t s = 0; s < m_network.segments.size(); s++) {
            uint32_t speakers = 0;
            uint32_t designated = 0;
            for (const End& end : m_network.segments[s].ends) {
                if (!speaks(s, end)) {
                    continue;
                }
                speakers++;
                const Role role = m_trees.roles.at({end.bridge, 0, end.unit});
                designated += role == Role::Designated ? 1 : 0;
            }
            if (designated > 1) {
                m_trees.contested.push_back(s);
            } else if (speakers > 0 && designated == 0) {
                m_trees.yielding.push_back(s);
            }
        }
    }

    const Network& m_network;
    std::vector<State> m_state;
    std::vector<std::vector<Attachment>> m_ports;
    std::set<std::pair<uint32_t, uint32_t>> m_boundary; // hears from outside its region
    std::set<uint32_t> m_tooFar;
    std::set<uint32_t> m_farNow; // in the last round
    uint32_t m_instance = 0;
    Trees m_trees;
};

} // namespace

std::string regionOf(const std::string& name, uint32_t revision, uint32_t formatSelector,
                     const std::map<uint32_t, std::vector<uint8_t>>& vlansOfMstis) {
    std::string key = name + '/' + std::to_string(revision) + '/' + std::to_string(formatSelector);
    for (const auto& [instance, vlans] : vlansOfMstis) {
        for (uint32_t bit = 0; bit < vlans.size() * 8; bit++) {
            if ((vlans[bit / 8] & (0x80U >> (bit % 8))) != 0) {
                key += '/' + std::to_string(instance) + ':' + std::to_string(bit + 1);
            }
        }
    }
    return key;
}

uint32_t costOfSpeed(uint32_t speed, bool decades) {
    if (speed == 0) {
        return REFERENCE;
    }
    if (!decades) {
        return std::max(REFERENCE / speed, 1U);
    }
    if (speed > FASTEST_DECADE) {
        return 1;
    }
    uint32_t cost = REFERENCE;
    for (uint32_t decade = 10; decade <= speed; decade *= 10) {
        cost /= 10;
    }
    return cost;
}

Trees compute(const Network& network) {
    return Computation(network).run();
}

} // namespace oracle
