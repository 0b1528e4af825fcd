// Receive procedures of IEEE 802.1Q-2005 13.26.
//
// A received BPDU carries one message for the CIST and, from a bridge of the same region, one for
// each MSTI. setRcvdMsgs takes it apart into the ports' message variables; rcvInfo then says what a
// message means to the port (better than what it holds, the same again, worse, or nothing), and the
// record procedures copy from the message what the Port Information machine adopts. What comes over
// a region's boundary speaks for all instances at once: proposals, agreements and disputes of the
// CIST are then handed on to every MSTI of the port.

#include <cstring>

#include "mstp/context.h"
#include "mstp_port_timers_state_machine.h"
#include "mstp_state_machine_procedures.h"
#include "mstp_trace.h"
#include "mstp_vector.h"

static constexpr uint32_t HELLO_TIMES_UNTIL_AGED = 3;
static constexpr uint8_t LAST_HOP = 1;
static constexpr uint8_t PROPOSAL_FROM_DESIGNATED = MSTP_FLAG_ROLE_DESIGNATED | MSTP_FLAG_PROPOSAL;

static bool hasFlag(const tMstpXstPort* xstPort, uint8_t flag) {
    return (mstpFlagByte(xstPort->msgFlag) & flag) != 0;
}

static uint8_t roleOf(const tMstpXstPort* xstPort) {
    return mstpFlagByte(xstPort->msgFlag) & MSTP_FLAG_ROLE;
}

static int32_t compare(tMstpPriorityVector* a, tMstpPriorityVector* b) {
    return mstpVectorCmp(a, b, MSTP_VECTOR_SIZE);
}

// Calls @p work for every MSTI record of the port if @p xstPort is its CIST record and the message
// came from outside the region.
template <class Work> static void forEachMstiOutside(const tMstpXstPort* xstPort, Work work) {
    if (xstPort->xst->cist == 0 || xstPort->host->rcvdInternal != 0) {
        return;
    }
    for (tMstpXstPort* msti : xstPortsOf(xstPort->host)) {
        if (msti->xst->xstId != 0) {
            work(msti);
        }
    }
}

void updtBPDUVersion(tMstpPort* port, tMstpBpdu* bpdu) {
    if (bpdu->bpduType == MSTP_BPDU_CONFIG || bpdu->bpduType == MSTP_BPDU_TCN) {
        port->rcvdSTP = 1;
    }
    if (bpdu->bpduType == MSTP_BPDU_RST) {
        port->rcvdRSTP = 1;
    }
}

int32_t fromSameRegion(tMstpPort* port, tMstpBpdu* bpdu) {
    const tMstpBridge* bridge = port->bridge;
    if (port->rcvdRSTP == 0 || bridge->forceVersion < MSTP_FORCE_ATUODOT1S ||
        mstpBig16(bpdu->protocolType) != MSTP_PROTOCOL_TYPE_MSTP) {
        return 0;
    }
    if (mstpBig16(bpdu->cfgIdRevLevel) != bridge->cfgIdRevLevel ||
        memcmp(bpdu->cfgIdName, bridge->cfgIdName, sizeof bridge->cfgIdName) != 0) {
        return 0;
    }
    if (port->snoopingEnable == 1) {
        // Digest snooping, beside the standard: the neighbour's digest is taken over unseen.
        memcpy(port->snoopingCfgIdDigest, bpdu->cfgIdDigest, sizeof port->snoopingCfgIdDigest);
        return 1;
    }
    if (bpdu->cfgIdFmtSel != bridge->cfgIdFmtSel) {
        return 0;
    }
    return memcmp(bpdu->cfgIdDigest, bridge->cfgIdDigest, sizeof bridge->cfgIdDigest) == 0 ? 1 : 0;
}

static uint8_t lowByte(uint16_t bigEndian) {
    return static_cast<uint8_t>(mstpBig16(bigEndian) & 0xFF);
}

static void setCistTimes(tMstpTime* times, const tMstpBpdu* bpdu) {
    times->messageAge = lowByte(bpdu->messageAge);
    times->maxAge = lowByte(bpdu->maxAge);
    times->forwardDelay = lowByte(bpdu->forwardDelay);
    times->helloTime = lowByte(bpdu->helloTime);
}

