#include "verify.h"

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

Verifier::Verifier(Lab& lab) : m_lab(lab), m_invariants(lab.network(), vlansOf(lab.scenario())) {}

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

void Verifier::finish() {
    for (const sim::Violation& violation : m_invariants.violations()) {
        const std::string place = placeName(m_lab.scenario(), violation);
        m_lab.fail(violation.time, {}, "what holds at every moment",
                   place + (place.empty() ? "" : ": ") + violation.text);
    }
    if (m_lab.network().lastChange() + QUIET <= m_lab.network().time()) {
        checkTrees();
    }
}

void Verifier::checkTrees() {
    for (const sim::Violation& violation : m_invariants.settled()) {
        m_lab.fail(violation.time, {}, "a tree for every VLAN",
                   placeName(m_lab.scenario(), violation) + " " + violation.text);
    }
    compareTrees();
}

} // namespace simtool
