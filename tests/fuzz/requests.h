#pragma once

/// The input of fuzz_request: a row of requests and waits.
///
/// | first byte | step                                                      |
/// |------------|-----------------------------------------------------------|
/// | 00 to 7F   | a request: this byte and the next are its length, its bytes |
/// | 80 to FF   | wait (bits 0 to 2, steps::WAITS)                          |

#include <cstdint>
#include <vector>

namespace requests {

inline constexpr uint8_t FIRST_WAIT = 0x80;

/// Builds an input.
class Writer {
  public:
    Writer& request(const std::vector<uint8_t>& bytes) {
        m_bytes.push_back(static_cast<uint8_t>(bytes.size() >> 8));
        m_bytes.push_back(static_cast<uint8_t>(bytes.size()));
        m_bytes.insert(m_bytes.end(), bytes.begin(), bytes.end());
        return *this;
    }

    Writer& wait(uint32_t number) {
        m_bytes.push_back(static_cast<uint8_t>(FIRST_WAIT | number));
        return *this;
    }

    const std::vector<uint8_t>& bytes() const { return m_bytes; }

  private:
    std::vector<uint8_t> m_bytes;
};

} // namespace requests