static void setCistMessage(tMstpPort* port, const tMstpBpdu* bpdu) {
    tMstpXstPort* cist = mstpCistPort(port);
    cist->msgFlag = bpdu->flag;
    setCistTimes(&cist->msgTimes, bpdu);

    tMstpPriorityVector* message = &cist->msgPriority;
    message->rootId = bpdu->rootId;
    message->extRootPathCost = mstpBig32(bpdu->externalPathCost);
    if (port->rcvdInternal != 0) {
        message->rRootId = bpdu->regionalRootId;
        message->intRootPathCost = mstpBig32(bpdu->interalPathCost);
        message->designatedBridgeId = bpdu->bridgeId;
        cist->msgTimes.remainingHops = bpdu->remainingHops;
    } else {
        // Deliberately this bridge's own identifier as the regional root of outside information.
        message->rRootId = port->bridge->xsts[0].bridgeId;
        message->intRootPathCost = 0;
        message->designatedBridgeId = bpdu->regionalRootId;
        cist->msgTimes.remainingHops = port->bridge->bridgeMaxHops;
    }
    message->designatedPortId = bpdu->portId;
    message->rcvPortId = cist->portId;
}

// The port's record of the instance that an MSTI message speaks of; none if the instance is not in
// service here.
static tMstpXstPort* findMsti(tMstpPort* port, uint32_t number) {
    if (number == 0 || number >= gMstp.xstLimit ||
        port->bridge->xsts[number].rowStatus != MSTP_ACTIVE ||
        port->xstPorts[number].state != MSTP_SLOT_IN_USE) {
        return nullptr;
    }
    return &port->xstPorts[number];
}

static uint32_t upperNibble(uint8_t byte) {
    return byte >> 4U;
}

static void setMstiMessage(tMstpPort* port, const tMstpBpdu* bpdu, const tMstiBpdu* entry) {
    const uint32_t number = mstpBridgeIdExtension(&entry->regionalRootId);
    tMstpXstPort* msti = findMsti(port, number);
    if (msti == nullptr) {
        return;
    }
    msti->rcvdMsg = 1;
    msti->msgFlag = entry->flag;

    tMstpPriorityVector* message = &msti->msgPriority;
    message->rootId = entry->regionalRootId;
    message->extRootPathCost = 0;
    message->rRootId = entry->regionalRootId;
    message->intRootPathCost = mstpBig32(entry->internalRootPathCost);
    message->designatedBridgeId = bpdu->bridgeId;
    message->designatedBridgeId.priority = upperNibble(entry->bridgePriority) & 0x0F;
    mstpBridgeIdSetExtension(&message->designatedBridgeId, number);
    message->designatedPortId = bpdu->portId;
    message->designatedPortId.priority = upperNibble(entry->portPriority) & 0x0F;
    message->rcvPortId = msti->portId;

    setCistTimes(&msti->msgTimes, bpdu);
    msti->msgTimes.remainingHops = entry->remainingHops;
}

void setRcvdMsgs(tMstpPort* port, tMstpBpdu* bpdu) {
    port->rcvdAnyMsg = 0;
    mstpCistPort(port)->rcvdMsg = 1;
    port->bpduType = bpdu->bpduType;
    if (port->bpduType == MSTP_BPDU_TCN) {
        return;
    }
    port->rcvdCistMsg = 1;
    port->rcvdAnyMsg = 1;
    setCistMessage(port, bpdu);

    const uint32_t count = mstpBig16(bpdu->mstiCount);
    if (port->rcvdInternal == 0 || count == 0) {
        return;
    }
    // Set even if none of the messages is for an instance of this bridge.
    port->rcvdMstiMsg = 1;
    port->rcvdAnyMsg = 1;
    for (uint32_t i = 0; i < count && i < MSTP_MSTI_BPDU_MAX; i++) {
        setMstiMessage(port, bpdu, &bpdu->mstiBpdus[i]);
    }
}

