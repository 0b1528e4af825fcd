// Transmit: the bytes of every kind of BPDU, and when a port may send at all.

#include "mstp_state_machine_procedures.h"
#include "test_roles.h"

namespace {

using Bytes = std::vector<uint8_t>;
using Lines = std::vector<std::string>;

const tMstpBridgeId ROOT = bridgeIdOf(1, 0x11);
const tMstpBridgeId REGIONAL_ROOT = bridgeIdOf(2, 0x22);
const tMstpBridgeId MSTI_ROOT = bridgeIdOf(3, 0x33);

// Port 1 in the CIST and in instances 1 and 2. Every field that a BPDU is made of has a value of
// its own, and no flag is set.
class TransmitProcedures : public RoleProcedures {
  protected:
    TransmitProcedures() {
        port = bridge.port(1);
        cistPort = at(0, 1);
        fill(cistPort, ROOT, REGIONAL_ROOT, 0x01020304, 0x05060708, {1, 21, 16, 3, 18, {}});
        fill(at(1, 1), ROOT, MSTI_ROOT, 0x99999999, 0x0A0B0C0D, {91, 92, 93, 94, 11, {}});
        fill(at(2, 1), ROOT, MSTI_ROOT, 0x99999999, 0x0A0B0C0E, {91, 92, 93, 94, 12, {}});
        cistPort->portTimes = {81, 82, 83, 5, 85, {}};
        cistPort->portId = portIdOf(9, 0x123);
        bridge.bridge->cfgIdFmtSel = 0x5A;
        bridge.bridge->cfgIdRevLevel = 0x1234;
        memset(bridge.bridge->cfgIdName, 'n', sizeof bridge.bridge->cfgIdName);
        memset(bridge.bridge->cfgIdDigest, 0xD1, sizeof bridge.bridge->cfgIdDigest);
        bridge.sw.forget();
    }

    static void fill(tMstpXstPort* xstPort, const tMstpBridgeId& root, const tMstpBridgeId& rRoot,
                     uint32_t extCost, uint32_t intCost, const tMstpTime& times) {
        xstPort->designatedPriority = offerOf(root, extCost, intCost, bridgeIdOf(7, 0x77));
        xstPort->designatedPriority.rRootId = rRoot;
        xstPort->designatedTimes = times;
        xstPort->role = MSTP_DISABLED_PORT;
        xstPort->tcWhile = xstPort->tcAck = xstPort->proposing = 0;
        xstPort->learning = xstPort->forwarding = xstPort->agree = xstPort->master = 0;
    }

    // The BPDU of the one frame that the procedure sent, without frame header.
    Bytes sentBy(void (*procedure)(tMstpPort*)) {
        bridge.sw.sent.clear();
        procedure(port);
        EXPECT_EQ(bridge.sw.sent.size(), 1U);
        if (bridge.sw.sent.empty()) {
            return Bytes(MSTP_MST_BPDU_SIZE);
        }
        const Bytes& frame = bridge.sw.sent[0].bytes;
        return Bytes(frame.begin() + MSTP_FRAME_HEADER_SIZE, frame.end());
    }

    static Bytes slice(const Bytes& bpdu, uint32_t offset, uint32_t size) {
        if (offset + size > bpdu.size()) {
            return {};
        }
        return Bytes(bpdu.begin() + offset, bpdu.begin() + offset + size);
    }

    // The flags of the MST BPDU's CIST part or of its nth MSTI message.
    uint8_t cistFlags() { return sentBy(txMstp)[4]; }
    uint8_t mstiFlags(uint32_t message) { return sentBy(txMstp)[102 + 16 * message]; }

    Lines traced(void (*procedure)(tMstpPort*)) {
        bridge.trace(MSTP_DEBUG_ACTIVITY);
        procedure(port);
        return bridge.sw.traces;
    }

