#pragma once

/// What happened in a run: the time line, and figures for each event.

#include <map>
#include <string>
#include <vector>

#include "observer.h"
#include "scenario.h"

namespace simtool {

enum class EntryKind : uint8_t { Event, Role, State, Flush, Node, Trace, Loop, Expected, Failed };

/// A line of the time line.
struct Entry {
    Microseconds time = 0;
    EntryKind kind = EntryKind::Event;
    uint32_t node = 0;
    uint32_t unit = 0;
    uint32_t instance = 0;
    uint32_t before = 0; ///< MSTP_PORT_ROLE_* or MSTP_PORT_STATE_*
    uint32_t after = 0;
    uint32_t count = 0; ///< of addresses flushed
    std::string text;
    Place place; ///< of what was expected
};

/// From one event to the next. What a test frame came to counts where it was sent.
struct Period {
    Microseconds at = 0;
    std::string text;
    bool changed = false;
    Microseconds lastChange = 0; ///< if changed
    uint64_t roles = 0;
    uint64_t states = 0;
    uint64_t bpdus = 0;
    uint64_t flushes = 0;
    uint64_t addresses = 0;
    uint64_t sent = 0; ///< test frames
    uint64_t delivered = 0;
    uint64_t lost = 0; ///< by receivers that should have got it
    uint64_t duplicated = 0;
    uint64_t looped = 0;

    Microseconds settled() const { return changed ? lastChange - at : 0; }
};

struct SeenFrame {
    Microseconds time = 0;
    uint32_t from = 0; ///< end
    std::vector<uint8_t> bytes;
};

class Recorder : public sim::Observer {
  public:
    /// @param keepTimeline  false: figures only
    Recorder(const sim::Network& network, bool keepTimeline)
        : m_network(network), m_keepTimeline(keepTimeline) {}

    /// An event begins: figures count for it from now on.
    void begin(Microseconds time, const std::string& text);
    void note(Entry entry);
    /// Keeps the BPDUs of a link from now on.
    void watchLink(uint32_t link) { m_frames[link]; }

    const std::vector<Entry>& timeline() const { return m_timeline; }
    const std::vector<Period>& periods() const { return m_periods; }
    const std::vector<SeenFrame>& frames(uint32_t link) const { return m_frames.at(link); }
    uint64_t count(Counter counter, Microseconds since) const;

    void frameSent(const sim::FrameEvent& event) override;
    void stateChanged(const sim::StateEvent& event) override;
    void roleChanged(const sim::RoleEvent& event) override;
    void flushed(const sim::FlushEvent& event) override;
    void nodeChanged(uint64_t time, uint32_t node, sim::NodeChange change) override;
    void traced(uint64_t time, uint32_t node, const std::string& line) override;
    void testFrameSent(const sim::TestFrame& frame) override;
    void testFrameLooped(const sim::TestFrame& frame, sim::LinkEnd at) override;
    void testFrameFinished(const sim::TestFrame& frame) override;

  private:
    void tally(Counter counter, Microseconds time, uint64_t amount);
    void changed(Microseconds time);
    Period& periodAt(Microseconds time);

    const sim::Network& m_network;
    bool m_keepTimeline;
    std::vector<Entry> m_timeline;
    std::vector<Period> m_periods;
    std::map<uint32_t, std::vector<SeenFrame>> m_frames;
    std::map<Counter, std::vector<std::pair<Microseconds, uint64_t>>> m_tallies;
};

/// MSTP_PORT_STATE_* of a hardware group's state.
uint32_t stateOfGroup(uint32_t groupState);

} // namespace simtool
