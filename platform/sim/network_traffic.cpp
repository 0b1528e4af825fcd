// Test frames: what a host sends really travels from switch to switch, over the links and through
// the ports that the hardware groups let it pass, learnt addresses and floods included. Every copy
// remembers the ports that it came in by, so a loop is seen when it happens and the copy goes no
// further.

#include <algorithm>

#include "network.h"
#include "platform/stg.h"

namespace sim {

static constexpr size_t TEST_FRAME_SIZE = 60;
static constexpr size_t MAC_SIZE = 6;
static constexpr size_t NUMBER_OFFSET = 18;
static constexpr uint64_t BROADCAST = 0xFFFFFFFFFFFF;
static constexpr uint64_t HOST_MACS = 0x02FE00000000; // locally administered
static constexpr uint64_t SECOND = 1'000'000;
// Copies of one frame that may pass one port: beyond, it is a storm whatever their paths are.
static constexpr uint32_t VISITS = 16;

bool TestFrame::unicast() const {
    return to != EVERYBODY;
}

uint32_t TestFrame::missed() const {
    uint32_t count = 0;
    for (uint32_t host = 0; host < deliveries.size(); host++) {
        const bool meant = unicast() ? host == to : host != from;
        count += meant && deliveries[host] == 0 ? 1 : 0;
    }
    return count;
}

uint32_t TestFrame::duplicated() const {
    return static_cast<uint32_t>(std::count_if(deliveries.begin(), deliveries.end(),
                                               [](uint32_t times) { return times > 1; }));
}

uint32_t Network::addHost(const std::string& name) {
    const auto number = static_cast<uint32_t>(m_hosts.size());
    Host host;
    host.name = name;
    host.plug.link = NO_END;
    const uint64_t mac = HOST_MACS + number;
    for (size_t i = 0; i < MAC_SIZE; i++) {
        host.mac.push_back(static_cast<uint8_t>(mac >> (8 * (MAC_SIZE - 1 - i))));
    }
    m_hosts.push_back(std::move(host));
    return number;
}

// Destination, source, VLAN tag, an Ethernet type for experiments, the frame's number.
static std::vector<uint8_t> testFrameBytes(const Host& from, const Host* to,
                                           const TestFrame& frame) {
    std::vector<uint8_t> bytes = to != nullptr ? to->mac : std::vector<uint8_t>(MAC_SIZE, 0xFF);
    bytes.insert(bytes.end(), from.mac.begin(), from.mac.end());
    const auto vlanHigh = static_cast<uint8_t>(frame.vlan >> 8);
    const auto vlanLow = static_cast<uint8_t>(frame.vlan);
    bytes.insert(bytes.end(), {0x81, 0x00, vlanHigh, vlanLow, 0x88, 0xB5});
    for (uint32_t shift = 64; shift > 0; shift -= 8) {
        bytes.push_back(static_cast<uint8_t>(frame.number >> (shift - 8)));
    }
    bytes.resize(TEST_FRAME_SIZE);
    return bytes;
}
static_assert(2 * MAC_SIZE + 6 == NUMBER_OFFSET);

uint64_t Network::sendTestFrame(uint32_t from, uint32_t to, uint32_t vlan) {
    Traffic& traffic = m_traffic[++m_testFrames];
    TestFrame& frame = traffic.frame;
    frame.number = m_testFrames;
    frame.sent = m_time;
    frame.from = from;
    frame.to = to;
    frame.vlan = vlan;
    frame.deliveries.assign(m_hosts.size(), 0);
    traffic.hops.emplace_back();
    const uint64_t number = frame.number;
    tell([&](Observer& observer) { observer.testFrameSent(frame); });
    frame.copies = 1;
    const Plug plug = m_hosts[from].plug;
    if (plug.link != NO_END) {
        Flight flight;
        flight.bytes = std::make_shared<const std::vector<uint8_t>>(
            testFrameBytes(m_hosts[from], to == EVERYBODY ? nullptr : &m_hosts[to], frame));
        flight.test = number;
        flight.link = plug.link;
        flight.from = plug.end;
        transmit(std::move(flight));
    }
    copyGone(number);
    return number;
}

void Network::copyGone(uint64_t number) {
    const auto found = m_traffic.find(number);
    if (--found->second.frame.copies > 0) {
        return;
    }
    tell([&](Observer& observer) { observer.testFrameFinished(found->second.frame); });
    m_traffic.erase(found);
}

uint32_t Network::portState(const Node& node, uint32_t unit, uint32_t vlan) const {
    const std::vector<uint32_t>& groups = node.sw.groupOfVlan;
    const auto group = node.sw.groups.find(vlan < groups.size() ? groups[vlan] : 0);
    if (group == node.sw.groups.end()) {
        return 0;
    }
    const auto state = group->second.states.find(unit);
    return state != group->second.states.end() ? state->second : 0;
}

bool Network::forwards(uint32_t number, uint32_t unit, uint32_t vlan) const {
    const Node& node = *m_nodes[number];
    const auto plug = node.plugs.find(unit);
    return plug != node.plugs.end() && endUp(plug->second) &&
           portState(node, unit, vlan) == STG_PORT_FORWARDING;
}

bool Network::loops(Traffic& traffic, const Flight& flight, LinkEnd at) const {
    const uint32_t visits = ++traffic.visits[{at.node, at.unit}];
    if (visits == 1) {
        return false;
    }
    for (uint32_t hop = flight.hop; hop != 0; hop = traffic.hops[hop].before) {
        const LinkEnd& passed = traffic.hops[hop].at;
        if (passed.node == at.node && passed.unit == at.unit) {
            return true;
        }
    }
    return visits > VISITS;
}

void Network::takeTestFrame(const Flight& flight) {
    Traffic& traffic = m_traffic.at(flight.test);
    TestFrame& frame = traffic.frame;
    const LinkEnd at = m_links[flight.link].ends[flight.to].at;
    m_carried++;
    tell([&](Observer& observer) { observer.frameDelivered(eventOf(flight)); });
    if (isHost(at)) {
        const uint32_t host = at.node - HOST;
        if (host < frame.deliveries.size() && (!frame.unicast() || frame.to == host)) {
            frame.deliveries[host]++;
            tell([&](Observer& observer) { observer.testFrameDelivered(frame, host); });
        }
    } else if (loops(traffic, flight, at)) {
        frame.looped++;
        tell([&](Observer& observer) { observer.testFrameLooped(frame, at); });
    } else {
        const uint32_t length = traffic.hops[flight.hop].length + 1;
        traffic.hops.push_back({at, flight.hop, length});
        frame.longestPath = std::max(frame.longestPath, length);
        forwardTestFrame(traffic, at, flight, static_cast<uint32_t>(traffic.hops.size() - 1));
    }
    copyGone(flight.test);
}

static uint64_t macAt(const std::vector<uint8_t>& bytes, size_t offset) {
    uint64_t mac = 0;
    for (size_t i = 0; i < MAC_SIZE; i++) {
        mac = (mac << 8) | bytes[offset + i];
    }
    return mac;
}

void Network::forwardTestFrame(Traffic& traffic, LinkEnd in, const Flight& flight, uint32_t hop) {
    Node& node = *m_nodes[in.node];
    const uint32_t vlan = traffic.frame.vlan;
    const uint32_t state = portState(node, in.unit, vlan);
    if (state == STG_PORT_LEARNING || state == STG_PORT_FORWARDING) {
        node.addresses.learn(vlan, macAt(*flight.bytes, MAC_SIZE), in.unit, m_time);
    }
    if (state != STG_PORT_FORWARDING) {
        return;
    }
    const uint64_t ageing = node.options.ageingSeconds * SECOND;
    const uint64_t destination = macAt(*flight.bytes, 0);
    const uint32_t known =
        destination == BROADCAST
            ? 0
            : node.addresses.find(vlan, destination, m_time > ageing ? m_time - ageing : 0);
    for (const auto& [unit, plug] : node.plugs) {
        if (unit == in.unit || (known != 0 && unit != known) || !forwards(in.node, unit, vlan)) {
            continue;
        }
        Flight copy;
        copy.bytes = flight.bytes;
        copy.test = flight.test;
        copy.hop = hop;
        copy.link = plug.link;
        copy.from = plug.end;
        transmit(std::move(copy));
    }
}

} // namespace sim
