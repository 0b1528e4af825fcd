// The way of a BPDU out of the bridge. The transmit procedures fill a record in wire form; here it
// is counted, rewritten where the neighbour speaks the pre-standard MST form, and sent as an IEEE
// 802.3 frame with an LLC header, as 7.12 of IEEE 802.1Q-2005 asks for. The group address it goes
// to tells the trees of customers' bridges from those of a provider's: a bridge of one sort
// forwards the BPDUs of the other like data.
//
// The frame leaves through the packet socket without blocking. One that cannot be sent is lost: the
// transmit machine sends the next one in its time.

#include <netpacket/packet.h>
#include <sys/socket.h>
#include <sys/uio.h>

#include <cstring>

#include "mstp/context.h"
#include "mstp_debug.h"
#include "mstp_io.h"
#include "mstp_trace.h"
#include "platform/hardware.h"
#include "platform/interfaces.h"

static constexpr uint8_t CUSTOMER_ADDRESS[MSTP_MAC_SIZE] = {0x01, 0x80, 0xC2, 0x00, 0x00, 0x00};
static constexpr uint8_t PROVIDER_ADDRESS[MSTP_MAC_SIZE] = {0x01, 0x80, 0xC2, 0x00, 0x00, 0x08};
static constexpr uint16_t CUSTOMER_PROTOCOL = 0x0042;
static constexpr uint16_t PROVIDER_PROTOCOL = 0x0842;
static constexpr uint8_t LLC[MSTP_LLC_SIZE] = {0x42, 0x42, 0x03};

struct tMstpFrameHeader {
    uint8_t destination[MSTP_MAC_SIZE];
    uint8_t source[MSTP_MAC_SIZE];
    uint8_t length[2];
    uint8_t llc[MSTP_LLC_SIZE];
};
static_assert(sizeof(tMstpFrameHeader) == MSTP_FRAME_HEADER_SIZE);

// ---- counting and form

static void countRapid(tMstpPort* port, uint8_t version) {
    if (version == MSTP_VERSION_RSTP) {
        port->txRstBpdu++;
        tracePort(MSTP_DEBUG_ACTIVITY, "mstp port %s send rstp bpdu", port);
    } else if (version == MSTP_VERSION_MSTP) {
        port->txMstBpdu++;
        tracePort(MSTP_DEBUG_ACTIVITY, "mstp port %s send mstp bpdu", port);
    }
}

static void countSent(tMstpPort* port, const tMstpBpdu* bpdu) {
    if (bpdu->bpduType == MSTP_BPDU_TCN) {
        port->txTcnBpdu++;
        tracePort(MSTP_DEBUG_ACTIVITY, "mstp port %s send tcn bpdu", port);
    } else if (bpdu->bpduType == MSTP_BPDU_CONFIG) {
        port->txCfgBpdu++;
        tracePort(MSTP_DEBUG_ACTIVITY, "mstp port %s send stp config bpdu", port);
    } else if (bpdu->bpduType == MSTP_BPDU_RST) {
        countRapid(port, bpdu->protocolVersionId);
    }
}

static bool goesInLegacyForm(const tMstpPort* port, const tMstpBpdu* bpdu) {
    return port->snoopingEnable == MSTP_TRUE && bpdu->bpduType == MSTP_BPDU_RST &&
           bpdu->protocolVersionId == MSTP_VERSION_MSTP;
}

static int32_t sendInLegacyForm(tMstpPort* port, const tMstpBpdu* bpdu, uint32_t len) {
    uint8_t legacy[MSTP_LEGACY_BUFFER_SIZE] = {};
    const int32_t legacyLen = mstpStandardBpduToLegacy(legacy, bpdu, len);
    if (legacyLen == 0) {
        return mstpTx(port, reinterpret_cast<const uint8_t*>(bpdu), len);
    }
    return mstpTx(port, legacy, static_cast<uint32_t>(legacyLen));
}

int32_t mstpOutput(tMstpPort* port, tMstpBpdu* bpdu, uint32_t len) {
    if (port->filtering != 0) {
        return -1;
    }
    if (port->state != MSTP_SLOT_IN_USE) {
        tracePort(MSTP_DEBUG_REFUSAL, "port %s invalid", port);
        return -1;
    }
    countSent(port, bpdu);
    if (goesInLegacyForm(port, bpdu)) {
        return sendInLegacyForm(port, bpdu, len);
    }
    return mstpTx(port, reinterpret_cast<const uint8_t*>(bpdu), len);
}

