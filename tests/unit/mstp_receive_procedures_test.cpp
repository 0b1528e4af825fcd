// Receive procedures: the version heard and the sender's region.

#include <cstring>

#include "machine_test.h"
#include "mstp_state_machine_procedures.h"
#include "receive_test.h"

using testing::ElementsAre;

namespace {

// ---- Version

class UpdtBpduVersion : public MachineTest {
  protected:
    // Hands on a BPDU of @p type and tells rcvdRSTP and rcvdSTP.
    std::pair<int, int> after(uint8_t type, uint8_t version = 0) {
        tMstpBpdu bpdu = {};
        bpdu.bpduType = type;
        bpdu.protocolVersionId = version;
        updtBPDUVersion(port, &bpdu);
        return {port->rcvdRSTP, port->rcvdSTP};
    }
};

TEST_F(UpdtBpduVersion, ConfigurationBpduIsStp) {
    EXPECT_EQ(after(MSTP_BPDU_CONFIG), std::make_pair(0, 1));
}

TEST_F(UpdtBpduVersion, TcnBpduIsStp) {
    EXPECT_EQ(after(MSTP_BPDU_TCN), std::make_pair(0, 1));
}

TEST_F(UpdtBpduVersion, RstAndMstBpdusAreRstp) {
    EXPECT_EQ(after(MSTP_BPDU_RST), std::make_pair(1, 0));
}

TEST_F(UpdtBpduVersion, OtherTypesAreNeither) {
    EXPECT_EQ(after(0x01), std::make_pair(0, 0));
}

TEST_F(UpdtBpduVersion, VersionFieldIsNotLookedAt) {
    EXPECT_EQ(after(MSTP_BPDU_CONFIG, 3), std::make_pair(0, 1));
    port->rcvdSTP = 0;
    EXPECT_EQ(after(MSTP_BPDU_TCN, 2), std::make_pair(0, 1));
    port->rcvdSTP = 0;
    EXPECT_EQ(after(MSTP_BPDU_RST, 0), std::make_pair(1, 0));
}

TEST_F(UpdtBpduVersion, NothingIsCleared) {
    port->rcvdRSTP = port->rcvdSTP = 1;
    EXPECT_EQ(after(MSTP_BPDU_CONFIG), std::make_pair(1, 1));
    EXPECT_EQ(after(MSTP_BPDU_TCN), std::make_pair(1, 1));
    EXPECT_EQ(after(MSTP_BPDU_RST), std::make_pair(1, 1));
}

// ---- Region

class FromSameRegion : public MachineTest {
  protected:
    FromSameRegion() : bpdu(parsed(testbpdu::mst(0))) {
        port->rcvdRSTP = 1;
        bridge.bridge->cfgIdRevLevel = 0x1234;
        bpdu.cfgIdRevLevel = mstpBig16(0x1234);
        mstpBridgeDigest(bridge.bridge);
        memset(port->snoopingCfgIdDigest, 0, sizeof port->snoopingCfgIdDigest);
    }

    int32_t sameRegion() { return fromSameRegion(port, &bpdu); }
    void snoop(uint32_t enable) { port->snoopingEnable = enable; }

    bool digestSnooped() const {
        return memcmp(port->snoopingCfgIdDigest, bpdu.cfgIdDigest, 16) == 0;
    }