static uint8_t tcnInfo(tMstpXstPort* xstPort) {
    tMstpPort* port = xstPort->host;
    for (tMstpXstPort* each : xstPortsOf(port)) {
        each->rcvdTc = 1;
        port->arpFlush = 1;
        if (each->xst->cist != 0) {
            each->rcvdTcn = 1;
        }
    }
    traceXstPort(MSTP_DEBUG_ACTIVITY, "msti %d port %s recv tcn info", xstPort);
    return MSTP_OTHER_INFO;
}

uint8_t rcvInfo(tMstpXstPort* xstPort) {
    const uint8_t bpduType = xstPort->host->bpduType;
    if (bpduType == MSTP_BPDU_TCN) {
        return tcnInfo(xstPort);
    }
    const uint8_t role = roleOf(xstPort);
    const bool configuration = bpduType == MSTP_BPDU_CONFIG;
    const int32_t order = compare(&xstPort->msgPriority, &xstPort->portPriority);
    const bool sameTimes = mstpSameTimes(&xstPort->msgTimes, &xstPort->portTimes);

    if (role == MSTP_FLAG_ROLE_DESIGNATED || configuration) {
        if (order < 0 || (order == 0 && !sameTimes)) {
            traceXstPort(MSTP_DEBUG_ACTIVITY, "msti %d port %s superior designated info", xstPort);
            return MSTP_SUPERIOR_DESIGNATED_INFO;
        }
        if (order == 0 && xstPort->infoIs == MSTP_RECEIVED) {
            traceXstPort(MSTP_DEBUG_ACTIVITY, "msti %d port %s repeat designated info", xstPort);
            return MSTP_REPEATED_DESIGNATED_INFO;
        }
        if (role == MSTP_FLAG_ROLE_DESIGNATED) {
            traceXstPort(MSTP_DEBUG_ACTIVITY, "msti %d port %s inferior designated info", xstPort);
            return MSTP_INFERIOR_DESIGNATED_INFO;
        }
    }
    // A configuration BPDU carries no role: an inferior one ends here.
    if ((role == MSTP_FLAG_ROLE_ROOT || role == MSTP_FLAG_ROLE_ALTERNATE_BACKUP || configuration) &&
        order >= 0) {
        traceXstPort(MSTP_DEBUG_ACTIVITY, "msti %d port %s inferior root alternate info", xstPort);
        return MSTP_INFERIOR_ROOT_ALTERNATE_INFO;
    }
    traceXstPort(MSTP_DEBUG_ACTIVITY, "msti %d port %s other info", xstPort);
    return MSTP_OTHER_INFO;
}

void recordPriority(tMstpXstPort* xstPort) {
    xstPort->portPriority = xstPort->msgPriority;
}

void recordTimes(tMstpXstPort* xstPort) {
    xstPort->portTimes.messageAge = xstPort->msgTimes.messageAge;
    xstPort->portTimes.remainingHops = xstPort->msgTimes.remainingHops;
    if (xstPort->xst->cist == 0) {
        return;
    }
    xstPort->portTimes.maxAge = xstPort->msgTimes.maxAge;
    xstPort->portTimes.forwardDelay = xstPort->msgTimes.forwardDelay;
    xstPort->portTimes.helloTime =
        xstPort->msgTimes.helloTime != 0 ? xstPort->msgTimes.helloTime : 1;
}

void recordProposal(tMstpXstPort* xstPort) {
    const uint8_t flags = mstpFlagByte(xstPort->msgFlag);
    if ((flags & PROPOSAL_FROM_DESIGNATED) == PROPOSAL_FROM_DESIGNATED) {
        xstPort->proposed = 1;
    }
    forEachMstiOutside(xstPort,
                       [xstPort](tMstpXstPort* msti) { msti->proposed = xstPort->proposed; });
}

static void setAgreed(tMstpXstPort* xstPort) {
    xstPort->agreed = 1;
    xstPort->proposing = 0;
}

