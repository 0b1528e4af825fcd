// The checks look at the hardware groups and at the daemons' records, never at what a machine
// meant to do. A network's graph for a VLAN has a vertex for every switch and for every link (or
// hub) and an edge for every interface that lets the VLAN's frames through; a circle in it is a
// loop, whether it runs over wires, hubs or two ports of one switch.

#include "invariants.h"

#include <algorithm>
#include <numeric>

#include "platform/stg.h"

namespace sim {

namespace {

constexpr size_t VIOLATIONS_KEPT = 100;

// Bounds of 13.23 and 13.37 of IEEE 802.1Q-2005 for times, in seconds.
constexpr uint32_t HELLO_MAX = 10;
constexpr uint32_t FORWARD_DELAY_MAX = 30;
constexpr uint32_t MAX_AGE_MAX = 40;
constexpr uint32_t MIGRATE_TIME = 3;

class Components {
  public:
    explicit Components(size_t count) : m_parent(count) {
        std::iota(m_parent.begin(), m_parent.end(), 0U);
    }
    uint32_t find(uint32_t vertex) {
        while (m_parent[vertex] != vertex) {
            m_parent[vertex] = m_parent[m_parent[vertex]];
            vertex = m_parent[vertex];
        }
        return vertex;
    }
    /// @return false if the two hung together before
    bool join(uint32_t a, uint32_t b) {
        const uint32_t rootA = find(a);
        const uint32_t rootB = find(b);
        m_parent[rootA] = rootB;
        return rootA != rootB;
    }

  private:
    std::vector<uint32_t> m_parent;
};

bool excused(const Excuses& excuses, uint32_t link, const LinkEnd& at) {
    return excuses.links.count(link) != 0 || excuses.ports.count({at.node, at.unit}) != 0;
}

// Calls work(link, end) for every interface that is plugged into a link that is up.
template <class Work> void forEachEnd(const Network& network, const Excuses& excuses, Work work) {
    for (uint32_t number = 0; number < network.links(); number++) {
        const Link& link = network.link(number);
        for (const Link::End& end : link.ends) {
            if (link.up && end.up && !isHost(end.at) && !excused(excuses, number, end.at)) {
                work(number, end.at);
            }
        }
    }
}

} // namespace

std::vector<uint32_t> forwardingCycles(const Network& network, uint32_t vlan,
                                       const Excuses& excuses) {
    Components components(network.nodes() + network.links());
    std::vector<uint32_t> closing;
    forEachEnd(network, excuses, [&](uint32_t link, const LinkEnd& at) {
        if (network.forwards(at.node, at.unit, vlan) &&
            !components.join(at.node, network.nodes() + link)) {
            closing.push_back(link);
        }
    });
    return closing;
}

// What is left of the graph when all that hangs on by one edge is taken off again and again.
Circle circleOf(const Network& network, uint32_t vlan, const Excuses& excuses) {
    std::vector<std::set<uint32_t>> edges(network.nodes() + network.links());
    std::set<uint32_t> twice; // links of which a node has two ends
    forEachEnd(network, excuses, [&](uint32_t link, const LinkEnd& at) {
        const uint32_t segment = network.nodes() + link;
        if (network.forwards(at.node, at.unit, vlan) && !edges[at.node].insert(segment).second) {
            twice.insert(segment);
        }
        if (network.forwards(at.node, at.unit, vlan)) {
            edges[segment].insert(at.node);
        }
    });
    std::vector<uint32_t> loose(edges.size());
    std::iota(loose.begin(), loose.end(), 0U);
    while (!loose.empty()) {
        const uint32_t vertex = loose.back();
        loose.pop_back();
        const bool hangs = edges[vertex].size() == 1 && twice.count(vertex) == 0 &&
                           twice.count(*edges[vertex].begin()) == 0;
        if (hangs) {
            const uint32_t other = *edges[vertex].begin();
            edges[vertex].clear();
            edges[other].erase(vertex);
            loose.push_back(other);
        }
    }
    Circle circle;
    for (uint32_t vertex = 0; vertex < edges.size(); vertex++) {
        if (!edges[vertex].empty() && vertex < network.nodes()) {
            circle.nodes.insert(vertex);
        } else if (!edges[vertex].empty()) {
            circle.links.insert(vertex - network.nodes());
        }
    }
    return circle;
}

std::vector<uint32_t> cutOffNodes(const Network& network, uint32_t vlan, const Excuses& excuses) {
    const size_t vertices = network.nodes() + network.links();
    Components physical(vertices);
    Components forwarding(vertices);
    forEachEnd(network, excuses, [&](uint32_t link, const LinkEnd& at) {
        const uint32_t segment = network.nodes() + link;
        const bool forwards = network.forwards(at.node, at.unit, vlan);
        // A daemon that is gone blocks its ports for good: what is behind them is not to be
        // reached.
        if (forwards || network.role(at.node, 0, at.unit) != 0) {
            physical.join(at.node, segment);
        }
        if (forwards) {
            forwarding.join(at.node, segment);
        }
    });
    std::map<uint32_t, uint32_t> reached; // physical part: the forwarding part of its first node
    std::set<uint32_t> told;
    std::vector<uint32_t> lost;
    for (uint32_t node = 0; node < network.nodes(); node++) {
        const uint32_t part = forwarding.find(node);
        const auto first = reached.emplace(physical.find(node), part).first;
        if (first->second != part && told.insert(part).second) {
            lost.push_back(node);
        }
    }
    return lost;
}

// ---- bounds

namespace {

const char* groupStateWord(uint32_t state) {
    switch (state) {
    case STG_PORT_BLOCKING:
        return "blocking";
    case STG_PORT_LISTENING:
        return "listening";
    case STG_PORT_LEARNING:
        return "learning";
    case STG_PORT_FORWARDING:
        return "forwarding";
    default:
        return "disabled";
    }
}

const char* stateWord(uint32_t state) {
    switch (state) {
    case MSTP_PORT_STATE_DISCARDING:
        return "discarding";
    case MSTP_PORT_STATE_LEARNING:
        return "learning";
    case MSTP_PORT_STATE_FORWARDING:
        return "forwarding";
    default:
        return "disabled";
    }
}

class Bounds {
  public:
    Bounds(const Network& network, uint32_t node) : m_network(network), m_node(node) {}

