// Making a failure small. A candidate is the draft with something left out; the first of them that
// still breaks the same rule takes its place, and all begins anew with what is left. Large parts
// are tried before small ones.

#include <algorithm>

#include "campaign.h"

namespace simtool {

namespace {

constexpr Microseconds SHORTEST = SECOND;

template <class T> void eraseAt(std::vector<T>& list, size_t index) {
    list.erase(list.begin() + static_cast<std::ptrdiff_t>(index));
}

void dropLink(Draft& draft, uint32_t link) {
    eraseAt(draft.links, link);
    const auto gone = [&](const auto& item) { return item.link == link; };
    draft.ports.erase(std::remove_if(draft.ports.begin(), draft.ports.end(), gone),
                      draft.ports.end());
    for (DraftPort& port : draft.ports) {
        port.link -= port.link > link ? 1 : 0;
    }
    const auto onLinks = [](const DraftTrouble& trouble) {
        return trouble.what <= Trouble::Late || trouble.what == Trouble::Cost;
    };
    draft.troubles.erase(
        std::remove_if(draft.troubles.begin(), draft.troubles.end(),
                       [&](const DraftTrouble& t) { return onLinks(t) && gone(t); }),
        draft.troubles.end());
    for (DraftTrouble& trouble : draft.troubles) {
        trouble.link -= onLinks(trouble) && trouble.link > link ? 1 : 0;
    }
}

void dropBridge(Draft& draft, uint32_t bridge) {
    for (uint32_t l = static_cast<uint32_t>(draft.links.size()); l-- > 0;) {
        const std::vector<uint32_t>& ends = draft.links[l].bridges;
        if (std::find(ends.begin(), ends.end(), bridge) != ends.end()) {
            dropLink(draft, l);
        }
    }
    const auto onBridges = [](const DraftTrouble& t) {
        return t.what >= Trouble::Hang && t.what != Trouble::Cost;
    };
    draft.troubles.erase(
        std::remove_if(draft.troubles.begin(), draft.troubles.end(),
                       [&](const DraftTrouble& t) { return onBridges(t) && t.bridge == bridge; }),
        draft.troubles.end());
    draft.hosts.erase(std::remove_if(draft.hosts.begin(), draft.hosts.end(),
                                     [&](const DraftHost& host) { return host.bridge == bridge; }),
                      draft.hosts.end());
    eraseAt(draft.bridges, bridge);
    const auto renumber = [&](uint32_t& number) { number -= number > bridge ? 1 : 0; };
    for (DraftLink& link : draft.links) {
        std::for_each(link.bridges.begin(), link.bridges.end(), renumber);
    }
    for (DraftHost& host : draft.hosts) {
        renumber(host.bridge);
    }
    for (DraftTrouble& trouble : draft.troubles) {
        renumber(trouble.bridge);
    }
}

void dropInstance(Draft& draft) {
    const uint32_t last = draft.instances--;
    const auto gone = [&](const auto& item) { return item.instance == last; };
    draft.ports.erase(std::remove_if(draft.ports.begin(), draft.ports.end(), gone),
                      draft.ports.end());
    draft.troubles.erase(std::remove_if(draft.troubles.begin(), draft.troubles.end(), gone),
                         draft.troubles.end());
    for (DraftBridge& bridge : draft.bridges) {
        bridge.priorities.erase(last);
        bridge.rootProtections.erase(last);
    }
}

class Candidates {
  public:
    explicit Candidates(const Draft& draft) : m_draft(draft) {
        leaveOutHalves();
        leaveOutParts();
        simplifyBridges();
        simplifyRest();
    }
    std::vector<Draft>& list() { return m_list; }

  private:
    template <class Change> void add(Change change) {
        Draft draft = m_draft;
        change(draft);
        m_list.push_back(std::move(draft));
    }

    void leaveOutHalves() {
        if (const size_t count = m_draft.troubles.size(); count > 2) {
            const auto half = static_cast<std::ptrdiff_t>(count / 2);
            add([&](Draft& d) { d.troubles.erase(d.troubles.begin(), d.troubles.begin() + half); });
            add([&](Draft& d) { d.troubles.erase(d.troubles.begin() + half, d.troubles.end()); });
        }
        if (const auto count = static_cast<uint32_t>(m_draft.bridges.size()); count > 4) {
            for (uint32_t quarter = 0; quarter < 4; quarter++) {
                add([&](Draft& d) {
                    for (uint32_t b = (quarter + 1) * count / 4; b-- > quarter * count / 4;) {
                        dropBridge(d, b);
                    }
                });
            }
        }
    }

