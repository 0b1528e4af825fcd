#pragma once

/// A bridge with instances and ports, identifiers and priority vectors for tests of roles.

#include <cstdint>
#include <cstring>
#include <vector>

#include "mstp/records.h"
#include "test_bridge.h"

/// The bytes of a record, to be compared and printed.
template <class Record> std::vector<uint8_t> bytesOf(const Record& record) {
    std::vector<uint8_t> bytes(sizeof record);
    memcpy(bytes.data(), &record, sizeof record);
    return bytes;
}

/// Bridge identifier PX XX 02 00 00 00 00 LL. Against the test bridge (80 00 00 11 22 33 44 55) one
/// of priority 8 is worse and one of a smaller priority is better.
inline tMstpBridgeId bridgeIdOf(uint8_t priority, uint8_t last) {
    tMstpBridgeId id = {};
    id.priority = priority & 0x0F;
    id.mac[0] = 0x02;
    id.mac[5] = last;
    return id;
}

inline tMstpPortId portIdOf(uint8_t priority, uint32_t number) {
    tMstpPortId id = {};
    id.priority = priority & 0x0F;
    mstpPortIdSetNumber(&id, number);
    return id;
}

/// A vector with a root that is its own regional root, sent by @p sender from its port 1.
inline tMstpPriorityVector offerOf(const tMstpBridgeId& root, uint32_t extCost, uint32_t intCost,
                                   const tMstpBridgeId& sender) {
    tMstpPriorityVector offer = {};
    offer.rootId = root;
    offer.extRootPathCost = extCost;
    offer.rRootId = root;
    offer.intRootPathCost = intCost;
    offer.designatedBridgeId = sender;
    offer.designatedPortId = portIdOf(8, 1);
    return offer;
}

/// Times of a received message, none of them a bridge's default.
inline constexpr tMstpTime HEARD_TIMES = {3, 22, 17, 4, 12, {}};

enum class From { INSIDE, OUTSIDE };

/// Makes @p offer the information that the instance port received, from inside or outside the
/// region.
inline void hear(tMstpXstPort* xstPort, const tMstpPriorityVector& offer, From from) {
    const uint8_t internal = from == From::INSIDE ? 1 : 0;
    xstPort->infoIs = MSTP_RECEIVED;
    xstPort->host->rcvdInternal = internal;
    xstPort->host->infoInternal = internal;
    xstPort->msgPriority = offer;
    xstPort->msgPriority.rcvPortId = xstPort->portId;
    xstPort->portPriority = xstPort->msgPriority;
    xstPort->portTimes = HEARD_TIMES;
}

using Flags = std::vector<uint8_t>;

/// Ports 1 and 2 up, port 3 down, in the CIST and in instances 1 and 2.
class RoleProcedures : public testing::Test {
  protected:
    RoleProcedures() {
        bridge.addInstance(1);
        bridge.addInstance(2);
        bridge.addUpPort(1);
        bridge.addUpPort(2);
        bridge.addDownPort(3);
        cist = bridge.xst(0);
        msti = bridge.xst(1);
    }

    tMstpXstPort* at(uint32_t xstId, uint32_t unit) { return bridge.xstPort(xstId, unit); }

    /// One flag of ports 1, 2 and 3 in an instance.
    std::vector<uint8_t> flags(uint32_t xstId, uint8_t tMstpXstPort::*flag) {
        return {at(xstId, 1)->*flag, at(xstId, 2)->*flag, at(xstId, 3)->*flag};
    }

    void setFlags(uint8_t tMstpXstPort::*flag, uint8_t value) {
        for (uint32_t xstId = 0; xstId < 3; xstId++) {
            for (uint32_t unit = 1; unit <= 3; unit++) {
                at(xstId, unit)->*flag = value;
            }
        }
    }

    TestBridge bridge;
    tMstpXst* cist = nullptr;
    tMstpXst* msti = nullptr;
};