    std::vector<Violation> check() {
        const tMstp& context = m_network.node(m_node).context;
        for (uint32_t p = 0; context.ports != nullptr && p < context.portLimit; p++) {
            tMstpPort& port = context.ports[p];
            if (port.state != MSTP_SLOT_IN_USE) {
                continue;
            }
            m_unit = port.unit;
            m_instance.clear();
            checkPort(port);
            for (uint32_t i = 0; i < context.xstLimit; i++) {
                if (port.xstPorts[i].state == MSTP_SLOT_IN_USE) {
                    m_instance = i == 0 ? " in the CIST" : " in MSTI " + std::to_string(i);
                    checkXstPort(port.xstPorts[i]);
                }
            }
        }
        return m_found;
    }

  private:
    void add(const std::string& text) {
        m_found.push_back({m_network.time(), m_node, m_unit, text + m_instance});
    }

    void atMost(const char* what, uint32_t value, uint32_t bound) {
        if (value > bound) {
            add(what + (" is " + std::to_string(value)) + ", at most " + std::to_string(bound));
        }
    }

    // A counter reads more than 0 exactly while its timer runs, which is never longer.
    void counter(const char* what, uint32_t value, const tTimerNode& timer, uint32_t bound) {
        atMost(what, value, bound);
        const bool armed = listLinked(&timer.node);
        // Loaded with nothing it is armed too, until the next look at the timers.
        const bool due = value == 0 && timerRemain(&timer) <= 0;
        if (armed != (value != 0) && !due) {
            add(what + (" is " + std::to_string(value)) +
                (armed ? " and its timer runs" : " and no timer runs"));
        }
        const auto remaining = static_cast<uint32_t>(timerRemain(&timer));
        atMost(what, remaining, value * TIMER_TICKS_PER_SECOND);
    }

    void checkPort(const tMstpPort& port) {
        counter("helloWhen", port.helloWhen, port.helloWhenTimer, HELLO_MAX);
        counter("mdelayWhile", port.mdelayWhile, port.mdelayWhileTimer, MIGRATE_TIME);
        counter("edgeDelayWhile", port.edgeDelayWhile, port.edgeDelayWhileTimer, MAX_AGE_MAX);
        atMost("txCount", port.txCount, HELLO_MAX);
    }

    void checkXstPort(const tMstpXstPort& port) {
        counter("fdWhile", port.fdWhile, port.fdWhileTimer, MAX_AGE_MAX);
        counter("rrWhile", port.rrWhile, port.rrWhileTimer, FORWARD_DELAY_MAX);
        counter("rbWhile", port.rbWhile, port.rbWhileTimer, 2 * HELLO_MAX);
        counter("tcWhile", port.tcWhile, port.tcWhileTimer, MAX_AGE_MAX + FORWARD_DELAY_MAX);
        counter("rcvdInfoWhile", port.rcvdInfoWhile, port.rcvdInfoWhileTimer, 3 * HELLO_MAX);
        atMost("role", port.role, MSTP_PORT_ROLE_UNKNOWN);
        atMost("hwState", port.hwState, MSTP_PORT_STATE_UNKNOWN);
        checkHardware(port);
        checkState(port);
    }

