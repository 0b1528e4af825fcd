#pragma once

/// The input of fuzz_input: a row of steps, each led by one byte.
///
/// | first byte | step                                                                           |
/// |------------|--------------------------------------------------------------------------------|
/// | 00 to 7F   | wait (bits 1 to 3), then a frame on port 1 or 2 (bit 0): 2 bytes length, bytes  |
/// | 80 to BF   | a setting (bits 0 to 2): attribute, target, value, a byte each                  |
/// | C0 to FF   | wait (bits 0 to 2)                                                              |

#include <cstddef>
#include <cstdint>
#include <vector>

namespace steps {

inline constexpr uint8_t FIRST_SETTING = 0x80;
inline constexpr uint8_t FIRST_WAIT = 0xC0;

/// Ticks by number of the wait.
inline constexpr uint32_t WAITS[8] = {0, 1, 10, 100, 200, 350, 700, 2100};

/// Kinds of settings: the management interface's four, and the interface's link.
enum : uint8_t { GENERAL = 0, PORT = 1, XST = 2, XST_PORT = 3, LINK = 4 };

/// Digest of the region that fuzz_input's bridge is in: VLAN 10 in instance 1, VLAN 20 in 2.
inline constexpr uint8_t DIGEST[16] = {0x93, 0x57, 0xEB, 0xB7, 0xA8, 0xD7, 0x4D, 0xD5,
                                       0xFE, 0xF4, 0xF2, 0xBA, 0xB5, 0x05, 0x31, 0xAA};

/// Builds an input.
class Writer {
  public:
    Writer& frame(uint32_t unit, uint32_t wait, const std::vector<uint8_t>& bytes) {
        m_bytes.push_back(static_cast<uint8_t>(wait << 1 | (unit - 1)));
        m_bytes.push_back(static_cast<uint8_t>(bytes.size() >> 8));
        m_bytes.push_back(static_cast<uint8_t>(bytes.size()));
        m_bytes.insert(m_bytes.end(), bytes.begin(), bytes.end());
        return *this;
    }

    Writer& setting(uint8_t kind, uint32_t attribute, uint32_t target, uint32_t value) {
        for (const uint32_t byte : {uint32_t{FIRST_SETTING} | kind, attribute, target, value}) {
            m_bytes.push_back(static_cast<uint8_t>(byte));
        }
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

/// Reads an input; what is missing at its end reads as zero.
class Reader {
  public:
    Reader(const uint8_t* data, size_t size) : m_data(data), m_left(size) {}

    bool done() const { return m_left == 0; }

    uint8_t byte() {
        if (m_left == 0) {
            return 0;
        }
        m_left--;
        return *m_data++;
    }

    std::vector<uint8_t> bytes(size_t count) {
        const size_t taken = count < m_left ? count : m_left;
        std::vector<uint8_t> result(m_data, m_data + taken);
        m_data += taken;
        m_left -= taken;
        return result;
    }

  private:
    const uint8_t* m_data;
    size_t m_left;
};

} // namespace steps
