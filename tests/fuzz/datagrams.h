#pragma once

/// The input of fuzz_link: a row of datagrams and what happens between them.
///
/// | first byte | step                                                                           |
/// |------------|--------------------------------------------------------------------------------|
/// | 00 to 3F   | a datagram in the platform's numbering: 2 bytes length, bytes                  |
/// | 40 to 7F   | a stock kernel's datagram, translated with 64 bytes of room and bits 0 to 5 more
/// | | 80 to BF   | wait (bits 0 to 2, steps::WAITS) | | C0 to FF   | the ports are added anew
/// where they are missing                                |

#include <cstdint>
#include <vector>

namespace datagrams {

inline constexpr uint8_t FIRST_STOCK = 0x40;
inline constexpr uint8_t FIRST_WAIT = 0x80;
inline constexpr uint8_t FIRST_RESTORE = 0xC0;

/// Builds an input.
class Writer {
  public:
    Writer& translated(const std::vector<uint8_t>& bytes) { return datagram(0, bytes); }
    Writer& stock(uint32_t room, const std::vector<uint8_t>& bytes) {
        return datagram(FIRST_STOCK | room, bytes);
    }
    Writer& wait(uint32_t number) { return byte(FIRST_WAIT | number); }
    Writer& restore() { return byte(FIRST_RESTORE); }

    const std::vector<uint8_t>& bytes() const { return m_bytes; }

  private:
    Writer& byte(uint32_t value) {
        m_bytes.push_back(static_cast<uint8_t>(value));
        return *this;
    }

    Writer& datagram(uint32_t first, const std::vector<uint8_t>& bytes) {
        byte(first).byte(static_cast<uint32_t>(bytes.size() >> 8));
        byte(static_cast<uint32_t>(bytes.size()));
        m_bytes.insert(m_bytes.end(), bytes.begin(), bytes.end());
        return *this;
    }

    std::vector<uint8_t> m_bytes;
};

} // namespace datagrams
