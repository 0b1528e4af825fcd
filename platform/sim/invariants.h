#pragma once

/// What must hold in a network, at every moment or once it has settled. The checker watches a
/// network and writes down what does not.

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "network.h"

namespace sim {

/// All that a frame may pass again and again.
struct Circle {
    std::set<uint32_t> nodes;
    std::set<uint32_t> links;
};

struct Violation {
    uint64_t time = 0;
    uint32_t node = 0; ///< NO_END where no single one is to blame
    uint32_t unit = 0; ///< 0 where no single one is to blame
    std::string text;  ///< names neither: whoever tells it has better names than numbers
    uint32_t link = NO_END;
    uint32_t vlan = 0; ///< 0 where it is about none
    Circle circle = {};
};

/// What a check of the trees leaves out, because a user has asked for it or because the protocol
/// promises nothing there.
struct Excuses {
    std::set<uint32_t> links;
    std::set<std::pair<uint32_t, uint32_t>> ports; ///< node and unit
};

/// The links over which frames of @p vlan can go round in a circle: each closes one with those
/// before it. Both ends of a link count as what the hardware groups say.
std::vector<uint32_t> forwardingCycles(const Network& network, uint32_t vlan,
                                       const Excuses& excuses = {});

/// What lies on the circles, all of them together; empty if there is none.
Circle circleOf(const Network& network, uint32_t vlan, const Excuses& excuses = {});

/// Nodes that frames of @p vlan do not reach from others that they are joined to by links whose
/// ports the hardware has been told of. One of each part that is cut off is named.
std::vector<uint32_t> cutOffNodes(const Network& network, uint32_t vlan,
                                  const Excuses& excuses = {});

/// Counters, timers and enumerations of a daemon that are out of their bounds. The bounds of the
/// counters are those that management lets the times be set to.
std::vector<Violation> violatedBounds(const Network& network, uint32_t node);
/// The same, one line each.
std::vector<std::string> outOfBounds(const Network& network, uint32_t node);

class Invariants : public Observer {
  public:
    /// @param vlans  whose forwarding is watched, one of each instance will do
    Invariants(Network& network, const std::vector<uint32_t>& vlans);
    ~Invariants() override;
    Invariants(const Invariants&) = delete;
    Invariants& operator=(const Invariants&) = delete;

    /// A circle of forwarding ports, and test frames that go round in it, are tolerated for so
    /// long. At first none is.
    void allowLoopsFor(uint64_t microseconds) { m_grace = microseconds; }
    /// The same for one VLAN.
    void allowLoopsIn(uint32_t vlan, uint64_t microseconds) { m_graces[vlan] = microseconds; }
    /// The time does not count during which a port waits for its hold count with something to say,
    /// up to so much of it.
    void allowHeldLoopsFor(uint64_t microseconds) { m_heldGrace = microseconds; }
    /// Test frames that were on their way when a circle was opened may go round for so long after.
    void allowFramesFor(uint64_t microseconds) { m_frameGrace = microseconds; }
    void setExcuses(const Excuses& excuses) { m_excuses = excuses; }

    /// The first violations, at most a hundred.
    const std::vector<Violation>& violations() const { return m_violations; }
    uint64_t count() const { return m_count; }
    /// True if there is a circle of forwarding ports now.
    bool looping() const { return m_anyLoop; }
    /// How long a circle of forwarding ports lasted at most, microseconds.
    uint64_t longestLoop() const { return m_longestLoop; }
    /// The longest of those that were tolerated.
    uint64_t longestToleratedLoop() const { return m_longestTolerated; }

    /// What must hold in a network that has settled: every watched VLAN's forwarding ports make a
    /// tree that connects what is connected. Each names the link or the bridge of which its text
    /// goes on: "closes a loop in VLAN 1", "is cut off in VLAN 1".
    std::vector<Violation> settled() const;
    /// The same, one line each.
    std::vector<std::string> settledViolations() const;

    void stateChanged(const StateEvent& event) override;
    void linkChanged(uint64_t time, uint32_t link, bool up) override;
    void endChanged(uint64_t time, uint32_t link, uint32_t end, bool up) override;
    void driverPassed(const PassEvent& event) override;
    void turned(uint64_t time, uint32_t node) override;
    void testFrameLooped(const TestFrame& frame, LinkEnd at) override;

  private:
    struct Watch {
        bool changed = false; ///< ports or links, since the last look
        bool looping = false;
        bool reported = false; ///< this loop
        uint64_t since = 0;
        uint64_t heldBefore = 0;
        uint64_t opened = 0;    ///< the last loop; 0 = there was none
        uint32_t link = NO_END; ///< that closed the loop
        Circle circle;          ///< the last
    };

    void add(const Violation& violation);
    void look(uint64_t time, uint32_t vlan, Watch& watch);
    void report(uint64_t time, uint32_t vlan, Watch& watch);
    void changeAll();
    void checkDaemon(uint64_t time, uint32_t node);
    void noteHeld(uint64_t time, uint32_t node);
    uint64_t heldTime() const;
    uint64_t graceOf(uint32_t vlan, const Watch& watch) const;
    bool tolerated(const TestFrame& frame) const;

    Network& m_network;
    Excuses m_excuses;
    std::map<uint32_t, Watch> m_watches; ///< by VLAN
    bool m_anyLoop = false;
    bool m_anyChange = true;
    bool m_passed = false; ///< the node whose turn it is
    uint64_t m_grace = 0;
    std::map<uint32_t, uint64_t> m_graces; ///< by VLAN
    uint64_t m_heldGrace = 0;
    uint64_t m_frameGrace = 0;
    std::set<uint32_t> m_holding; ///< nodes of which a port waits for its hold count
    uint64_t m_heldSince = 0;     ///< if there are any
    uint64_t m_heldUntilNow = 0;  ///< for so long did any, without the present ones
    uint64_t m_longestLoop = 0;
    uint64_t m_longestTolerated = 0;
    uint64_t m_count = 0;
    std::vector<Violation> m_violations;
    std::map<uint32_t, uint64_t> m_allocations; ///< told of, by node
};

} // namespace sim
