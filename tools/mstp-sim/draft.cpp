// Random scenarios. Each kind of scenario draws from the same well in the same order of questions:
// how large, which bridges, which links, which hosts, what happens. A random tree holds a network
// together, links beyond it make the circles that the protocol is there for.

#include "draft.h"

#include <algorithm>
#include <numeric>

#include "random.h"

namespace simtool {

namespace {

constexpr Microseconds START = 30 * SECOND;      ///< to settle, where handshakes do it
constexpr Microseconds SLOW_START = 60 * SECOND; ///< where delays do it
constexpr Microseconds PAUSE = 14 * SECOND;      ///< between things that happen one at a time
constexpr uint32_t MOST_INSTANCES = 16;

class Drawer {
  public:
    Drawer(uint64_t seed, uint64_t number, uint32_t mostBridges, bool large)
        : m_random((seed * 0x9E3779B97F4A7C15U) ^ (number * 0xD1B54A32D192ED03U)),
          m_mostBridges(mostBridges), m_large(large) {
        m_draft.seed = seed;
        m_draft.number = number;
    }

    Draft draw() {
        m_draft.kind = static_cast<DraftKind>(m_draft.number % DRAFT_KINDS);
        drawBridges();
        if (m_draft.kind == DraftKind::Deep) {
            drawChain();
        } else {
            drawLinks();
        }
        drawHubs();
        drawPorts();
        drawHosts();
        drawProtections();
        drawTroubles();
        return std::move(m_draft);
    }

  private:
    uint32_t number(uint32_t least, uint32_t most) {
        return least + static_cast<uint32_t>(m_random.below(uint64_t(most) - least + 1));
    }
    bool chance(double probability) { return m_random.chance(probability); }
    bool isKind(DraftKind kind) const { return m_draft.kind == kind; }
    uint32_t anyBridge() { return number(0, static_cast<uint32_t>(m_draft.bridges.size()) - 1); }
    uint32_t anyLink() { return number(0, static_cast<uint32_t>(m_draft.links.size()) - 1); }

    // Mostly small: there most things happen for their size. A few large ones, or many if asked
    // for.
    uint32_t size() {
        const uint32_t wanted = chance(m_large ? 0.5 : 0.04) ? number(16, 64)
                                : chance(0.7)                ? number(2, 7)
                                                             : number(8, 12);
        return std::min(wanted, m_mostBridges);
    }

    void drawBridges() {
        const uint32_t count =
            isKind(DraftKind::Deep) ? std::min(number(8, 26), m_mostBridges) : size();
        const bool many = chance(0.06) && count <= 12;
        m_draft.instances = many ? number(5, MOST_INSTANCES) : number(1, 4);
        const uint32_t regions = isKind(DraftKind::Regions) ? number(2, 4) : 1;
        // In most kinds all run the same; plain STP settles by waiting and has fewer promises.
        const uint32_t all = chance(0.15) ? 2 : 3;
        for (uint32_t b = 0; b < count; b++) {
            DraftBridge bridge;
            static constexpr uint32_t MIXED[] = {1, 2, 3, 3, 3};
            bridge.version = isKind(DraftKind::Versions)  ? MIXED[number(0, 4)]
                             : isKind(DraftKind::Regions) ? 3
                                                          : all;
            bridge.region = number(1, regions) - 1;
            for (uint32_t i = 0; i <= m_draft.instances; i++) {
                if (chance(0.4)) {
                    bridge.priorities[i] = number(0, 15);
                }
            }
            m_draft.bridges.push_back(bridge);
        }
    }

    void join(uint32_t a, uint32_t b) {
        static constexpr uint32_t SPEEDS[] = {10, 100, 1000, 1000, 1000, 10000};
        DraftLink link;
        link.bridges = {a, b};
        link.speed = SPEEDS[number(0, 5)];
        link.delay = chance(0.2) ? number(1, 20) * MILLISECOND : number(1, 500);
        m_draft.links.push_back(link);
    }

