// How long the trees of a draft may need to settle after a trouble. As a rule handshakes settle
// them at once. But where bridges come to lie farther from a root, or lose it, and are joined in a
// ring, what they said of it before goes round there: until it is worse than the truth, or its hops
// or its age have run out.

#include <algorithm>
#include <numeric>
#include <optional>

#include "draft.h"

namespace simtool {

namespace {

constexpr Microseconds HANDSHAKES = 5 * SECOND;
// A daemon that starts has its ports take part after so long.
constexpr Microseconds STARTING = 2500 * MILLISECOND;
// A port waits for its hold count before it passes on the next hop of what goes round.
constexpr Microseconds HOP = SECOND;
// What nobody repeats any more ages for three hello times; then come two forward delays.
constexpr Microseconds LAST_AGEING = 10 * SECOND;
constexpr uint64_t REFERENCE = 20'000'000; ///< cost of a link of 1 Mb/s

// A network of bridges that are alike, at a time, as one instance sees it.
class Topology {
  public:
    /// @param without  a bridge that does not run
    Topology(const Draft& draft, uint32_t instance, Microseconds at,
             std::optional<uint32_t> without)
        : m_draft(draft), m_instance(instance), m_at(at), m_without(without),
          m_ways(draft.bridges.size()) {
        for (uint32_t b = 0; b < m_ways.size(); b++) {
            m_ways[b] = {{priority(b), b}, 0};
        }
        bool better = true;
        while (better) {
            better = false;
            for (uint32_t l = 0; l < draft.links.size(); l++) {
                better = (joins(l) && spread(l)) || better;
            }
        }
    }

    struct Way {
        std::pair<uint32_t, uint32_t> root; ///< priority, and bridge for the address
        uint64_t cost = 0;
        bool operator<(const Way& other) const {
            return std::tie(root, cost) < std::tie(other.root, other.cost);
        }
    };
    const Way& way(uint32_t bridge) const { return m_ways[bridge]; }

    bool joins(uint32_t link) const {
        const std::vector<uint32_t>& ends = m_draft.links[link].bridges;
        const bool runs = std::none_of(ends.begin(), ends.end(),
                                       [&](uint32_t bridge) { return m_without == bridge; });
        return runs && std::none_of(m_draft.troubles.begin(), m_draft.troubles.end(),
                                    [&](const DraftTrouble& t) {
                                        return t.what == Trouble::Cut && t.link == link &&
                                               t.at <= m_at &&
                                               (t.length == 0 || m_at < t.at + t.length);
                                    });
    }

    uint64_t cost(uint32_t link, uint32_t end) const {
        const uint64_t bySpeed = REFERENCE / std::max(m_draft.links[link].speed, 1U);
        uint64_t cost = std::max<uint64_t>(bySpeed, 1);
        for (const DraftPort& port : m_draft.ports) {
            if (isHere(port, link, end) && port.cost != 0) {
                cost = port.cost;
            }
        }
        for (const DraftTrouble& trouble : m_draft.troubles) {
            if (trouble.what == Trouble::Cost && isHere(trouble, link, end) && trouble.at <= m_at) {
                cost = trouble.value;
            }
        }
        return cost;
    }

  private:
    template <class Setting> bool isHere(const Setting& setting, uint32_t l, uint32_t end) const {
        return setting.link == l && setting.end == end && setting.instance == m_instance;
    }

    uint32_t priority(uint32_t bridge) const {
        const auto& drawn = m_draft.bridges[bridge].priorities;
        const auto found = drawn.find(m_instance);
        uint32_t priority = found != drawn.end() ? found->second : USUAL_PRIORITY;
        for (const DraftTrouble& trouble : m_draft.troubles) {
            if (trouble.what == Trouble::Priority && trouble.bridge == bridge &&
                trouble.instance == m_instance && trouble.at <= m_at) {
                priority = trouble.value;
            }
        }
        return priority;
    }

    bool spread(uint32_t link) {
        const std::vector<uint32_t>& ends = m_draft.links[link].bridges;
        bool better = false;
        for (uint32_t from = 0; from < ends.size(); from++) {
            for (uint32_t to = 0; to < ends.size(); to++) {
                Way way = m_ways[ends[from]];
                way.cost += cost(link, to);
                if (way < m_ways[ends[to]]) {
                    m_ways[ends[to]] = way;
                    better = true;
                }
            }
        }
        return better;
    }

    const Draft& m_draft;
    uint32_t m_instance;
    Microseconds m_at;
    std::optional<uint32_t> m_without;
    std::vector<Way> m_ways;
};

// The hops that old information may go before it is worse than the truth; 0 where it cannot go
// round.
uint64_t hopsOfOldNews(const Draft& draft, const Topology& before, const Topology& after) {
    std::vector<uint32_t> part(draft.bridges.size());
    std::iota(part.begin(), part.end(), 0U);
    const auto fell = [&](uint32_t b) { return before.way(b) < after.way(b); };
    bool ring = false;
    uint64_t step = UINT64_MAX;
    for (uint32_t l = 0; l < draft.links.size(); l++) {
        const std::vector<uint32_t>& ends = draft.links[l].bridges;
        if (!after.joins(l) || !std::all_of(ends.begin(), ends.end(), fell)) {
            continue;
        }
        ring = ring || part[ends[0]] == part[ends[1]];
        const uint32_t from = part[ends[0]];
        std::replace(part.begin(), part.end(), from, part[ends[1]]);
        step = std::min({step, after.cost(l, 0), after.cost(l, 1)});
    }
    if (!ring) {
        return 0;
    }
    uint64_t least = UINT64_MAX;
    uint64_t most = 0;
    for (uint32_t b = 0; b < part.size(); b++) {
        if (fell(b) && before.way(b).root != after.way(b).root) {
            return UINT64_MAX;
        }
        least = fell(b) ? std::min(least, before.way(b).cost) : least;
        most = fell(b) ? std::max(most, after.way(b).cost) : most;
    }
    return (most - least) / step + 1;
}

} // namespace

Microseconds settlesWithin(const Draft& draft, const DraftTrouble& trouble) {
    const bool restart = trouble.what == Trouble::Restart;
    const auto gone = restart ? std::optional(trouble.bridge) : std::nullopt;
    const uint64_t most = std::max(draft.maxHops, draft.maxAge);
    uint64_t hops = 0;
    for (uint32_t instance = 0; instance <= draft.instances; instance++) {
        const Topology before(draft, instance, trouble.at - 1, std::nullopt);
        const Topology after(draft, instance, trouble.at, gone);
        hops = std::max(hops, hopsOfOldNews(draft, before, after));
    }
    const Microseconds old = hops != 0 ? std::min(hops, most) * HOP + LAST_AGEING : HANDSHAKES;
    return old + (restart ? STARTING : 0);
}

} // namespace simtool
