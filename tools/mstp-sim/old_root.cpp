#include "old_root.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <numeric>

#include "mstp/context.h"

namespace simtool {

namespace {

using Identifier = std::array<uint8_t, sizeof(tMstpBridgeId)>;

Identifier identifierOf(const tMstpBridgeId& id) {
    Identifier bytes;
    std::memcpy(bytes.data(), &id, bytes.size());
    return bytes;
}

// Bridges that are joined by links that work have the same number.
std::vector<uint32_t> partsOf(Lab& lab) {
    std::vector<uint32_t> part(lab.scenario().bridges.size());
    std::iota(part.begin(), part.end(), 0U);
    for (uint32_t l = 0; l < lab.scenario().links.size(); l++) {
        const sim::Link& link = lab.network().link(l);
        std::optional<uint32_t> first;
        for (const sim::Link::End& end : link.ends) {
            if (!link.up || !end.up || sim::isHost(end.at) || !lab.running(end.at.node)) {
                continue;
            }
            first = first.value_or(part[end.at.node]);
            std::replace(part.begin(), part.end(), uint32_t(part[end.at.node]), *first);
        }
    }
    return part;
}

template <class Work> void forEachInstance(Lab& lab, Work work) {
    for (uint32_t b = 0; b < lab.scenario().bridges.size(); b++) {
        const tMstp& context = lab.network().node(b).context;
        for (uint32_t i = 0; lab.running(b) && context.xsts != nullptr && i < context.xstLimit;
             i++) {
            if (context.xsts[i].rowStatus != 0) {
                work(b, context.xsts[i]);
            }
        }
    }
}

} // namespace

void OldRoot::look() {
    const std::vector<uint32_t> part = partsOf(m_lab);
    std::set<std::tuple<uint32_t, uint32_t, Identifier>> there; // by part and instance
    forEachInstance(m_lab, [&](uint32_t bridge, const tMstpXst& xst) {
        there.insert({part[bridge], xst.xstId, identifierOf(xst.bridgeId)});
    });
    bool gone = false;
    forEachInstance(m_lab, [&](uint32_t bridge, const tMstpXst& xst) {
        const tMstpBridgeId& root =
            xst.cist != 0 ? xst.rootPriority.rootId : xst.rootPriority.rRootId;
        gone = gone || there.count({part[bridge], xst.xstId, identifierOf(root)}) == 0;
    });
    if (gone) {
        m_seen.insert(m_lab.network().time());
    }
    m_lab.network().at(m_lab.network().time() + SECOND, [this] { look(); });
}

} // namespace simtool
