#pragma once

/// Watches how often ports send BPDUs: TxHoldCount at once, then one a second (13.22, 13.31 of
/// IEEE 802.1Q-2005).

#include <map>
#include <string>
#include <vector>

#include "lab.h"

namespace simtool {

class SendingRate : public sim::Observer {
  public:
    explicit SendingRate(Lab& lab);
    ~SendingRate() override;
    SendingRate(const SendingRate&) = delete;
    SendingRate& operator=(const SendingRate&) = delete;

    /// The first burst of each port that was too fast.
    const std::vector<Failure>& failures() const { return m_failures; }

    void frameSent(const sim::FrameEvent& event) override;
    // A port that comes up and a daemon that starts begin to count anew.
    void linkChanged(uint64_t time, uint32_t link, bool up) override;
    void endChanged(uint64_t time, uint32_t link, uint32_t end, bool up) override;
    void nodeChanged(uint64_t time, uint32_t node, sim::NodeChange change) override;

  private:
    struct Bucket {
        uint64_t level = 0; ///< millionths of a BPDU
        Microseconds at = 0;
        bool told = false;
    };

    Lab& m_lab;
    std::vector<std::vector<Microseconds>> m_newStarts; ///< by bridge
    std::vector<uint32_t> m_most;                       ///< by bridge
    std::map<std::pair<uint32_t, uint32_t>, Bucket> m_buckets;
    std::vector<Failure> m_failures;
};

} // namespace simtool
