#pragma once

#include <cstdint>

/// A reference to bytes that the caller owns: VLAN lists, identifiers, names, messages.
struct octetstring {
    int8_t* pBuf; ///< the bytes
    uint32_t len; ///< valid bytes
};

/// The bytes of @p octets as unsigned.
inline uint8_t* octetBytes(const octetstring* octets) {
    return reinterpret_cast<uint8_t*>(octets->pBuf);
}
