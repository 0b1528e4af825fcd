#include "sending_rate.h"

#include <algorithm>

namespace simtool {

static constexpr uint32_t USUAL_HOLD_COUNT = 6;
static constexpr Microseconds NEW_START = 200 * MILLISECOND; ///< until it has begun, at the most
static constexpr uint64_t BPDU = SECOND; ///< the bucket loses as much in a second

// What events set later counts from the beginning: the check may be too kind, never too strict.
static uint32_t holdCount(const Scenario& scenario, uint32_t bridge) {
    uint32_t most = USUAL_HOLD_COUNT;
    const auto look = [&](const SetCommand& command) {
        if (command.target.object == Object::Bridge &&
            command.setting->name == std::string("hold-count")) {
            most = std::max(most, std::get<uint32_t>(command.value));
        }
    };
    for (const SetCommand& command : scenario.bridges[bridge].settings) {
        look(command);
    }
    for (const Event& event : scenario.events) {
        const SetCommand* set = settingBy(event, bridge);
        if (set != nullptr) {
            look(*set);
        }
    }
    return most;
}

// A bridge that is told another version or region starts anew, and its counts with it.
static std::vector<Microseconds> newStarts(const Scenario& scenario, uint32_t bridge) {
    std::vector<Microseconds> times;
    for (const Event& event : scenario.events) {
        const SetCommand* set = settingBy(event, bridge);
        if (set != nullptr && (set->target.object == Object::Region ||
                               set->setting->name == std::string("version"))) {
            times.push_back(event.at);
        }
    }
    return times;
}

SendingRate::SendingRate(Lab& lab) : m_lab(lab) {
    for (uint32_t b = 0; b < lab.scenario().bridges.size(); b++) {
        m_most.push_back(holdCount(lab.scenario(), b));
        m_newStarts.push_back(newStarts(lab.scenario(), b));
    }
    lab.network().addObserver(this);
}

SendingRate::~SendingRate() {
    m_lab.network().removeObserver(this);
}

void SendingRate::linkChanged(uint64_t /*time*/, uint32_t link, bool /*up*/) {
    for (const sim::Link::End& end : m_lab.network().link(link).ends) {
        m_buckets.erase({end.at.node, end.at.unit});
    }
}

void SendingRate::endChanged(uint64_t /*time*/, uint32_t link, uint32_t end, bool /*up*/) {
    const sim::LinkEnd& at = m_lab.network().link(link).ends[end].at;
    m_buckets.erase({at.node, at.unit});
}

void SendingRate::nodeChanged(uint64_t /*time*/, uint32_t node, sim::NodeChange change) {
    if (change == sim::NodeChange::Started) {
        m_buckets.erase(m_buckets.lower_bound({node, 0}), m_buckets.lower_bound({node + 1, 0}));
    }
}

void SendingRate::frameSent(const sim::FrameEvent& event) {
    if (event.test != 0 || sim::isHost(event.sender)) {
        return;
    }
    Bucket& bucket = m_buckets[{event.sender.node, event.sender.unit}];
    const std::vector<Microseconds>& starts = m_newStarts[event.sender.node];
    if (std::any_of(starts.begin(), starts.end(), [&](Microseconds at) {
            return event.time >= at && (bucket.at <= at || event.time <= at + NEW_START);
        })) {
        bucket.level = 0;
    }
    bucket.level -= std::min(bucket.level, event.time - bucket.at);
    bucket.level += BPDU;
    bucket.at = event.time;
    // The counter's own seconds begin when they like: one more is right.
    const uint32_t most = m_most[event.sender.node] + 1;
    if (bucket.level <= most * BPDU || bucket.told) {
        return;
    }
    bucket.told = true;
    m_failures.push_back(
        {event.time,
         {},
         "no more than " + std::to_string(most) + " BPDUs at once, then one a second",
         endName(m_lab.scenario(), {event.sender.node, false, event.sender.unit}) + " sends faster",
         "hold count"});
}

} // namespace simtool
