#include "verify.h"

#include "known.h"

#include <set>

#include "mstp/bit_list.h"
#include "mstp/context.h"

namespace simtool {

// The end of a run says something about the trees when nothing has changed for so long.
static constexpr Microseconds QUIET = 5 * SECOND;

// One VLAN for each way that the bridges sort VLANs into instances.
static std::vector<uint32_t> vlansOf(const Scenario& scenario) {
    std::set<std::vector<uint32_t>> ways;
    std::vector<uint32_t> vlans;
    for (uint32_t vlan = 1; vlan <= MSTP_VLAN_ID_MAX; vlan++) {
        std::vector<uint32_t> way;
        for (const BridgePlan& bridge : scenario.bridges) {
            uint32_t holder = 0;
            for (const auto& [instance, plan] : bridge.instances) {
                const bool held = bridge.version >= 3 && !plan.vlans.empty() &&
                                  bitListTst(plan.vlans.data(), vlan - 1);
                holder = held ? instance : holder;
            }
            way.push_back(holder);
        }
        if (ways.insert(way).second) {
            vlans.push_back(vlan);
        }
    }
    return vlans;
}

Verifier::Verifier(Lab& lab)
    : m_lab(lab), m_invariants(lab.network(), vlansOf(lab.scenario())), m_rate(lab),
      m_oldRoot(lab) {
    const Scenario& scenario = lab.scenario();
    for (const uint32_t vlan : vlansOf(scenario)) {
        const Microseconds tolerated = toleratedLoop(scenario, vlan);
        m_invariants.allowLoopsIn(vlan, tolerated == 0 ? 0 : tolerated + 1);
    }
    m_invariants.allowHeldLoopsFor(toleratedHeldLoop(scenario));
    m_invariants.allowFramesFor(underWay(scenario));
    m_signs.oldRoot = [this](Microseconds time, Microseconds before) {
        return m_oldRoot.followed(time, before);
    };
    lab.network().addObserver(&m_changes);
    lookAtLoops();
}

Verifier::~Verifier() {
    m_lab.network().removeObserver(&m_changes);
}

Microseconds
Verifier::Changes::without(const std::set<std::pair<uint32_t, uint32_t>>& ports) const {
    Microseconds last = 0;
    for (const auto& [port, time] : m_last) {
        last = ports.count(port) == 0 ? std::max(last, time) : last;
    }
    return last;
}

// Where a violation is, by the scenario's names.
static std::string placeName(const Scenario& scenario, const sim::Violation& violation) {
    if (violation.link < scenario.links.size()) {
        return "link " + scenario.links[violation.link].name;
    }
    if (violation.node >= scenario.bridges.size()) {
        return "";
    }
    return scenario.bridges[violation.node].name +
           (violation.unit != 0 ? "." + std::to_string(violation.unit) : "");
}

bool Verifier::wasContested(const Failure& failure) const {
    const Microseconds begin = failure.time - std::min(failure.time, 2 * SECOND);
    for (auto at = m_contested.lower_bound(begin);
         at != m_contested.end() && at->first <= failure.time + 2 * SECOND; ++at) {
        for (const uint32_t link : at->second) {
            if (failure.circle.links.count(link) != 0) {
                return true;
            }
        }
    }
    return false;
}

std::string Verifier::explain(const Failure& failure) const {
    const bool ofTrees = failure.rule == "loop" || failure.rule == "frame goes round" ||
                         failure.rule == "tree" || failure.rule == "connected";
    if (ofTrees && !m_undecided.empty()) {
        return m_undecided;
    }
    if (ofTrees && wasContested(failure)) {
        return CONTESTED;
    }
    // Where roles are open ports may change for ever, but no others.
    if (failure.settledBy != 0 && !m_undecided.empty() &&
        (m_open.empty() || m_changes.without(m_open) <= failure.settledBy)) {
        return m_undecided;
    }
    return knownResult(m_lab.scenario(), failure, m_signs);
}

static void markKnown(Failure& failure, const std::string& known) {
    failure.known = known;
    failure.found += known.empty() ? "" : " (known: " + known + ")";
}

void Verifier::fail(Failure failure) {
    markKnown(failure, explain(failure));
    if (!failure.known.empty()) {
        m_known.insert(failure.known);
    }
    m_lab.fail(failure);
}

void Verifier::explainExpectations() {
    for (Failure& failure : m_lab.failuresToExplain()) {
        if (!failure.known.empty()) {
            continue;
        }
        markKnown(failure, explain(failure));
        if (!failure.known.empty()) {
            m_known.insert(failure.known);
        }
    }
}

// The checks tell in words; what they say in all their words is one of these.
static std::string ruleOf(const std::string& text) {
    static const std::pair<const char*, const char*> RULES[] = {
        {"has had a loop", "loop"}, {"goes round", "frame goes round"}, {"allocated", "memory"},
        {"closes a loop", "tree"},  {"cut off", "connected"},
    };
    for (const auto& [words, rule] : RULES) {
        if (text.find(words) != std::string::npos) {
            return rule;
        }
    }
    return "bounds";
}

void Verifier::addMoments() {
    for (const sim::Violation& violation : m_invariants.violations()) {
        const std::string place = placeName(m_lab.scenario(), violation);
        fail({violation.time,
              {},
              "what holds at every moment",
              place + (place.empty() ? "" : ": ") + violation.text,
              ruleOf(violation.text),
              {},
              violation.vlan,
              violation.circle});
    }
    for (const Failure& failure : m_rate.failures()) {
        fail(failure);
    }
    const Microseconds loop = m_invariants.longestToleratedLoop();
    if (loop != 0) {
        m_known.insert(knownLoop(m_lab.scenario(), loop));
    }
}

// A protected port that refuses a root does so until it has heard none for a time.
void Verifier::findSigns() {
    const auto look = [&](const tMstp& context) {
        for (uint32_t p = 0; context.ports != nullptr && p < context.portLimit; p++) {
            for (uint32_t i = 0; i < context.xstLimit; i++) {
                const tMstpXstPort& port = context.ports[p].xstPorts[i];
                if (context.ports[p].state == MSTP_SLOT_IN_USE && port.state == MSTP_SLOT_IN_USE &&
                    timerRemain(&port.rootHoldoffTimer) > 0) {
                    m_signs.refusing.insert(port.xst->xstId);
                }
            }
        }
    };
    for (uint32_t b = 0; b < m_lab.scenario().bridges.size(); b++) {
        if (m_lab.running(b)) {
            m_lab.network().peek(b, [&] { look(gMstp); });
        }
    }
}

// The roles first: what the computation leaves open explains the rest.
void Verifier::finish() {
    const bool settled = m_lab.network().lastChange() + QUIET <= m_lab.network().time();
    findSigns();
    compareTrees(settled);
    explainExpectations();
    addMoments();
    if (settled) {
        checkTrees();
    }
}

void Verifier::checkTrees() {
    for (const sim::Violation& violation : m_invariants.settled()) {
        fail({violation.time,
              {},
              "a tree for every VLAN",
              placeName(m_lab.scenario(), violation) + " " + violation.text,
              ruleOf(violation.text),
              {},
              violation.vlan,
              violation.circle});
    }
}

} // namespace simtool
