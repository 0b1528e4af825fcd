#pragma once

/// Builds management requests and reads replies, byte by byte and without the daemon's own codec.

#include <cstdint>
#include <cstring>
#include <vector>

class Request {
  public:
    Request(uint32_t function, uint32_t attribute) {
        append({0x41, 0x44, 0x52, 0x31});
        number(0x01020304); // request number
        number(function);
        number(0); // return code
        number(attribute);
    }

    /// The index section; one item stands there also without an index.
    Request& index(std::initializer_list<uint32_t> indices) {
        append({1, static_cast<uint8_t>(indices.size())});
        for (const uint32_t each : indices) {
            indexItem(each);
        }
        if (indices.size() == 0) {
            indexItem(0xDEAD);
        }
        return *this;
    }

    Request& int32(uint32_t value) {
        valueHeader(2, 4);
        number(value);
        return *this;
    }

    Request& pair(uint32_t first, uint32_t second) {
        valueHeader(4, 8);
        number(first);
        number(second);
        return *this;
    }

    Request& octets(const std::vector<uint8_t>& bytes) {
        valueHeader(0, static_cast<uint16_t>(bytes.size()));
        m_bytes.insert(m_bytes.end(), bytes.begin(), bytes.end());
        return *this;
    }

    Request& valueHeader(uint8_t type, uint16_t length) {
        m_value = m_bytes.size();
        append({3, type, static_cast<uint8_t>(length >> 8), static_cast<uint8_t>(length)});
        return *this;
    }

    /// Room for a longer reply, filled with 0xEE.
    Request& room(size_t bytes) {
        m_bytes.insert(m_bytes.end(), bytes, 0xEE);
        return *this;
    }

    Request& append(std::initializer_list<uint8_t> bytes) {
        m_bytes.insert(m_bytes.end(), bytes);
        return *this;
    }

    std::vector<uint8_t>& bytes() { return m_bytes; }
    const std::vector<uint8_t>& bytes() const { return m_bytes; }
    size_t valueOffset() const { return m_value; }

    /// The request as a client sends it, its length in host byte order before it.
    std::vector<uint8_t> framed() const { return frame(static_cast<uint32_t>(m_bytes.size())); }

    /// The same with a length of its own.
    std::vector<uint8_t> frame(uint32_t length) const {
        std::vector<uint8_t> bytes(4);
        memcpy(bytes.data(), &length, 4);
        bytes.insert(bytes.end(), m_bytes.begin(), m_bytes.end());
        return bytes;
    }

    // Of a reply that was written over the request.
    uint32_t numberAt(size_t offset) const {
        return static_cast<uint32_t>(m_bytes[offset]) << 24 |
               static_cast<uint32_t>(m_bytes[offset + 1]) << 16 |
               static_cast<uint32_t>(m_bytes[offset + 2]) << 8 | m_bytes[offset + 3];
    }
    int32_t result() const { return static_cast<int32_t>(numberAt(12)); }
    uint32_t value() const { return numberAt(m_value + 4); }

  private:
    void number(uint32_t value) {
        append({static_cast<uint8_t>(value >> 24), static_cast<uint8_t>(value >> 16),
                static_cast<uint8_t>(value >> 8), static_cast<uint8_t>(value)});
    }

    void indexItem(uint32_t value) {
        append({2, 0, 4});
        number(value);
    }

    std::vector<uint8_t> m_bytes;
    size_t m_value = 0;
};
