// The looking-back half: from the last change to the event, each act's cause in turn. Where nothing
// of the daemon's own is known to have made an act due, it was something from before the event, and
// the time since the event was waited for it.

#include <algorithm>

#include "causes.h"

namespace simtool {

static void wait(Step& step, Wait what, Microseconds from, Microseconds to) {
    if (to > from) {
        step.waited.push_back({what, to - from});
    }
}

// The last act before from which something came, or that brought something new: what a pass, a
// second or a hello has only waited for was there since then. A hello is due every other second and
// brings nothing new, unless the act followed it at once.
int32_t Causes::newsBefore(uint32_t node, int32_t index) const {
    const std::vector<Act>& acts = m_daemons[node].acts;
    const Microseconds time = acts[static_cast<size_t>(index)].time;
    const auto counts = [&](const Act& act) {
        return act.news || (act.wait == Wait::Hello && act.time == time);
    };
    while (--index >= 0 && !counts(acts[static_cast<size_t>(index)])) {
    }
    return std::max(index, NONE);
}

Step Causes::stepOfFrame(const Act& found, uint32_t& node, int32_t& index) const {
    Step step = {found.time, node, found.what, {}, found.passes};
    const auto sent = m_sent.find(found.transmission);
    index = NONE;
    if (sent == m_sent.end()) {
        wait(step, Wait::Link, m_start, found.due);
        wait(step, Wait::Queue, found.due, found.time);
        return step;
    }
    node = sent->second.node;
    index = sent->second.act;
    if (sent->second.held) {
        index = newsBefore(node, index);
        const Microseconds since =
            index == NONE ? m_start : m_daemons[node].acts[static_cast<size_t>(index)].time;
        wait(step, Wait::Hold, since, sent->second.time);
    }
    wait(step, Wait::Link, sent->second.time, found.due);
    wait(step, Wait::Queue, found.due, found.time);
    return step;
}

// @param[in,out] node, index  the act; then the one before it, NONE if that was the first
Step Causes::stepOf(uint32_t& node, int32_t& index) const {
    const std::vector<Act>& acts = m_daemons[node].acts;
    const Act& found = acts[static_cast<size_t>(index)];
    if (found.kind == Kind::Frame) {
        return stepOfFrame(found, node, index);
    }
    Step step = {found.time, node, found.what, {}, found.passes};
    const bool fromOutside =
        found.kind == Kind::Management || found.kind == Kind::Command || found.kind == Kind::Link;
    const bool leftOver = found.wait == Wait::Pass || found.wait == Wait::Hello;
    const int32_t before = newsBefore(node, index);
    index = fromOutside ? NONE : leftOver ? before : found.from;
    // What was waited for since before the event: something else may have come of it meanwhile.
    if (index == NONE && found.kind == Kind::Counter && found.wait != Wait::MessageAge) {
        index = before;
    }
    const Microseconds since = index == NONE ? m_start : acts[static_cast<size_t>(index)].time;
    const Microseconds due = std::max(found.due, since);
    if (fromOutside) {
        wait(step, Wait::Management, since, due);
        wait(step, Wait::Queue, due, found.time);
    } else {
        wait(step, found.wait, since, due);
        wait(step, found.kind == Kind::Repeat ? Wait::Queue : Wait::Loop, due, found.time);
    }
    return step;
}

void Causes::close() {
    if (m_lastAct == NONE) {
        return;
    }
    Chain chain;
    chain.period = m_period - 1;
    chain.change = m_lastChange;
    chain.time = m_lastTime;
    uint32_t node = m_lastNode;
    int32_t index = m_lastAct;
    while (index != NONE) {
        chain.steps.push_back(stepOf(node, index));
    }
    std::reverse(chain.steps.begin(), chain.steps.end());
    m_chains.push_back(std::move(chain));
    m_lastAct = NONE;
}

} // namespace simtool