    tMstpBpdu bpdu;
};

TEST_F(FromSameRegion, SameIdentifierIsTheSameRegion) {
    EXPECT_EQ(sameRegion(), 1);
}

TEST_F(FromSameRegion, WithoutRstpHeardItIsAnother) {
    port->rcvdRSTP = 0;
    EXPECT_EQ(sameRegion(), 0);
}

TEST_F(FromSameRegion, BridgeForcedBelowMstpIsInNone) {
    for (const uint8_t version :
         {MSTP_FORCE_NOTSTP, MSTP_FORCE_LEGACYDOT1D1998, MSTP_FORCE_DOT1W}) {
        bridge.bridge->forceVersion = version;
        EXPECT_EQ(sameRegion(), 0) << int{version};
    }
}

TEST_F(FromSameRegion, BpduThatIsNotMstIsFromAnother) {
    for (const uint16_t type :
         {MSTP_PROTOCOL_TYPE_RSTP, MSTP_PROTOCOL_TYPE_CONFIG, MSTP_PROTOCOL_TYPE_TCN}) {
        bpdu.protocolType = mstpBig16(type);
        EXPECT_EQ(sameRegion(), 0) << type;
    }
}

TEST_F(FromSameRegion, EitherByteOfTheRevisionLevelCounts) {
    bpdu.cfgIdRevLevel = mstpBig16(0x1235);
    EXPECT_EQ(sameRegion(), 0);
    bpdu.cfgIdRevLevel = mstpBig16(0x1334);
    EXPECT_EQ(sameRegion(), 0);
}

TEST_F(FromSameRegion, RevisionLevelTravelsBigEndian) {
    uint8_t bytes[2];
    memcpy(bytes, &bpdu.cfgIdRevLevel, sizeof bytes);
    EXPECT_THAT(bytes, ElementsAre(0x12, 0x34));
    EXPECT_EQ(sameRegion(), 1);
}

TEST_F(FromSameRegion, AllThirtyTwoBytesOfTheNameCount) {
    for (const size_t at : {0U, 3U, 31U}) {
        bpdu.cfgIdName[at] ^= 0x20;
        EXPECT_EQ(sameRegion(), 0) << at;
        bpdu.cfgIdName[at] ^= 0x20;
    }
}

TEST_F(FromSameRegion, FormatSelectorCounts) {
    bpdu.cfgIdFmtSel = 1;
    EXPECT_EQ(sameRegion(), 0);
    bridge.bridge->cfgIdFmtSel = 1;
    EXPECT_EQ(sameRegion(), 1);
}

TEST_F(FromSameRegion, AllSixteenBytesOfTheDigestCount) {
    for (const size_t at : {0U, 15U}) {
        bpdu.cfgIdDigest[at] ^= 1;
        EXPECT_EQ(sameRegion(), 0) << at;
        bpdu.cfgIdDigest[at] ^= 1;
    }
}

TEST_F(FromSameRegion, WithoutSnoopingNoDigestIsTaken) {
    for (const uint32_t enable : {0U, 2U}) {
        snoop(enable);
        EXPECT_EQ(sameRegion(), 1);
        EXPECT_FALSE(digestSnooped());
        bpdu.cfgIdDigest[0] ^= 1;
        EXPECT_EQ(sameRegion(), 0);
        bpdu.cfgIdDigest[0] ^= 1;
    }
}

TEST_F(FromSameRegion, WithSnoopingANeighbourWithAnotherDigestIsInTheSameRegion) {
    snoop(1);
    bpdu.cfgIdDigest[7] ^= 1;
    EXPECT_EQ(sameRegion(), 1);
    EXPECT_TRUE(digestSnooped());
}

TEST_F(FromSameRegion, WithSnoopingANeighbourWithAnotherFormatSelectorIsInTheSameRegion) {
    snoop(1);
    bpdu.cfgIdFmtSel = 1;
    EXPECT_EQ(sameRegion(), 1);
    EXPECT_TRUE(digestSnooped());
}

TEST_F(FromSameRegion, SnoopingLeavesTheBridgesDigestAlone) {
    const testbpdu::Bytes before = testbpdu::bytesOf(bridge.bridge->cfgIdDigest);
    snoop(1);
    bpdu.cfgIdDigest[7] ^= 1;
    sameRegion();
    EXPECT_EQ(testbpdu::bytesOf(bridge.bridge->cfgIdDigest), before);
}

TEST_F(FromSameRegion, SnoopingExcusesNothingElse) {
    snoop(1);
    bpdu.cfgIdName[0] ^= 1;
    EXPECT_EQ(sameRegion(), 0);
    bpdu.cfgIdName[0] ^= 1;
    bpdu.cfgIdRevLevel ^= 1;
    EXPECT_EQ(sameRegion(), 0);
    bpdu.cfgIdRevLevel ^= 1;
    bpdu.protocolType = mstpBig16(MSTP_PROTOCOL_TYPE_RSTP);
    EXPECT_EQ(sameRegion(), 0);
    bpdu.protocolType = MSTP_PROTOCOL_TYPE_MSTP;
    bridge.bridge->forceVersion = MSTP_FORCE_DOT1W;
    EXPECT_EQ(sameRegion(), 0);
    bridge.bridge->forceVersion = MSTP_FORCE_ATUODOT1S;
    port->rcvdRSTP = 0;
    EXPECT_EQ(sameRegion(), 0);
    EXPECT_FALSE(digestSnooped());
}

} // namespace
