// The way out: what refuses a BPDU, how it is counted, the frame's bytes, the address record, and
// the standby unit's silence.

#include <arpa/inet.h>
#include <sys/socket.h>

#include "mstp/bpdu.h"
#include "mstp_io.h"
#include "test_bpdu.h"
#include "test_bridge.h"

using testbpdu::Bytes;
using testbpdu::put;
using testbpdu::put16;
using testbpdu::slice;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

const Bytes CUSTOMER = {0x01, 0x80, 0xC2, 0x00, 0x00, 0x00};
const Bytes PROVIDER = {0x01, 0x80, 0xC2, 0x00, 0x00, 0x08};

class Output : public ::testing::Test {
  protected:
    void SetUp() override {
        bridge.sw.add(7);
        port = mstpBridgePortAdd(bridge.bridge, 7);
        bridge.sw.forget();
        gMstp.debug = 0;
    }

    int32_t output(const Bytes& bytes) { return output(bytes, bytes.size()); }

    int32_t output(const Bytes& bytes, size_t length) {
        Bytes room = bytes;
        room.resize(sizeof(tMstpBpdu));
        return mstpOutput(port, reinterpret_cast<tMstpBpdu*>(room.data()),
                          static_cast<uint32_t>(length));
    }

    // What follows the frame's header.
    Bytes sentBpdu() {
        EXPECT_EQ(bridge.sw.sent.size(), 1u);
        const Bytes& frame = bridge.sw.sent.back().bytes;
        return slice(frame, 17, frame.size() - 17);
    }

    void expectCounters(uint32_t tcn, uint32_t config, uint32_t rst, uint32_t mst) {
        EXPECT_EQ(port->txTcnBpdu, tcn);
        EXPECT_EQ(port->txCfgBpdu, config);
        EXPECT_EQ(port->txRstBpdu, rst);
        EXPECT_EQ(port->txMstBpdu, mst);
    }

    TestBridge bridge;
    tMstpPort* port = nullptr;
};

class Transmit : public Output {};

// ---- refusals

TEST_F(Output, FilteringPortRefusesWithoutATrace) {
    port->filtering = 1;
    bridge.trace(0xFFFFFFFF);
    EXPECT_EQ(output(testbpdu::rst()), -1);
    EXPECT_THAT(bridge.sw.traces, IsEmpty());
    EXPECT_THAT(bridge.sw.sent, IsEmpty());
    expectCounters(0, 0, 0, 0);
}

TEST_F(Output, FilterIsLookedAtBeforeThePortsState) {
    port->filtering = 2;
    port->state = MSTP_SLOT_DISABLED;
    bridge.trace(MSTP_DEBUG_REFUSAL);
    EXPECT_EQ(output(testbpdu::rst()), -1);
    EXPECT_THAT(bridge.sw.traces, IsEmpty());
}

TEST_F(Output, PortThatIsNotInUseIsRefused) {
    for (const uint8_t state : {MSTP_SLOT_FREE, MSTP_SLOT_DISABLED}) {
        port->state = state;
        bridge.trace(MSTP_DEBUG_REFUSAL);
        EXPECT_EQ(output(testbpdu::rst()), -1);
        EXPECT_THAT(bridge.sw.traces, ElementsAre("port port7 invalid"));
    }
    EXPECT_THAT(bridge.sw.sent, IsEmpty());
    expectCounters(0, 0, 0, 0);
    port->state = MSTP_SLOT_IN_USE;
}

TEST_F(Output, InvalidPortIsTracedUnderItsBitOnly) {
    port->state = MSTP_SLOT_DISABLED;
    bridge.trace(~MSTP_DEBUG_REFUSAL);
    EXPECT_EQ(output(testbpdu::rst()), -1);
    EXPECT_THAT(bridge.sw.traces, IsEmpty());
    port->state = MSTP_SLOT_IN_USE;
}

// ---- counting

TEST_F(Output, TopologyChangeNotificationIsCountedAndTraced) {
    bridge.trace(MSTP_DEBUG_ACTIVITY);
    EXPECT_EQ(output(testbpdu::tcn()), 0);
    expectCounters(1, 0, 0, 0);
    EXPECT_THAT(bridge.sw.traces, ElementsAre("mstp port port7 send tcn bpdu"));
    EXPECT_EQ(sentBpdu(), testbpdu::tcn());
}

TEST_F(Output, ConfigurationBpduIsCountedAndTraced) {
    bridge.trace(MSTP_DEBUG_ACTIVITY);
    EXPECT_EQ(output(testbpdu::config()), 0);
    expectCounters(0, 1, 0, 0);
    EXPECT_THAT(bridge.sw.traces, ElementsAre("mstp port port7 send stp config bpdu"));
    EXPECT_EQ(sentBpdu(), testbpdu::config());
}

