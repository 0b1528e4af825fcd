#include "recorder.h"

#include <algorithm>

#include "mstp/enums.h"
#include "platform/interfaces.h"
#include "platform/stg.h"

namespace simtool {

uint32_t stateOfGroup(uint32_t groupState) {
    switch (groupState) {
    case STG_PORT_BLOCKING:
    case STG_PORT_LISTENING:
        return MSTP_PORT_STATE_DISCARDING;
    case STG_PORT_LEARNING:
        return MSTP_PORT_STATE_LEARNING;
    case STG_PORT_FORWARDING:
        return MSTP_PORT_STATE_FORWARDING;
    default:
        return MSTP_PORT_STATE_DISABLED;
    }
}

void Recorder::begin(Microseconds time, const std::string& text) {
    // Events of one moment are one.
    if (!m_periods.empty() && m_periods.back().at == time) {
        m_periods.back().text += ", " + text;
    } else {
        Period period;
        period.at = time;
        period.text = text;
        m_periods.push_back(period);
    }
    Entry entry;
    entry.time = time;
    entry.text = text;
    note(std::move(entry));
}

void Recorder::note(Entry entry) {
    if (m_keepTimeline) {
        m_timeline.push_back(std::move(entry));
    }
}

Period& Recorder::periodAt(Microseconds time) {
    const auto after = std::upper_bound(
        m_periods.begin(), m_periods.end(), time,
        [](Microseconds value, const Period& period) { return value < period.at; });
    return after == m_periods.begin() ? m_periods.front() : *std::prev(after);
}

void Recorder::tally(Counter counter, Microseconds time, uint64_t amount) {
    if (amount != 0) {
        m_tallies[counter].emplace_back(time, amount);
    }
}

uint64_t Recorder::count(Counter counter, Microseconds since) const {
    const auto found = m_tallies.find(counter);
    uint64_t sum = 0;
    for (size_t i = 0; found != m_tallies.end() && i < found->second.size(); i++) {
        sum += found->second[i].first >= since ? found->second[i].second : 0;
    }
    return sum;
}

void Recorder::changed(Microseconds time) {
    Period& period = m_periods.back();
    period.changed = true;
    period.lastChange = time;
}

void Recorder::frameSent(const sim::FrameEvent& event) {
    if (event.test != 0) {
        return;
    }
    const auto watched = m_frames.find(event.link);
    if (watched != m_frames.end()) {
        watched->second.push_back({event.time, event.from, *event.bytes});
    }
    // What a tester injects is no BPDU of the network.
    if (!sim::isHost(event.sender)) {
        m_periods.back().bpdus++;
        tally(Counter::Bpdus, event.time, 1);
    }
}

void Recorder::stateChanged(const sim::StateEvent& event) {
    Entry entry;
    entry.time = event.time;
    entry.kind = EntryKind::State;
    entry.node = event.node;
    entry.unit = event.unit;
    entry.instance = event.instance;
    entry.before = stateOfGroup(event.before);
    entry.after = stateOfGroup(event.after);
    changed(event.time);
    m_periods.back().states++;
    tally(Counter::States, event.time, 1);
    if (entry.before != entry.after) {
        note(entry);
    }
}

void Recorder::roleChanged(const sim::RoleEvent& event) {
    Entry entry;
    entry.time = event.time;
    entry.kind = EntryKind::Role;
    entry.node = event.node;
    entry.unit = event.unit;
    entry.instance = event.instance;
    entry.before = event.before;
    entry.after = event.after;
    changed(event.time);
    m_periods.back().roles++;
    tally(Counter::Roles, event.time, 1);
    note(entry);
}

// A port's flush is told once for addresses and once each for other tables.
void Recorder::flushed(const sim::FlushEvent& event) {
    if (event.attribute != KEL_IF_FLUSH_MAC) {
        return;
    }
    m_periods.back().flushes++;
    m_periods.back().addresses += event.forgotten;
    tally(Counter::Flushes, event.time, 1);
    tally(Counter::Addresses, event.time, event.forgotten);
    Entry entry;
    entry.time = event.time;
    entry.kind = EntryKind::Flush;
    entry.node = event.node;
    entry.unit = event.unit;
    entry.count = event.forgotten;
    note(entry);
}

void Recorder::nodeChanged(uint64_t time, uint32_t node, sim::NodeChange change) {
    if (change != sim::NodeChange::Resumed) {
        return; // the events tell the others
    }
    Entry entry;
    entry.time = time;
    entry.kind = EntryKind::Node;
    entry.node = node;
    entry.text = "runs again";
    note(entry);
}

void Recorder::traced(uint64_t time, uint32_t node, const std::string& line) {
    Entry entry;
    entry.time = time;
    entry.kind = EntryKind::Trace;
    entry.node = node;
    entry.text = line;
    note(entry);
}

void Recorder::testFrameSent(const sim::TestFrame& frame) {
    periodAt(frame.sent).sent++;
}

void Recorder::testFrameLooped(const sim::TestFrame& frame, sim::LinkEnd at) {
    if (frame.looped > 1) {
        return; // one line a frame is enough
    }
    Entry entry;
    entry.time = m_network.time();
    entry.kind = EntryKind::Loop;
    entry.node = at.node;
    entry.unit = at.unit;
    entry.text = "test frame " + std::to_string(frame.number) + " in VLAN " +
                 std::to_string(frame.vlan) + " loops";
    note(entry);
}

void Recorder::testFrameFinished(const sim::TestFrame& frame) {
    Period& period = periodAt(frame.sent);
    uint64_t delivered = 0;
    for (const uint32_t times : frame.deliveries) {
        delivered += times > 0 ? 1 : 0;
    }
    period.delivered += delivered;
    period.lost += frame.missed();
    period.duplicated += frame.duplicated();
    period.looped += frame.looped;
    tally(Counter::Delivered, frame.sent, delivered);
    tally(Counter::Lost, frame.sent, frame.missed());
    tally(Counter::Duplicated, frame.sent, frame.duplicated());
    tally(Counter::Looped, frame.sent, frame.looped);
}

} // namespace simtool
