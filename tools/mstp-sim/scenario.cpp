#include "scenario.h"

#include <cinttypes>
#include <cstdio>
#include <set>

namespace simtool {

std::string endName(const Scenario& scenario, const End& end) {
    if (end.host) {
        return scenario.hosts[end.owner].name;
    }
    return scenario.bridges[end.owner].name + "." + std::to_string(end.port);
}

std::vector<uint32_t> instancesOf(const Scenario& scenario) {
    std::set<uint32_t> instances = {0};
    for (const BridgePlan& bridge : scenario.bridges) {
        for (const auto& [instance, plan] : bridge.instances) {
            instances.insert(instance);
        }
    }
    return {instances.begin(), instances.end()};
}

std::string clockText(Microseconds time) {
    char text[40];
    snprintf(text, sizeof text, "%" PRIu64 ".%06" PRIu64, time / SECOND, time % SECOND);
    return text;
}

// The number in the unit, without zeros behind the point.
static std::string inUnit(Microseconds time, Microseconds unit, const char* name) {
    std::string fraction;
    uint64_t rest = time % unit;
    for (Microseconds digit = unit / 10; rest != 0; digit /= 10) {
        fraction += static_cast<char>('0' + rest / digit);
        rest %= digit;
    }
    return std::to_string(time / unit) + (fraction.empty() ? "" : ".") + fraction + name;
}

const SetCommand* settingBy(const Event& event) {
    const auto* configure = std::get_if<Configure>(&event.action);
    return configure != nullptr ? std::get_if<SetCommand>(&configure->command) : nullptr;
}

const SetCommand* settingBy(const Event& event, uint32_t bridge) {
    const auto* configure = std::get_if<Configure>(&event.action);
    return configure != nullptr && configure->bridge == bridge ? settingBy(event) : nullptr;
}

std::string timeText(Microseconds time) {
    if (time >= SECOND || time == 0) {
        return inUnit(time, SECOND, " s");
    }
    return time >= MILLISECOND ? inUnit(time, MILLISECOND, " ms") : inUnit(time, 1, " us");
}

} // namespace simtool