TEST_F(Output, RstBpduIsCountedAndTraced) {
    bridge.trace(MSTP_DEBUG_ACTIVITY);
    EXPECT_EQ(output(testbpdu::rst()), 0);
    expectCounters(0, 0, 1, 0);
    EXPECT_THAT(bridge.sw.traces, ElementsAre("mstp port port7 send rstp bpdu"));
    EXPECT_EQ(sentBpdu(), testbpdu::rst());
}

TEST_F(Output, MstBpduIsCountedAndTraced) {
    bridge.trace(MSTP_DEBUG_ACTIVITY);
    EXPECT_EQ(output(testbpdu::mst(2)), 0);
    expectCounters(0, 0, 0, 1);
    EXPECT_THAT(bridge.sw.traces, ElementsAre("mstp port port7 send mstp bpdu"));
    EXPECT_EQ(sentBpdu(), testbpdu::mst(2));
}

TEST_F(Output, KindsAreTracedUnderTheirBitOnly) {
    bridge.trace(~(MSTP_DEBUG_ACTIVITY | MSTP_DEBUG_SEND));
    for (const Bytes& bpdu :
         {testbpdu::tcn(), testbpdu::config(), testbpdu::rst(), testbpdu::mst(0)}) {
        EXPECT_EQ(output(bpdu), 0);
    }
    EXPECT_THAT(bridge.sw.traces, IsEmpty());
    expectCounters(1, 1, 1, 1);
}

TEST_F(Output, RstTypeOfAnotherVersionIsSentUncounted) {
    bridge.trace(MSTP_DEBUG_ACTIVITY);
    for (const int version : {0, 1, 4}) {
        Bytes bytes = testbpdu::rst();
        put(bytes, 2, {version});
        bridge.sw.sent.clear();
        EXPECT_EQ(output(bytes), 0);
        EXPECT_EQ(sentBpdu(), bytes);
    }
    expectCounters(0, 0, 0, 0);
    EXPECT_THAT(bridge.sw.traces, IsEmpty());
}

TEST_F(Output, UnknownTypeIsSentUncounted) {
    Bytes bytes = testbpdu::rst();
    put(bytes, 3, {0x77});
    EXPECT_EQ(output(bytes), 0);
    EXPECT_EQ(sentBpdu(), bytes);
    expectCounters(0, 0, 0, 0);
}

TEST_F(Output, VersionOfANotificationOrConfigurationBpduIsNotLookedAt) {
    Bytes tcn = testbpdu::tcn();
    put(tcn, 2, {3});
    Bytes config = testbpdu::config();
    put(config, 2, {2});
    EXPECT_EQ(output(tcn), 0);
    EXPECT_EQ(output(config), 0);
    expectCounters(1, 1, 0, 0);
}

TEST_F(Output, FailedSendIsReportedButCounted) {
    bridge.sw.results["sendmsg:packet"] = -1;
    EXPECT_EQ(output(testbpdu::rst()), -1);
    expectCounters(0, 0, 1, 0);
}

// ---- the pre-standard form

TEST_F(Output, PreStandardNeighbourGetsMstBpdusInItsForm) {
    port->snoopingEnable = 1;
    EXPECT_EQ(output(testbpdu::mst(2)), 0);
    EXPECT_EQ(sentBpdu(), testbpdu::legacyMst(2));
    expectCounters(0, 0, 0, 1);
}

TEST_F(Output, PreStandardNeighbourGetsRstBpdusInStandardForm) {
    port->snoopingEnable = 1;
    EXPECT_EQ(output(testbpdu::rst()), 0);
    EXPECT_EQ(sentBpdu(), testbpdu::rst());
}

TEST_F(Output, PreStandardNeighbourGetsOtherKindsInStandardForm) {
    port->snoopingEnable = 1;
    for (const Bytes& plain : {testbpdu::tcn(), testbpdu::config(), testbpdu::mst(1)}) {
        Bytes bytes = plain;
        put(bytes, 2, {plain.size() > 102 ? 4 : 3});
        bridge.sw.sent.clear();
        EXPECT_EQ(output(bytes), 0);
        EXPECT_EQ(sentBpdu(), bytes);
    }
}

TEST_F(Output, BpduThatHasNoPreStandardFormIsSentInStandardForm) {
    port->snoopingEnable = 1;
    Bytes bytes = testbpdu::mst(0);
    put16(bytes, 36, 48);
    EXPECT_EQ(output(bytes), 0);
    EXPECT_EQ(sentBpdu(), bytes);
}

