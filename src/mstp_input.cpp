// The way of a BPDU into the bridge. It is refused on a port that does not take part, checked,
// counted and offered to the features that judge a port by what it hears; what is left drives the
// machines, first the port's and then the bridge's.
//
// BPDU guard: an edge port expects no bridge behind it, so one that hears a BPDU stops forwarding
// until it has been silent for the hold time. Peer detection: a link between two bridges always
// brings BPDUs of one neighbour. A second one means a shared medium, on which the rapid handshake
// of 13.26 would be unsafe, so the port is not point-to-point for a while.
//
// A redundant system has a standby control unit that follows the protocol without sending: every
// received BPDU is mirrored to it and enters there as if it had been received.

#include <cstring>

#include "mstp/context.h"
#include "mstp_bpdu.h"
#include "mstp_bridge.h"
#include "mstp_debug.h"
#include "mstp_io.h"
#include "mstp_nm.h"
#include "mstp_port.h"
#include "mstp_port_receive_state_machine.h"
#include "mstp_port_timers_state_machine.h"
#include "mstp_state_machine_procedures.h"
#include "mstp_trace.h"
#include "platform/hardware.h"

static constexpr uint32_t P2P_HOLD_HELLO_TIMES = 3;

// ---- counting

int32_t mstpCountReceived(tMstpPort* port, uint16_t protocolType) {
    switch (protocolType) {
    case MSTP_PROTOCOL_TYPE_TCN:
        port->rxTcnBpdu++;
        tracePort(MSTP_DEBUG_ACTIVITY, "mstp port %s recv tcn bpdu", port);
        return 0;
    case MSTP_PROTOCOL_TYPE_CONFIG:
        port->rxCfgBpdu++;
        tracePort(MSTP_DEBUG_ACTIVITY, "mstp port %s recv stp config bpdu", port);
        return 0;
    case MSTP_PROTOCOL_TYPE_RSTP:
        port->rxRstBpdu++;
        tracePort(MSTP_DEBUG_ACTIVITY, "mstp port %s recv rstp bpdu", port);
        return 0;
    case MSTP_PROTOCOL_TYPE_MSTP:
        port->rxMstBpdu++;
        tracePort(MSTP_DEBUG_ACTIVITY, "mstp port %s recv mstp bpdu", port);
        return 0;
    default:
        // This text alone asks for a number: the unit stands for the port.
        if (mstpTracing(MSTP_DEBUG_ACTIVITY)) {
            mstpDebug("mstp port %d recv unknown bpdu", static_cast<int32_t>(port->unit));
        }
        return -1;
    }
}

// ---- BPDU guard

static bool isGuarded(const tMstpPort* port) {
    return port->bridge->bpduGuard != 0 && port->adminEdge != 0;
}

// Every further BPDU starts the hold anew. A hold time of -1 becomes a delay that outlives any
// uptime: only management releases the port then.
static void holdGuardedPort(tMstpPort* port) {
    for (tMstpXstPort* xstPort : xstPortsOf(port)) {
        if (xstPort->hwState != MSTP_PORT_STATE_DISCARDING) {
            disableForwarding(xstPort);
        }
    }
    const uint32_t seconds = static_cast<uint32_t>(port->bridge->bpduGuardTime);
    mstpRestartTimer(&port->bpduGuardTimer, seconds * TIMER_TICKS_PER_SECOND, mstpBpduGuardExpired,
                     port);
    reportPort("port %s is bpdu guarding,drop any bpdu", port);
}

// ---- peer detection

// The sender's MAC address, inside its bridge identifier: where that stands depends on the form.
static const uint8_t* peerOf(const tMstpBpdu* bpdu) {
    return bpdu->protocolVersionId < MSTP_VERSION_MSTP ? bpdu->regionalRootId.mac
                                                       : bpdu->bridgeId.mac;
}

static bool knowsPeer(const tMstpPort* port) {
    static constexpr uint8_t NO_PEER[MSTP_MAC_SIZE] = {};
    return memcmp(port->lastPeer, NO_PEER, MSTP_MAC_SIZE) != 0;
}

static void holdSharedPort(tMstpPort* port) {
    port->operPointToPointMAC = 0;
    mstpRestartTimer(&port->p2pHoldTimer,
                     port->helloWhen * P2P_HOLD_HELLO_TIMES * TIMER_TICKS_PER_SECOND,
                     mstpP2pHoldExpired, port);
}

