// A draft as a scenario file that a person can read, change and run.

#include <algorithm>
#include <set>

#include "draft.h"

namespace simtool {

namespace {

// Frames are sent so long before and expected so long after.
constexpr Microseconds BEFORE = 2 * SECOND;
constexpr Microseconds LAST_TRAFFIC = 6 * SECOND;
constexpr Microseconds EDGE_BY = 3 * SECOND;
constexpr Microseconds LAST_PAUSE = 13 * SECOND;
constexpr Microseconds SETTLED = 5 * SECOND;
constexpr uint32_t MOST_VLANS = 4; ///< that frames are sent in

// In the file's words: no blank, no zeros behind the point.
std::string time(Microseconds value) {
    std::string text = timeText(value);
    text.erase(std::remove(text.begin(), text.end(), ' '), text.end());
    return text;
}

class Text {
  public:
    Text(const Draft& draft, const std::vector<std::string>& note) : m_draft(draft), m_note(note) {}

    std::string write() {
        givePorts();
        writeHead();
        writeDefaults();
        writeBridges();
        writeHosts();
        writeLinks();
        writeEvents();
        return std::move(m_text);
    }

  private:
    // ---- names

    static std::string bridgeName(uint32_t bridge) { return "sw" + std::to_string(bridge + 1); }
    static std::string hostName(size_t host) { return "h" + std::to_string(host + 1); }
    static std::string regionName(uint32_t region) {
        return std::string(1, static_cast<char>('a' + region));
    }

    static std::string versionName(uint32_t version) {
        return version == 1 ? "stp" : version == 2 ? "rstp" : "mstp";
    }

    // The lowest free port for each end in the order of the links, as the reader of the file does.
    void givePorts() {
        std::vector<uint32_t> used(m_draft.bridges.size());
        for (const DraftLink& link : m_draft.links) {
            m_ports.emplace_back();
            for (const uint32_t bridge : link.bridges) {
                m_ports.back().push_back(++used[bridge]);
            }
        }
        for (const DraftHost& host : m_draft.hosts) {
            m_hostPorts.push_back(++used[host.bridge]);
        }
    }

    std::string portName(uint32_t link, uint32_t end) const {
        return bridgeName(m_draft.links[link].bridges[end]) + "." +
               std::to_string(m_ports[link][end]);
    }

    // Only what could be mistaken for another has a name of its own.
    bool isNamed(uint32_t link) const {
        const auto sorted = [&](uint32_t l) {
            std::vector<uint32_t> ends = m_draft.links[l].bridges;
            std::sort(ends.begin(), ends.end());
            return ends;
        };
        uint32_t same = 0;
        for (uint32_t l = 0; l < m_draft.links.size(); l++) {
            same += sorted(l) == sorted(link) ? 1 : 0;
        }
        return same > 1 || m_draft.links[link].bridges.size() > 2;
    }

    std::string linkName(uint32_t link) const {
        const std::vector<uint32_t>& ends = m_draft.links[link].bridges;
        return isNamed(link) ? (ends.size() > 2 ? "hub" : "link") + std::to_string(link + 1)
                             : bridgeName(ends[0]) + "-" + bridgeName(ends[1]);
    }

    // ---- the network

    void line(const std::string& text) { m_text.append(text).append("\n"); }

