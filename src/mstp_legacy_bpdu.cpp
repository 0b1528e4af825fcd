// Before clause 14 of IEEE 802.1Q-2005 settled the MST BPDU, another form of it was in use: MSTI
// records of 26 bytes that name their instance and carry a whole bridge and port identifier, no
// configuration format selector, and the CIST's two identifiers in each other's place. A port whose
// neighbour speaks that form converts at its edge, in both directions; the machines see the
// standard form only. Nothing in the bytes tells the two forms apart for sure: the port's setting
// alone decides.
//
// Times and flags mean the same in both forms and are copied as they travel.

#include <cstddef>
#include <cstring>

#include "mstp_io.h"

// Both forms begin alike, up to and including version1Length.
static constexpr uint32_t COMMON_SIZE = MSTP_RST_BPDU_SIZE;

// The records are as many as the bytes hold, which may be more than the BPDU types declare.
template <class Record> static Record* recordAt(void* bpdu, uint32_t offset) {
    return reinterpret_cast<Record*>(static_cast<uint8_t*>(bpdu) + offset);
}

template <class Record> static const Record* recordAt(const void* bpdu, uint32_t offset) {
    return reinterpret_cast<const Record*>(static_cast<const uint8_t*>(bpdu) + offset);
}

static uint32_t standardSize(uint32_t count) {
    return MSTP_MST_BPDU_SIZE + MSTP_MSTI_BPDU_SIZE * count;
}

static uint32_t legacySize(uint32_t count) {
    return MSTP_LEGACY_BPDU_SIZE + MSTP_LEGACY_MSTI_SIZE * count;
}

static uint32_t upperNibble(uint8_t byte) {
    return byte >> 4;
}

// ---- pre-standard to standard

// The instance number becomes the identifier's system identifier extension, as 13.23.2 has it. The
// sender's MAC address and port number are the CIST's and are dropped.
static void mstiToStandard(tMstiBpdu* to, const tMstiLegacyBpdu* from) {
    to->flag = from->flag;
    to->regionalRootId = from->regionalRootId;
    mstpBridgeIdSetExtension(&to->regionalRootId, from->mstiId);
    to->internalRootPathCost = from->internalRootPathCost;
    to->bridgePriority = static_cast<uint8_t>(from->bridgeId.priority << 4);
    to->portPriority = static_cast<uint8_t>(from->portId.priority << 4);
    to->remainingHops = from->remainingHops;
}

static void cistToStandard(tMstpBpdu* to, const tMstpLegacyBpdu* from, uint32_t count) {
    memcpy(to, from, COMMON_SIZE);
    to->version3Length =
        mstpBig16(static_cast<uint16_t>(MSTP_VERSION3_BASE + MSTP_MSTI_BPDU_SIZE * count));
    to->regionalRootId = from->regionalRootId;
    to->cfgIdFmtSel = 0;
    memcpy(to->cfgIdName, from->cfgIdName, sizeof to->cfgIdName);
    to->cfgIdRevLevel = from->cfgIdRevLevel;
    memcpy(to->cfgIdDigest, from->cfgIdDigest, sizeof to->cfgIdDigest);
    to->interalPathCost = from->interalPathCost;
    to->bridgeId = from->bridgeId;
    to->remainingHops = from->remainingHops;
}

// @return true, and how many MSTI records there are, if @p length bytes hold them and their
// standard form fits the buffer
static bool countLegacyMstis(const tMstpLegacyBpdu* from, uint32_t length, uint32_t* count) {
    const uint32_t announced = mstpBig16(from->version3Length);
    if (announced < MSTP_VERSION3_BASE ||
        (announced - MSTP_VERSION3_BASE) % MSTP_LEGACY_MSTI_SIZE != 0) {
        return false;
    }
    *count = (announced - MSTP_VERSION3_BASE) / MSTP_LEGACY_MSTI_SIZE;
    return legacySize(*count) <= length && standardSize(*count) <= MSTP_LEGACY_BUFFER_SIZE;
}

