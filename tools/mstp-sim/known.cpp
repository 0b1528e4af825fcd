#include "known.h"

#include <algorithm>
#include <map>
#include <set>

#include "mstp/bit_list.h"

namespace simtool {

namespace {

constexpr const char* UNDER_WAY = "information under way";
constexpr const char* BOUNDARY = "boundary of a region";
constexpr const char* STANDS_STILL = "daemon that stands still";
constexpr const char* REFUSED_ROOT = "refused root";
constexpr const char* MIXED_HUB = "hub of several regions";
constexpr const char* TWINS = "two ports on one hub";
constexpr const char* SHARED = "shared segment";

constexpr const char* LOST_FRAMES = "lost frames";
constexpr const char* OLD_ROOT = "old root";
constexpr const char* LEFT_ROOT = "root that left its region";

// A neighbour that waits for an answer learns after one forward delay and forwards after another;
// it may have begun before. Once the daemon is back it needs a moment to read what has waited, and
// its neighbours the next hello.
constexpr Microseconds UNANSWERED = 2 * SECOND;
constexpr Microseconds SHORT_HANG = 3 * SECOND;
constexpr Microseconds RECOVERED = 4 * SECOND;

// Ports that wait for their hold counts one after the other.
constexpr Microseconds HELD = 3 * SECOND;
// At a region's boundary: two hello times and two short forward delays.
constexpr Microseconds BOUNDARY_LOOP = 8 * SECOND;
// A root that is forgotten: so long do the last hello and two forward delays take.
constexpr Microseconds FORGOTTEN = 10 * SECOND;
constexpr Microseconds FORGOTTEN_BY_STP = 40 * SECOND;

std::string settingOf(const BridgePlan& bridge, const char* name) {
    for (const SetCommand& command : bridge.settings) {
        if (command.target.object == Object::Region && command.setting->name == std::string(name)) {
            return commandWords(command);
        }
    }
    return "";
}

// Bridges of the same key share a region; those that know none have one each.
std::string regionKey(const Scenario& scenario, uint32_t number) {
    const BridgePlan& bridge = scenario.bridges[number];
    if (bridge.version < 3) {
        return "bridge " + std::to_string(number);
    }
    std::string key = settingOf(bridge, "name") + "/" + settingOf(bridge, "revision") + "/" +
                      settingOf(bridge, "format-selector");
    for (const auto& [instance, plan] : bridge.instances) {
        if (!plan.vlans.empty()) {
            key += "/" + std::to_string(instance) + ":";
            key.append(plan.vlans.begin(), plan.vlans.end());
        }
    }
    return key;
}

// Something is set on the way that makes a bridge another kind for a time.
bool changes(const Scenario& scenario, Object object, const char* name) {
    return std::any_of(scenario.events.begin(), scenario.events.end(), [&](const Event& event) {
        const SetCommand* set = settingBy(event);
        return set != nullptr && set->target.object == object &&
               set->setting->name == std::string(name);
    });
}
bool changesVersion(const Scenario& scenario) {
    return changes(scenario, Object::Bridge, "version");
}
bool changesRegion(const Scenario& scenario) {
    return changes(scenario, Object::Region, "name") ||
           changes(scenario, Object::Region, "revision");
}

// The regions of the MSTP bridges, and the versions.
bool alike(const Scenario& scenario) {
    if (changesVersion(scenario) || changesRegion(scenario)) {
        return false;
    }
    std::set<std::string> kinds;
    for (uint32_t b = 0; b < scenario.bridges.size(); b++) {
        const uint32_t version = scenario.bridges[b].version;
        kinds.insert(version < 3 ? "version " + std::to_string(version) : regionKey(scenario, b));
    }
    return kinds.size() <= 1;
}

// The highest of the bridges, which its root or regional root tells all.
uint32_t highest(const Scenario& scenario, const std::string& name, uint32_t standard) {
    uint32_t value = 0;
    for (const BridgePlan& bridge : scenario.bridges) {
        uint32_t own = standard;
        for (const SetCommand& command : bridge.settings) {
            if (command.target.object == Object::Bridge && command.setting->name == name) {
                const std::string words = commandWords(command);
                own = static_cast<uint32_t>(std::stoul(words.substr(words.rfind(' ') + 1)));
            }
        }
        value = std::max(value, own);
    }
    return value;
}

// Old information goes round for a second a hop, and has all its hops again at every boundary,
// which makes it a message age older: twice where it leaves a region and where it comes back.
Microseconds oldRootLasts(const Scenario& scenario) {
    const uint32_t hops = highest(scenario, "max-hops", 20);
    const uint32_t ages = highest(scenario, "max-age", 20);
    return (alike(scenario) ? std::max(hops, ages) : hops * ages / 2) * SECOND;
}

Microseconds lastEventBefore(const Scenario& scenario, Microseconds time) {
    Microseconds last = 0;
    for (const Event& event : scenario.events) {
        const bool looks = std::holds_alternative<Expect>(event.action) ||
                           std::holds_alternative<Send>(event.action);
        last = !looks && event.at <= time ? std::max(last, event.at) : last;
    }
    return last;
}

bool runsStp(const Scenario& scenario) {
    return changesVersion(scenario) ||
           std::any_of(scenario.bridges.begin(), scenario.bridges.end(),
                       [](const BridgePlan& bridge) { return bridge.version < 2; });
}

// Somebody followed a root that was gone, at that time or as lately as its traces need to go.
bool followsOldRoot(const Scenario& scenario, Microseconds time, const Signs& signs) {
    const Microseconds after = runsStp(scenario) ? FORGOTTEN_BY_STP : FORGOTTEN;
    return time <= lastEventBefore(scenario, time) + oldRootLasts(scenario) + after &&
           signs.oldRoot(time, after);
}

// A link of the circle loses frames, or all in one direction: what a bridge has said may reach its
// neighbour with the next hello only, or never.
bool framesWereLost(const Scenario& scenario, const Failure& failure) {
    std::map<std::pair<uint32_t, uint32_t>, Microseconds> since; // by link and end, which lose now
    const uint32_t BOTH = UINT32_MAX;
    bool lost = false;
    const auto change = [&](uint32_t link, uint32_t end, Microseconds at, bool loses) {
        const auto lossy = since.find({link, end});
        if (lossy != since.end()) {
            lost = lost || (failure.time >= lossy->second && failure.time <= at + RECOVERED);
            since.erase(lossy);
        }
        if (loses && failure.circle.links.count(link) != 0) {
            since[{link, end}] = at;
        }
    };
    for (const Event& event : scenario.events) {
        if (const auto* impair = std::get_if<Impair>(&event.action)) {
            change(impair->link, BOTH, event.at, impair->options.loss > 0);
        } else if (const auto* mute = std::get_if<SetSending>(&event.action)) {
            change(mute->link, mute->end, event.at, !mute->works);
        }
    }
    return lost || std::any_of(since.begin(), since.end(),
                               [&](const auto& lossy) { return failure.time >= lossy.second; });
}

// When a daemon that stands still goes on; the event's own time where it does not stand still.
Microseconds goesOn(const Scenario& scenario, const Event& event, uint32_t& bridge) {
    if (const auto* hang = std::get_if<Hang>(&event.action)) {
        bridge = hang->bridge;
        return event.at + hang->length;
    }
    const auto* gone = std::get_if<SetLife>(&event.action);
    if (gone == nullptr || gone->life != Life::Crash) {
        return event.at;
    }
    bridge = gone->bridge;
    for (const Event& later : scenario.events) {
        const auto* back = std::get_if<SetLife>(&later.action);
        if (back != nullptr && back->bridge == bridge && later.at > event.at) {
            return later.at;
        }
    }
    return scenario.duration;
}

// The daemon of a bridge on the circle hangs or is gone, for so long that it leaves neighbours
// without answer.
bool somebodyStoodStill(const Scenario& scenario, const Failure& failure) {
    return std::any_of(scenario.events.begin(), scenario.events.end(), [&](const Event& event) {
        uint32_t bridge = UINT32_MAX;
        const Microseconds end = goesOn(scenario, event, bridge);
        return failure.circle.nodes.count(bridge) != 0 && end > event.at + SHORT_HANG &&
               failure.time > event.at + UNANSWERED && failure.time <= end + RECOVERED;
    });
}

// The instances that hold a VLAN.
std::set<uint32_t> instancesOfVlan(const Scenario& scenario, uint32_t vlan) {
    std::set<uint32_t> holders;
    for (const BridgePlan& bridge : scenario.bridges) {
        uint32_t holder = 0;
        for (const auto& [instance, plan] : bridge.instances) {
            const bool held = bridge.version >= 3 && !plan.vlans.empty() && vlan != 0 &&
                              bitListTst(plan.vlans.data(), vlan - 1);
            holder = held ? instance : holder;
        }
        holders.insert(holder);
    }
    return holders;
}

bool refusesRoots(const Scenario& scenario, const Failure& failure, const Signs& signs) {
    const std::set<uint32_t> instances = instancesOfVlan(scenario, failure.vlan);
    return std::any_of(instances.begin(), instances.end(),
                       [&](uint32_t instance) { return signs.refusing.count(instance) != 0; });
}

// Hubs, looked at by the bridges on them. For a loop those count that it goes over.
template <class Test>
bool anyHub(const Scenario& scenario, const Failure& failure, bool loops, Test test) {
    for (uint32_t l = 0; l < scenario.links.size(); l++) {
        std::vector<uint32_t> bridges;
        for (const End& end : scenario.links[l].ends) {
            if (!end.host) {
                bridges.push_back(end.owner);
            }
        }
        const bool counts = !loops || failure.circle.links.count(l) != 0;
        if (bridges.size() > 2 && counts && test(bridges)) {
            return true;
        }
    }
    return false;
}

bool hasMixedHub(const Scenario& scenario, const Failure& failure, bool loops) {
    return anyHub(scenario, failure, loops, [&](const std::vector<uint32_t>& bridges) {
        std::multiset<std::string> regions;
        for (const uint32_t bridge : bridges) {
            regions.insert(regionKey(scenario, bridge));
        }
        const size_t first = regions.count(*regions.begin());
        return first != regions.size() &&
               std::any_of(regions.begin(), regions.end(),
                           [&](const std::string& key) { return regions.count(key) > 1; });
    });
}

bool hasTwins(const Scenario& scenario, const Failure& failure, bool loops) {
    return anyHub(scenario, failure, loops, [](const std::vector<uint32_t>& bridges) {
        return std::set<uint32_t>(bridges.begin(), bridges.end()).size() < bridges.size();
    });
}

} // namespace

// What a BPDU needs through the whole network at the most: so long may bridges act on different
// information.
Microseconds underWay(const Scenario& scenario) {
    Microseconds sum = 0;
    Microseconds jitter = 0;
    for (const LinkPlan& link : scenario.links) {
        sum += link.options.delay + link.options.jitter;
    }
    for (const Event& event : scenario.events) {
        if (const auto* impair = std::get_if<Impair>(&event.action)) {
            jitter = std::max(jitter, impair->options.jitter);
        }
    }
    return sum + jitter;
}

// In the CIST there is a message for each neighbour, of whatever region or version.
Microseconds toleratedLoop(const Scenario& scenario, uint32_t vlan) {
    const std::set<uint32_t> instances = instancesOfVlan(scenario, vlan);
    const bool msti = *instances.rbegin() != 0;
    return underWay(scenario) + (msti && !alike(scenario) ? BOUNDARY_LOOP : 0);
}

// What ends the loop may be among what waits, for up to a second at each port (13.31).
Microseconds toleratedHeldLoop(const Scenario& scenario) {
    return underWay(scenario) == 0 ? 0 : HELD;
}

std::string knownLoop(const Scenario& scenario, Microseconds length) {
    return alike(scenario) || length <= underWay(scenario) ? UNDER_WAY : BOUNDARY;
}

std::string knownResult(const Scenario& scenario, const Failure& failure, const Signs& signs) {
    const std::string& rule = failure.rule;
    const bool loops = rule == "loop" || rule == "frame goes round";
    const bool trees = rule == "role" || rule == "tree" || rule == "connected";
    const bool circle = loops || rule == "tree";
    const bool late = rule == "expected: settled" || rule == "expected: lost";
    const bool hub = anyHub(scenario, failure, circle,
                            [](const std::vector<uint32_t>& /*bridges*/) { return true; });
    if (late && !alike(scenario) && followsOldRoot(scenario, failure.time, signs)) {
        return OLD_ROOT;
    }
    if (rule == "expected: settled" && hasTwins(scenario, failure, false)) {
        return TWINS;
    }
    if (!loops && !trees) {
        return "";
    }
    if (rule == "role" && (changesVersion(scenario) || changesRegion(scenario)) &&
        failure.expected.find(" in MSTI ") != std::string::npos) {
        return LEFT_ROOT;
    }
    if (loops && somebodyStoodStill(scenario, failure)) {
        return STANDS_STILL;
    }
    if (loops && framesWereLost(scenario, failure)) {
        return LOST_FRAMES;
    }
    if (loops && !alike(scenario) && failure.vlan != 0 &&
        toleratedLoop(scenario, failure.vlan) >= BOUNDARY_LOOP &&
        followsOldRoot(scenario, failure.time, signs)) {
        return BOUNDARY;
    }
    if (trees && refusesRoots(scenario, failure, signs)) {
        return REFUSED_ROOT;
    }
    if (hasMixedHub(scenario, failure, circle)) {
        return MIXED_HUB;
    }
    if (hasTwins(scenario, failure, circle)) {
        return TWINS;
    }
    return loops && hub ? SHARED : "";
}

} // namespace simtool
