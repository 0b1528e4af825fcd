// Discrete events over many daemons. A daemon sleeps in its select: the engine notes the time-out
// that the loop asked for and wakes the daemon when it ends or when something becomes readable,
// whichever comes first. An iteration then runs as on a switch: due timers, one frame, one command,
// one link datagram.
//
// Events of the same moment run in the order in which they were made, and nothing else decides
// anything: no address, no clock of the machine, no library's random numbers.

#include "network.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "platform/interfaces.h"

namespace sim {

// An up-time of 0 would mean a port that is down.
static constexpr uint64_t BOOT_TIME = 1'000'000'000;

// No daemon here may touch the socket or the restore file of one that runs on this machine.
Network::Network(uint64_t seed) : m_random(seed) {
    setenv("MSTP_RUN_DIR", "/nonexistent", 0);
    setNow(BOOT_TIME);
}

Network::~Network() {
    m_observers.clear();
    for (auto& node : m_nodes) {
        if (node->state != NodeState::Off) {
            swapIn(*node);
            mstpRelease();
        }
    }
    sim::swapIn(nullptr);
}

void Network::addObserver(Observer* observer) {
    m_observers.push_back(observer);
}

void Network::removeObserver(Observer* observer) {
    m_observers.erase(std::remove(m_observers.begin(), m_observers.end(), observer),
                      m_observers.end());
}

// ---- events

// The heap's top is the event that runs next.
static constexpr auto LATER = [](const auto& a, const auto& b) {
    return a.time != b.time ? a.time > b.time : a.order > b.order;
};

void Network::push(const Event& event) {
    m_events.push_back(event);
    m_events.back().order = m_order++;
    std::push_heap(m_events.begin(), m_events.end(), LATER);
}

uint64_t Network::nextTime() const {
    return m_events.empty() ? UINT64_MAX : m_events.front().time;
}

bool Network::runNext(uint64_t end) {
    if (nextTime() > end) {
        return false;
    }
    std::pop_heap(m_events.begin(), m_events.end(), LATER);
    const Event event = m_events.back();
    m_events.pop_back();
    m_time = event.time;
    setNow(BOOT_TIME + m_time);
    pass(event);
    return true;
}

void Network::pass(const Event& event) {
    switch (event.kind) {
    case EventKind::Wake:
        if (m_nodes[event.index]->wakeGeneration == event.generation) {
            iterate(event.index);
        }
        return;
    case EventKind::Arrival:
        arrive(event.index);
        return;
    case EventKind::Work: {
        const std::function<void()> work = std::move(m_work[event.index]);
        m_work[event.index] = nullptr;
        m_freeWork.push_back(event.index);
        work();
        return;
    }
    }
}

void Network::at(uint64_t time, std::function<void()> work) {
    uint32_t index = 0;
    if (m_freeWork.empty()) {
        index = static_cast<uint32_t>(m_work.size());
        m_work.emplace_back();
    } else {
        index = m_freeWork.back();
        m_freeWork.pop_back();
    }
    m_work[index] = std::move(work);
    push({std::max(time, m_time), 0, 0, index, EventKind::Work});
}

void Network::run(uint64_t microseconds) {
    const uint64_t end = m_time + microseconds;
    setNow(BOOT_TIME + m_time);
    while (runNext(end)) {
    }
    m_time = end;
    setNow(BOOT_TIME + m_time);
}

bool Network::runUntilSettled(uint64_t quiet, uint64_t limit) {
    const uint64_t start = m_time;
    while (true) {
        const uint64_t settled = std::max(m_lastChange, start) + quiet;
        const uint64_t end = std::min(settled, start + limit);
        if (!runNext(end)) {
            run(end - m_time);
            return settled <= start + limit;
        }
    }
}

// ---- daemons

void Network::swapIn(Node& node) {
    gMstp = node.context;
    mstpTimeProcessEnable = node.timeProcessEnable;
    mstpRestoring = node.restoring;
    sim::swapIn(&node.sw);
    setNow(BOOT_TIME + m_time);
}

void Network::swapOut(Node& node) {
    node.context = gMstp;
    node.timeProcessEnable = mstpTimeProcessEnable;
    node.restoring = mstpRestoring;
}

uint32_t Network::declareNode(const NodeOptions& options) {
    const auto number = static_cast<uint32_t>(m_nodes.size());
    m_nodes.push_back(std::make_unique<Node>());
    Node& node = *m_nodes.back();
    node.options = options;
    node.sw.systemMac = options.mac;
    node.sw.recordCalls = false;
    watchSwitch(number);
    return number;
}

uint32_t Network::addNode(const NodeOptions& options) {
    const uint32_t number = declareNode(options);
    start(number);
    return number;
}

void Network::watchSwitch(uint32_t number) {
    Switch& sw = m_nodes[number]->sw;
    sw.onSend = [this, number](const Frame& frame) {
        Node& node = *m_nodes[number];
        node.counters.framesSent++;
        const auto plug = node.plugs.find(frame.unit);
        if (plug != node.plugs.end()) {
            inject(plug->second.link, plug->second.end, frame.bytes);
        }
    };
    sw.onState = [this, number](uint32_t group, uint32_t unit, uint32_t before) {
        stateChanged(number, group, unit, before);
    };
    sw.onFlush = [this, number](uint32_t unit, uint32_t attribute,
                                const std::vector<uint8_t>& vlans) {
        flushed(number, unit, attribute, vlans);
    };
    sw.onTrace = [this, number](const std::string& line) {
        tell([&](Observer& observer) { observer.traced(m_time, number, line); });
    };
    sw.onPass = [this, number](uint32_t events) {
        m_nodes[number]->counters.passes++;
        m_nodes[number]->rolesMayDiffer = true;
        tell([&](Observer& observer) { observer.driverPassed({m_time, number, events}); });
    };
    sw.onTake = [this, number](Source source) {
        tell([&](Observer& observer) { observer.served(m_time, number, source); });
    };
    sw.onPost = [this, number](uint32_t events) {
        m_nodes[number]->counters.posts++;
        m_nodes[number]->rolesMayDiffer = true;
        tell([&](Observer& observer) { observer.workPosted({m_time, number, events}); });
    };
}

bool Network::start(uint32_t number) {
    Node& node = *m_nodes[number];
    if (node.state != NodeState::Off) {
        return false;
    }
    const NodeOptions& options = node.options;
    sim::swapIn(&node.sw);
    setNow(BOOT_TIME + m_time);
    mstpTimeProcessEnable = 0;
    mstpRestoring = 0;
    if (mstpInit(options.name.c_str(), 0, 0, 0, 1, options.xstLimit, options.portLimit) != 0) {
        return false;
    }
    node.loop = std::make_unique<tMstpLoop>();
    mstpLoopInit(node.loop.get());
    node.state = NodeState::Running;
    node.incarnation++;
    node.roles.assign(static_cast<size_t>(options.portLimit) * options.xstLimit, 0);
    swapOut(node);
    tell([&](Observer& observer) { observer.nodeChanged(m_time, number, NodeChange::Started); });
    on(number, [&] {
        if (options.configure) {
            options.configure(*this, number);
        }
    });
    return true;
}

void Network::crash(uint32_t number) {
    Node& node = *m_nodes[number];
    if (node.state == NodeState::Off) {
        return;
    }
    swapIn(node);
    mstpRelease();
    node.context = {};
    node.loop.reset();
    node.state = NodeState::Off;
    node.wakeGeneration++;
    node.sw.received.clear();
    node.sw.linkMessages.clear();
    node.sw.requests.clear();
    node.sw.replies.clear();
    for (auto& [unit, interface] : node.sw.interfaces) {
        interface.attached = false;
    }
    sim::swapIn(nullptr);
    tell([&](Observer& observer) { observer.nodeChanged(m_time, number, NodeChange::Crashed); });
    for (const auto& done : std::exchange(node.waiting, {})) {
        done({});
    }
}

bool Network::restart(uint32_t number) {
    crash(number);
    return start(number);
}

void Network::hang(uint32_t number, uint64_t microseconds) {
    Node& node = *m_nodes[number];
    if (node.state == NodeState::Off) {
        return;
    }
    if (node.state == NodeState::Running) {
        tell([&](Observer& observer) { observer.nodeChanged(m_time, number, NodeChange::Hung); });
    }
    node.state = NodeState::Hung;
    node.hungUntil = std::max(node.hungUntil, m_time + microseconds);
    at(m_time + microseconds, [this, number, incarnation = node.incarnation] {
        Node& same = *m_nodes[number];
        if (same.incarnation != incarnation || same.state != NodeState::Hung ||
            same.hungUntil > m_time) {
            return;
        }
        same.state = NodeState::Running;
        tell(
            [&](Observer& observer) { observer.nodeChanged(m_time, number, NodeChange::Resumed); });
        wake(number);
    });
}

void Network::wake(uint32_t number) {
    Node& node = *m_nodes[number];
    if (node.state == NodeState::Running) {
        node.lookAgain = true;
        push({m_time, 0, ++node.wakeGeneration, number, EventKind::Wake});
    }
}

// With the daemon swapped in: asks its loop how long it would wait, and sleeps that long.
void Network::sleep(uint32_t number) {
    Node& node = *m_nodes[number];
    node.ready = mstpLoopWait(node.loop.get());
    node.lookAgain = false;
    const uint64_t wait = node.ready > 0 ? 0 : static_cast<uint64_t>(node.sw.waitMicroseconds);
    push({m_time + wait, 0, ++node.wakeGeneration, number, EventKind::Wake});
}

void Network::iterate(uint32_t number) {
    Node& node = *m_nodes[number];
    if (node.state != NodeState::Running) {
        return;
    }
    swapIn(node);
    const int32_t ready = node.lookAgain ? mstpLoopWait(node.loop.get()) : node.ready;
    node.sw.onTake(Source::Timers);
    const uint64_t allocated = allocations();
    mstpLoopServe(node.loop.get(), ready);
    node.counters.allocations += allocations() - allocated;
    node.counters.iterations++;
    sleep(number);
    swapOut(node);
    if (node.rolesMayDiffer || ready > 0) {
        compareRoles(number);
    }
    tell([&](Observer& observer) { observer.turned(m_time, number); });
    answerRequests(number);
}

bool Network::on(uint32_t number, const std::function<void()>& work) {
    Node& node = *m_nodes[number];
    if (node.state == NodeState::Off) {
        return false;
    }
    swapIn(node);
    node.sw.onTake(Source::Management);
    work();
    if (node.state == NodeState::Running) {
        sleep(number);
    }
    swapOut(node);
    compareRoles(number);
    tell([&](Observer& observer) { observer.turned(m_time, number); });
    return true;
}

void Network::peek(uint32_t number, const std::function<void()>& look) {
    Node& node = *m_nodes[number];
    if (node.state == NodeState::Off) {
        return;
    }
    swapIn(node);
    look();
    swapOut(node);
}

void Network::later(uint32_t number, uint64_t microseconds, std::function<void()> work) {
    const uint64_t incarnation = m_nodes[number]->incarnation;
    at(m_time + microseconds, [this, number, incarnation, work = std::move(work)] {
        if (m_nodes[number]->incarnation == incarnation) {
            on(number, work);
        }
    });
}

void Network::request(uint32_t number, const std::vector<uint8_t>& message,
                      std::function<void(const std::vector<uint8_t>& reply)> done) {
    Node& node = *m_nodes[number];
    if (node.state == NodeState::Off) {
        done({});
        return;
    }
    const auto length = static_cast<uint32_t>(message.size());
    std::vector<uint8_t> bytes(sizeof length);
    memcpy(bytes.data(), &length, sizeof length);
    bytes.insert(bytes.end(), message.begin(), message.end());
    node.sw.requests.push_back(std::move(bytes));
    node.waiting.push_back(std::move(done));
    wake(number);
}

std::vector<uint8_t> Network::exchange(uint32_t number, const std::vector<uint8_t>& message) {
    if (m_nodes[number]->state != NodeState::Running) {
        return {};
    }
    bool done = false;
    std::vector<uint8_t> reply;
    request(number, message, [&](const std::vector<uint8_t>& answer) {
        done = true;
        reply = answer;
    });
    while (!done) {
        iterate(number);
    }
    return reply;
}

// A request is done when the daemon has closed its connection.
void Network::answerRequests(uint32_t number) {
    Node& node = *m_nodes[number];
    while (!node.waiting.empty() && node.waiting.size() > node.sw.requests.size()) {
        const auto done = std::move(node.waiting.front());
        node.waiting.erase(node.waiting.begin());
        std::vector<uint8_t> reply;
        if (!node.sw.replies.empty()) {
            reply = std::move(node.sw.replies.front());
            node.sw.replies.erase(node.sw.replies.begin());
        }
        reply.erase(reply.begin(), reply.begin() + std::min<ptrdiff_t>(4, std::ssize(reply)));
        done(reply);
    }
}

// ---- what a daemon did

void Network::compareRoles(uint32_t number) {
    Node& node = *m_nodes[number];
    node.rolesMayDiffer = false;
    const tMstp& context = node.context;
    for (uint32_t p = 0; p < context.portLimit; p++) {
        const tMstpPort& port = context.ports[p];
        for (uint32_t i = 0; i < context.xstLimit; i++) {
            const tMstpXstPort& xstPort = port.xstPorts[i];
            const bool there = port.state == MSTP_SLOT_IN_USE && xstPort.state == MSTP_SLOT_IN_USE;
            const uint8_t after = there ? xstPort.role : 0;
            uint8_t& told = node.roles[p * context.xstLimit + i];
            if (after == told) {
                continue;
            }
            const RoleEvent event = {m_time, number, port.unit, i, told, after};
            told = after;
            m_lastChange = m_time;
            tell([&](Observer& observer) { observer.roleChanged(event); });
        }
    }
}

// With the daemon swapped in.
static uint32_t instanceOfGroup(uint32_t group) {
    for (uint32_t i = 0; gMstp.xsts != nullptr && i < gMstp.xstLimit; i++) {
        if (gMstp.xsts[i].rowStatus != 0 && gMstp.xsts[i].stgId == group) {
            return gMstp.xsts[i].xstId;
        }
    }
    return 0;
}

void Network::stateChanged(uint32_t number, uint32_t group, uint32_t unit, uint32_t before) {
    m_lastChange = m_time;
    const uint32_t after = m_nodes[number]->sw.groups[group].states[unit];
    const StateEvent event = {m_time, number, unit, group, instanceOfGroup(group), before, after};
    tell([&](Observer& observer) { observer.stateChanged(event); });
}

void Network::flushed(uint32_t number, uint32_t unit, uint32_t attribute,
                      const std::vector<uint8_t>& vlans) {
    FlushEvent event = {m_time, number, unit, attribute, &vlans, 0};
    if (attribute == KEL_IF_FLUSH_MAC) {
        event.forgotten = m_nodes[number]->addresses.flush(unit, vlans);
    }
    tell([&](Observer& observer) { observer.flushed(event); });
}

// ---- looking

const tMstpPort* Network::port(uint32_t number, uint32_t unit) const {
    const tMstp& context = m_nodes[number]->context;
    for (uint32_t p = 0; context.ports != nullptr && p < context.portLimit; p++) {
        if (context.ports[p].state == MSTP_SLOT_IN_USE && context.ports[p].unit == unit) {
            return &context.ports[p];
        }
    }
    return nullptr;
}

uint32_t Network::role(uint32_t number, uint32_t instance, uint32_t unit) const {
    const tMstpPort* found = port(number, unit);
    if (found == nullptr || instance >= m_nodes[number]->context.xstLimit) {
        return 0;
    }
    const tMstpXstPort& xstPort = found->xstPorts[instance];
    return xstPort.state == MSTP_SLOT_IN_USE ? xstPort.role : 0;
}

} // namespace sim
