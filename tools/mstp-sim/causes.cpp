// The watching half: what each daemon did, and what made it do so.
//
// A turn of the loop begins with timers. Nobody is told when one of them runs out, so the due ones
// are noted before and looked at again whenever the daemon does something: one that no longer
// stands in the list as it did has run out since.

#include "causes.h"

#include <algorithm>
#include <tuple>

#include "mstp/context.h"
#include "mstp/enums.h"
#include "report.h"
#include "words.h"

namespace simtool {

Causes::Causes(Lab& lab) : m_lab(lab), m_daemons(lab.network().nodes()) {
    m_lab.network().addObserver(this);
}

Causes::~Causes() {
    m_lab.network().removeObserver(this);
}

std::string Causes::portName(uint32_t node, uint32_t unit) const {
    return m_lab.scenario().bridges[node].name + "." + std::to_string(unit);
}

// ---- events of the scenario

// The lab tells its recorder of an event before it makes it happen.
void Causes::look() {
    const auto& periods = m_lab.recorder().periods();
    if (periods.size() == m_period) {
        return;
    }
    close();
    forget();
    m_period = periods.size();
    m_start = periods.back().at;
}

void Causes::forget() {
    m_sent.clear();
    for (Daemon& daemon : m_daemons) {
        daemon.acts.clear();
        daemon.poster = NONE;
    }
}

void Causes::finish() {
    close();
    forget();
}

// ---- acts

Causes::Act& Causes::begin(uint32_t node, Kind kind, Microseconds due, const std::string& what) {
    Daemon& daemon = m_daemons[node];
    Act act;
    act.time = m_lab.network().time();
    act.due = std::min(due, act.time);
    act.kind = kind;
    act.what = what;
    daemon.acts.push_back(act);
    daemon.acting = true;
    return daemon.acts.back();
}

Causes::Act& Causes::act(uint32_t node, bool posting) {
    look();
    Daemon& daemon = m_daemons[node];
    if (daemon.timers) {
        claim(node, posting);
    }
    if (!daemon.acting || daemon.acts.empty()) {
        begin(node, Kind::Management, m_lab.network().time(), "its own doing");
    }
    return daemon.acts.back();
}

void Causes::served(uint64_t time, uint32_t node, sim::Source source) {
    look();
    Daemon& daemon = m_daemons[node];
    daemon.inTurn = true;
    daemon.timers = source == sim::Source::Timers;
    switch (source) {
    case sim::Source::Timers:
        daemon.acting = false;
        collectDue(node);
        return;
    case sim::Source::Frame:
        takeFrame(daemon, node);
        return;
    case sim::Source::Link: {
        Microseconds due = time;
        std::string what = "a link message";
        if (!daemon.links.empty()) {
            std::tie(due, what) = daemon.links.front();
            daemon.links.pop_front();
        }
        begin(node, Kind::Link, due, what).news = true;
        return;
    }
    case sim::Source::Command:
        begin(node, Kind::Command, time, "a command").news = true;
        return;
    case sim::Source::Management:
        begin(node, Kind::Management, time, "management");
        return;
    }
}

void Causes::workPosted(const sim::PassEvent& event) {
    Act& now = act(event.node, true);
    now.news = now.news || now.kind == Kind::Management;
    Daemon& daemon = m_daemons[event.node];
    daemon.poster = static_cast<int32_t>(daemon.acts.size()) - 1;
    // Work that was due in this turn and is posted again waits for another tick.
    for (Due& due : daemon.due) {
        due.claimed = due.claimed || due.kind == Kind::Posted;
    }
}

void Causes::driverPassed(const sim::PassEvent& event) {
    act(event.node).passes++;
}

// ---- timers

void Causes::addDue(Daemon& daemon, const tTimerNode& timer, const uint8_t* counter, Kind kind,
                    Wait wait, const std::string& what) {
    if (!listLinked(&timer.node) || timer.expireTime > sim::now()) {
        return;
    }
    const Microseconds late = sim::now() - timer.expireTime;
    Due due;
    due.timer = &timer;
    due.counter = counter;
    due.expiry = timer.expireTime;
    due.time = m_lab.network().time() - late;
    const Microseconds length = counter != nullptr ? *counter * SECOND : 0;
    due.armed = due.time - std::min(due.time, length);
    due.kind = kind;
    due.wait = wait;
    due.what = what;
    daemon.due.push_back(due);
}

void Causes::addCounters(Daemon& daemon, uint32_t node) {
    for (uint32_t p = 0; p < gMstp.portLimit; p++) {
        const tMstpPort& port = gMstp.ports[p];
        if (port.state != MSTP_SLOT_IN_USE) {
            continue;
        }
        const std::string ranOut = " of " + portName(node, port.unit) + " ran out";
        const auto counter = [&](const tTimerNode& timer, const uint8_t* seconds, Wait wait,
                                 const std::string& what) {
            addDue(daemon, timer, seconds, Kind::Counter, wait, what + ranOut);
        };
        counter(port.helloWhenTimer, &port.helloWhen, Wait::Hello, "helloWhen");
        counter(port.mdelayWhileTimer, &port.mdelayWhile, Wait::Detection, "mdelayWhile");
        counter(port.edgeDelayWhileTimer, &port.edgeDelayWhile, Wait::Detection, "edgeDelayWhile");
        counter(port.bpduGuardTimer, nullptr, Wait::Protection, "the guard's hold");
        for (const tMstpXstPort* x = port.xstPorts; x != port.xstPorts + gMstp.xstLimit; x++) {
            if (x->state != MSTP_SLOT_IN_USE) {
                continue;
            }
            const std::string in = x->xst->xstId == 0 ? "" : " in " + instanceName(x->xst->xstId);
            counter(x->tcWhileTimer, &x->tcWhile, Wait::Pass, "tcWhile" + in);
            counter(x->fdWhileTimer, &x->fdWhile, Wait::ForwardDelay, "fdWhile" + in);
            counter(x->rrWhileTimer, &x->rrWhile, Wait::ForwardDelay, "rrWhile" + in);
            counter(x->rbWhileTimer, &x->rbWhile, Wait::ForwardDelay, "rbWhile" + in);
            counter(x->rcvdInfoWhileTimer, &x->rcvdInfoWhile, Wait::MessageAge,
                    "rcvdInfoWhile" + in);
            counter(x->rootHoldoffTimer, nullptr, Wait::Protection, "root protection's hold" + in);
            counter(x->loopHoldTimer, nullptr, Wait::Protection, "loop protection's hold" + in);
        }
    }
}

void Causes::collectDue(uint32_t node) {
    Daemon& daemon = m_daemons[node];
    daemon.due.clear();
    if (timerListNextTimeout(&gMstp.timerList) != 0) {
        return;
    }
    addDue(daemon, gMstp.msgTimer, nullptr, Kind::Posted, Wait::Tick, "posted work");
    addDue(daemon, gMstp.bridges[0].oneSecondTimer, nullptr, Kind::Second, Wait::Pass,
           "the tick of the second");
    addCounters(daemon, node);
    std::stable_sort(daemon.due.begin(), daemon.due.end(), [](const Due& a, const Due& b) {
        return std::tie(a.expiry, a.armed) < std::tie(b.expiry, b.armed);
    });
}

// A counter that runs out reads 0 and posts work at once. A pass may stop or restart others.
bool Causes::hasRunOut(const Due& due, bool posting) {
    const bool armed = listLinked(&due.timer->node);
    if (due.counter != nullptr) {
        return posting && !armed && *due.counter == 0;
    }
    return !armed || due.timer->expireTime != due.expiry;
}

void Causes::claim(uint32_t node, bool posting) {
    Daemon& daemon = m_daemons[node];
    for (Due& due : daemon.due) {
        if (due.claimed || !hasRunOut(due, posting)) {
            continue;
        }
        due.claimed = true;
        const int32_t poster = daemon.poster;
        Act& act = begin(node, due.kind, due.time, due.what);
        act.wait = due.wait;
        act.news = due.kind == Kind::Counter && due.wait != Wait::Pass && due.wait != Wait::Hello;
        act.from = due.kind == Kind::Posted ? poster : actAt(daemon, due.armed);
    }
}

// The last act until then, but for the one that has just begun.
int32_t Causes::actAt(const Daemon& daemon, Microseconds time) {
    for (size_t i = daemon.acts.size() - 1; i-- > 0;) {
        if (daemon.acts[i].time <= time) {
            return static_cast<int32_t>(i);
        }
    }
    return NONE;
}

// ---- frames

void Causes::frameSent(const sim::FrameEvent& event) {
    if (event.test != 0 || sim::isHost(event.sender) || !m_daemons[event.sender.node].inTurn) {
        return;
    }
    Act& now = act(event.sender.node);
    Daemon& daemon = m_daemons[event.sender.node];
    Port& port = daemon.ports[event.sender.unit];
    if (port.said != *event.bytes) {
        port.said = *event.bytes;
        now.news = now.news || now.passes != 0;
    }
    m_sent[event.transmission] = {event.time, event.sender.node,
                                  static_cast<int32_t>(daemon.acts.size()) - 1, port.held};
}

void Causes::frameDelivered(const sim::FrameEvent& event) {
    if (event.test != 0 || sim::isHost(event.receiver)) {
        return;
    }
    Daemon& daemon = m_daemons[event.receiver.node];
    Bytes& heard = daemon.ports[event.receiver.unit].heard;
    const std::string from = sim::isHost(event.sender)
                                 ? m_lab.network().host(event.sender.node - sim::HOST).name
                                 : portName(event.sender.node, event.sender.unit);
    daemon.frames.push_back({event.transmission, event.time, event.receiver.unit,
                             heard == *event.bytes, "BPDU of " + from});
    heard = *event.bytes;
}

void Causes::takeFrame(Daemon& daemon, uint32_t node) {
    if (daemon.frames.empty()) {
        begin(node, Kind::Frame, m_lab.network().time(), "a BPDU");
        return;
    }
    const Waiting frame = daemon.frames.front();
    daemon.frames.pop_front();
    Act& act = begin(node, frame.repeated ? Kind::Repeat : Kind::Frame, frame.time, frame.what);
    act.news = !frame.repeated;
    act.transmission = frame.transmission;
    daemon.heardOn = frame.repeated ? frame.unit : 0;
}

// Bytes that a port has heard before can still be news to it, when it has forgotten meanwhile.
static bool wasNews(const tMstpPort& port, uint32_t instances) {
    return std::any_of(port.xstPorts, port.xstPorts + instances, [](const tMstpXstPort& each) {
        return each.state == MSTP_SLOT_IN_USE && (each.rcvdInfo == MSTP_SUPERIOR_DESIGNATED_INFO ||
                                                  each.rcvdInfo == MSTP_INFERIOR_DESIGNATED_INFO);
    });
}

void Causes::turned(uint64_t /*time*/, uint32_t node) {
    Daemon& daemon = m_daemons[node];
    daemon.inTurn = false;
    daemon.timers = false;
    const tMstp& context = m_lab.network().node(node).context;
    for (uint32_t p = 0; context.ports != nullptr && p < context.portLimit; p++) {
        const tMstpPort& port = context.ports[p];
        if (port.state != MSTP_SLOT_IN_USE) {
            continue;
        }
        const bool news = port.newInfo != 0 || port.newInfoMsti != 0;
        daemon.ports[port.unit].held = news && port.txCount >= port.bridge->txHoldCount;
        if (port.unit == daemon.heardOn && !daemon.acts.empty() &&
            daemon.acts.back().kind == Kind::Repeat && wasNews(port, context.xstLimit)) {
            daemon.acts.back().wait = Wait::Hello;
        }
    }
    daemon.heardOn = 0;
}

// ---- changes, links, lives

void Causes::changed(uint32_t node, const std::string& what) {
    Act& now = act(node);
    now.news = true;
    m_lastNode = node;
    m_lastAct = static_cast<int32_t>(m_daemons[node].acts.size()) - 1;
    m_lastTime = now.time;
    m_lastChange = what;
}

static std::string changeText(const std::string& port, uint32_t instance, const std::string& to) {
    return port + " becomes " + to + " in " + (instance == 0 ? "the CIST" : instanceName(instance));
}

void Causes::stateChanged(const sim::StateEvent& event) {
    changed(event.node, changeText(portName(event.node, event.unit), event.instance,
                                   stateWord(stateOfGroup(event.after))));
}

// Roles are compared at the end of a turn; the change of a state in it says more.
void Causes::roleChanged(const sim::RoleEvent& event) {
    look();
    if (m_lastAct != NONE && m_lastNode == event.node && m_lastTime == event.time) {
        return;
    }
    changed(event.node, changeText(portName(event.node, event.unit), event.instance,
                                   event.after == 0 ? "none" : roleWord(event.after)));
}

void Causes::linkNews(Microseconds time, const sim::LinkEnd& at, bool up) {
    look();
    if (sim::isHost(at) || m_lab.network().node(at.node).state == sim::NodeState::Off) {
        return;
    }
    Daemon& daemon = m_daemons[at.node];
    daemon.links.emplace_back(time, "the link of " + portName(at.node, at.unit) + " is " +
                                        (up ? "up" : "down"));
    daemon.ports[at.unit].heard.clear();
}

void Causes::linkChanged(uint64_t time, uint32_t link, bool up) {
    for (const sim::Link::End& end : m_lab.network().link(link).ends) {
        if (end.up) {
            linkNews(time, end.at, up);
        }
    }
}

void Causes::endChanged(uint64_t time, uint32_t link, uint32_t end, bool up) {
    const sim::Link& changed = m_lab.network().link(link);
    if (changed.up) {
        linkNews(time, changed.ends[end].at, up);
    }
}

void Causes::nodeChanged(uint64_t /*time*/, uint32_t node, sim::NodeChange change) {
    look();
    if (change != sim::NodeChange::Crashed && change != sim::NodeChange::Started) {
        return;
    }
    Daemon& daemon = m_daemons[node];
    daemon.due.clear();
    daemon.frames.clear();
    daemon.links.clear();
    daemon.ports.clear();
    daemon.poster = NONE;
    daemon.acting = false;
}

} // namespace simtool