    tMstpPort* port = nullptr;
    tMstpXstPort* cistPort = nullptr;
};

// ---- Topology change notification

TEST_F(TransmitProcedures, TcnIsFourBytes) {
    EXPECT_EQ(sentBy(txTcn), (Bytes{0x00, 0x00, 0x00, 0x80}));
}

TEST_F(TransmitProcedures, TcnTracesItselfBeforeTheSend) {
    EXPECT_EQ(traced(txTcn), (Lines{"port port1 send tcn bpdu", "mstp port port1 send tcn bpdu"}));
}

// ---- Configuration BPDU

TEST_F(TransmitProcedures, ConfigurationBpduIs35Bytes) {
    EXPECT_EQ(sentBy(txConfig), (Bytes{
                                    0x00, 0x00, 0x00, 0x00, // protocol, version, type
                                    0x00,                   // flags
                                    0x10, 0x00, 0x02, 0x00, 0x00, 0x00, 0x00, 0x11, // root
                                    0x01, 0x02, 0x03, 0x04,                         // external cost
                                    0x80, 0x00, 0x00, 0x11, 0x22, 0x33, 0x44, 0x55, // this bridge
                                    0x91, 0x23,                                     // port
                                    0x01, 0x00,                                     // message age
                                    0x15, 0x00,                                     // max age
                                    0x05, 0x00, // hello time of the port
                                    0x10, 0x00, // forward delay
                                }));
}

TEST_F(TransmitProcedures, ConfigurationBpduOfAPortThatAcknowledgesCarriesFlag80) {
    cistPort->tcAck = 1;

    EXPECT_EQ(sentBy(txConfig)[4], 0x80);
}

TEST_F(TransmitProcedures, ConfigurationBpduOfAPortThatAcknowledgesAndWhoseTcWhileRunsCarries81) {
    cistPort->tcAck = 1;
    cistPort->tcWhile = 4;

    EXPECT_EQ(sentBy(txConfig)[4], 0x81);
}

TEST_F(TransmitProcedures, ConfigurationBpduCarriesFlag01WhileTcWhileRuns) {
    cistPort->tcWhile = 1;

    EXPECT_EQ(sentBy(txConfig)[4], 0x01);
}

TEST_F(TransmitProcedures, ConfigurationBpduHasNoOtherFlags) {
    cistPort->role = MSTP_DESIGNATED_PORT;
    cistPort->proposing = cistPort->learning = cistPort->forwarding = cistPort->agree = 1;
    cistPort->master = 1;

    EXPECT_EQ(sentBy(txConfig)[4], 0x00);
}

TEST_F(TransmitProcedures, ConfigurationBpduTakesTheBridgeIdOfTheCist) {
    cist->bridgeId = bridgeIdOf(6, 0x66);

    EXPECT_EQ(slice(sentBy(txConfig), 17, 8), (Bytes{0x60, 0, 2, 0, 0, 0, 0, 0x66}));
}

TEST_F(TransmitProcedures, ConfigurationBpduTracesItselfBeforeTheSend) {
    EXPECT_EQ(traced(txConfig),
              (Lines{"port port1 send stp config bpdu", "mstp port port1 send stp config bpdu"}));
}

// ---- RST BPDU

TEST_F(TransmitProcedures, RstBpduIs36BytesOfVersion2WithoutTheMstFields) {
    bridge.bridge->forceVersion = MSTP_FORCE_DOT1W;

    EXPECT_EQ(sentBy(txMstp), (Bytes{
                                  0x00, 0x00, 0x02, 0x02, // protocol, version, type
                                  0x00,                   // flags
                                  0x10, 0x00, 0x02, 0x00, 0x00, 0x00, 0x00, 0x11, // root
                                  0x01, 0x02, 0x03, 0x04,                         // external cost
                                  0x20, 0x00, 0x02, 0x00, 0x00, 0x00, 0x00, 0x22, // regional root
                                  0x91, 0x23,                                     // port
                                  0x01, 0x00,                                     // message age
                                  0x15, 0x00,                                     // max age
                                  0x03, 0x00, // designated hello time
                                  0x10, 0x00, // forward delay
                                  0x00,       // version 1 length
                              }));
}

TEST_F(TransmitProcedures, RstBpduTracesItselfBeforeTheSend) {
    bridge.bridge->forceVersion = MSTP_FORCE_DOT1W;

    EXPECT_EQ(traced(txMstp),
              (Lines{"port port1 send rstp bpdu", "mstp port port1 send rstp bpdu"}));
}

TEST_F(TransmitProcedures, OtherForcedVersionsSend36BytesOfVersion0AndTraceNothing) {
    for (uint8_t version : {MSTP_FORCE_NOTSTP, MSTP_FORCE_LEGACYDOT1D1998, MSTP_FORCE_UNKNOWN}) {
        bridge.bridge->forceVersion = version;
        bridge.trace(MSTP_DEBUG_ACTIVITY);

        const Bytes bpdu = sentBy(txMstp);

        EXPECT_EQ(bpdu.size(), 36U) << "version " << int{version};
        EXPECT_EQ(slice(bpdu, 0, 4), (Bytes{0, 0, 0, 2})) << "version " << int{version};
        EXPECT_EQ(bridge.sw.traces, Lines{}) << "version " << int{version};
    }
}

TEST_F(TransmitProcedures, TracesNeedTheActivityBit) {
    bridge.trace(~(MSTP_DEBUG_ACTIVITY | MSTP_DEBUG_SEND));

    txTcn(port);
    txConfig(port);
    txMstp(port);

    EXPECT_EQ(bridge.sw.traces, Lines{});
}

TEST_F(TransmitProcedures, FailedSendIsNobodysConcern) {
    port->filtering = 1;

    txTcn(port);
    txConfig(port);
    txMstp(port);

    EXPECT_TRUE(bridge.sw.sent.empty());
}

// ---- MST BPDU

TEST_F(TransmitProcedures, MstBpduCarriesTheCistAndAMessageForEachMsti) {
    cist->bridgeId = bridgeIdOf(6, 0x66);
    at(1, 1)->portId = portIdOf(5, 0x123);

    Bytes expected = {
        0x00, 0x00, 0x03, 0x02,                         // protocol, version, type
        0x00,                                           // flags
        0x10, 0x00, 0x02, 0x00, 0x00, 0x00, 0x00, 0x11, // root
        0x01, 0x02, 0x03, 0x04,                         // external cost
        0x20, 0x00, 0x02, 0x00, 0x00, 0x00, 0x00, 0x22, // regional root
        0x91, 0x23,                                     // port
        0x01, 0x00,                                     // message age
        0x15, 0x00,                                     // max age
        0x03, 0x00,                                     // designated hello time
        0x10, 0x00,                                     // forward delay
        0x00,                                           // version 1 length
        0x00, 0x60,                                     // version 3 length: 64 + 2 * 16
        0x5A,                                           // format selector
    };
    expected.insert(expected.end(), 32, 'n');                        // name
    expected.insert(expected.end(), {0x12, 0x34});                   // revision
    expected.insert(expected.end(), 16, 0xD1);                       // digest
    expected.insert(expected.end(), {0x05, 0x06, 0x07, 0x08});       // internal cost
    expected.insert(expected.end(), {0x60, 0, 2, 0, 0, 0, 0, 0x66}); // this bridge
    expected.insert(expected.end(), {18});                           // hops
    expected.insert(expected.end(), {
                                        0x00,                         // instance 1: flags
                                        0x30, 0, 2, 0, 0, 0, 0, 0x33, // regional root
                                        0x0A, 0x0B, 0x0C, 0x0D,       // internal cost
                                        0x80, 0x50,                   // bridge, port priority
                                        11,                           // hops
                                    });
    expected.insert(expected.end(), {
                                        0x00,                         // instance 2: flags
                                        0x30, 0, 2, 0, 0, 0, 0, 0x33, // regional root
                                        0x0A, 0x0B, 0x0C, 0x0E,       // internal cost
                                        0x80, 0x80,                   // bridge, port priority
                                        12,                           // hops
                                    });
    EXPECT_EQ(sentBy(txMstp), expected);
}

TEST_F(TransmitProcedures, MstBpduOfAPortWithoutMstisHas102BytesAndVersion3Length64) {
    mstpXstDisable(bridge.xst(1));
    mstpXstDisable(bridge.xst(2));

    const Bytes bpdu = sentBy(txMstp);

    EXPECT_EQ(bpdu.size(), 102U);
    EXPECT_EQ(slice(bpdu, 36, 2), (Bytes{0, 64}));
}

TEST_F(TransmitProcedures, MstBpduTracesItselfBeforeTheSend) {
    EXPECT_EQ(traced(txMstp),
              (Lines{"port port1 send mstp bpdu", "mstp port port1 send mstp bpdu"}));
}

TEST_F(TransmitProcedures, MstBpduListsTheMstisInAscendingOrderWhateverOrderTheyCameIn) {
    for (uint32_t xstId : {7U, 4U}) {
        bridge.addInstance(xstId);
    }
    for (uint32_t xstId : {1U, 2U, 4U, 7U}) {
        bridge.xst(xstId)->bridgeId.priority = xstId & 0x0F;
    }
    bridge.sw.forget();

    const Bytes bpdu = sentBy(txMstp);

    EXPECT_EQ(slice(bpdu, 36, 2), (Bytes{0, 64 + 4 * 16}));
    EXPECT_EQ((Bytes{bpdu[115], bpdu[131], bpdu[147], bpdu[163]}), (Bytes{0x10, 0x20, 0x40, 0x70}));
}

TEST(TransmitProceduresAtTheLimit, MstBpduHasRoomFor64MstisAndStopsThere) {
    TestBridge bridge({.xstLimit = 67});
    tMstpPort* port = bridge.addUpPort(1);
    for (uint32_t xstId = 1; xstId < 67; xstId++) {
        bridge.addInstance(xstId);
    }
    bridge.sw.forget();

    txMstp(port);

    ASSERT_EQ(bridge.sw.sent.size(), 1U);
    EXPECT_EQ(bridge.sw.sent[0].bytes.size(), 17U + 102U + 64U * 16U);
    EXPECT_EQ(bridge.sw.sent[0].bytes[17 + 36], (64 + 64 * 16) >> 8);
    EXPECT_EQ(bridge.sw.sent[0].bytes[17 + 37], (64 + 64 * 16) & 0xFF);
}

TEST_F(TransmitProcedures, MstBpduLeavesTheFieldsThatAreNotOnTheWire) {
    tMstpBpdu bpdu{};

    EXPECT_EQ(mstpFillMstp(&bpdu, port), 134U);
    EXPECT_EQ(uint16_t{bpdu.mstiCount}, 0);
    EXPECT_EQ(uint16_t{bpdu.protocolType}, 0);
}

// ---- Snooping

TEST_F(TransmitProcedures, MstBpduOfASnoopingPortCarriesTheSnoopedDigestAndFormatSelector0) {
    port->snoopingEnable = 1;
    memset(port->snoopingCfgIdDigest, 0x5D, sizeof port->snoopingCfgIdDigest);
    tMstpBpdu bpdu{};

    mstpFillMstp(&bpdu, port);

    EXPECT_EQ(bpdu.cfgIdFmtSel, 0);
    EXPECT_EQ(slice(bytesOf(bpdu), 73, 16), Bytes(16, 0x5D));
    EXPECT_EQ(slice(bytesOf(bpdu), 39, 32), Bytes(32, 'n'));
    EXPECT_EQ(slice(bytesOf(bpdu), 71, 2), (Bytes{0x12, 0x34}));
}

TEST_F(TransmitProcedures, SnoopingIsOnAtTheValue1Only) {
    memset(port->snoopingCfgIdDigest, 0x5D, sizeof port->snoopingCfgIdDigest);
    for (uint32_t snooping : {0U, 2U, 3U}) {
        port->snoopingEnable = snooping;

        const Bytes bpdu = sentBy(txMstp);

        EXPECT_EQ(bpdu[38], 0x5A) << "snoopingEnable " << snooping;
        EXPECT_EQ(slice(bpdu, 73, 16), Bytes(16, 0xD1)) << "snoopingEnable " << snooping;
    }
}

// ---- Flags

TEST_F(TransmitProcedures, EachFlagOfTheCistHasItsBit) {
    const auto flagsWith = [this](uint8_t tMstpXstPort::*flag) {
        cistPort->*flag = 1;
        const uint8_t result = cistFlags();
        cistPort->*flag = 0;
        return result;
    };

    EXPECT_EQ(flagsWith(&tMstpXstPort::tcWhile), 0x01);
    EXPECT_EQ(flagsWith(&tMstpXstPort::proposing), 0x02);
    EXPECT_EQ(flagsWith(&tMstpXstPort::learning), 0x10);
    EXPECT_EQ(flagsWith(&tMstpXstPort::forwarding), 0x20);
    EXPECT_EQ(flagsWith(&tMstpXstPort::agree), 0x40);
}

TEST_F(TransmitProcedures, FlagsOfTheCistNeverCarryBit80) {
    cistPort->tcAck = 1;
    cistPort->master = 1;

    EXPECT_EQ(cistFlags(), 0x00);
}

TEST_F(TransmitProcedures, EachFlagOfAnMstiHasItsBit) {
    const auto flagsWith = [this](uint8_t tMstpXstPort::*flag) {
        at(2, 1)->*flag = 1;
        const uint8_t result = mstiFlags(1);
        at(2, 1)->*flag = 0;
        return result;
    };

    EXPECT_EQ(flagsWith(&tMstpXstPort::tcWhile), 0x01);
    EXPECT_EQ(flagsWith(&tMstpXstPort::proposing), 0x02);
    EXPECT_EQ(flagsWith(&tMstpXstPort::learning), 0x10);
    EXPECT_EQ(flagsWith(&tMstpXstPort::forwarding), 0x20);
    EXPECT_EQ(flagsWith(&tMstpXstPort::agree), 0x40);
    EXPECT_EQ(flagsWith(&tMstpXstPort::master), 0x80);
    EXPECT_EQ(flagsWith(&tMstpXstPort::tcAck), 0x00);
}

TEST_F(TransmitProcedures, FlagsGoTogether) {
    cistPort->role = MSTP_DESIGNATED_PORT;
    cistPort->tcWhile = 200;
    cistPort->proposing = cistPort->learning = cistPort->forwarding = cistPort->agree = 1;

    EXPECT_EQ(cistFlags(), 0x7F);
}

TEST_F(TransmitProcedures, FlagsOfOneInstanceAreNotThoseOfAnother) {
    at(1, 1)->agree = 1;

    EXPECT_EQ(cistFlags(), 0x00);
    EXPECT_EQ(mstiFlags(0), 0x40);
    EXPECT_EQ(mstiFlags(1), 0x00);
}

TEST_F(TransmitProcedures, EachRoleHasItsTwoBitsInCistAndMsti) {
    const std::vector<std::pair<uint8_t, uint8_t>> bitsOfRoles = {
        {MSTP_DISABLED_PORT, 0x00}, {MSTP_ALTERNATE_PORT, 0x04},  {MSTP_BACKUP_PORT, 0x04},
        {MSTP_ROOT_PORT, 0x08},     {MSTP_DESIGNATED_PORT, 0x0C}, {MSTP_MASTER_PORT, 0x00},
        {MSTP_NONSTP_PORT, 0x00},   {MSTP_UNKNOWN_PORT, 0x00},
    };
    for (const auto& [role, bits] : bitsOfRoles) {
        cistPort->role = at(1, 1)->role = role;
        EXPECT_EQ(cistFlags(), bits) << "role " << int{role};
        EXPECT_EQ(mstiFlags(0), bits) << "role " << int{role};
    }
}

TEST_F(TransmitProcedures, RoleIsTheOneTakenAndNotTheOneSelected) {
    cistPort->role = MSTP_ROOT_PORT;
    cistPort->selectedRole = MSTP_DESIGNATED_PORT;

    EXPECT_EQ(cistFlags(), 0x08);
}

TEST_F(TransmitProcedures, MasterPortsMstiMessageHasBit80AndRoleBits0) {
    at(1, 1)->role = MSTP_MASTER_PORT;
    at(1, 1)->master = 1;

    EXPECT_EQ(mstiFlags(0), 0x80);
}

TEST_F(TransmitProcedures, DisabledRoleGivesRoleBits0) {
    at(1, 1)->role = MSTP_DISABLED_PORT;

    EXPECT_EQ(mstiFlags(0), 0x00);
}

TEST_F(TransmitProcedures, PrioritiesOfAnMstiAreTheUpperFourBitsOfItsIdentifiers) {
    msti->bridgeId.priority = 0xF;
    mstpBridgeIdSetExtension(&msti->bridgeId, 0xFFF);
    at(1, 1)->portId = portIdOf(0xA, 0xFFF);

    EXPECT_EQ(slice(sentBy(txMstp), 115, 2), (Bytes{0xF0, 0xA0}));
}

// ---- updtAllTransmitReady

class AllTransmitReady : public RoleProcedures {
  protected:
    AllTransmitReady() {
        setFlags(&tMstpXstPort::selected, 1);
        setFlags(&tMstpXstPort::updtInfo, 0);
    }