int32_t mstpLegacyBpduToStandard(tMstpBpdu* bpdu, const uint8_t* buf, uint32_t legacyLen) {
    const auto* legacy = recordAt<tMstpLegacyBpdu>(buf, 0);
    uint32_t count = 0;
    if (legacyLen < MSTP_LEGACY_BPDU_SIZE || !countLegacyMstis(legacy, legacyLen, &count)) {
        return 0;
    }
    cistToStandard(bpdu, legacy, count);
    for (uint32_t i = 0; i < count; i++) {
        mstiToStandard(recordAt<tMstiBpdu>(bpdu, standardSize(i)),
                       recordAt<tMstiLegacyBpdu>(buf, legacySize(i)));
    }
    return static_cast<int32_t>(standardSize(count));
}

// ---- standard to pre-standard

// The identifiers that the standard form leaves out are the CIST's, with the instance's priorities
// and number.
static void mstiToLegacy(tMstiLegacyBpdu* to, const tMstiBpdu* from, const tMstpBpdu* cist) {
    to->mstiId = from->regionalRootId.systemL;
    to->flag = from->flag;
    to->regionalRootId = from->regionalRootId;
    to->internalRootPathCost = from->internalRootPathCost;
    to->bridgeId = cist->bridgeId;
    to->bridgeId.priority = upperNibble(from->bridgePriority) & 0x0F;
    to->bridgeId.systemH = from->regionalRootId.systemH;
    to->bridgeId.systemL = to->mstiId;
    to->portId = cist->portId;
    to->portId.priority = upperNibble(from->portPriority) & 0x0F;
    to->remainingHops = from->remainingHops;
}

static void cistToLegacy(tMstpLegacyBpdu* to, const tMstpBpdu* from, uint32_t count) {
    memcpy(to, from, COMMON_SIZE);
    to->version3Length =
        mstpBig16(static_cast<uint16_t>(MSTP_VERSION3_BASE + MSTP_LEGACY_MSTI_SIZE * count));
    to->regionalRootId = from->regionalRootId;
    to->bridgeId = from->bridgeId;
    memcpy(to->cfgIdName, from->cfgIdName, sizeof to->cfgIdName);
    to->cfgIdRevLevel = from->cfgIdRevLevel;
    memcpy(to->cfgIdDigest, from->cfgIdDigest, sizeof to->cfgIdDigest);
    to->interalPathCost = from->interalPathCost;
    to->remainingHops = from->remainingHops;
}

// The record always holds the CIST's part; of MSTI messages it holds what @p length says.
static bool countStandardMstis(const tMstpBpdu* from, uint32_t length, uint32_t* count) {
    const uint32_t announced = mstpBig16(from->version3Length);
    if (announced < MSTP_VERSION3_BASE) {
        return false;
    }
    *count = (announced - MSTP_VERSION3_BASE) / MSTP_MSTI_BPDU_SIZE;
    return (*count == 0 || standardSize(*count) <= length) &&
           legacySize(*count) <= MSTP_LEGACY_BUFFER_SIZE;
}

int32_t mstpStandardBpduToLegacy(uint8_t* buf, const tMstpBpdu* bpdu, uint32_t bpduLen) {
    uint32_t count = 0;
    if (bpduLen < MSTP_RST_BPDU_SIZE || !countStandardMstis(bpdu, bpduLen, &count)) {
        return 0;
    }
    cistToLegacy(recordAt<tMstpLegacyBpdu>(buf, 0), bpdu, count);
    for (uint32_t i = 0; i < count; i++) {
        mstiToLegacy(recordAt<tMstiLegacyBpdu>(buf, legacySize(i)),
                     recordAt<tMstiBpdu>(bpdu, standardSize(i)), bpdu);
    }
    return static_cast<int32_t>(legacySize(count));
}