TEST_F(Output, PreStandardFormIsSpokenOnlyWhileSnoopingIs1) {
    for (const uint32_t snooping : {0u, 2u, 0x101u}) {
        port->snoopingEnable = snooping;
        bridge.sw.sent.clear();
        EXPECT_EQ(output(testbpdu::mst(1)), 0);
        EXPECT_EQ(sentBpdu(), testbpdu::mst(1));
    }
}

TEST_F(Output, FailedSendOfThePreStandardFormIsReported) {
    port->snoopingEnable = 1;
    bridge.sw.results["sendmsg:packet"] = -1;
    EXPECT_EQ(output(testbpdu::mst(1)), -1);
}

// ---- the frame

TEST_F(Transmit, NotificationOf4BytesGivesAFrameOf21BytesWithLength7) {
    EXPECT_EQ(output(testbpdu::tcn()), 0);
    ASSERT_EQ(bridge.sw.sent.size(), 1u);
    EXPECT_EQ(bridge.sw.sent[0].bytes,
              (Bytes{0x01, 0x80, 0xC2, 0x00, 0x00, 0x00, 0x00, 0x11, 0x22, 0x33, 0x44,
                     0x55, 0x00, 0x07, 0x42, 0x42, 0x03, 0x00, 0x00, 0x00, 0x80}));
}

TEST_F(Transmit, LengthFieldHoldsBothBytes) {
    const Bytes bpdu(1000, 0x5A);
    EXPECT_EQ(mstpTx(port, bpdu.data(), 1000), 0);
    const Bytes& frame = bridge.sw.sent.at(0).bytes;
    EXPECT_EQ(frame.size(), 1017u);
    EXPECT_EQ(slice(frame, 12, 2), (Bytes{0x03, 0xEB}));
    EXPECT_EQ(slice(frame, 17, 1000), bpdu);
}

TEST_F(Transmit, CustomerBridgeSendsToItsGroupAddress) {
    EXPECT_EQ(output(testbpdu::rst()), 0);
    const sim::Frame& frame = bridge.sw.sent.at(0);
    EXPECT_EQ(slice(frame.bytes, 0, 6), CUSTOMER);
    EXPECT_EQ(Bytes(frame.address.sll_addr, frame.address.sll_addr + 6), CUSTOMER);
    EXPECT_EQ(frame.address.sll_protocol, htons(0x0042));
}

TEST_F(Transmit, ProviderBridgeSendsToItsGroupAddressWithProtocol0842) {
    bridge.bridge->type = MSTP_BRIDGE_PROVIDER;
    EXPECT_EQ(output(testbpdu::rst()), 0);
    const sim::Frame& frame = bridge.sw.sent.at(0);
    EXPECT_EQ(slice(frame.bytes, 0, 6), PROVIDER);
    EXPECT_EQ(Bytes(frame.address.sll_addr, frame.address.sll_addr + 6), PROVIDER);
    EXPECT_EQ(frame.address.sll_protocol, htons(0x0842));
}

TEST_F(Transmit, AddressRecordNamesTheInterface) {
    EXPECT_EQ(output(testbpdu::rst()), 0);
    const sockaddr_ll& address = bridge.sw.sent.at(0).address;
    EXPECT_EQ(address.sll_family, AF_PACKET);
    EXPECT_EQ(address.sll_ifindex, 7);
    EXPECT_EQ(address.sll_halen, 6);
}

TEST_F(Transmit, SourceIsTheBridgesAddress) {
    const uint8_t mac[6] = {2, 4, 6, 8, 10, 12};
    memcpy(bridge.bridge->bridgeMac, mac, sizeof mac);
    EXPECT_EQ(output(testbpdu::rst()), 0);
    EXPECT_EQ(slice(bridge.sw.sent.at(0).bytes, 6, 6), (Bytes{2, 4, 6, 8, 10, 12}));
}

TEST_F(Transmit, HeaderAndBpduGoAsTwoPiecesOfOneSendWithoutBlocking) {
    EXPECT_EQ(output(testbpdu::rst()), 0);
    ASSERT_EQ(bridge.sw.sent.size(), 1u);
    EXPECT_EQ(bridge.sw.sent[0].pieces, 2u);
    EXPECT_EQ(bridge.sw.sent[0].flags, MSG_DONTWAIT);
}

TEST_F(Transmit, FrameGoesThroughThePacketSocket) {
    gMstp.pktSocketFd = -1;
    EXPECT_EQ(output(testbpdu::rst()), -1);
    EXPECT_THAT(bridge.sw.sent, IsEmpty());
}

// ---- standby