// ---- the frame

// The standby unit is silent; so is one that cannot learn which of the two it is.
static bool isStandby() {
    uint32_t role = 0;
    return kelHwScalarGet(0, KEL_HW_UNIT_ROLE, &role) != 0 || role == KEL_UNIT_STANDBY;
}

static bool isProvider(const tMstpPort* port) {
    return port->bridge->type == MSTP_BRIDGE_PROVIDER;
}

static const uint8_t* destinationOf(const tMstpPort* port) {
    return isProvider(port) ? PROVIDER_ADDRESS : CUSTOMER_ADDRESS;
}

static tMstpFrameHeader headerOf(const tMstpPort* port, uint32_t len) {
    const uint32_t length = len + MSTP_LLC_SIZE;
    tMstpFrameHeader header;
    memcpy(header.destination, destinationOf(port), MSTP_MAC_SIZE);
    memcpy(header.source, port->bridge->bridgeMac, MSTP_MAC_SIZE);
    header.length[0] = (length >> 8) & 0xFF;
    header.length[1] = length & 0xFF;
    memcpy(header.llc, LLC, MSTP_LLC_SIZE);
    return header;
}

static sockaddr_ll addressOf(const tMstpPort* port) {
    sockaddr_ll address = {};
    address.sll_family = AF_PACKET;
    address.sll_protocol = mstpBig16(isProvider(port) ? PROVIDER_PROTOCOL : CUSTOMER_PROTOCOL);
    address.sll_ifindex = static_cast<int>(port->unit);
    address.sll_halen = MSTP_MAC_SIZE;
    memcpy(address.sll_addr, destinationOf(port), MSTP_MAC_SIZE);
    return address;
}

static void reportFrame(const tMstpPort* port, uint32_t size, bool failed) {
    char name[KEL_IF_NAME_SIZE] = "";
    kelIfUnit2Name(port->unit, name);
    mstpDebug(failed ? "send pkt to port %s,len %d failed" : "send pkt to port %s,len %d", name,
              static_cast<int32_t>(size));
}

// The dump shows one frame, header and BPDU joined.
static void dumpFrame(const tMstpFrameHeader* header, const uint8_t* buf, uint32_t len) {
    uint8_t frame[MSTP_FRAME_HEADER_SIZE + MSTP_LEGACY_BUFFER_SIZE];
    const uint32_t shown = len < MSTP_LEGACY_BUFFER_SIZE ? len : MSTP_LEGACY_BUFFER_SIZE;
    memcpy(frame, header, MSTP_FRAME_HEADER_SIZE);
    memcpy(frame + MSTP_FRAME_HEADER_SIZE, buf, shown);
    mstpPktPrint(frame, MSTP_FRAME_HEADER_SIZE + shown);
}

static void traceFrame(const tMstpPort* port, const tMstpFrameHeader* header, const uint8_t* buf,
                       uint32_t len) {
    if (!mstpTracing(MSTP_DEBUG_SEND)) {
        return;
    }
    reportFrame(port, MSTP_FRAME_HEADER_SIZE + len, false);
    if (mstpTracing(MSTP_DEBUG_DUMP)) {
        dumpFrame(header, buf, len);
    }
}

// Header and BPDU go as two pieces of one frame.
static ssize_t sendFrame(const tMstpPort* port, tMstpFrameHeader* header, const uint8_t* buf,
                         uint32_t len) {
    sockaddr_ll address = addressOf(port);
    iovec pieces[2] = {{header, MSTP_FRAME_HEADER_SIZE}, {const_cast<uint8_t*>(buf), len}};
    msghdr message = {};
    message.msg_name = &address;
    message.msg_namelen = sizeof address;
    message.msg_iov = pieces;
    message.msg_iovlen = 2;
    return sendmsg(gMstp.pktSocketFd, &message, MSG_DONTWAIT);
}

int32_t mstpTx(tMstpPort* port, const uint8_t* buf, uint32_t len) {
    if (isStandby()) {
        tracePort(MSTP_DEBUG_SEND, "port %s send pkt in slave mode", port);
        return 0;
    }
    tMstpFrameHeader header = headerOf(port, len);
    traceFrame(port, &header, buf, len);
    if (sendFrame(port, &header, buf, len) < 0) {
        if (mstpTracing(MSTP_DEBUG_REFUSAL)) {
            reportFrame(port, MSTP_FRAME_HEADER_SIZE + len, true);
        }
        return -1;
    }
    return 0;
}
