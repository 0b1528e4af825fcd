#pragma once

/// BPDU records, clause 14 of IEEE 802.1Q-2005: the wire layout byte for byte, unaligned, every
/// field of more than one byte big-endian.

#include <cstddef>
#include <cstdint>

#include "mstp/values.h"

inline constexpr uint32_t MSTP_MSTI_BPDU_MAX = 64;

enum : uint32_t {
    MSTP_LLC_SIZE = 3,
    MSTP_FRAME_HEADER_SIZE = 17,
    MSTP_TCN_BPDU_SIZE = 4,
    MSTP_CONFIG_BPDU_SIZE = 35,
    MSTP_RST_BPDU_SIZE = 36,
    MSTP_MST_BPDU_SIZE = 102, ///< without MSTI messages
    MSTP_MSTI_BPDU_SIZE = 16,
    MSTP_VERSION3_BASE = 64, ///< `version3Length` of an MST BPDU without MSTI messages
    MSTP_LEGACY_BPDU_SIZE = 103,
    MSTP_LEGACY_MSTI_SIZE = 26,
    MSTP_LEGACY_BUFFER_SIZE = 2048,
};

/// MSTI configuration message, 14.6.1.
struct __attribute__((packed)) tMstiBpdu {
    tMstpBpduFlag flag;
    tMstpBridgeId regionalRootId;
    uint32_t internalRootPathCost;
    uint8_t bridgePriority; ///< upper four bits
    uint8_t portPriority;   ///< upper four bits
    uint8_t remainingHops;
};

/// A BPDU as received or as sent. In a received record the four times hold whole seconds as 16-bit
/// values; in one to be sent they hold whole seconds in their first byte.
struct __attribute__((packed)) tMstpBpdu {
    uint16_t protocolId;
    uint8_t protocolVersionId;
    uint8_t bpduType;
    tMstpBpduFlag flag;
    tMstpBridgeId rootId;
    uint32_t externalPathCost;
    tMstpBridgeId regionalRootId; ///< designated bridge identifier in STP and RSTP
    tMstpPortId portId;
    uint16_t messageAge;
    uint16_t maxAge;
    uint16_t helloTime;
    uint16_t forwardDelay;
    uint8_t version1Length;
    uint16_t version3Length;
    uint8_t cfgIdFmtSel;
    uint8_t cfgIdName[32];
    uint16_t cfgIdRevLevel;
    uint8_t cfgIdDigest[16];
    uint32_t interalPathCost;
    tMstpBridgeId bridgeId;
    uint8_t remainingHops;
    tMstiBpdu mstiBpdus[MSTP_MSTI_BPDU_MAX];
    uint16_t mstiCount;    ///< valid MSTI messages; not on the wire
    uint16_t protocolType; ///< MSTP_PROTOCOL_TYPE_*; not on the wire
};

/// MSTI record of the pre-standard MST BPDU.
struct __attribute__((packed)) tMstiLegacyBpdu {
    uint8_t mstiId;
    tMstpBpduFlag flag;
    tMstpBridgeId regionalRootId;
    uint32_t internalRootPathCost;
    tMstpBridgeId bridgeId;
    tMstpPortId portId;
    uint8_t remainingHops;
    uint8_t reserved;
};

/// Pre-standard MST BPDU.
struct __attribute__((packed)) tMstpLegacyBpdu {
    uint16_t protocolId;
    uint8_t protocolVersionId;
    uint8_t bpduType;
    tMstpBpduFlag flag;
    tMstpBridgeId rootId;
    uint32_t externalPathCost;
    tMstpBridgeId bridgeId; ///< the sender's CIST bridge identifier
    tMstpPortId portId;
    uint16_t messageAge;
    uint16_t maxAge;
    uint16_t helloTime;
    uint16_t forwardDelay;
    uint8_t version1Length;
    uint8_t reserved1;
    uint16_t version3Length;
    uint8_t cfgIdName[32];
    uint16_t cfgIdRevLevel;
    uint8_t cfgIdDigest[16];
    tMstpBridgeId regionalRootId;
    uint32_t interalPathCost;
    uint8_t remainingHops;
    uint8_t reserved2;
    tMstiLegacyBpdu mstiBpdus[MSTP_MSTI_BPDU_MAX];
};

static_assert(sizeof(tMstiBpdu) == MSTP_MSTI_BPDU_SIZE);
static_assert(offsetof(tMstiBpdu, regionalRootId) == 1);
static_assert(offsetof(tMstiBpdu, internalRootPathCost) == 9);
static_assert(offsetof(tMstiBpdu, bridgePriority) == 13);
static_assert(offsetof(tMstiBpdu, portPriority) == 14);
static_assert(offsetof(tMstiBpdu, remainingHops) == 15);

static_assert(offsetof(tMstpBpdu, protocolVersionId) == 2);
static_assert(offsetof(tMstpBpdu, bpduType) == 3);
static_assert(offsetof(tMstpBpdu, flag) == 4);
static_assert(offsetof(tMstpBpdu, rootId) == 5);
static_assert(offsetof(tMstpBpdu, externalPathCost) == 13);
static_assert(offsetof(tMstpBpdu, regionalRootId) == 17);
static_assert(offsetof(tMstpBpdu, portId) == 25);
static_assert(offsetof(tMstpBpdu, messageAge) == 27);
static_assert(offsetof(tMstpBpdu, maxAge) == 29);
static_assert(offsetof(tMstpBpdu, helloTime) == 31);
static_assert(offsetof(tMstpBpdu, forwardDelay) == 33);
static_assert(offsetof(tMstpBpdu, version1Length) == MSTP_CONFIG_BPDU_SIZE);
static_assert(offsetof(tMstpBpdu, version3Length) == MSTP_RST_BPDU_SIZE);
static_assert(offsetof(tMstpBpdu, cfgIdFmtSel) == 38);
static_assert(offsetof(tMstpBpdu, cfgIdName) == 39);
static_assert(offsetof(tMstpBpdu, cfgIdRevLevel) == 71);
static_assert(offsetof(tMstpBpdu, cfgIdDigest) == 73);
static_assert(offsetof(tMstpBpdu, interalPathCost) == 89);
static_assert(offsetof(tMstpBpdu, bridgeId) == 93);
static_assert(offsetof(tMstpBpdu, remainingHops) == 101);
static_assert(offsetof(tMstpBpdu, mstiBpdus) == MSTP_MST_BPDU_SIZE);

static_assert(sizeof(tMstiLegacyBpdu) == MSTP_LEGACY_MSTI_SIZE);
static_assert(offsetof(tMstpLegacyBpdu, bridgeId) == 17);
static_assert(offsetof(tMstpLegacyBpdu, version3Length) == 37);
static_assert(offsetof(tMstpLegacyBpdu, cfgIdName) == 39);
static_assert(offsetof(tMstpLegacyBpdu, regionalRootId) == 89);
static_assert(offsetof(tMstpLegacyBpdu, interalPathCost) == 97);
static_assert(offsetof(tMstpLegacyBpdu, remainingHops) == 101);
static_assert(offsetof(tMstpLegacyBpdu, mstiBpdus) == MSTP_LEGACY_BPDU_SIZE);