static void detectPeer(tMstpPort* port, const tMstpBpdu* bpdu) {
    const uint8_t* peer = peerOf(bpdu);
    if (memcmp(peer, port->lastPeer, MSTP_MAC_SIZE) == 0 || mstpRemain(&port->p2pHoldTimer) != 0) {
        return;
    }
    if (knowsPeer(port)) {
        holdSharedPort(port);
    }
    memcpy(port->lastPeer, peer, MSTP_MAC_SIZE);
}

// A topology change notification names no sender.
static bool namesPeer(const tMstpBpdu* bpdu) {
    return bpdu->protocolType != mstpBig16(MSTP_PROTOCOL_TYPE_TCN);
}

// ---- input

static bool takesBpdus(const tMstpPort* port) {
    if (port->state != MSTP_SLOT_IN_USE) {
        tracePort(MSTP_DEBUG_REFUSAL, "port %s invalid", port);
        return false;
    }
    if (port->filtering != 0) {
        reportPort("port %s is bpdu filtering,drop any bpdu", port);
        return false;
    }
    return true;
}

static void drive(tMstpPort* port, tMstpBpdu* bpdu) {
    mstpPortReceiveFSM(port, bpdu);
    mstpBridgePortFSM(port);
    mstpBridgeFSM(port->bridge);
}

int32_t mstpInput(tMstpPort* port, const uint8_t* buf, uint32_t len) {
    if (!takesBpdus(port)) {
        return -1;
    }
    tMstpBpdu bpdu;
    if (mstpParse(&bpdu, buf, len) != 0) {
        tracePort(MSTP_DEBUG_REFUSAL, "port %s recv packet invalid", port);
        return -1;
    }
    if (mstpCountReceived(port, mstpBig16(bpdu.protocolType)) != 0) {
        return -1;
    }
    port->rcvdBpdu = 1;
    if (isGuarded(port)) {
        holdGuardedPort(port);
        return -1;
    }
    port->operPointToPointMAC = port->adminPointToPointMAC;
    if (port->bridge->p2pDetection != 0 && namesPeer(&bpdu)) {
        detectPeer(port, &bpdu);
    }
    drive(port, &bpdu);
    return 0;
}

// ---- the peer control unit

// A mirrored BPDU: three words, most significant byte first, and the bytes as received.
struct tMstpSyncHeader {
    uint32_t bridgeId;
    uint32_t unit;
    uint32_t reserved;
};
static_assert(sizeof(tMstpSyncHeader) == MSTP_SYNC_HEADER_SIZE);

static constexpr uint32_t SYNC_MESSAGE_SIZE = 2048;
static constexpr uint32_t SYNC_ATTRIBUTE = uint32_t{MSTP_GEN_SYNC_BASE} + MSTP_GEN_SYNC;
static constexpr uint32_t SYNC_FLAG = KEL_SYNC_OCTETS | 2;

int32_t mstpRxSync(uint32_t bridgeId, uint32_t unit, const uint8_t* pbuf, uint32_t len) {
    uint8_t message[SYNC_MESSAGE_SIZE];
    if (len > SYNC_MESSAGE_SIZE - MSTP_SYNC_HEADER_SIZE) {
        return 0; // longer than any BPDU
    }
    const tMstpSyncHeader header = {mstpBig32(bridgeId), mstpBig32(unit), 0};
    memcpy(message, &header, MSTP_SYNC_HEADER_SIZE);
    memcpy(message + MSTP_SYNC_HEADER_SIZE, pbuf, len);
    octetstring octets = {reinterpret_cast<int8_t*>(message), MSTP_SYNC_HEADER_SIZE + len};
    kelHwScalarSync(0, SYNC_ATTRIBUTE, &octets, SYNC_FLAG);
    return 0;
}

int32_t mstpSyncRx(octetstring* octet) {
    if (octet->len < MSTP_SYNC_HEADER_SIZE) {
        return -1;
    }
    tMstpSyncHeader header;
    memcpy(&header, octet->pBuf, MSTP_SYNC_HEADER_SIZE);
    tMstpBridge* bridge = mstpBridgeGet(mstpBig32(header.bridgeId));
    tMstpPort* port = mstpBridgePortGet(bridge, mstpBig32(header.unit));
    if (port == nullptr) {
        return -1;
    }
    mstpInput(port, octetBytes(octet) + MSTP_SYNC_HEADER_SIZE, octet->len - MSTP_SYNC_HEADER_SIZE);
    return 0;
}
