#include "known.h"

#include <algorithm>
#include <map>
#include <set>

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

// A neighbour's information lives for three hello times, and the last may be one old. Once the
// daemon is back it needs a moment to read what has waited, and its neighbours the next hello.
constexpr Microseconds UNHEARD = 4 * SECOND;
constexpr Microseconds RECOVERED = 4 * SECOND;

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

// The regions of the MSTP bridges, and the versions.
bool alike(const Scenario& scenario) {
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

// At the boundaries of regions: mostly two short forward delays of two seconds. Again and again
// while information of a lost root goes round between regions, a second for each of its hops and
// ages, and then until the last hello and forward delay.
Microseconds boundaryLoop(const Scenario& scenario) {
    return (highest(scenario, "max-hops", 20) + highest(scenario, "max-age", 20) + 10) * SECOND;
}

// Links lose frames: what a bridge has said may reach its neighbour with the next hello only.
bool framesWereLost(const Scenario& scenario, Microseconds time) {
    std::map<uint32_t, Microseconds> since; // by link that loses frames now
    for (const Event& event : scenario.events) {
        const auto* impair = std::get_if<Impair>(&event.action);
        if (impair == nullptr) {
            continue;
        }
        const auto lossy = since.find(impair->link);
        if (lossy != since.end() && time >= lossy->second && time <= event.at + RECOVERED) {
            return true;
        }
        since.erase(impair->link);
        if (impair->options.loss > 0) {
            since[impair->link] = event.at;
        }
    }
    return std::any_of(since.begin(), since.end(),
                       [&](const auto& lossy) { return time >= lossy.second; });
}

// A daemon hangs, or is gone and starts again later, for so long that its neighbours forget it.
bool somebodyStoodStill(const Scenario& scenario, Microseconds time) {
    for (const Event& event : scenario.events) {
        Microseconds end = event.at;
        if (const auto* hang = std::get_if<Hang>(&event.action)) {
            end = event.at + hang->length;
        }
        const auto* gone = std::get_if<SetLife>(&event.action);
        if (gone != nullptr && gone->life == Life::Crash) {
            end = scenario.duration;
            for (const Event& later : scenario.events) {
                const auto* back = std::get_if<SetLife>(&later.action);
                if (back != nullptr && back->bridge == gone->bridge && later.at > event.at) {
                    end = std::min(end, later.at);
                }
            }
        }
        if (end > event.at + UNHEARD && time > event.at + UNHEARD && time <= end + RECOVERED) {
            return true;
        }
    }
    return false;
}

bool refusesRoots(const Scenario& scenario) {
    for (const BridgePlan& bridge : scenario.bridges) {
        for (const auto& [instance, plan] : bridge.instances) {
            for (const SetCommand& command : plan.settings) {
                if (command.setting->name == std::string("root-protection") &&
                    command.value == Value(uint32_t(1))) {
                    return true;
                }
            }
        }
    }
    return false;
}

// Hubs, looked at by the bridges on them.
template <class Test> bool anyHub(const Scenario& scenario, Test test) {
    return std::any_of(scenario.links.begin(), scenario.links.end(), [&](const LinkPlan& link) {
        std::vector<uint32_t> bridges;
        for (const End& end : link.ends) {
            if (!end.host) {
                bridges.push_back(end.owner);
            }
        }
        return bridges.size() > 2 && test(bridges);
    });
}

bool hasMixedHub(const Scenario& scenario) {
    return anyHub(scenario, [&](const std::vector<uint32_t>& bridges) {
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

bool hasTwins(const Scenario& scenario) {
    return anyHub(scenario, [](const std::vector<uint32_t>& bridges) {
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

Microseconds toleratedLoop(const Scenario& scenario) {
    return underWay(scenario) + (alike(scenario) ? 0 : boundaryLoop(scenario));
}

// What ends the loop may be among what waits (13.31).
Microseconds toleratedHeldLoop(const Scenario& scenario) {
    return underWay(scenario) == 0 ? 0 : SECOND;
}

std::string knownLoop(const Scenario& scenario, Microseconds length) {
    return alike(scenario) || length <= underWay(scenario) ? UNDER_WAY : BOUNDARY;
}

std::string knownResult(const Scenario& scenario, const Failure& failure) {
    const std::string& rule = failure.rule;
    const bool loops = rule == "loop" || rule == "frame goes round";
    const bool trees = rule == "role" || rule == "tree" || rule == "connected";
    if (!loops && !trees) {
        return "";
    }
    if (loops && somebodyStoodStill(scenario, failure.time)) {
        return STANDS_STILL;
    }
    if (loops && framesWereLost(scenario, failure.time)) {
        return LOST_FRAMES;
    }
    if (trees && refusesRoots(scenario)) {
        return REFUSED_ROOT;
    }
    if (hasMixedHub(scenario)) {
        return MIXED_HUB;
    }
    if (hasTwins(scenario)) {
        return TWINS;
    }
    return loops && anyHub(scenario, [](const std::vector<uint32_t>&) { return true; }) ? SHARED
                                                                                        : "";
}

} // namespace simtool