    void drawLinks() {
        const auto count = static_cast<uint32_t>(m_draft.bridges.size());
        const bool ring = chance(0.4) && count > 2;
        for (uint32_t b = 1; b < count; b++) {
            join(ring ? b - 1 : number(0, b - 1), b);
        }
        if (ring) {
            join(count - 1, 0);
        }
        const uint32_t chords = number(ring ? 0 : 1, 1 + count / 2);
        for (uint32_t i = 0; i < chords; i++) {
            const uint32_t a = anyBridge();
            const uint32_t b = anyBridge();
            if (a != b) {
                join(a, b);
            }
        }
        // Two links between the same two bridges.
        if (chance(0.3)) {
            const DraftLink& twin = m_draft.links[anyLink()];
            join(twin.bridges[0], twin.bridges[1]);
        }
    }

    // Information reaches so many bridges and no further: some chains end just there.
    void drawChain() {
        const auto count = static_cast<uint32_t>(m_draft.bridges.size());
        for (uint32_t b = 1; b < count; b++) {
            join(b - 1, b);
        }
        if (chance(0.5)) {
            join(0, number(count / 2, count - 1));
        }
        // Just enough when the chain is whole, from either end.
        m_draft.maxHops = std::max(6U, std::min(40U, count + number(0, 3)));
        m_draft.maxAge = std::max(6U, std::min(28U, count + number(0, 3)));
        if (chance(0.3)) {
            m_draft.maxHops = 6 + count / 2;
            m_draft.maxAge = 6 + count / 2;
        }
    }

    void drawHubs() {
        if (!isKind(DraftKind::Hubs)) {
            return;
        }
        for (uint32_t i = number(1, 2); i > 0; i--) {
            DraftLink hub;
            for (uint32_t e = number(3, 4); e > 0; e--) {
                hub.bridges.push_back(anyBridge());
            }
            hub.speed = 100;
            m_draft.links.push_back(hub);
        }
    }