    // Between two frames a port has come as far as it has been asked to (13.36).
    void checkState(const tMstpXstPort& port) {
        if (port.learning != port.learn || port.forwarding != port.forward) {
            add(std::string("asked to ") + wish(port.learn, port.forward) + " it " +
                wish(port.learning, port.forwarding) + "s");
        }
    }

    static const char* wish(uint32_t learn, uint32_t forward) {
        return forward != 0 ? "forward" : learn != 0 ? "learn" : "discard";
    }

    // The hardware does what the port's record says.
    void checkHardware(const tMstpXstPort& port) {
        const auto& groups = m_network.node(m_node).sw.groups;
        const auto group = groups.find(port.xst->stgId);
        if (group == groups.end()) {
            return;
        }
        const auto state = group->second.states.find(port.host->unit);
        if (state == group->second.states.end()) {
            return;
        }
        const bool blocks =
            port.hwState == MSTP_PORT_STATE_DISCARDING || port.hwState == MSTP_PORT_STATE_LEARNING;
        if (blocks == (state->second == STG_PORT_FORWARDING)) {
            add(std::string("the hardware state ") + groupStateWord(state->second) +
                " does not follow the state " + stateWord(port.hwState));
        }
    }

    const Network& m_network;
    uint32_t m_node;
    uint32_t m_unit = 0;
    std::string m_instance; ///< where it is
    std::vector<Violation> m_found;
};

} // namespace

std::vector<Violation> violatedBounds(const Network& network, uint32_t node) {
    return Bounds(network, node).check();
}

std::vector<std::string> outOfBounds(const Network& network, uint32_t node) {
    std::vector<std::string> lines;
    for (const Violation& violation : violatedBounds(network, node)) {
        lines.push_back("port " + std::to_string(violation.unit) + ": " + violation.text);
    }
    return lines;
}

// ---- the watch

Invariants::Invariants(Network& network, const std::vector<uint32_t>& vlans) : m_network(network) {
    for (const uint32_t vlan : vlans) {
        m_watches[vlan].changed = true;
    }
    m_network.addObserver(this);
}

Invariants::~Invariants() {
    m_network.removeObserver(this);
}

void Invariants::add(const Violation& violation) {
    m_count++;
    if (m_violations.size() < VIOLATIONS_KEPT) {
        m_violations.push_back(violation);
    }
}

void Invariants::changeAll() {
    m_anyChange = true;
    for (auto& [vlan, watch] : m_watches) {
        watch.changed = true;
    }
}

void Invariants::linkChanged(uint64_t /*time*/, uint32_t /*link*/, bool /*up*/) {
    changeAll();
}

void Invariants::endChanged(uint64_t /*time*/, uint32_t /*link*/, uint32_t /*end*/, bool /*up*/) {
    changeAll();
}

void Invariants::stateChanged(const StateEvent& event) {
    if (event.before != STG_PORT_FORWARDING && event.after != STG_PORT_FORWARDING) {
        return;
    }
    const std::vector<uint32_t>& groups = m_network.node(event.node).sw.groupOfVlan;
    for (auto& [vlan, watch] : m_watches) {
        if (vlan < groups.size() && groups[vlan] == event.group) {
            watch.changed = true;
            m_anyChange = true;
        }
    }
}

void Invariants::driverPassed(const PassEvent& /*event*/) {
    m_passed = true;
}

// Seconds, to the microsecond.
static std::string clockText(uint64_t time) {
    static constexpr uint64_t MICROSECONDS = 1'000'000;
    const std::string rest = std::to_string(MICROSECONDS + time % MICROSECONDS);
    return std::to_string(time / MICROSECONDS) + "." + rest.substr(1) + " s";
}

// For how long any port has waited for its hold count (13.31) so far.
uint64_t Invariants::heldTime() const {
    return m_heldUntilNow + (m_holding.empty() ? 0 : m_network.time() - m_heldSince);
}

uint64_t Invariants::graceOf(uint32_t vlan, const Watch& watch) const {
    const auto own = m_graces.find(vlan);
    return (own != m_graces.end() ? own->second : m_grace) +
           std::min(m_heldGrace, heldTime() - watch.heldBefore);
}

static bool waitsForHoldCount(const tMstp& context) {
    for (uint32_t p = 0; context.ports != nullptr && p < context.portLimit; p++) {
        const tMstpPort& port = context.ports[p];
        if (port.state == MSTP_SLOT_IN_USE && port.portEnabled != 0 &&
            (port.newInfo != 0 || port.newInfoMsti != 0) &&
            port.txCount >= port.bridge->txHoldCount) {
            return true;
        }
    }
    return false;
}

void Invariants::noteHeld(uint64_t time, uint32_t node) {
    const bool holds = waitsForHoldCount(m_network.node(node).context);
    if (holds && m_holding.empty()) {
        m_heldSince = time;
    }
    if (holds) {
        m_holding.insert(node);
    } else if (m_holding.erase(node) != 0 && m_holding.empty()) {
        m_heldUntilNow += time - m_heldSince;
    }
}

void Invariants::report(uint64_t time, uint32_t vlan, Watch& watch) {
    m_longestLoop = std::max(m_longestLoop, time - watch.since);
    if (watch.reported || time - watch.since < graceOf(vlan, watch)) {
        return;
    }
    watch.reported = true;
    add({time, NO_END, 0,
         "VLAN " + std::to_string(vlan) + " has had a loop of forwarding ports since " +
             clockText(watch.since),
         watch.link, vlan, watch.circle});
}

void Invariants::look(uint64_t time, uint32_t vlan, Watch& watch) {
    watch.changed = false;
    const std::vector<uint32_t> cycles = forwardingCycles(m_network, vlan, m_excuses);
    const bool loops = !cycles.empty();
    if (watch.looping) {
        report(time, vlan, watch);
    }
    if (loops) {
        watch.circle = circleOf(m_network, vlan, m_excuses);
    }
    if (loops && !watch.looping) {
        watch.since = time;
        watch.heldBefore = heldTime();
        watch.link = cycles[0];
        watch.reported = false;
    }
    if (watch.looping && !loops) {
        watch.opened = time;
        if (!watch.reported) {
            m_longestTolerated = std::max(m_longestTolerated, time - watch.since);
        }
    }
    watch.looping = loops;
    if (loops) {
        report(time, vlan, watch);
    }
}

void Invariants::checkDaemon(uint64_t time, uint32_t node) {
    const uint64_t allocations = m_network.node(node).counters.allocations;
    uint64_t& told = m_allocations[node];
    if (allocations > told) {
        told = allocations;
        add({time, node, 0, "memory was allocated after the start"});
    }
    if (!m_passed) {
        return;
    }
    m_passed = false;
    noteHeld(time, node);
    for (const Violation& violation : violatedBounds(m_network, node)) {
        add(violation);
    }
}

void Invariants::turned(uint64_t time, uint32_t node) {
    checkDaemon(time, node);
    if (!m_anyChange && !m_anyLoop) {
        return;
    }
    m_anyChange = false;
    m_anyLoop = false;
    for (auto& [vlan, watch] : m_watches) {
        if (watch.changed) {
            look(time, vlan, watch);
        } else if (watch.looping) {
            report(time, vlan, watch);
        }
        m_anyLoop = m_anyLoop || watch.looping;
    }
}

// While the loop is one that is tolerated, or on its last way round after it.
bool Invariants::tolerated(const TestFrame& frame) const {
    const auto found = m_watches.find(frame.vlan);
    if (found == m_watches.end()) {
        return false;
    }
    const Watch& watch = found->second;
    const uint64_t now = m_network.time();
    return watch.looping ? now - watch.since < graceOf(frame.vlan, watch)
                         : watch.opened != 0 && frame.sent <= watch.opened &&
                               now - watch.opened <= m_frameGrace;
}

void Invariants::testFrameLooped(const TestFrame& frame, LinkEnd at) {
    if (tolerated(frame)) {
        return;
    }
    const auto watch = m_watches.find(frame.vlan);
    add({m_network.time(), at.node, at.unit,
         "test frame " + std::to_string(frame.number) + " goes round in VLAN " +
             std::to_string(frame.vlan),
         NO_END, frame.vlan, watch != m_watches.end() ? watch->second.circle : Circle()});
}

std::vector<Violation> Invariants::settled() const {
    std::vector<Violation> found;
    const uint64_t now = m_network.time();
    for (const auto& [vlan, watch] : m_watches) {
        const std::string where = " in VLAN " + std::to_string(vlan);
        for (const uint32_t link : forwardingCycles(m_network, vlan, m_excuses)) {
            found.push_back({now, NO_END, 0, "closes a loop" + where, link, vlan,
                             circleOf(m_network, vlan, m_excuses)});
        }
        for (const uint32_t node : cutOffNodes(m_network, vlan, m_excuses)) {
            found.push_back({now, node, 0, "is cut off" + where, NO_END, vlan});
        }
    }
    return found;
}

std::vector<std::string> Invariants::settledViolations() const {
    std::vector<std::string> lines;
    for (const Violation& each : settled()) {
        const std::string who = each.link != NO_END ? "link " + std::to_string(each.link)
                                                    : "bridge " + std::to_string(each.node);
        lines.push_back(who + " " + each.text);
    }
    return lines;
}

} // namespace sim
