// Transmit. A BPDU is built in wire form in a zeroed record, from the port's CIST record and, in an
// MST BPDU, from the records of all its MSTIs, and handed to mstpOutput with its length: one record
// type serves all kinds because each kind is a prefix of the next. Three kinds of senders exist: a
// port that hears an old bridge sends configuration BPDUs downwards and topology change
// notifications towards the root; all others send RST or MST BPDUs, after the forced version.
// Nobody looks at the result of a send: to the protocol a failed one is a lost frame.

#include <cstring>

#include "mstp_io.h"
#include "mstp_state_machine_procedures.h"
#include "mstp_trace.h"

// A time on the wire counts 1/256 s: whole seconds are its first byte.
static uint16_t wireTime(uint8_t seconds) {
    return mstpBig16(static_cast<uint16_t>(seconds << 8));
}

// The wire knows no master role; like a disabled port's, its role bits are 0.
static uint8_t roleFlag(uint8_t role) {
    switch (role) {
    case MSTP_ALTERNATE_PORT:
    case MSTP_BACKUP_PORT:
        return MSTP_FLAG_ROLE_ALTERNATE_BACKUP;
    case MSTP_ROOT_PORT:
        return MSTP_FLAG_ROLE_ROOT;
    case MSTP_DESIGNATED_PORT:
        return MSTP_FLAG_ROLE_DESIGNATED;
    default:
        return 0;
    }
}

static uint8_t flagIf(uint8_t condition, uint8_t flag) {
    return condition != 0 ? flag : uint8_t{0};
}

// The flags that the CIST and the MSTIs share in RST and MST BPDUs.
static uint8_t rapidFlags(const tMstpXstPort* xstPort) {
    return flagIf(xstPort->tcWhile, MSTP_FLAG_TOPOLOGY_CHANGE) |
           flagIf(xstPort->proposing, MSTP_FLAG_PROPOSAL) | roleFlag(xstPort->role) |
           flagIf(xstPort->learning, MSTP_FLAG_LEARNING) |
           flagIf(xstPort->forwarding, MSTP_FLAG_FORWARDING) |
           flagIf(xstPort->agree, MSTP_FLAG_AGREEMENT);
}

// What configuration, RST and MST BPDUs share. The hello time is the caller's.
static void fillCommon(tMstpBpdu* bpdu, const tMstpXstPort* cist, uint8_t helloTime) {
    bpdu->rootId = cist->designatedPriority.rootId;
    bpdu->externalPathCost = mstpBig32(cist->designatedPriority.extRootPathCost);
    bpdu->portId = cist->portId;
    bpdu->messageAge = wireTime(cist->designatedTimes.messageAge);
    bpdu->maxAge = wireTime(cist->designatedTimes.maxAge);
    bpdu->helloTime = wireTime(helloTime);
    bpdu->forwardDelay = wireTime(cist->designatedTimes.forwardDelay);
}

void txTcn(tMstpPort* port) {
    tracePort(MSTP_DEBUG_ACTIVITY, "port %s send tcn bpdu", port);
    tMstpBpdu bpdu{};
    bpdu.bpduType = MSTP_BPDU_TCN;
    mstpOutput(port, &bpdu, MSTP_TCN_BPDU_SIZE);
}

void txConfig(tMstpPort* port) {
    tracePort(MSTP_DEBUG_ACTIVITY, "port %s send stp config bpdu", port);
    const tMstpXstPort* cist = mstpCistPort(port);
    tMstpBpdu bpdu{};
    bpdu.flag = mstpFlagFromByte(flagIf(cist->tcWhile, MSTP_FLAG_TOPOLOGY_CHANGE) |
                                 flagIf(cist->tcAck, MSTP_FLAG_TOPOLOGY_CHANGE_ACK));
    // The hello time is deliberately the port's here and the designated one in txMstp.
    fillCommon(&bpdu, cist, cist->portTimes.helloTime);
    bpdu.regionalRootId = cist->xst->bridgeId;
    mstpOutput(port, &bpdu, MSTP_CONFIG_BPDU_SIZE);
}

static void fillRst(tMstpBpdu* bpdu, const tMstpXstPort* cist) {
    bpdu->bpduType = MSTP_BPDU_RST;
    bpdu->flag = mstpFlagFromByte(rapidFlags(cist));
    fillCommon(bpdu, cist, cist->designatedTimes.helloTime);
    bpdu->regionalRootId = cist->designatedPriority.rRootId;
}