    void drawPorts() {
        for (uint32_t l = 0; l < m_draft.links.size(); l++) {
            for (uint32_t e = 0; e < m_draft.links[l].bridges.size(); e++) {
                for (uint32_t i = 0; i <= m_draft.instances; i++) {
                    if (chance(0.05)) {
                        m_draft.ports.push_back(
                            {l, e, i, number(0, 15), chance(0.5) ? number(1, 50'000) : 0});
                    }
                }
            }
        }
    }

    void drawHosts() {
        const uint32_t count = number(2, 3);
        for (uint32_t h = 0; h < count; h++) {
            m_draft.hosts.push_back({anyBridge(), chance(0.8), false});
        }
    }

    void drawProtections() {
        if (!isKind(DraftKind::Protections)) {
            return;
        }
        for (DraftBridge& bridge : m_draft.bridges) {
            bridge.bpduGuard = chance(0.3);
            bridge.loopProtection = chance(0.3);
            if (chance(0.2)) {
                bridge.rootProtections[number(0, m_draft.instances)] = true;
            }
        }
        for (DraftHost& host : m_draft.hosts) {
            host.filter = chance(0.3);
        }
    }

    // ---- troubles

    DraftTrouble cut() {
        DraftTrouble trouble;
        trouble.what = Trouble::Cut;
        trouble.link = anyLink();
        trouble.length = chance(0.7) ? number(1, 20) * SECOND : 0;
        return trouble;
    }

    DraftTrouble flaps() {
        DraftTrouble trouble;
        trouble.what = Trouble::Flaps;
        trouble.link = anyLink();
        trouble.value = number(2, 12);
        trouble.length = number(1, 40) * trouble.value * 50 * MILLISECOND;
        return trouble;
    }

    DraftTrouble onLink(Trouble what, uint32_t least, uint32_t most) {
        DraftTrouble trouble;
        trouble.what = what;
        trouble.link = anyLink();
        trouble.end =
            number(0, static_cast<uint32_t>(m_draft.links[trouble.link].bridges.size()) - 1);
        trouble.length = number(2, 25) * SECOND;
        trouble.value = number(least, most);
        return trouble;
    }

    DraftTrouble onBridge(Trouble what) {
        DraftTrouble trouble;
        trouble.what = what;
        trouble.bridge = anyBridge();
        trouble.length = what == Trouble::Restart ? 0 : number(1, 25) * SECOND;
        return trouble;
    }

    DraftTrouble setting() {
        DraftTrouble trouble;
        trouble.bridge = anyBridge();
        const bool runsMstis = m_draft.bridges[trouble.bridge].version == 3;
        trouble.instance = runsMstis ? number(0, m_draft.instances) : 0;
        if (chance(0.6)) {
            trouble.what = Trouble::Priority;
            trouble.value = number(0, 15);
            return trouble;
        }
        trouble.what = Trouble::Cost;
        trouble.link = anyLink();
        trouble.end =
            number(0, static_cast<uint32_t>(m_draft.links[trouble.link].bridges.size()) - 1);
        const uint32_t owner = m_draft.links[trouble.link].bridges[trouble.end];
        trouble.instance = m_draft.bridges[owner].version == 3 ? trouble.instance : 0;
        trouble.value = number(1, 50'000);
        return trouble;
    }

    DraftTrouble other(Trouble what, uint32_t least, uint32_t most) {
        DraftTrouble trouble = onBridge(what);
        trouble.value = number(least, most);
        return trouble;
    }

    DraftTrouble trouble() {
        if (isKind(DraftKind::Versions) && chance(0.4)) {
            return other(Trouble::Version, 1, 3);
        }
        if (isKind(DraftKind::Regions) && chance(0.3)) {
            return other(Trouble::Region, 0, 3);
        }
        if (isKind(DraftKind::BadLinks) && chance(0.7)) {
            const uint32_t what = number(0, 2);
            return what == 0   ? onLink(Trouble::Lose, 1, 60)
                   : what == 1 ? onLink(Trouble::Double, 1, 60)
                               : onLink(Trouble::Late, 100, 50'000);
        }
        if (isKind(DraftKind::Mute) && chance(0.7)) {
            return onLink(Trouble::Mute, 0, 0);
        }
        if (isKind(DraftKind::Crashes) && chance(0.8)) {
            const uint32_t what = number(0, 2);
            return onBridge(what == 0   ? Trouble::Hang
                            : what == 1 ? Trouble::Crash
                                        : Trouble::Restart);
        }
        if (isKind(DraftKind::Storm) && chance(0.6)) {
            return flaps();
        }
        return chance(0.15) ? onBridge(Trouble::Restart) : chance(0.4) ? setting() : cut();
    }

    // A daemon that is gone cannot be told anything, nor can one that has just been. One that has
    // been told another version has lost its MSTIs.
    static bool isDeaf(const DraftTrouble& why, Microseconds time, uint32_t instance) {
        const bool gone =
            why.what == Trouble::Crash || why.what == Trouble::Restart || why.what == Trouble::Hang;
        const bool lost = why.what == Trouble::Version && instance != 0;
        return time >= why.at && (lost || (gone && time < why.at + why.length + SECOND));
    }
    uint32_t toldBridge(const DraftTrouble& trouble) const {
        return trouble.what == Trouble::Cost ? m_draft.links[trouble.link].bridges[trouble.end]
                                             : trouble.bridge;
    }
    bool misses(const DraftTrouble& told, const DraftTrouble& gone) const {
        const bool again = told.what == Trouble::Version || told.what == Trouble::Region;
        return told.what >= Trouble::Hang && toldBridge(told) == toldBridge(gone) &&
               (isDeaf(gone, told.at, told.instance) ||
                (again && isDeaf(gone, told.at + told.length, 0)));
    }
    bool reachesDaemon(const DraftTrouble& trouble) const {
        return std::none_of(m_draft.troubles.begin(), m_draft.troubles.end(),
                            [&](const DraftTrouble& other) {
                                return misses(trouble, other) || misses(other, trouble);
                            });
    }

    // What is done to a link again before the first is over would end with the first.
    bool isFree(const DraftTrouble& trouble) const {
        const auto onLinks = [](Trouble what) { return what <= Trouble::Late; };
        return !onLinks(trouble.what) ||
               std::none_of(m_draft.troubles.begin(), m_draft.troubles.end(),
                            [&](const DraftTrouble& other) {
                                return onLinks(other.what) && other.link == trouble.link &&
                                       (other.length == 0 || other.at + other.length >= trouble.at);
                            });
    }

    void drawTroubles() {
        const bool slow = std::any_of(m_draft.bridges.begin(), m_draft.bridges.end(),
                                      [](const DraftBridge& b) { return b.version == 1; }) ||
                          isKind(DraftKind::Versions) || isKind(DraftKind::Hubs) ||
                          isKind(DraftKind::Deep);
        const bool calm = isKind(DraftKind::Plain) || isKind(DraftKind::Deep);
        Microseconds at = slow ? SLOW_START : START;
        for (uint32_t i = number(1, calm ? 4 : 8); i > 0; i--) {
            DraftTrouble next = trouble();
            next.at = at;
            const bool happens = reachesDaemon(next) && isFree(next);
            if (happens) {
                m_draft.troubles.push_back(next);
            }
            at += calm ? next.length + PAUSE : number(1, 8000) * MILLISECOND;
            if (isKind(DraftKind::Plain) && happens) {
                at = std::max(at, next.at + settlesWithin(m_draft, next) + SECOND);
            }
        }
        // Old information may go round between hubs until it is too old.
        m_draft.quiet = isKind(DraftKind::Hubs)         ? 150 * SECOND
                        : slow || !homogeneous(m_draft) ? 75 * SECOND
                                                        : 50 * SECOND;
    }

    sim::Random m_random;
    uint32_t m_mostBridges;
    bool m_large;
    Draft m_draft;
};

} // namespace

const char* kindName(DraftKind kind) {
    static constexpr const char* NAMES[DRAFT_KINDS] = {
        "plain",  "storms",          "bad links",      "one-way links", "hangs and crashes",
        "shared", "several regions", "mixed versions", "protections",   "deep chains"};
    return NAMES[static_cast<size_t>(kind)];
}

Draft draftScenario(uint64_t seed, uint64_t number, uint32_t mostBridges, bool large) {
    return Drawer(seed, number, std::max(mostBridges, 2U), large).draw();
}

Microseconds endOfTroubles(const Draft& draft) {
    Microseconds end = START;
    for (const DraftTrouble& trouble : draft.troubles) {
        end = std::max(end, trouble.at + trouble.length);
    }
    return end;
}

bool homogeneous(const Draft& draft) {
    return std::all_of(draft.bridges.begin(), draft.bridges.end(), [&](const DraftBridge& bridge) {
        return bridge.version != 1 && bridge.version == draft.bridges[0].version &&
               bridge.region == draft.bridges[0].region;
    });
}

bool connectedAtEnd(const Draft& draft) {
    std::vector<uint32_t> part(draft.bridges.size());
    std::iota(part.begin(), part.end(), 0U);
    for (uint32_t l = 0; l < draft.links.size(); l++) {
        const bool gone =
            std::any_of(draft.troubles.begin(), draft.troubles.end(), [&](const DraftTrouble& t) {
                return t.what == Trouble::Cut && t.length == 0 && t.link == l;
            });
        for (const uint32_t bridge : draft.links[l].bridges) {
            const uint32_t from = part[bridge];
            const uint32_t to = part[draft.links[l].bridges[0]];
            if (!gone) {
                std::replace(part.begin(), part.end(), from, to);
            }
        }
    }
    return std::all_of(part.begin(), part.end(), [&](uint32_t p) { return p == part[0]; });
}

} // namespace simtool
