// Links of a simulated network: wires and hubs, what they do to frames, and who is told when they
// are cut. A frame's fate on the way to each receiver is drawn when it is sent, receivers in the
// order of their ends.

#include <linux/netlink.h>
#include <linux/rtnetlink.h>

#include <algorithm>
#include <cstring>

#include "network.h"
#include "platform/seam.h"

namespace sim {

static constexpr uint64_t SHORTEST_FRAME = 60;
static constexpr uint64_t FRAME_OVERHEAD = 24; // preamble, check sequence, gap

// ---- building

uint32_t Network::addLink(LinkEnd a, LinkEnd b, const LinkOptions& options) {
    return addHub({a, b}, options);
}

uint32_t Network::addHub(const std::vector<LinkEnd>& ends, const LinkOptions& options) {
    const auto number = static_cast<uint32_t>(m_links.size());
    m_links.emplace_back();
    Link& link = m_links.back();
    link.options = options;
    for (const LinkEnd& at : ends) {
        const Plug plug = {number, static_cast<uint32_t>(link.ends.size())};
        Link::End end;
        end.at = at;
        link.ends.push_back(end);
        if (isHost(at)) {
            m_hosts[at.node - HOST].plug = plug;
            continue;
        }
        Node& node = *m_nodes[at.node];
        node.sw.add(at.unit).speed = options.speed;
        node.plugs[at.unit] = plug;
    }
    return number;
}

// ---- up and down

bool Network::endUp(const Plug& plug) const {
    const Link& link = m_links[plug.link];
    return link.up && link.ends[plug.end].up;
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
    attribute.rta_type = PLATFORM_LINK_OPERSTATE;
    memcpy(bytes.data(), &header, sizeof header);
    memcpy(bytes.data() + NLMSG_HDRLEN, &info, sizeof info);
    memcpy(bytes.data() + NLMSG_LENGTH(sizeof info), &attribute, sizeof attribute);
    bytes[NLMSG_LENGTH(sizeof info) + sizeof attribute] =
        up ? PLATFORM_LINK_OPER_UP : PLATFORM_LINK_OPER_DOWN;
    return bytes;
}

// A daemon that does not run reads the state when it takes the port.
void Network::tellLink(LinkEnd end, bool up) {
    if (isHost(end)) {
        return;
    }
    Node& node = *m_nodes[end.node];
    node.sw.interfaces[end.unit].up = up;
    // A switch forgets by itself what lay behind a port that has lost its link.
    if (!up) {
        node.addresses.flush(end.unit);
    }
    if (node.state == NodeState::Off) {
        return;
    }
    node.sw.linkMessages.push_back(linkMessage(end.unit, up));
    wake(end.node);
}

void Network::setLink(uint32_t number, bool up) {
    Link& link = m_links[number];
    if (link.up == up) {
        return;
    }
    link.up = up;
    tell([&](Observer& observer) { observer.linkChanged(m_time, number, up); });
    for (Link::End& end : link.ends) {
        end.generation++;
        end.busyUntil = m_time;
        if (end.up) {
            tellLink(end.at, up);
        }
    }
}

void Network::setEnd(uint32_t number, uint32_t which, bool up) {
    Link::End& end = m_links[number].ends[which];
    if (end.up == up) {
        return;
    }
    end.up = up;
    end.generation++;
    tell([&](Observer& observer) { observer.endChanged(m_time, number, which, up); });
    if (m_links[number].up) {
        tellLink(end.at, up);
    }
}

void Network::setSending(uint32_t number, uint32_t end, bool works) {
    m_links[number].ends[end].sends = works;
}

void Network::impair(uint32_t number, const LinkOptions& options) {
    m_links[number].options = options;
}

// ---- frames

FrameEvent Network::eventOf(const Flight& flight) const {
    const Link& link = m_links[flight.link];
    FrameEvent event;
    event.time = m_time;
    event.transmission = flight.transmission;
    event.link = flight.link;
    event.from = flight.from;
    event.to = flight.to;
    event.sender = link.ends[flight.from].at;
    if (flight.to != NO_END) {
        event.receiver = link.ends[flight.to].at;
    }
    event.bytes = flight.bytes.get();
    event.test = flight.test;
    return event;
}

void Network::inject(uint32_t link, uint32_t end, const std::vector<uint8_t>& bytes) {
    Flight flight;
    flight.bytes = std::make_shared<const std::vector<uint8_t>>(bytes);
    flight.link = link;
    flight.from = end;
    transmit(std::move(flight));
}

void Network::lose(const Flight& flight, Loss why) {
    tell([&](Observer& observer) { observer.frameLost(eventOf(flight), why); });
    if (flight.test != 0) {
        copyGone(flight.test);
    }
}

// When the last bit of a frame that is sent now leaves the sender; none if the queue is full.
static bool queueFrame(Link& link, uint32_t from, size_t bytes, uint64_t now, uint64_t* departure) {
    const uint64_t rate = link.options.bandwidth;
    *departure = now;
    if (rate == 0) {
        return true;
    }
    uint64_t& busyUntil = link.ends[from].busyUntil;
    const uint64_t start = std::max(busyUntil, now);
    if ((start - now) * rate / 8000 > link.options.queueBytes) {
        return false;
    }
    const uint64_t length = std::max<uint64_t>(bytes, SHORTEST_FRAME) + FRAME_OVERHEAD;
    busyUntil = start + (length * 8000 + rate - 1) / rate;
    *departure = busyUntil;
    return true;
}

void Network::transmit(Flight flight) {
    Link& link = m_links[flight.link];
    flight.transmission = ++m_transmissions;
    flight.to = NO_END;
    tell([&](Observer& observer) { observer.frameSent(eventOf(flight)); });
    uint64_t departure = 0;
    const bool queued = queueFrame(link, flight.from, flight.bytes->size(), m_time, &departure);
    for (uint32_t to = 0; to < link.ends.size(); to++) {
        if (to == flight.from) {
            continue;
        }
        flight.to = to;
        flight.generation = link.ends[to].generation;
        if (flight.test != 0) {
            m_traffic.at(flight.test).frame.copies++;
        }
        if (!endUp({flight.link, flight.from}) || !endUp({flight.link, to})) {
            lose(flight, Loss::LinkDown);
        } else if (!queued) {
            lose(flight, Loss::TransmitQueue);
        } else if (!link.ends[flight.from].sends) {
            lose(flight, Loss::Silent);
        } else if (m_random.chance(link.options.loss)) {
            lose(flight, Loss::Impairment);
        } else {
            travel(flight, departure);
            if (m_random.chance(link.options.duplication)) {
                tell([&](Observer& observer) { observer.frameDuplicated(eventOf(flight)); });
                if (flight.test != 0) {
                    m_traffic.at(flight.test).frame.copies++;
                }
                travel(flight, departure);
            }
        }
    }
}

void Network::travel(const Flight& flight, uint64_t departure) {
    uint32_t index = 0;
    if (m_freeFlights.empty()) {
        index = static_cast<uint32_t>(m_flights.size());
        m_flights.push_back(flight);
    } else {
        index = m_freeFlights.back();
        m_freeFlights.pop_back();
        m_flights[index] = flight;
    }
    const LinkOptions& options = m_links[flight.link].options;
    const uint64_t jitter = options.jitter == 0 ? 0 : m_random.below(options.jitter + 1);
    push({departure + options.delay + jitter, 0, 0, index, EventKind::Arrival});
}

void Network::arrive(uint32_t index) {
    const Flight flight = std::move(m_flights[index]);
    m_flights[index] = {};
    m_freeFlights.push_back(index);
    if (m_links[flight.link].ends[flight.to].generation != flight.generation) {
        lose(flight, Loss::LinkDown);
        return;
    }
    if (flight.test != 0) {
        takeTestFrame(flight);
        return;
    }
    deliver(flight);
}

static Loss refusal(const Node& node, uint32_t unit, bool* refused) {
    const auto interface = node.sw.interfaces.find(unit);
    const bool listens = node.state != NodeState::Off && interface != node.sw.interfaces.end() &&
                         interface->second.attached;
    *refused = !listens || node.sw.received.size() >= node.options.receiveQueue;
    return listens ? Loss::ReceiveQueue : Loss::NotListening;
}

// To the daemon's packet socket, or to a host, which takes everything.
void Network::deliver(const Flight& flight) {
    const LinkEnd to = m_links[flight.link].ends[flight.to].at;
    if (!isHost(to)) {
        Node& node = *m_nodes[to.node];
        bool refused = false;
        const Loss why = refusal(node, to.unit, &refused);
        if (refused) {
            node.counters.framesDropped += why == Loss::ReceiveQueue ? 1 : 0;
            lose(flight, why);
            return;
        }
        Frame frame;
        frame.unit = to.unit;
        frame.bytes = *flight.bytes;
        node.sw.received.push_back(std::move(frame));
        node.counters.framesReceived++;
        wake(to.node);
    }
    m_carried++;
    tell([&](Observer& observer) { observer.frameDelivered(eventOf(flight)); });
}

} // namespace sim
