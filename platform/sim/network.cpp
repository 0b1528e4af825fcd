// Discrete events over many daemons. A daemon sleeps in its select: the engine notes the time-out
// that the loop asked for and wakes the daemon when it ends or when something becomes readable,
// whichever comes first. An iteration then runs as on a switch: due timers, one frame, one command,
// one link datagram.

#include "network.h"

#include <linux/netlink.h>
#include <linux/rtnetlink.h>

#include <cstdlib>
#include <cstring>

namespace sim {

static constexpr uint64_t BOOT_TIME =
    1'000'000'000; // an up-time of 0 would mean a port that is down
static constexpr uint16_t LINK_OPERATIONAL_STATE = 16;
static constexpr uint8_t LINK_DOWN = 2;
static constexpr uint8_t LINK_UP = 6;

// No daemon here may touch the socket or the restore file of one that runs on this machine.
Network::Network() {
    setenv("MSTP_RUN_DIR", "/nonexistent", 0);
    setNow(BOOT_TIME);
}

Network::~Network() {
    for (auto& node : m_nodes) {
        if (node->context.bridges != nullptr) {
            swapIn(*node);
            mstpRelease();
        }
    }
    sim::swapIn(nullptr);
}

void Network::swapIn(Node& node) {
    gMstp = node.context;
    mstpTimeProcessEnable = node.timeProcessEnable;
    mstpRestoring = node.restoring;
    sim::swapIn(&node.sw);
}

void Network::swapOut(Node& node) {
    node.context = gMstp;
    node.timeProcessEnable = mstpTimeProcessEnable;
    node.restoring = mstpRestoring;
}

void Network::at(uint64_t time, std::function<void()> work) {
    m_events.push({time, m_order++, std::move(work)});
}

uint32_t Network::addNode(const NodeOptions& options) {
    const auto number = static_cast<uint32_t>(m_nodes.size());
    m_nodes.push_back(std::make_unique<Node>());
    Node& node = *m_nodes.back();
    node.options = options;
    node.sw.systemMac = options.mac;
    node.sw.recordCalls = false;
    node.sw.onSend = [this, number](const Frame& frame) { send(number, frame); };
    sim::swapIn(&node.sw);
    mstpInit(options.name.c_str(), 0, 0, 0, 1, options.xstLimit, options.portLimit);
    mstpLoopInit(node.loop.get());
    node.running = true;
    swapOut(node);
    swapIn(node);
    sleep(number);
    return number;
}

uint32_t Network::addLink(LinkEnd a, LinkEnd b, uint32_t speed, uint64_t delay) {
    Link link;
    link.ends[0] = a;
    link.ends[1] = b;
    link.delay = delay;
    for (const LinkEnd& end : link.ends) {
        m_nodes[end.node]->sw.add(end.unit).speed = speed;
    }
    m_links.push_back(link);
    return static_cast<uint32_t>(m_links.size() - 1);
}

// A new-link message as the platform's kernel sends it: header, link header, operational state.
static std::vector<uint8_t> linkMessage(uint32_t unit, bool up) {
    std::vector<uint8_t> bytes(NLMSG_LENGTH(sizeof(ifinfomsg)) + RTA_SPACE(1));
    nlmsghdr header = {};
    header.nlmsg_len = static_cast<uint32_t>(bytes.size());
    header.nlmsg_type = RTM_NEWLINK;
    ifinfomsg info = {};
    info.ifi_index = static_cast<int>(unit);
    rtattr attribute = {};
    attribute.rta_len = RTA_LENGTH(1);
    attribute.rta_type = LINK_OPERATIONAL_STATE;
    memcpy(bytes.data(), &header, sizeof header);
    memcpy(bytes.data() + NLMSG_HDRLEN, &info, sizeof info);
    memcpy(bytes.data() + NLMSG_LENGTH(sizeof info), &attribute, sizeof attribute);
    bytes[NLMSG_LENGTH(sizeof info) + sizeof attribute] = up ? LINK_UP : LINK_DOWN;
    return bytes;
}

void Network::tellLink(LinkEnd end, bool up) {
    Node& node = *m_nodes[end.node];
    node.sw.interfaces[end.unit].up = up;
    node.sw.linkMessages.push_back(linkMessage(end.unit, up));
    wake(end.node);
}

void Network::setLink(uint32_t number, bool up) {
    Link& link = m_links[number];
    link.up = up;
    link.generation++;
    tellLink(link.ends[0], up);
    tellLink(link.ends[1], up);
}

void Network::kill(uint32_t number) {
    m_nodes[number]->running = false;
    m_nodes[number]->wakeGeneration++;
}

void Network::send(uint32_t from, const Frame& frame) {
    for (uint32_t number = 0; number < m_links.size(); number++) {
        const Link& link = m_links[number];
        for (uint32_t side = 0; side < 2; side++) {
            if (link.ends[side].node != from || link.ends[side].unit != frame.unit || !link.up) {
                continue;
            }
            const LinkEnd to = link.ends[1 - side];
            const uint64_t generation = link.generation;
            at(now() + link.delay, [this, to, number, generation, bytes = frame.bytes] {
                Node& node = *m_nodes[to.node];
                if (m_links[number].generation != generation || !node.running ||
                    !node.sw.interfaces[to.unit].attached) {
                    return;
                }
                m_carried++;
                Frame arrived;
                arrived.unit = to.unit;
                arrived.bytes = bytes;
                node.sw.received.push_back(std::move(arrived));
                wake(to.node);
            });
        }
    }
}

void Network::wake(uint32_t number) {
    Node& node = *m_nodes[number];
    if (!node.running) {
        return;
    }
    const uint64_t generation = ++node.wakeGeneration;
    at(now(), [this, number, generation] {
        if (m_nodes[number]->wakeGeneration == generation) {
            iterate(number);
        }
    });
}

// With the daemon swapped in: asks its loop how long it would wait, and sleeps that long.
void Network::sleep(uint32_t number) {
    Node& node = *m_nodes[number];
    const int32_t ready = mstpLoopWait(node.loop.get());
    const uint64_t wait = ready > 0 ? 0 : static_cast<uint64_t>(node.sw.waitMicroseconds);
    const uint64_t generation = ++node.wakeGeneration;
    at(now() + wait, [this, number, generation] {
        if (m_nodes[number]->wakeGeneration == generation) {
            iterate(number);
        }
    });
}

void Network::iterate(uint32_t number) {
    Node& node = *m_nodes[number];
    if (!node.running) {
        return;
    }
    swapIn(node);
    const int32_t ready = mstpLoopWait(node.loop.get());
    mstpLoopServe(node.loop.get(), ready);
    sleep(number);
    swapOut(node);
}

void Network::on(uint32_t number, const std::function<void()>& work) {
    Node& node = *m_nodes[number];
    swapIn(node);
    work();
    if (node.running) {
        sleep(number);
    }
    swapOut(node);
}

void Network::run(uint64_t microseconds) {
    const uint64_t end = now() + microseconds;
    while (!m_events.empty() && m_events.top().time <= end) {
        const Event event = m_events.top();
        m_events.pop();
        setNow(event.time);
        event.work();
    }
    setNow(end);
}

} // namespace sim