// The CIST part of the message agrees with the root that this bridge follows.
static bool sameCistRoot(const tMstpXstPort* xstPort) {
    const tMstpPriorityVector* message = &mstpCistPort(xstPort->host)->msgPriority;
    const tMstpPriorityVector* root = &xstPort->host->bridge->xsts[0].rootPriority;
    return mstpSameBridgeId(&message->rootId, &root->rootId) &&
           message->extRootPathCost == root->extRootPathCost &&
           mstpSameBridgeId(&message->rRootId, &root->rRootId);
}

// Deliberately never clears agreed, where the standard does.
void recordAgreement(tMstpXstPort* xstPort) {
    const tMstpPort* port = xstPort->host;
    if (port->operPointToPointMAC == 0 || !hasFlag(xstPort, MSTP_FLAG_AGREEMENT)) {
        return;
    }
    if (xstPort->xst->cist == 0) {
        if (sameCistRoot(xstPort)) {
            setAgreed(xstPort);
        }
        return;
    }
    if (port->rstpVersion != 0) {
        setAgreed(xstPort);
        forEachMstiOutside(xstPort, setAgreed);
    }
}

static void setDisputed(tMstpXstPort* xstPort) {
    xstPort->disputed = 1;
    xstPort->agreed = 0;
}

void recordDispute(tMstpXstPort* xstPort) {
    if (!hasFlag(xstPort, MSTP_FLAG_LEARNING)) {
        return;
    }
    setDisputed(xstPort);
    forEachMstiOutside(xstPort, setDisputed);
}

void recordMastered(tMstpXstPort* xstPort) {
    if (xstPort->xst->cist != 0) {
        forEachMstiOutside(xstPort, [](tMstpXstPort* msti) { msti->mastered = 0; });
        return;
    }
    xstPort->mastered =
        xstPort->host->operPointToPointMAC != 0 && hasFlag(xstPort, MSTP_FLAG_MASTER) ? 1 : 0;
}

void updtRcvdInfoWhile(tMstpXstPort* xstPort) {
    const tMstpTime* cistTimes = &mstpCistPort(xstPort->host)->portTimes;
    // Deliberately "not the last hop" and not "more than one": 0 hops live the full time, too.
    const bool young = xstPort->host->rcvdInternal != 0
                           ? xstPort->portTimes.remainingHops != LAST_HOP
                           : cistTimes->messageAge + 1 <= cistTimes->maxAge;
    const uint8_t seconds =
        young ? static_cast<uint8_t>(HELLO_TIMES_UNTIL_AGED * cistTimes->helloTime) : 0;
    if (seconds == 0) {
        mstpClearCounter(&xstPort->rcvdInfoWhile, &xstPort->rcvdInfoWhileTimer);
        return;
    }
    mstpLoadCounter(xstPort->xst->bridge, &xstPort->rcvdInfoWhile, &xstPort->rcvdInfoWhileTimer,
                    seconds, MSTP_EVENT_FSM);
}

uint8_t betterorsameInfo(tMstpXstPort* xstPort, uint8_t newInfoIs) {
    if (newInfoIs != xstPort->infoIs) {
        return 0;
    }
    if (newInfoIs == MSTP_RECEIVED) {
        return compare(&xstPort->msgPriority, &xstPort->portPriority) <= 0 ? 1 : 0;
    }
    if (newInfoIs == MSTP_MINE) {
        return compare(&xstPort->designatedPriority, &xstPort->portPriority) <= 0 ? 1 : 0;
    }
    return 0;
}

void updtRcvdAnyMsg(tMstpPort* port) {
    port->rcvdAnyMsg = 0;
    port->rcvdCistMsg = 0;
    port->rcvdMstiMsg = 0;
    for (const tMstpXstPort* xstPort : xstPortsOf(port)) {
        if (xstPort->rcvdMsg == 0) {
            continue;
        }
        port->rcvdAnyMsg = 1;
        if (xstPort->xst->cist != 0) {
            port->rcvdCistMsg = 1;
        } else {
            port->rcvdMstiMsg = 1;
        }
    }
}

void clearAllRcvdMsgs(tMstpPort* port) {
    for (tMstpXstPort* xstPort : xstPortsOf(port)) {
        xstPort->rcvdMsg = 0;
    }
}
