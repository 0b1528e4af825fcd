#include "verify.h"

#include "known.h"

#include <set>

#include "mstp/bit_list.h"

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
    : m_lab(lab), m_invariants(lab.network(), vlansOf(lab.scenario())), m_rate(lab) {
    const Microseconds tolerated = toleratedLoop(lab.scenario());
    m_invariants.allowLoopsFor(tolerated == 0 ? 0 : tolerated + 1);
    m_invariants.allowHeldLoopsFor(toleratedHeldLoop(lab.scenario()));
    m_invariants.allowFramesFor(underWay(lab.scenario()));
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

void Verifier::fail(Failure failure) {
    const bool ofTrees = failure.rule == "loop" || failure.rule == "frame goes round" ||
                         failure.rule == "tree" || failure.rule == "connected";
    failure.known =
        ofTrees && !m_undecided.empty() ? m_undecided : knownResult(m_lab.scenario(), failure);
    if (!failure.known.empty()) {
        failure.found += " (known: " + failure.known + ")";
        m_known.insert(failure.known);
    }
    m_lab.fail(failure);
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
              ruleOf(violation.text)});
    }
    for (const Failure& failure : m_rate.failures()) {
        fail(failure);
    }
    const Microseconds loop = m_invariants.longestLoop();
    const Scenario& scenario = m_lab.scenario();
    if (loop != 0 && loop <= toleratedLoop(scenario) + toleratedHeldLoop(scenario)) {
        m_known.insert(knownLoop(scenario, loop));
    }
}

// The roles first: what the computation leaves open explains the rest.
void Verifier::finish() {
    const bool settled = m_lab.network().lastChange() + QUIET <= m_lab.network().time();
    compareTrees(settled);
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
              ruleOf(violation.text)});
    }
}

} // namespace simtool
