#pragma once

/// BPDUs as bytes, from the first byte after the LLC header, for tests and fuzzing corpora. They
/// come from neighbour 02:00:00:00:00:03 on its port 8.123; every field has a value of its own. The
/// MST forms belong to region "sw1", revision 0, with no VLAN mapped.

#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <string>
#include <vector>

namespace testbpdu {

using Bytes = std::vector<uint8_t>;

inline void put(Bytes& bytes, size_t offset, std::initializer_list<int> values) {
    for (const int value : values) {
        bytes.at(offset++) = static_cast<uint8_t>(value);
    }
}

inline void put16(Bytes& bytes, size_t offset, uint32_t value) {
    put(bytes, offset, {static_cast<int>(value >> 8 & 0xFF), static_cast<int>(value & 0xFF)});
}

inline Bytes slice(const Bytes& bytes, size_t offset, size_t size) {
    const auto first = bytes.begin() + static_cast<ptrdiff_t>(offset);
    return Bytes(first, first + static_cast<ptrdiff_t>(size));
}

/// @p record's bytes.
template <class Record> Bytes bytesOf(const Record& record) {
    Bytes bytes(sizeof record);
    memcpy(bytes.data(), &record, sizeof record);
    return bytes;
}

inline Bytes tcn() {
    return {0, 0, 0, 0x80};
}

/// The 35 bytes that all but the notification begin with. The times have fractions.
inline Bytes common(uint8_t version, uint8_t type, uint8_t flags) {
    Bytes bytes(35);
    put(bytes, 2, {version, type, flags});
    put(bytes, 5, {0x20, 0x00, 0x02, 0, 0, 0, 0, 0x01});  // root
    put(bytes, 13, {0x00, 0x03, 0x0D, 0x40});             // external cost 200000
    put(bytes, 17, {0x30, 0x00, 0x02, 0, 0, 0, 0, 0x03}); // designated bridge
    put(bytes, 25, {0x81, 0x23});
    put(bytes, 27, {1, 0x80, 20, 0x40, 2, 0x20, 15, 0x10}); // age, max age, hello, delay
    return bytes;
}

inline Bytes config() {
    return common(0, 0x00, 0x81);
}

inline Bytes rst() {
    Bytes bytes = common(2, 0x02, 0x7C);
    bytes.push_back(0);
    return bytes;
}

/// Digest of a region in which no VLAN is mapped to an MSTI.
inline Bytes digest() {
    return {0xAC, 0x36, 0x17, 0x7F, 0x50, 0x28, 0x3C, 0xD4,
            0xB8, 0x38, 0x21, 0xD8, 0xAB, 0x26, 0xDE, 0x62};
}

inline void putRegion(Bytes& bytes) {
    const std::string name = "sw1";
    const Bytes hash = digest();
    memcpy(&bytes[39], name.data(), name.size());
    memcpy(&bytes[73], hash.data(), hash.size());
}

/// An MST BPDU with messages for instances 1 to @p mstis.
inline Bytes mst(uint32_t mstis) {
    Bytes bytes = common(3, 0x02, 0x7C);
    bytes.resize(102 + 16 * mstis);
    put(bytes, 17, {0x50, 0x00, 0x02, 0, 0, 0, 0, 0x02}); // regional root
    put16(bytes, 36, 64 + 16 * mstis);
    putRegion(bytes);
    put(bytes, 89, {0x00, 0x00, 0x4E, 0x20});             // internal cost 20000
    put(bytes, 93, {0x30, 0x00, 0x02, 0, 0, 0, 0, 0x03}); // sender
    bytes[101] = 19;
    for (uint32_t i = 0; i < mstis; i++) {
        const int id = static_cast<int>(i) + 1;
        const size_t at = 102 + 16 * i;
        put(bytes, at, {0x7E});
        put(bytes, at + 1, {0x40, id, 0x02, 0, 0, 0, 0x10, id});
        put(bytes, at + 9, {0x00, 0x01, id, 0x07});
        put(bytes, at + 13, {0x60, 0x70, 18});
    }
    return bytes;
}

/// The pre-standard form of mst(): what a neighbour would send in its place.
inline Bytes legacyMst(uint32_t mstis) {
    Bytes bytes = common(3, 0x02, 0x7C);
    bytes.resize(103 + 26 * mstis);
    put16(bytes, 37, 64 + 26 * mstis);
    putRegion(bytes);
    put(bytes, 89, {0x50, 0x00, 0x02, 0, 0, 0, 0, 0x02});
    put(bytes, 97, {0x00, 0x00, 0x4E, 0x20});
    bytes[101] = 19;
    for (uint32_t i = 0; i < mstis; i++) {
        const int id = static_cast<int>(i) + 1;
        const size_t at = 103 + 26 * i;
        put(bytes, at, {id, 0x7E});
        put(bytes, at + 2, {0x40, id, 0x02, 0, 0, 0, 0x10, id});
        put(bytes, at + 10, {0x00, 0x01, id, 0x07});
        put(bytes, at + 14, {0x60, id, 0x02, 0, 0, 0, 0, 0x03});
        put(bytes, at + 22, {0x71, 0x23, 18});
    }
    return bytes;
}

} // namespace testbpdu