    uint8_t ready() {
        tMstpPort* port = bridge.port(1);
        port->allTransmitReady = 2;
        updtAllTransmitReady(port);
        return port->allTransmitReady;
    }
};

TEST_F(AllTransmitReady, IsSetWhenEveryInstanceIsSelectedAndUpToDate) {
    EXPECT_EQ(ready(), 1);
}

TEST_F(AllTransmitReady, IsClearedByAnyInstanceThatIsNotSelected) {
    for (uint32_t xstId = 0; xstId < 3; xstId++) {
        setFlags(&tMstpXstPort::selected, 1);
        at(xstId, 1)->selected = 0;
        EXPECT_EQ(ready(), 0) << "instance " << xstId;
    }
}

TEST_F(AllTransmitReady, IsClearedByAnyInstanceWithInformationToUpdate) {
    for (uint32_t xstId = 0; xstId < 3; xstId++) {
        setFlags(&tMstpXstPort::updtInfo, 0);
        at(xstId, 1)->updtInfo = 1;
        EXPECT_EQ(ready(), 0) << "instance " << xstId;
    }
}

TEST_F(AllTransmitReady, LooksAtNoOtherPort) {
    at(0, 2)->selected = 0;

    EXPECT_EQ(ready(), 1);
}

TEST_F(AllTransmitReady, PortInNoInstanceIsReady) {
    listInit(&bridge.port(1)->xstPortList);

    EXPECT_EQ(ready(), 1);
}

} // namespace
