// A BPDU comes in four kinds that grew out of each other (clause 14 of IEEE 802.1Q-2005). The
// topology change notification is four bytes. The configuration BPDU of the first spanning tree
// protocol is 35 bytes. The RST BPDU adds one byte, the length of a part that no one uses; the MST
// BPDU goes on with the sender's region, its place in the region and a message per MSTI.
//
// The kinds are told apart by type, version and length together, and a frame is longer than its
// BPDU when the link pads it. So the parser copies what can be a BPDU into a zeroed record, in
// which a byte that was not received reads as zero, and then asks for as many bytes as the kind
// needs.

#include "mstp_bpdu.h"

#include <cstddef>
#include <cstring>

#include "mstp/context.h"
#include "mstp/enums.h"
#include "mstp_debug.h"

// What the record can take from the wire: everything before the fields that do not travel.
static constexpr uint32_t WIRE_ROOM = offsetof(tMstpBpdu, mstiCount);

static uint32_t bytesOf(uint32_t len) {
    const uint32_t limit = gMstp.xstLimit * MSTP_MSTI_BPDU_SIZE + MSTP_MST_BPDU_SIZE;
    const uint32_t room = limit < WIRE_ROOM ? limit : WIRE_ROOM;
    return len < room ? len : room;
}

static int32_t refuse(const char* why) {
    if (mstpTracing(MSTP_DEBUG_REFUSAL)) {
        mstpDebug("%s", why);
    }
    return -1;
}

static int32_t accept(tMstpBpdu* bpdu, uint16_t protocolType) {
    bpdu->protocolType = mstpBig16(protocolType);
    return 0;
}

// On the wire a time counts 1/256 s; the fraction is dropped.
static uint16_t wholeSeconds(uint16_t wire) {
    return mstpBig16(static_cast<uint16_t>(mstpBig16(wire) >> 8));
}

static void convertTimes(tMstpBpdu* bpdu) {
    bpdu->messageAge = wholeSeconds(bpdu->messageAge);
    bpdu->maxAge = wholeSeconds(bpdu->maxAge);
    bpdu->helloTime = wholeSeconds(bpdu->helloTime);
    bpdu->forwardDelay = wholeSeconds(bpdu->forwardDelay);
}

// A sender of the MST form is known by its own identifier, not by its regional root's.
static void takeSenderAsDesignatedBridge(tMstpBpdu* bpdu) {
    bpdu->regionalRootId = bpdu->bridgeId;
}

static int32_t parseRst(tMstpBpdu* bpdu) {
    // The two bytes behind an RST BPDU count, deliberately, even where they are padding.
    if (bpdu->version3Length != 0) {
        takeSenderAsDesignatedBridge(bpdu);
    }
    return accept(bpdu, MSTP_PROTOCOL_TYPE_RSTP);
}

// 14.4: an MST BPDU whose own part does not hold is an RST BPDU.
static bool hasMstPart(const tMstpBpdu* bpdu, uint32_t received) {
    return received >= MSTP_MST_BPDU_SIZE && bpdu->version1Length == 0 &&
           mstpBig16(bpdu->version3Length) % MSTP_MSTI_BPDU_SIZE == 0;
}

static int32_t parseMst(tMstpBpdu* bpdu, uint32_t received) {
    if (!hasMstPart(bpdu, received)) {
        takeSenderAsDesignatedBridge(bpdu);
        return accept(bpdu, MSTP_PROTOCOL_TYPE_RSTP);
    }
    // Below 64 the difference wraps and is no count either. The count is what the sender announces,
    // not what was received: messages that are missing read as zero.
    const uint32_t count =
        (mstpBig16(bpdu->version3Length) - MSTP_VERSION3_BASE) / MSTP_MSTI_BPDU_SIZE;
    if (count >= MSTP_MSTI_BPDU_MAX) {
        return refuse("bpdu invalid");
    }
    bpdu->mstiCount = mstpBig16(static_cast<uint16_t>(count));
    return accept(bpdu, MSTP_PROTOCOL_TYPE_MSTP);
}

static int32_t parseRapid(tMstpBpdu* bpdu, uint32_t received) {
    if (bpdu->bpduType != MSTP_BPDU_RST || bpdu->protocolVersionId < MSTP_VERSION_RSTP) {
        return refuse("bpdu invalid");
    }
    return bpdu->protocolVersionId < MSTP_VERSION_MSTP ? parseRst(bpdu) : parseMst(bpdu, received);
}

int32_t mstpParse(tMstpBpdu* bpdu, const uint8_t* buf, uint32_t len) {
    const uint32_t received = bytesOf(len);
    memset(bpdu, 0, sizeof *bpdu);
    memcpy(bpdu, buf, received);
    if (bpdu->protocolId != 0) {
        return refuse("protocol id invalid");
    }
    if (received < MSTP_TCN_BPDU_SIZE) {
        return refuse("TCN bpduLen invalid");
    }
    if (bpdu->bpduType == MSTP_BPDU_TCN) {
        return accept(bpdu, MSTP_PROTOCOL_TYPE_TCN);
    }
    if (received < MSTP_CONFIG_BPDU_SIZE) {
        return refuse("config bpduLen invalid");
    }
    convertTimes(bpdu);
    if (bpdu->bpduType == MSTP_BPDU_CONFIG) {
        return accept(bpdu, MSTP_PROTOCOL_TYPE_CONFIG);
    }
    if (received < MSTP_RST_BPDU_SIZE) {
        return refuse("rstp/mstp bpduLen invalid");
    }
    return parseRapid(bpdu, received);
}