// A neighbour whose digest is snooped hears its own digest back.
static void fillConfigurationId(tMstpBpdu* bpdu, const tMstpPort* port) {
    const tMstpBridge* bridge = port->bridge;
    if (port->snoopingEnable == 1) {
        memcpy(bpdu->cfgIdDigest, port->snoopingCfgIdDigest, sizeof bpdu->cfgIdDigest);
    } else {
        bpdu->cfgIdFmtSel = bridge->cfgIdFmtSel;
        memcpy(bpdu->cfgIdDigest, bridge->cfgIdDigest, sizeof bpdu->cfgIdDigest);
    }
    memcpy(bpdu->cfgIdName, bridge->cfgIdName, sizeof bpdu->cfgIdName);
    bpdu->cfgIdRevLevel = mstpBig16(bridge->cfgIdRevLevel);
}

// The settable priority of an identifier: the upper four bits of its first byte.
static uint8_t priorityBits(uint8_t priority) {
    return static_cast<uint8_t>(priority << 4);
}

static void fillMsti(tMstiBpdu* msti, const tMstpXstPort* xstPort) {
    msti->flag = mstpFlagFromByte(rapidFlags(xstPort) | flagIf(xstPort->master, MSTP_FLAG_MASTER));
    msti->regionalRootId = xstPort->designatedPriority.rRootId;
    msti->internalRootPathCost = mstpBig32(xstPort->designatedPriority.intRootPathCost);
    msti->bridgePriority = priorityBits(xstPort->xst->bridgeId.priority);
    msti->portPriority = priorityBits(xstPort->portId.priority);
    msti->remainingHops = xstPort->designatedTimes.remainingHops;
}

// One message for every MSTI of the port whatever its role, in ascending order, as many as the
// record has room for. @return how many
static uint32_t fillMstis(tMstpBpdu* bpdu, tMstpPort* port) {
    uint32_t count = 0;
    for (const tMstpXstPort* xstPort : xstPortsOf(port)) {
        if (xstPort->xst->xstId != 0 && count < MSTP_MSTI_BPDU_MAX) {
            fillMsti(&bpdu->mstiBpdus[count], xstPort);
            count++;
        }
    }
    return count;
}

// @return the length of the MST BPDU
static uint32_t fillMst(tMstpBpdu* bpdu, tMstpPort* port, const tMstpXstPort* cist) {
    fillConfigurationId(bpdu, port);
    bpdu->interalPathCost = mstpBig32(cist->designatedPriority.intRootPathCost);
    bpdu->bridgeId = cist->xst->bridgeId;
    bpdu->remainingHops = cist->designatedTimes.remainingHops;
    const uint32_t mstiLength = fillMstis(bpdu, port) * MSTP_MSTI_BPDU_SIZE;
    bpdu->version3Length = mstpBig16(static_cast<uint16_t>(MSTP_VERSION3_BASE + mstiLength));
    return MSTP_MST_BPDU_SIZE + mstiLength;
}

static uint8_t protocolVersionOf(uint8_t forceVersion) {
    switch (forceVersion) {
    case MSTP_FORCE_ATUODOT1S:
        return MSTP_VERSION_MSTP;
    case MSTP_FORCE_DOT1W:
        return MSTP_VERSION_RSTP;
    default:
        return MSTP_VERSION_STP;
    }
}

uint32_t mstpFillMstp(tMstpBpdu* bpdu, tMstpPort* port) {
    const tMstpXstPort* cist = mstpCistPort(port);
    bpdu->protocolVersionId = protocolVersionOf(port->bridge->forceVersion);
    fillRst(bpdu, cist);
    if (bpdu->protocolVersionId != MSTP_VERSION_MSTP) {
        return MSTP_RST_BPDU_SIZE;
    }
    return fillMst(bpdu, port, cist);
}

static void traceMstp(const tMstpPort* port) {
    switch (port->bridge->forceVersion) {
    case MSTP_FORCE_ATUODOT1S:
        tracePort(MSTP_DEBUG_ACTIVITY, "port %s send mstp bpdu", port);
        break;
    case MSTP_FORCE_DOT1W:
        tracePort(MSTP_DEBUG_ACTIVITY, "port %s send rstp bpdu", port);
        break;
    default:
        break;
    }
}

void txMstp(tMstpPort* port) {
    traceMstp(port);
    tMstpBpdu bpdu{};
    const uint32_t length = mstpFillMstp(&bpdu, port);
    mstpOutput(port, &bpdu, length);
}

void updtAllTransmitReady(tMstpPort* port) {
    port->allTransmitReady = 0;
    for (const tMstpXstPort* xstPort : xstPortsOf(port)) {
        if (xstPort->selected == 0 || xstPort->updtInfo != 0) {
            return;
        }
    }
    port->allTransmitReady = 1;
}
