#pragma once

/// Bit lists in the order of SNMP port and VLAN lists: bit i is in byte i / 8 under the mask
/// 0x80 >> (i mod 8). In a VLAN list (512 bytes) bit i stands for VLAN ID i + 1.

#include <cstdint>

inline constexpr uint32_t MSTP_VLAN_LIST_SIZE = 512;
inline constexpr uint32_t MSTP_VLAN_ID_MAX = 4094;
inline constexpr uint8_t bitMask[8] = {0x80, 0x40, 0x20, 0x10, 0x08, 0x04, 0x02, 0x01};

/// True if bit @p bit of @p list is set. The caller keeps @p bit inside the list.
inline bool bitListTst(const uint8_t* list, uint32_t bit) {
    return (list[bit / 8] & bitMask[bit % 8]) != 0;
}

inline void bitListSet(uint8_t* list, uint32_t bit) {
    list[bit / 8] = static_cast<uint8_t>(list[bit / 8] | bitMask[bit % 8]);
}

inline void bitListClr(uint8_t* list, uint32_t bit) {
    list[bit / 8] = static_cast<uint8_t>(list[bit / 8] & ~bitMask[bit % 8]);
}

/// Merges @p length bytes of @p from into @p list.
inline void bitListOr(uint8_t* list, const uint8_t* from, uint32_t length) {
    for (uint32_t i = 0; i < length; i++) {
        list[i] = static_cast<uint8_t>(list[i] | from[i]);
    }
}

/// The highest bit set in @p length bytes of @p list, -1 if none is.
inline int32_t bitListMaxBit(const uint8_t* list, uint32_t length) {
    for (uint32_t bit = length * 8; bit > 0; bit--) {
        if (bitListTst(list, bit - 1)) {
            return static_cast<int32_t>(bit - 1);
        }
    }
    return -1;
}

/// How many bits are set in @p length bytes of @p list.
inline uint32_t bitListBitCount(const uint8_t* list, uint32_t length) {
    uint32_t count = 0;
    for (uint32_t bit = 0; bit < length * 8; bit++) {
        count += bitListTst(list, bit) ? 1 : 0;
    }
    return count;
}

/// Bytes of a @p length byte list up to and including the last that is not zero.
inline uint32_t bitListUsedBytes(const uint8_t* list, uint32_t length) {
    while (length > 0 && list[length - 1] == 0) {
        length--;
    }
    return length;
}