    void writeHead() {
        for (const std::string& text : m_note) {
            line("# " + text);
        }
        line("name: " + std::string(kindName(m_draft.kind)) + ", " +
             std::to_string(m_draft.number) + " of seed " + std::to_string(m_draft.seed));
        line("seed: " +
             std::to_string((m_draft.seed * 1'000'003 + m_draft.number) % 1'000'000'007));
        line("duration: " + time(end()));
        line("");
    }

    Microseconds end() const { return endOfTroubles(m_draft) + m_draft.quiet; }

    static std::string item(const std::string& list, const std::string& more,
                            const char* between = ", ") {
        return list.empty() ? more : list + between + more;
    }
    static std::string mapping(const std::string& key, const std::string& items) {
        return key + ": {" + items + "}";
    }
    static std::string linkOf(const std::string& ends, bool hub, const std::string& more) {
        if (hub) {
            return "  - {hub: [" + ends + "]" + more + "}";
        }
        return more.empty() ? "  - " + ends : "  - {between: " + ends + more + "}";
    }

    void writeDefaults() {
        std::string instances;
        for (uint32_t i = 1; i <= m_draft.instances; i++) {
            instances = item(instances, std::to_string(i) + ": " + std::to_string(i * 10) + "-" +
                                            std::to_string(i * 10 + 9));
        }
        line("defaults:");
        line("  bridge:");
        line("    region: a");
        if (!instances.empty()) {
            line("    instances: {" + instances + "}");
        }
        if (m_draft.maxAge != 20) {
            line("    max-age: " + std::to_string(m_draft.maxAge));
        }
        if (m_draft.maxHops != 20) {
            line("    max-hops: " + std::to_string(m_draft.maxHops));
        }
        // The rules tie them: 2 x (forward-delay - 1) >= max-age.
        if (m_draft.maxAge > 28) {
            line("    forward-delay: 30");
        }
        line("");
    }

    std::string portsOf(uint32_t bridge) const {
        std::map<uint32_t, std::map<uint32_t, std::string>> settings; // by port and instance
        for (const DraftPort& port : m_draft.ports) {
            if (m_draft.links[port.link].bridges[port.end] != bridge) {
                continue;
            }
            std::string& text = settings[m_ports[port.link][port.end]][port.instance];
            if (port.priority != 8) {
                text = item(text, "priority: " + std::to_string(port.priority * 16));
            }
            if (port.cost != 0) {
                text = item(text, "cost: " + std::to_string(port.cost));
            }
        }
        std::map<uint32_t, std::string> texts;
        for (const auto& [port, instances] : settings) {
            std::string inner;
            for (const auto& [instance, text] : instances) {
                inner = text.empty() ? inner : item(inner, mapping(std::to_string(instance), text));
            }
            if (!inner.empty()) {
                texts[port] = mapping("instances", inner);
            }
        }
        for (uint32_t h = 0; h < m_draft.hosts.size(); h++) {
            if (m_draft.hosts[h].bridge == bridge && m_draft.hosts[h].filter) {
                texts[m_hostPorts[h]] = "bpdu-filter: on";
            }
        }
        std::string all;
        for (const auto& [port, text] : texts) {
            all = item(all, mapping(std::to_string(port), text));
        }
        return all;
    }

    void writeBridges() {
        line("bridges:");
        for (uint32_t b = 0; b < m_draft.bridges.size(); b++) {
            const DraftBridge& bridge = m_draft.bridges[b];
            std::string text;
            if (bridge.version != 3) {
                text = item(text, "version: " + versionName(bridge.version));
            }
            if (bridge.region != 0) {
                text = item(text, "region: " + regionName(bridge.region));
            }
            if (bridge.bpduGuard) {
                text = item(text, "bpdu-guard: on");
            }
            if (bridge.loopProtection) {
                text = item(text, "loop-protection: on");
            }
            std::map<uint32_t, std::string> instances;
            for (const auto& [instance, priority] : bridge.priorities) {
                if (instance <= m_draft.instances) {
                    instances[instance] = "priority: " + std::to_string(priority * 4096);
                }
            }
            for (const auto& [instance, on] : bridge.rootProtections) {
                if (on && instance <= m_draft.instances) {
                    instances[instance] = item(instances[instance], "root-protection: on");
                }
            }
            std::string inner;
            for (const auto& [instance, settings] : instances) {
                inner = item(inner, mapping(std::to_string(instance), settings));
            }
            text = inner.empty() ? text : item(text, mapping("instances", inner));
            const std::string ports = portsOf(b);
            text = ports.empty() ? text : item(text, mapping("ports", ports));
            line("  " + bridgeName(b) + ":" + (text.empty() ? "" : " {" + text + "}"));
        }
        line("");
    }

    void writeHosts() {
        if (m_draft.hosts.empty()) {
            return;
        }
        line("hosts:");
        for (size_t h = 0; h < m_draft.hosts.size(); h++) {
            const DraftHost& host = m_draft.hosts[h];
            line("  " + hostName(h) + ": " +
                 (host.edge ? bridgeName(host.bridge)
                            : "{at: " + bridgeName(host.bridge) + ", edge: off}"));
        }
        line("");
    }

    void writeLinks() {
        if (m_draft.links.empty()) {
            return;
        }
        line("links:");
        for (uint32_t l = 0; l < m_draft.links.size(); l++) {
            const DraftLink& link = m_draft.links[l];
            const bool hub = link.bridges.size() > 2;
            std::string ends;
            for (const uint32_t bridge : link.bridges) {
                ends = item(ends, bridgeName(bridge), hub ? ", " : "-");
            }
            std::string more = isNamed(l) ? ", name: " + linkName(l) : "";
            if (link.speed != 1000) {
                more += ", speed: " + std::to_string(link.speed) + "M";
            }
            if (link.delay != 100) {
                more += ", delay: " + time(link.delay);
            }
            line(linkOf(ends, hub, more));
        }
        line("");
    }

    // ---- events

    void event(Microseconds at, const std::string& text) {
        m_events.emplace_back(at, "  - {at: " + time(at) + ", " + text + "}");
    }

    std::vector<uint32_t> vlans() const {
        std::vector<uint32_t> result = {1};
        for (uint32_t i = 1; i <= m_draft.instances && result.size() < MOST_VLANS; i++) {
            result.push_back(i * 10);
        }
        return result;
    }

    static std::string frame(const std::string& from, const std::string& to, uint32_t vlan) {
        return "{from: " + from + ", to: " + to + ", vlan: " + std::to_string(vlan) + "}";
    }

    // All learn where the hosts are.
    void sayHello(Microseconds at) {
        std::string list;
        for (size_t h = 0; h < m_draft.hosts.size(); h++) {
            for (const uint32_t vlan : vlans()) {
                list = item(list, frame(hostName(h), "everybody", vlan));
            }
        }
        event(at, "send: [" + list + "]");
    }

    // Each talks to the next, where the bridges have learnt it or else to everybody.
    void talk(Microseconds at) {
        std::string list;
        for (size_t h = 0; h < m_draft.hosts.size(); h++) {
            const std::string next = hostName((h + 1) % m_draft.hosts.size());
            for (const uint32_t vlan : vlans()) {
                list = item(list, frame(hostName(h), next, vlan));
            }
        }
        event(at, "send: [" + list + "]");
        const std::string since = ", since: " + time(at) + "}";
        event(at + SECOND, "expect: [{lost: 0" + since + ", {looped: 0" + since +
                               ", {duplicated: 0" + since + "]");
    }

    // Where bridges refuse information, or it does not reach all, frames need not either.
    bool mayTalk() const {
        return m_draft.hosts.size() > 1 && connectedAtEnd(m_draft) &&
               m_draft.kind != DraftKind::Protections && m_draft.kind != DraftKind::Deep &&
               m_draft.kind != DraftKind::Hubs;
    }

    void expectEdges() {
        for (uint32_t h = 0; h < m_draft.hosts.size(); h++) {
            const DraftHost& host = m_draft.hosts[h];
            if (host.edge && m_draft.bridges[host.bridge].version != 1) {
                event(EDGE_BY, "expect: {port: " + bridgeName(host.bridge) + "." +
                                   std::to_string(m_hostPorts[h]) + ", state: forwarding}");
            }
        }
    }

    static Microseconds halfOfFlap(const DraftTrouble& trouble) {
        return trouble.length / std::max(trouble.value, 1U) / 2;
    }
    static Microseconds endOfFlaps(const DraftTrouble& trouble) {
        return trouble.at + (2 * std::max(trouble.value, 1U) - 1) * halfOfFlap(trouble);
    }

    void addTrouble(const DraftTrouble& trouble) {
        const auto forATime = [&](const std::string& begin, const std::string& end) {
            event(trouble.at, begin);
            if (trouble.length != 0) {
                event(trouble.at + trouble.length, end);
            }
        };
        const auto impair = [&](const std::string& how) {
            const std::string link = "impair: {link: " + linkName(trouble.link);
            forATime(link + ", " + how + "}", link + "}");
        };
        const std::string value = std::to_string(trouble.value);
        const std::string bridge = bridgeName(trouble.bridge);
        switch (trouble.what) {
        case Trouble::Cut:
            forATime("cut: " + linkName(trouble.link), "mend: " + linkName(trouble.link));
            break;
        case Trouble::Flaps: {
            const Microseconds half = halfOfFlap(trouble);
            for (uint32_t i = 0; i < trouble.value; i++) {
                event(trouble.at + 2 * i * half, "cut: " + linkName(trouble.link));
                event(trouble.at + (2 * i + 1) * half, "mend: " + linkName(trouble.link));
            }
            break;
        }
        case Trouble::Mute:
            forATime("mute: " + portName(trouble.link, trouble.end),
                     "unmute: " + portName(trouble.link, trouble.end));
            break;
        case Trouble::Lose:
            impair("loss: " + value + "%");
            break;
        case Trouble::Double:
            impair("duplication: " + value + "%");
            break;
        case Trouble::Late:
            impair("jitter: " + value + "us");
            break;
        case Trouble::Hang:
            event(trouble.at, "hang: {bridge: " + bridge + ", for: " + time(trouble.length) + "}");
            break;
        case Trouble::Crash:
            forATime("crash: " + bridge, "start: " + bridge);
            break;
        case Trouble::Restart:
            event(trouble.at, "restart: " + bridge);
            break;
        case Trouble::Priority:
            event(trouble.at, "set: " + bridge + " instance " + std::to_string(trouble.instance) +
                                  " priority " + std::to_string(trouble.value * 4096));
            break;
        case Trouble::Cost:
            event(trouble.at,
                  "set: " + bridgeName(m_draft.links[trouble.link].bridges[trouble.end]) +
                      " instance " + std::to_string(trouble.instance) + " port " +
                      std::to_string(m_ports[trouble.link][trouble.end]) + " cost " + value);
            break;
        case Trouble::Version: {
            const std::string set = "set: " + bridge + " bridge version ";
            forATime(set + versionName(trouble.value),
                     set + versionName(m_draft.bridges[trouble.bridge].version));
            break;
        }
        case Trouble::Region: {
            const std::string set = "set: " + bridge + " region name ";
            forATime(set + regionName(trouble.value),
                     set + regionName(m_draft.bridges[trouble.bridge].region));
            break;
        }
        case Trouble::Undefined:
            break;
        }
    }

    // One thing at a time in a network whose bridges are alike: it settles soon, and then all is
    // as it should be for traffic.
    void expectSettled(const DraftTrouble& trouble) {
        const Microseconds over = trouble.at + trouble.length;
        const Microseconds settled =
            std::max(over + SETTLED, trouble.at + settlesWithin(m_draft, trouble));
        event(std::max(over + LAST_PAUSE, settled),
              "expect: {settled: " + time(settled - over) + "}");
    }

    // A port that refuses a root stops and goes on for ever.
    bool refusesRoots() const {
        return std::any_of(m_draft.bridges.begin(), m_draft.bridges.end(),
                           [](const DraftBridge& b) { return !b.rootProtections.empty(); });
    }

    bool losesFrames() const {
        return std::any_of(m_draft.troubles.begin(), m_draft.troubles.end(),
                           [](const DraftTrouble& t) {
                               return t.what == Trouble::Mute || t.what == Trouble::Lose;
                           });
    }

    // From which the time to settle counts: the end of a hang is none.
    Microseconds lastEvent() const {
        Microseconds last = 0;
        for (const DraftTrouble& trouble : m_draft.troubles) {
            const bool ends = trouble.what != Trouble::Hang && trouble.what != Trouble::Flaps;
            last = std::max(last, trouble.at + (ends ? trouble.length : 0));
            if (trouble.what == Trouble::Flaps) {
                last = std::max(last, endOfFlaps(trouble));
            }
        }
        return last;
    }

    // A port to a host that is no edge port waits, also for the longest delay after a restart.
    // So do bridges that information may not reach.
    bool settlesSoon() const {
        return homogeneous(m_draft) &&
               m_draft.bridges.size() <= std::min(m_draft.maxHops, m_draft.maxAge) &&
               std::all_of(m_draft.hosts.begin(), m_draft.hosts.end(),
                           [](const DraftHost& host) { return host.edge; });
    }

    void writeEvents() {
        expectEdges();
        const Microseconds first = m_draft.troubles.empty() ? end() : m_draft.troubles.front().at;
        if (m_draft.hosts.size() > 1 && first > BEFORE && !m_draft.troubles.empty()) {
            sayHello(first - BEFORE);
        }
        for (const DraftTrouble& trouble : m_draft.troubles) {
            addTrouble(trouble);
            if (m_draft.kind == DraftKind::Plain && settlesSoon()) {
                expectSettled(trouble);
            }
        }
        if (mayTalk()) {
            // Nobody says a topology change twice that was lost: addresses then stay until they
            // age.
            if (losesFrames()) {
                sayHello(end() - LAST_TRAFFIC - SECOND);
            }
            talk(end() - LAST_TRAFFIC);
        }
        if (!refusesRoots()) {
            const Microseconds calm = end() - std::min(m_draft.quiet, LAST_TRAFFIC);
            event(end(), "expect: {settled: " + time(calm - std::min(calm, lastEvent())) + "}");
        }
        if (m_events.empty()) {
            return;
        }
        std::stable_sort(m_events.begin(), m_events.end(),
                         [](const auto& a, const auto& b) { return a.first < b.first; });
        line("events:");
        for (const auto& [at, text] : m_events) {
            line(text);
        }
    }

    const Draft& m_draft;
    const std::vector<std::string>& m_note;
    std::vector<std::vector<uint32_t>> m_ports; ///< by link and end
    std::vector<uint32_t> m_hostPorts;
    std::vector<std::pair<Microseconds, std::string>> m_events;
    std::string m_text;
};

} // namespace

std::string draftText(const Draft& draft, const std::vector<std::string>& note) {
    return Text(draft, note).write();
}

} // namespace simtool
