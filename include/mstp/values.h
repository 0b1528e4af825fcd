#pragma once

/// Value types that the records are built from. Identifiers are held as they travel, most
/// significant byte first, so that they are copied to and from BPDUs and compared as bytes.

#include <bit>
#include <cstdint>
#include <cstring>

// The first nibble named is the upper one of its byte, whatever order the compiler gives bit
// fields.
#if __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
#define MSTP_WIRE_FIRST_LAST 0
#else
#define MSTP_WIRE_FIRST_LAST 1
#endif

/// Bridge identifier, 13.23.2 of IEEE 802.1Q-2005.
struct tMstpBridgeId {
#if MSTP_WIRE_FIRST_LAST
    uint8_t priority : 4;
    uint8_t systemH : 4;
#else
    uint8_t systemH : 4;        ///< bits 11..8 of the system ID extension, lower nibble of byte 0
    uint8_t priority : 4;       ///< bridge priority / 4096, upper nibble of byte 0
#endif
    uint8_t systemL; ///< bits 7..0 of the system ID extension (the instance number)
    uint8_t mac[6];
};

/// Port identifier, 13.24.12 of IEEE 802.1Q-2005.
struct tMstpPortId {
#if MSTP_WIRE_FIRST_LAST
    uint8_t priority : 4;
    uint8_t portNumberH : 4;
#else
    uint8_t portNumberH : 4;    ///< bits 11..8 of the port number, lower nibble of byte 0
    uint8_t priority : 4;       ///< port priority / 16, upper nibble of byte 0
#endif
    uint8_t portNumberL; ///< bits 7..0 of the port number
};

/// Times in whole seconds, and the hop count.
struct tMstpTime {
    uint8_t messageAge;
    uint8_t maxAge;
    uint8_t forwardDelay;
    uint8_t helloTime;
    uint8_t remainingHops;
    uint8_t reserved[3]; ///< zero
};

/// Priority vector, 13.10 of IEEE 802.1Q-2005. The order of the fields is that of comparison. The
/// two costs are host-order integers, all else is bytes in wire order.
struct tMstpPriorityVector {
    tMstpBridgeId rootId;
    uint32_t extRootPathCost;
    tMstpBridgeId rRootId;
    uint32_t intRootPathCost;
    tMstpBridgeId designatedBridgeId;
    tMstpPortId designatedPortId;
    tMstpPortId rcvPortId;
};

/// Flags of a BPDU or of an MSTI message, 14.4 and 14.6.1 of IEEE 802.1Q-2005.
struct tMstpBpduFlag {
#if MSTP_WIRE_FIRST_LAST
    uint8_t master : 1;
    uint8_t agreement : 1;
    uint8_t forwarding : 1;
    uint8_t learning : 1;
    uint8_t portRole : 2;
    uint8_t proposal : 1;
    uint8_t topologyChange : 1;
#else
    uint8_t topologyChange : 1; ///< 0x01
    uint8_t proposal : 1;       ///< 0x02
    uint8_t portRole : 2;       ///< 0x0C
    uint8_t learning : 1;       ///< 0x10
    uint8_t forwarding : 1;     ///< 0x20
    uint8_t agreement : 1;      ///< 0x40
    uint8_t master : 1;         ///< 0x80; topology change acknowledgement in the CIST's flags
#endif
};

enum : uint8_t {
    MSTP_FLAG_TOPOLOGY_CHANGE = 0x01,
    MSTP_FLAG_PROPOSAL = 0x02,
    MSTP_FLAG_ROLE = 0x0C,
    MSTP_FLAG_ROLE_ALTERNATE_BACKUP = 0x04,
    MSTP_FLAG_ROLE_ROOT = 0x08,
    MSTP_FLAG_ROLE_DESIGNATED = 0x0C,
    MSTP_FLAG_LEARNING = 0x10,
    MSTP_FLAG_FORWARDING = 0x20,
    MSTP_FLAG_AGREEMENT = 0x40,
    MSTP_FLAG_MASTER = 0x80,
    MSTP_FLAG_TOPOLOGY_CHANGE_ACK = 0x80,
};

inline constexpr uint32_t MSTP_BRIDGE_ID_SIZE = 8;
inline constexpr uint32_t MSTP_PORT_ID_SIZE = 2;
inline constexpr int32_t MSTP_VECTOR_SIZE = 36;
inline constexpr uint32_t MSTP_MAC_SIZE = 6;

static_assert(sizeof(tMstpBridgeId) == MSTP_BRIDGE_ID_SIZE && alignof(tMstpBridgeId) == 1);
static_assert(sizeof(tMstpPortId) == MSTP_PORT_ID_SIZE && alignof(tMstpPortId) == 1);
static_assert(sizeof(tMstpTime) == 8);
static_assert(sizeof(tMstpPriorityVector) == MSTP_VECTOR_SIZE);
static_assert(sizeof(tMstpBpduFlag) == 1);

/// The flags as they travel.
inline uint8_t mstpFlagByte(tMstpBpduFlag flag) {
    uint8_t byte;
    memcpy(&byte, &flag, 1);
    return byte;
}

inline tMstpBpduFlag mstpFlagFromByte(uint8_t byte) {
    tMstpBpduFlag flag;
    memcpy(&flag, &byte, 1);
    return flag;
}

inline bool mstpSameBridgeId(const tMstpBridgeId* a, const tMstpBridgeId* b) {
    return memcmp(a, b, MSTP_BRIDGE_ID_SIZE) == 0;
}

inline bool mstpSamePortId(const tMstpPortId* a, const tMstpPortId* b) {
    return memcmp(a, b, MSTP_PORT_ID_SIZE) == 0;
}

/// True if all eight bytes are equal.
inline bool mstpSameTimes(const tMstpTime* a, const tMstpTime* b) {
    return memcmp(a, b, sizeof(tMstpTime)) == 0;
}

/// Sets the 12-bit system ID extension; the higher bits of @p extension are dropped.
inline void mstpBridgeIdSetExtension(tMstpBridgeId* id, uint32_t extension) {
    id->systemH = (extension >> 8) & 0x0F;
    id->systemL = extension & 0xFF;
}

inline uint32_t mstpBridgeIdExtension(const tMstpBridgeId* id) {
    return (static_cast<uint32_t>(id->systemH) << 8) | id->systemL;
}

/// Sets the port number; only its low 12 bits are used.
inline void mstpPortIdSetNumber(tMstpPortId* id, uint32_t number) {
    id->portNumberH = (number >> 8) & 0x0F;
    id->portNumberL = number & 0xFF;
}

inline uint32_t mstpPortIdNumber(const tMstpPortId* id) {
    return (static_cast<uint32_t>(id->portNumberH) << 8) | id->portNumberL;
}

/// Big-endian fields of BPDUs to and from host order; the two directions are the same swap.
inline constexpr uint16_t mstpBig16(uint16_t value) {
#if __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
    return __builtin_bswap16(value);
#else
    return value;
#endif
}

inline constexpr uint32_t mstpBig32(uint32_t value) {
#if __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
    return __builtin_bswap32(value);
#else
    return value;
#endif
}
