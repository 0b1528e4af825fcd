// Expectations: each says what was found instead, or nothing when it is met.

#include <deque>
#include <set>

#include "bpdu.h"
#include "lab.h"
#include "words.h"

namespace simtool {

void Lab::check(const Event& event, const Expect& expect) {
    m_expectations++;
    const std::string instead =
        std::visit([&](const auto& what) { return found(what); }, expect.what);
    Entry entry;
    entry.time = m_network.time();
    entry.kind = instead.empty() ? EntryKind::Expected : EntryKind::Failed;
    entry.text = instead.empty() ? expect.text : expect.text + "; found: " + instead;
    entry.place = event.place;
    m_recorder.note(entry);
    if (!instead.empty()) {
        const std::string first = expect.text.substr(1, expect.text.find(':') - 1);
        m_failures.push_back(
            {m_network.time(), event.place, expect.text, instead, "expected: " + first});
        if (const auto* settled = std::get_if<ExpectSettled>(&expect.what)) {
            m_failures.back().settledBy = m_recorder.periods().back().at + settled->within;
        }
    }
}

Microseconds Lab::since(const std::optional<Microseconds>& time) const {
    return time.value_or(m_recorder.periods().back().at);
}

std::string Lab::found(const ExpectPort& expect) {
    const uint32_t isRole = role(expect.bridge, expect.instance, expect.port);
    const uint32_t isState = state(expect.bridge, expect.instance, expect.port);
    if (expect.role.value_or(isRole) == isRole && expect.state.value_or(isState) == isState) {
        return "";
    }
    return (isRole == 0 ? "none" : roleWord(isRole)) + " " + stateWord(isState);
}

std::string Lab::found(const ExpectRoot& expect) {
    std::string others;
    bool answered = false;
    for (uint32_t b = 0; b < m_scenario.bridges.size(); b++) {
        const bool asked = expect.seenBy ? *expect.seenBy == b : running(b);
        const auto is = asked && running(b) ? root(b, expect.instance) : std::nullopt;
        if (!asked || (!is && !runs(b, expect.instance))) {
            continue;
        }
        answered = true;
        if (!is || *is != expect.root) {
            others += (others.empty() ? "" : ", ") + m_scenario.bridges[b].name + " says " +
                      (is ? m_scenario.bridges[*is].name : "another");
        }
    }
    return answered ? others : "no bridge that runs the instance";
}

std::string Lab::found(const ExpectSettled& expect) {
    const Period& period = m_recorder.periods().back();
    return period.settled() <= expect.within ? "" : "after " + timeText(period.settled());
}

std::string Lab::found(const ExpectCount& expect) {
    const uint64_t count = m_recorder.count(expect.counter, since(expect.since));
    return count >= expect.least && count <= expect.most ? "" : std::to_string(count);
}

std::string Lab::found(const ExpectFrame& expect) {
    const Microseconds from = since(expect.since);
    uint64_t count = 0;
    std::string last;
    for (const SeenFrame& frame : m_recorder.frames(expect.link)) {
        if (frame.time < from || frame.from != expect.from.value_or(frame.from)) {
            continue;
        }
        const BpduFields fields = decodeBpdu(frame.bytes);
        if (fields.empty()) {
            continue;
        }
        bool all = true;
        std::string values;
        for (const auto& [name, value] : expect.fields) {
            const auto field = fields.find(name);
            const std::string actual = field != fields.end() ? field->second : "none";
            all = all && bpduFieldMatches(value, actual);
            values.append(values.empty() ? "" : ", ").append(name).append(": ").append(actual);
        }
        count += all ? 1 : 0;
        last = all ? last : values;
    }
    if (count >= expect.least && count <= expect.most) {
        return "";
    }
    return std::to_string(count) + " of them" + (last.empty() ? "" : "; the last other: " + last);
}

std::string Lab::found(const ExpectValue& expect) {
    std::optional<std::string> value;
    m_network.on(expect.bridge, [&] { value = readValue(expect.target, *expect.setting); });
    if (!value) {
        return "no value";
    }
    const uint64_t number = parseNumber(*value).value_or(0);
    const bool is = !expect.is || bpduFieldMatches(*expect.is, *value);
    const bool isNot = expect.isNot && bpduFieldMatches(*expect.isNot, *value);
    return is && !isNot && number >= expect.least && number <= expect.most ? "" : *value;
}

std::string Lab::found(const ExpectPath& expect) {
    const bool there = reaches(expect.from, expect.to, expect.vlan);
    return there == expect.there ? "" : there ? "there is one" : "there is none";
}

// Where a frame could go, whatever was learnt.
bool Lab::reaches(uint32_t from, uint32_t to, uint32_t vlan) const {
    std::set<uint32_t> seen;
    std::deque<sim::Plug> waiting = {m_network.host(from).plug};
    while (!waiting.empty()) {
        const sim::Plug plug = waiting.front();
        waiting.pop_front();
        if (plug.link == sim::NO_END || !m_network.link(plug.link).up) {
            continue;
        }
        const sim::Link& link = m_network.link(plug.link);
        for (uint32_t e = 0; e < link.ends.size(); e++) {
            const sim::LinkEnd at = link.ends[e].at;
            if (e == plug.end || !link.ends[plug.end].sends) {
                continue;
            }
            if (at.node == sim::HOST + to) {
                return true;
            }
            if (sim::isHost(at) || !m_network.forwards(at.node, at.unit, vlan) ||
                !seen.insert(at.node).second) {
                continue;
            }
            for (const auto& [unit, next] : m_network.node(at.node).plugs) {
                if (unit != at.unit && m_network.forwards(at.node, unit, vlan)) {
                    waiting.push_back(next);
                }
            }
        }
    }
    return false;
}

} // namespace simtool
