// Sends a broadcast frame from every host interface in every VLAN, and tells how often it arrived
// at each of the others: once is right, no more and no less.
//
//   vlan_probe [-w MILLISECONDS] VLANS INTERFACE...       VLANS like 10-12,20
//
// Prints one line for each frame that was lost or doubled and a summary. Exit code: 0 all arrived
// once, 1 some did not, 2 wrong arguments or no sockets.

#include <arpa/inet.h>
#include <linux/if_ether.h>
#include <linux/if_packet.h>
#include <net/if.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <tuple>
#include <vector>

namespace {

// An experimental Ethernet type (IEEE 802 clause 9.2.4), and a word of our own after it.
constexpr uint16_t PROBE_TYPE = 0x88B5;
constexpr std::array<uint8_t, 8> PROBE_WORD = {'m', 's', 't', 'p', 'p', 'r', 'o', 'b'};
constexpr size_t MINIMUM_FRAME = 64;

struct Host {
    std::string name;
    int fd = -1;
    int index = 0;
};

struct Probe {
    uint32_t run; ///< process and round, so that late frames of another run do not count
    uint16_t vlan;
    uint16_t sender;
};

void put16(std::vector<uint8_t>& bytes, uint32_t value) {
    bytes.push_back(static_cast<uint8_t>(value >> 8));
    bytes.push_back(static_cast<uint8_t>(value));
}

std::vector<uint8_t> build(const Probe& probe) {
    std::vector<uint8_t> bytes(ETH_ALEN, 0xFF);
    const uint8_t source[ETH_ALEN] = {0x02, 0, 0, 0, 0xF0, static_cast<uint8_t>(probe.sender + 1)};
    bytes.insert(bytes.end(), source, source + ETH_ALEN);
    put16(bytes, ETH_P_8021Q);
    put16(bytes, probe.vlan);
    put16(bytes, PROBE_TYPE);
    bytes.insert(bytes.end(), PROBE_WORD.begin(), PROBE_WORD.end());
    put16(bytes, probe.run >> 16);
    put16(bytes, probe.run & 0xFFFF);
    put16(bytes, probe.vlan);
    put16(bytes, probe.sender);
    bytes.resize(std::max(bytes.size(), MINIMUM_FRAME));
    return bytes;
}

// The tag may stand in the frame or have been taken off by the kernel: the payload tells the VLAN.
bool parse(const uint8_t* bytes, size_t length, Probe* probe) {
    static constexpr size_t FIELDS = 8;
    size_t at = 2 * ETH_ALEN;
    const auto word = [&](size_t offset) {
        return static_cast<uint16_t>(bytes[offset] << 8 | bytes[offset + 1]);
    };
    if (length >= at + 4 && word(at) == ETH_P_8021Q) {
        at += 4;
    }
    if (length < at + 2 + PROBE_WORD.size() + FIELDS || word(at) != PROBE_TYPE ||
        memcmp(bytes + at + 2, PROBE_WORD.data(), PROBE_WORD.size()) != 0) {
        return false;
    }
    at += 2 + PROBE_WORD.size();
    *probe = {static_cast<uint32_t>(word(at)) << 16 | word(at + 2), word(at + 4), word(at + 6)};
    return true;
}

bool openHost(Host& host) {
    host.index = static_cast<int>(if_nametoindex(host.name.c_str()));
    host.fd = socket(AF_PACKET, SOCK_RAW, htons(ETH_P_ALL));
    sockaddr_ll address = {};
    address.sll_family = AF_PACKET;
    address.sll_protocol = htons(ETH_P_ALL);
    address.sll_ifindex = host.index;
    const int room = 4 << 20;
    return host.index != 0 && host.fd >= 0 &&
           setsockopt(host.fd, SOL_SOCKET, SO_RCVBUFFORCE, &room, sizeof room) == 0 &&
           bind(host.fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
}

using Arrivals = std::map<std::tuple<uint16_t, uint16_t, size_t>, int>; ///< VLAN, sender, receiver

void receive(const Host& host, size_t number, uint32_t run, Arrivals& arrivals) {
    uint8_t bytes[2048];
    sockaddr_ll from = {};
    socklen_t size = sizeof from;
    ssize_t count = 0;
    while ((count = recvfrom(host.fd, bytes, sizeof bytes, MSG_DONTWAIT,
                             reinterpret_cast<sockaddr*>(&from), &size)) > 0) {
        Probe probe = {};
        if (from.sll_pkttype != PACKET_OUTGOING &&
            parse(bytes, static_cast<size_t>(count), &probe) && probe.run == run) {
            arrivals[{probe.vlan, probe.sender, number}]++;
        }
    }
}

// Takes frames in until none has come for @p quietMs.
void listen(const std::vector<Host>& hosts, uint32_t run, int quietMs, Arrivals& arrivals) {
    std::vector<pollfd> polls;
    for (const Host& host : hosts) {
        polls.push_back({host.fd, POLLIN, 0});
    }
    // A frame that circulates would keep this going for ever.
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(20 * quietMs);
    while (std::chrono::steady_clock::now() < end &&
           poll(polls.data(), polls.size(), quietMs) > 0) {
        for (size_t i = 0; i < hosts.size(); i++) {
            receive(hosts[i], i, run, arrivals);
        }
    }
}

std::vector<uint16_t> parseVlans(const char* text) {
    std::vector<uint16_t> vlans;
    char* end = nullptr;
    while (*text != '\0') {
        const unsigned long first = strtoul(text, &end, 10);
        const unsigned long last = *end == '-' ? strtoul(end + 1, &end, 10) : first;
        if (first < 1 || last > 4094 || (*end != ',' && *end != '\0')) {
            return {};
        }
        for (unsigned long vlan = first; vlan <= last; vlan++) {
            vlans.push_back(static_cast<uint16_t>(vlan));
        }
        text = *end == ',' ? end + 1 : end;
    }
    return vlans;
}

int report(const std::vector<Host>& hosts, const std::vector<uint16_t>& vlans,
           const Arrivals& arrivals) {
    int wrong = 0;
    int frames = 0;
    for (const uint16_t vlan : vlans) {
        for (size_t sender = 0; sender < hosts.size(); sender++) {
            for (size_t receiver = 0; receiver < hosts.size(); receiver++) {
                if (sender == receiver) {
                    continue;
                }
                const auto found = arrivals.find({vlan, static_cast<uint16_t>(sender), receiver});
                const int count = found == arrivals.end() ? 0 : found->second;
                frames++;
                if (count != 1) {
                    wrong++;
                    printf("VLAN %u: a frame of %s came %d times to %s\n", vlan,
                           hosts[sender].name.c_str(), count, hosts[receiver].name.c_str());
                }
            }
        }
    }
    printf("%d of %d arrivals were right\n", frames - wrong, frames);
    return wrong == 0 && frames > 0 ? 0 : 1;
}

} // namespace

int main(int argc, char** argv) {
    int quietMs = 300;
    int option = 0;
    while ((option = getopt(argc, argv, "w:")) != -1) {
        if (option != 'w' || (quietMs = atoi(optarg)) <= 0) {
            return 2;
        }
    }
    const std::vector<uint16_t> vlans =
        optind < argc ? parseVlans(argv[optind]) : std::vector<uint16_t>();
    std::vector<Host> hosts;
    for (int i = optind + 1; i < argc; i++) {
        hosts.push_back({argv[i]});
        if (!openHost(hosts.back())) {
            fprintf(stderr, "vlan_probe: %s: %s\n", argv[i], strerror(errno));
            return 2;
        }
    }
    if (vlans.empty() || hosts.size() < 2) {
        fprintf(stderr, "usage: vlan_probe [-w MILLISECONDS] VLANS INTERFACE INTERFACE...\n");
        return 2;
    }
    const auto run =
        static_cast<uint32_t>(getpid()) << 16 ^
        static_cast<uint32_t>(std::chrono::steady_clock::now().time_since_epoch().count());
    Arrivals arrivals;
    for (size_t sender = 0; sender < hosts.size(); sender++) {
        for (const uint16_t vlan : vlans) {
            const std::vector<uint8_t> frame = build({run, vlan, static_cast<uint16_t>(sender)});
            send(hosts[sender].fd, frame.data(), frame.size(), 0);
        }
        listen(hosts, run, quietMs, arrivals);
    }
    return report(hosts, vlans, arrivals);
}
