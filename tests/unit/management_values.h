#pragma once

/// Values of the management interface for tests.

#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

#include "mstp/bit_list.h"
#include "platform/octets.h"

/// Octets with a buffer of their own.
class Octets {
  public:
    explicit Octets(std::vector<uint8_t> bytes) : m_bytes(std::move(bytes)) { refresh(); }
    Octets(std::initializer_list<uint8_t> bytes) : m_bytes(bytes) { refresh(); }

    static Octets text(const std::string& text) {
        return Octets(std::vector<uint8_t>(text.begin(), text.end()));
    }

    /// Room for @p size bytes, filled with 0xEE.
    static Octets room(uint32_t size) { return Octets(std::vector<uint8_t>(size, 0xEE)); }

    /// A VLAN list that holds @p vlans, @p size bytes long.
    static Octets vlans(std::initializer_list<uint32_t> vlans,
                        uint32_t size = MSTP_VLAN_LIST_SIZE) {
        std::vector<uint8_t> list(size);
        for (const uint32_t vlan : vlans) {
            bitListSet(list.data(), vlan - 1);
        }
        return Octets(std::move(list));
    }

    Octets(const Octets& other) : m_bytes(other.m_bytes) { refresh(); }
    Octets& operator=(const Octets&) = delete;

    octetstring* value() { return &m_value; }
    uint32_t length() const { return m_value.len; }

    /// What the value holds now.
    std::vector<uint8_t> bytes() const { return {m_bytes.begin(), m_bytes.begin() + m_value.len}; }

    /// The whole buffer, whatever the length says.
    const std::vector<uint8_t>& buffer() const { return m_bytes; }

  private:
    void refresh() {
        m_value = {reinterpret_cast<int8_t*>(m_bytes.data()),
                   static_cast<uint32_t>(m_bytes.size())};
    }

    std::vector<uint8_t> m_bytes;
    octetstring m_value = {};
};

/// The bytes of an identifier or of any other record.
template <class T> std::vector<uint8_t> bytesOf(const T& record) {
    const auto* bytes = reinterpret_cast<const uint8_t*>(&record);
    return {bytes, bytes + sizeof record};
}

/// The name of a parametrised test: that of its row.
struct RowName {
    template <class Info> std::string operator()(const Info& info) const { return info.param.name; }
};