TEST_F(Transmit, StandbyUnitSendsNothingButCountsAndSucceeds) {
    bridge.sw.unitRole = 2;
    bridge.trace(MSTP_DEBUG_SEND);
    EXPECT_EQ(output(testbpdu::rst()), 0);
    EXPECT_THAT(bridge.sw.sent, IsEmpty());
    EXPECT_THAT(bridge.sw.traces, ElementsAre("port port7 send pkt in slave mode"));
    expectCounters(0, 0, 1, 0);
}

TEST_F(Transmit, UnitThatDoesNotKnowItsRoleSendsNothing) {
    bridge.sw.results["kelHwScalarGet:52"] = -1;
    bridge.trace(MSTP_DEBUG_SEND);
    EXPECT_EQ(output(testbpdu::rst()), 0);
    EXPECT_THAT(bridge.sw.sent, IsEmpty());
    EXPECT_THAT(bridge.sw.traces, ElementsAre("port port7 send pkt in slave mode"));
}

TEST_F(Transmit, StandbyIsTracedUnderItsBitOnly) {
    bridge.sw.unitRole = 2;
    bridge.trace(~(MSTP_DEBUG_SEND | MSTP_DEBUG_ACTIVITY));
    EXPECT_EQ(output(testbpdu::rst()), 0);
    EXPECT_THAT(bridge.sw.traces, IsEmpty());
}

TEST_F(Transmit, EveryRoleButStandbySends) {
    for (const uint32_t role : {0u, 1u, 3u}) {
        bridge.sw.unitRole = role;
        bridge.sw.sent.clear();
        EXPECT_EQ(output(testbpdu::rst()), 0);
        EXPECT_EQ(bridge.sw.sent.size(), 1u);
    }
}

// ---- traces

TEST_F(Transmit, FrameIsTracedWithItsWholeLength) {
    bridge.trace(MSTP_DEBUG_SEND);
    EXPECT_EQ(output(testbpdu::rst()), 0);
    EXPECT_THAT(bridge.sw.traces, ElementsAre("send pkt to port port7,len 53"));
}

TEST_F(Transmit, FrameIsDumpedWholeWithTheSecondBit) {
    bridge.trace(MSTP_DEBUG_SEND | MSTP_DEBUG_DUMP);
    EXPECT_EQ(output(testbpdu::tcn()), 0);
    EXPECT_EQ(bridge.sw.debugOutput, "[MSTP]:info=send pkt to port port7,len 21\n\r"
                                     "\n\r01 80 c2 00 00 00 00 11 22 33 44 55 00 07 42 42 "
                                     "\n\r03 00 00 00 80 \n\r");
}

TEST_F(Transmit, DumpAloneShowsNothing) {
    bridge.trace(~(MSTP_DEBUG_SEND | MSTP_DEBUG_ACTIVITY));
    EXPECT_EQ(output(testbpdu::tcn()), 0);
    EXPECT_EQ(bridge.sw.debugOutput, "");
}

TEST_F(Transmit, DumpOfAnOverlongFrameEndsWithItsBuffer) {
    const Bytes bpdu(3000, 0x5A);
    bridge.trace(MSTP_DEBUG_SEND | MSTP_DEBUG_DUMP);
    EXPECT_EQ(mstpTx(port, bpdu.data(), 3000), 0);
    EXPECT_EQ(bridge.sw.sent.at(0).bytes.size(), 3017u);
    EXPECT_EQ(bridge.sw.traces.size(), 1 + (17 + 2048 + 15) / 16);
}

TEST_F(Transmit, FailedSendIsTraced) {
    bridge.sw.results["sendmsg:packet"] = -1;
    bridge.trace(MSTP_DEBUG_REFUSAL);
    EXPECT_EQ(output(testbpdu::rst()), -1);
    EXPECT_THAT(bridge.sw.traces, ElementsAre("send pkt to port port7,len 53 failed"));
}

TEST_F(Transmit, FailedSendIsTracedUnderItsBitOnly) {
    bridge.sw.results["sendmsg:packet"] = -1;
    bridge.trace(~(MSTP_DEBUG_REFUSAL | MSTP_DEBUG_SEND | MSTP_DEBUG_ACTIVITY));
    EXPECT_EQ(output(testbpdu::rst()), -1);
    EXPECT_THAT(bridge.sw.traces, IsEmpty());
}

TEST_F(Transmit, FrameIsTracedBeforeItFails) {
    bridge.sw.results["sendmsg:packet"] = -1;
    bridge.trace(MSTP_DEBUG_REFUSAL | MSTP_DEBUG_SEND);
    EXPECT_EQ(output(testbpdu::rst()), -1);
    EXPECT_THAT(bridge.sw.traces, ElementsAre("send pkt to port port7,len 53",
                                              "send pkt to port port7,len 53 failed"));
}

} // namespace