    void leaveOutParts() {
        for (size_t i = 0; i < m_draft.troubles.size(); i++) {
            add([&](Draft& d) { eraseAt(d.troubles, i); });
        }
        for (uint32_t b = static_cast<uint32_t>(m_draft.bridges.size());
             m_draft.bridges.size() > 1 && b-- > 0;) {
            add([&](Draft& d) { dropBridge(d, b); });
        }
        for (uint32_t l = static_cast<uint32_t>(m_draft.links.size()); l-- > 0;) {
            add([&](Draft& d) { dropLink(d, l); });
        }
        if (m_draft.instances > 0) {
            add([](Draft& d) { dropInstance(d); });
        }
        if (!m_draft.hosts.empty()) {
            add([](Draft& d) { d.hosts.clear(); });
        }
        for (size_t h = 0; h < m_draft.hosts.size(); h++) {
            add([&](Draft& d) { eraseAt(d.hosts, h); });
        }
        if (!m_draft.ports.empty()) {
            add([](Draft& d) { d.ports.clear(); });
        }
        for (size_t p = 0; p < m_draft.ports.size(); p++) {
            add([&](Draft& d) { eraseAt(d.ports, p); });
        }
    }

    void simplifyBridges() {
        for (size_t b = 0; b < m_draft.bridges.size(); b++) {
            const DraftBridge& bridge = m_draft.bridges[b];
            if (bridge.version != 3) {
                add([&](Draft& d) { d.bridges[b].version = 3; });
            }
            if (bridge.region != 0) {
                add([&](Draft& d) { d.bridges[b].region = 0; });
            }
            if (bridge.bpduGuard) {
                add([&](Draft& d) { d.bridges[b].bpduGuard = false; });
            }
            if (bridge.loopProtection) {
                add([&](Draft& d) { d.bridges[b].loopProtection = false; });
            }
            if (!bridge.rootProtections.empty()) {
                add([&](Draft& d) { d.bridges[b].rootProtections.clear(); });
            }
            for (const auto& [instance, priority] : bridge.priorities) {
                add([&, i = instance](Draft& d) { d.bridges[b].priorities.erase(i); });
            }
        }
    }

    void simplifyRest() {
        for (size_t l = 0; l < m_draft.links.size(); l++) {
            if (m_draft.links[l].speed != 1000 || m_draft.links[l].delay != 100) {
                add([&](Draft& d) { d.links[l] = {d.links[l].bridges, 1000, 100}; });
            }
            if (m_draft.links[l].bridges.size() > 3) {
                add([&](Draft& d) {
                    d.links[l].bridges.pop_back();
                    const auto gone = [&](const DraftPort& port) {
                        return port.link == l && port.end == d.links[l].bridges.size();
                    };
                    d.ports.erase(std::remove_if(d.ports.begin(), d.ports.end(), gone),
                                  d.ports.end());
                    for (DraftTrouble& trouble : d.troubles) {
                        trouble.end = trouble.link == l ? 0 : trouble.end;
                    }
                });
            }
        }
        for (size_t h = 0; h < m_draft.hosts.size(); h++) {
            if (!m_draft.hosts[h].edge || m_draft.hosts[h].filter) {
                add([&](Draft& d) { d.hosts[h] = {d.hosts[h].bridge, true, false}; });
            }
        }
        for (size_t t = 0; t < m_draft.troubles.size(); t++) {
            const DraftTrouble& trouble = m_draft.troubles[t];
            if (trouble.length > 2 * SHORTEST && trouble.what != Trouble::Flaps) {
                add([&](Draft& d) {
                    d.troubles[t].length = (trouble.length / 2 / SHORTEST) * SHORTEST;
                });
            }
            if (trouble.what == Trouble::Flaps && trouble.value > 1) {
                add([&](Draft& d) {
                    d.troubles[t].length = trouble.length / trouble.value * (trouble.value / 2);
                    d.troubles[t].value = trouble.value / 2;
                });
            }
        }
    }

    const Draft& m_draft;
    std::vector<Draft> m_list;
};

} // namespace

// Candidates run side by side, and yet the first of the list that serves is taken: so the result
// does not depend on the number of jobs.
Draft shrink(const Draft& draft, const std::string& rule, Judges& judges, uint32_t runs) {
    Draft best = draft;
    bool smaller = true;
    while (smaller && runs > 0) {
        smaller = false;
        std::vector<Draft> list = Candidates(best).list();
        list.resize(std::min<size_t>(list.size(), runs));
        size_t chosen = list.size();
        judges.run(
            [&](uint64_t number) {
                return number < chosen ? draftText(list[number]) : std::string();
            },
            [&](uint64_t number, const Outcome& outcome) {
                if (outcome.verdict == Verdict::Failed && outcome.rule == rule) {
                    chosen = std::min<size_t>(chosen, number);
                }
            });
        runs -= static_cast<uint32_t>(std::min<size_t>(chosen + 1, runs));
        if (chosen < list.size()) {
            best = std::move(list[chosen]);
            smaller = true;
        }
    }
    return best;
}

} // namespace simtool
