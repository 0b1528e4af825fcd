#pragma once

/// The addresses that a switch has learnt, by VLAN: where frames for them go.

#include <cstdint>
#include <map>
#include <vector>

namespace sim {

class LearningTable {
  public:
    /// Notes that @p mac (48 bits) was seen in @p vlan at interface @p unit.
    void learn(uint32_t vlan, uint64_t mac, uint32_t unit, uint64_t now) {
        m_entries[key(vlan, mac)] = {unit, now};
    }

    /// @param oldest  entries last seen before are forgotten @return the unit, 0 = not known
    uint32_t find(uint32_t vlan, uint64_t mac, uint64_t oldest) {
        const auto found = m_entries.find(key(vlan, mac));
        if (found == m_entries.end()) {
            return 0;
        }
        if (found->second.seen < oldest) {
            m_entries.erase(found);
            return 0;
        }
        return found->second.unit;
    }

    /// Forgets what was learnt at @p unit in the VLANs of the list (bit n = VLAN n + 1).
    /// @return how many addresses
    uint32_t flush(uint32_t unit, const std::vector<uint8_t>& vlans) {
        uint32_t count = 0;
        for (auto entry = m_entries.begin(); entry != m_entries.end();) {
            const auto bit = static_cast<uint32_t>(entry->first >> 48) - 1;
            const bool listed =
                bit / 8 < vlans.size() && (vlans[bit / 8] & (0x80U >> (bit % 8))) != 0;
            if (listed && entry->second.unit == unit) {
                entry = m_entries.erase(entry);
                count++;
            } else {
                ++entry;
            }
        }
        return count;
    }

    /// Forgets all that was learnt at @p unit.
    void flush(uint32_t unit) {
        std::erase_if(m_entries, [&](const auto& entry) { return entry.second.unit == unit; });
    }

    size_t size() const { return m_entries.size(); }

  private:
    struct Entry {
        uint32_t unit = 0;
        uint64_t seen = 0;
    };
    static uint64_t key(uint32_t vlan, uint64_t mac) {
        return (static_cast<uint64_t>(vlan) << 48) | (mac & 0xFFFFFFFFFFFF);
    }

    std::map<uint64_t, Entry> m_entries;
};

} // namespace sim
