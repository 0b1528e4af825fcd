// The way in: what drops a BPDU, how it is counted, BPDU guard, the detection of a second peer, the
// machines' turn, and the mirroring between control units.

#include "mstp_io.h"
#include "mstp_port_timers_state_machine.h"
#include "test_bpdu.h"
#include "test_bridge.h"

using testbpdu::Bytes;
using testbpdu::put;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

namespace {

class Input : public ::testing::Test {
  protected:
    void SetUp() override {
        bridge.addInstance(1);
        port = bridge.addUpPort(7);
        port->adminEdge = 0;
        bridge.sw.forget();
        gMstp.debug = 0;
    }

    int32_t input(const Bytes& bytes) {
        return mstpInput(port, bytes.data(), static_cast<uint32_t>(bytes.size()));
    }

    void expectCounters(uint32_t tcn, uint32_t config, uint32_t rst, uint32_t mst) {
        EXPECT_EQ(port->rxTcnBpdu, tcn);
        EXPECT_EQ(port->rxCfgBpdu, config);
        EXPECT_EQ(port->rxRstBpdu, rst);
        EXPECT_EQ(port->rxMstBpdu, mst);
    }

    TestBridge bridge;
    tMstpPort* port = nullptr;
};

// ---- drops

TEST_F(Input, PortThatIsNotInUseDropsTheBpdu) {
    for (const uint8_t state : {MSTP_SLOT_FREE, MSTP_SLOT_DISABLED}) {
        port->state = state;
        bridge.trace(MSTP_DEBUG_REFUSAL);
        EXPECT_EQ(input(testbpdu::rst()), -1);
        EXPECT_THAT(bridge.sw.traces, ElementsAre("port port7 invalid"));
    }
    expectCounters(0, 0, 0, 0);
    EXPECT_EQ(port->rcvdBpdu, 0);
    port->state = MSTP_SLOT_IN_USE;
}

TEST_F(Input, InvalidPortIsTracedUnderItsBitOnly) {
    port->state = MSTP_SLOT_DISABLED;
    bridge.trace(~MSTP_DEBUG_REFUSAL);
    EXPECT_EQ(input(testbpdu::rst()), -1);
    EXPECT_THAT(bridge.sw.traces, IsEmpty());
    port->state = MSTP_SLOT_IN_USE;
}

TEST_F(Input, PortsStateIsLookedAtBeforeItsFilter) {
    port->state = MSTP_SLOT_DISABLED;
    port->filtering = 1;
    bridge.trace(MSTP_DEBUG_REFUSAL);
    EXPECT_EQ(input(testbpdu::rst()), -1);
    EXPECT_THAT(bridge.sw.traces, ElementsAre("port port7 invalid"));
    port->state = MSTP_SLOT_IN_USE;
}

TEST_F(Input, FilteringPortDropsBeforeParsingAndCountsNothing) {
    port->filtering = 2;
    bridge.trace(MSTP_DEBUG_REFUSAL);
    EXPECT_EQ(input(testbpdu::rst()), -1);
    EXPECT_EQ(input({1, 2, 3}), -1);
    EXPECT_THAT(bridge.sw.traces, ElementsAre("port port7 is bpdu filtering,drop any bpdu",
                                              "port port7 is bpdu filtering,drop any bpdu"));
    expectCounters(0, 0, 0, 0);
    EXPECT_EQ(port->rcvdBpdu, 0);
}

TEST_F(Input, FilterIsTracedWhateverTheMask) {
    port->filtering = 1;
    bridge.trace(0);
    EXPECT_EQ(input(testbpdu::rst()), -1);
    EXPECT_THAT(bridge.sw.traces, ElementsAre("port port7 is bpdu filtering,drop any bpdu"));
}

TEST_F(Input, InvalidBpduIsDroppedBehindTheParsersText) {
    bridge.bridge->bpduGuard = 1;
    port->adminEdge = 1;
    bridge.trace(MSTP_DEBUG_REFUSAL);
    EXPECT_EQ(input({0, 0, 0}), -1);
    EXPECT_THAT(bridge.sw.traces,
                ElementsAre("TCN bpduLen invalid", "port port7 recv packet invalid"));
    expectCounters(0, 0, 0, 0);
    EXPECT_EQ(port->rcvdBpdu, 0);
    EXPECT_EQ(timerRemain(&port->bpduGuardTimer), 0);
}

TEST_F(Input, InvalidBpduIsTracedUnderItsBitOnly) {
    bridge.trace(~MSTP_DEBUG_REFUSAL);
    EXPECT_EQ(input({0, 0, 0}), -1);
    EXPECT_THAT(bridge.sw.traces, IsEmpty());
}

// ---- counting

TEST_F(Input, EveryKindIsCountedAndTraced) {
    bridge.trace(MSTP_DEBUG_ACTIVITY);
    EXPECT_EQ(input(testbpdu::tcn()), 0);
    expectCounters(1, 0, 0, 0);
    EXPECT_EQ(bridge.sw.traces.at(0), "mstp port port7 recv tcn bpdu");

    bridge.trace(MSTP_DEBUG_ACTIVITY);
    EXPECT_EQ(input(testbpdu::config()), 0);
    expectCounters(1, 1, 0, 0);
    EXPECT_EQ(bridge.sw.traces.at(0), "mstp port port7 recv stp config bpdu");

    bridge.trace(MSTP_DEBUG_ACTIVITY);
    EXPECT_EQ(input(testbpdu::rst()), 0);
    expectCounters(1, 1, 1, 0);
    EXPECT_EQ(bridge.sw.traces.at(0), "mstp port port7 recv rstp bpdu");

    bridge.trace(MSTP_DEBUG_ACTIVITY);
    EXPECT_EQ(input(testbpdu::mst(1)), 0);
    expectCounters(1, 1, 1, 1);
    EXPECT_EQ(bridge.sw.traces.at(0), "mstp port port7 recv mstp bpdu");
}

TEST_F(Input, KindsAreTracedUnderTheirBitOnly) {
    bridge.trace(~MSTP_DEBUG_ACTIVITY);
    for (const Bytes& bpdu :
         {testbpdu::tcn(), testbpdu::config(), testbpdu::rst(), testbpdu::mst(1)}) {
        EXPECT_EQ(input(bpdu), 0);
    }
    EXPECT_THAT(bridge.sw.traces, Not(Contains(HasSubstr("recv tcn bpdu"))));
    EXPECT_THAT(bridge.sw.traces, Not(Contains(HasSubstr("recv stp config bpdu"))));
    EXPECT_THAT(bridge.sw.traces, Not(Contains(HasSubstr("recv rstp bpdu"))));
    EXPECT_THAT(bridge.sw.traces, Not(Contains(HasSubstr("recv mstp bpdu"))));
}

TEST_F(Input, CountersWrap) {
    port->rxRstBpdu = 0xFFFFFFFF;
    EXPECT_EQ(input(testbpdu::rst()), 0);
    EXPECT_EQ(port->rxRstBpdu, 0u);
}

TEST_F(Input, UnknownKindIsRefusedWithTheUnitInItsText) {
    bridge.trace(MSTP_DEBUG_ACTIVITY);
    EXPECT_EQ(mstpCountReceived(port, 4), -1);
    EXPECT_THAT(bridge.sw.traces, ElementsAre("mstp port 7 recv unknown bpdu"));
    expectCounters(0, 0, 0, 0);
}

TEST_F(Input, UnknownKindIsTracedUnderItsBitOnly) {
    bridge.trace(~MSTP_DEBUG_ACTIVITY);
    EXPECT_EQ(mstpCountReceived(port, 0x0300), -1);
    EXPECT_THAT(bridge.sw.traces, IsEmpty());
}

// ---- BPDU guard

class BpduGuard : public Input {
  protected:
    void SetUp() override {
        Input::SetUp();
        bridge.bridge->bpduGuard = 1;
        bridge.bridge->bpduGuardTime = 20;
        port->adminEdge = 1;
        cist = bridge.xstPort(0, 7);
        msti = bridge.xstPort(1, 7);
        cist->hwState = MSTP_PORT_STATE_FORWARDING;
        msti->hwState = MSTP_PORT_STATE_FORWARDING;
        bridge.sw.forget();
    }

    tMstpXstPort* cist = nullptr;
    tMstpXstPort* msti = nullptr;
};

TEST_F(BpduGuard, BpduOnAGuardedEdgePortIsDroppedAndTracedWhateverTheMask) {
    bridge.trace(0);
    EXPECT_EQ(input(testbpdu::rst()), -1);
    EXPECT_THAT(bridge.sw.traces, ElementsAre("port port7 is bpdu guarding,drop any bpdu"));
}

TEST_F(BpduGuard, DroppedBpduIsCountedAndStaysPending) {
    EXPECT_EQ(input(testbpdu::rst()), -1);
    expectCounters(0, 0, 1, 0);
    EXPECT_EQ(port->rcvdBpdu, 1);
}

TEST_F(BpduGuard, EveryInstanceThatIsNotDiscardingIsDisabled) {
    cist->hwState = MSTP_PORT_STATE_LEARNING;
    EXPECT_EQ(input(testbpdu::rst()), -1);
    EXPECT_EQ(cist->hwState, MSTP_PORT_STATE_DISCARDING);
    EXPECT_EQ(msti->hwState, MSTP_PORT_STATE_DISCARDING);
    EXPECT_THAT(bridge.sw.calls, ElementsAre("stgShrProtocolPortStateSet stg=1 unit=7 state=2",
                                             "stgShrProtocolPortStateSet stg=2 unit=7 state=2"));
}

TEST_F(BpduGuard, InstanceThatIsDisabledIsDisabledToo) {
    cist->hwState = MSTP_PORT_STATE_DISABLED;
    EXPECT_EQ(input(testbpdu::rst()), -1);
    EXPECT_EQ(cist->hwState, MSTP_PORT_STATE_DISCARDING);
}

TEST_F(BpduGuard, InstanceThatIsAlreadyDiscardingIsLeftAlone) {
    cist->hwState = MSTP_PORT_STATE_DISCARDING;
    EXPECT_EQ(input(testbpdu::rst()), -1);
    EXPECT_THAT(bridge.sw.calls, ElementsAre("stgShrProtocolPortStateSet stg=2 unit=7 state=2"));
}

TEST_F(BpduGuard, HoldLastsTheGuardTime) {
    EXPECT_EQ(input(testbpdu::rst()), -1);
    EXPECT_EQ(timerRemain(&port->bpduGuardTimer), 2000);
}

TEST_F(BpduGuard, EveryFurtherBpduStartsTheHoldAnew) {
    EXPECT_EQ(input(testbpdu::rst()), -1);
    bridge.advance(1500);
    EXPECT_EQ(timerRemain(&port->bpduGuardTimer), 500);
    EXPECT_EQ(input(testbpdu::rst()), -1);
    EXPECT_EQ(timerRemain(&port->bpduGuardTimer), 2000);
    expectCounters(0, 0, 2, 0);
}

TEST_F(BpduGuard, ForwardingComesBackOnEveryInstanceWhenTheHoldEnds) {
    EXPECT_EQ(input(testbpdu::rst()), -1);
    bridge.sw.calls.clear();
    timerStop(&gMstp.timerList, &bridge.bridge->oneSecondTimer);
    timerStop(&gMstp.timerList, &gMstp.msgTimer);
    bridge.advance(2000);
    EXPECT_EQ(cist->hwState, MSTP_PORT_STATE_FORWARDING);
    EXPECT_EQ(msti->hwState, MSTP_PORT_STATE_FORWARDING);
}

TEST_F(BpduGuard, NegativeHoldTimeHoldsUntilManagementReleasesThePort) {
    bridge.bridge->bpduGuardTime = -1;
    EXPECT_EQ(input(testbpdu::rst()), -1);
    EXPECT_NE(mstpRemain(&port->bpduGuardTimer), 0);
    bridge.advance(24 * 3600 * 100);
    EXPECT_NE(mstpRemain(&port->bpduGuardTimer), 0);
    EXPECT_EQ(cist->hwState, MSTP_PORT_STATE_DISCARDING);
}

TEST_F(BpduGuard, GuardedPortDetectsNoPeerAndKeepsItsPointToPointState) {
    port->adminPointToPointMAC = 1;
    port->operPointToPointMAC = 0;
    EXPECT_EQ(input(testbpdu::rst()), -1);
    EXPECT_THAT(port->lastPeer, ElementsAre(0, 0, 0, 0, 0, 0));
    EXPECT_EQ(port->operPointToPointMAC, 0);
}

TEST_F(BpduGuard, PortThatIsNotAdministrativelyAnEdgeIsNotGuarded) {
    port->adminEdge = 0;
    port->operEdge = 1;
    EXPECT_EQ(input(testbpdu::rst()), 0);
    EXPECT_EQ(timerRemain(&port->bpduGuardTimer), 0);
}

TEST_F(BpduGuard, EdgePortOfABridgeWithoutGuardIsNotGuarded) {
    bridge.bridge->bpduGuard = 0;
    EXPECT_EQ(input(testbpdu::rst()), 0);
    EXPECT_EQ(timerRemain(&port->bpduGuardTimer), 0);
}

// ---- peer detection

class PeerDetection : public Input {
  protected:
    void SetUp() override {
        Input::SetUp();
        bridge.bridge->p2pDetection = 1;
        port->adminPointToPointMAC = 1;
    }

    // An RST BPDU whose sender's MAC address ends with @p last.
    static Bytes from(int last) {
        Bytes bytes = testbpdu::rst();
        put(bytes, 24, {last});
        return bytes;
    }

    void hear(int last) {
        port->helloWhen = 2;
        EXPECT_EQ(input(from(last)), 0);
    }
};

TEST_F(PeerDetection, FirstPeerEverSeenIsOnlyRemembered) {
    hear(0x0A);
    EXPECT_THAT(port->lastPeer, ElementsAre(2, 0, 0, 0, 0, 0x0A));
    EXPECT_EQ(port->operPointToPointMAC, 1);
    EXPECT_EQ(timerRemain(&port->p2pHoldTimer), 0);
}

TEST_F(PeerDetection, SecondPeerTurnsPointToPointOffForThreeHelloTimes) {
    hear(0x0A);
    hear(0x0B);
    EXPECT_EQ(port->operPointToPointMAC, 0);
    EXPECT_THAT(port->lastPeer, ElementsAre(2, 0, 0, 0, 0, 0x0B));
    EXPECT_EQ(timerRemain(&port->p2pHoldTimer), 600);
}

TEST_F(PeerDetection, EveryByteOfThePeersAddressCounts) {
    for (size_t i = 0; i < 6; i++) {
        hear(0x0A);
        timerStop(&gMstp.timerList, &port->p2pHoldTimer);
        Bytes other = from(0x0A);
        put(other, 19 + i, {0xEE});
        EXPECT_EQ(input(other), 0);
        EXPECT_EQ(port->operPointToPointMAC, 0);
        timerStop(&gMstp.timerList, &port->p2pHoldTimer);
    }
}

TEST_F(PeerDetection, PriorityAndInstanceOfTheSenderDoNotCount) {
    hear(0x0A);
    Bytes other = from(0x0A);
    put(other, 17, {0xF7, 0x99});
    EXPECT_EQ(input(other), 0);
    EXPECT_EQ(port->operPointToPointMAC, 1);
}

TEST_F(PeerDetection, KnownPeerChangesNothing) {
    hear(0x0A);
    hear(0x0A);
    EXPECT_EQ(port->operPointToPointMAC, 1);
    EXPECT_EQ(timerRemain(&port->p2pHoldTimer), 0);
}

TEST_F(PeerDetection, DifferingPeerIsIgnoredWhileTheHoldRuns) {
    hear(0x0A);
    hear(0x0B);
    bridge.advance(300);
    hear(0x0C);
    EXPECT_THAT(port->lastPeer, ElementsAre(2, 0, 0, 0, 0, 0x0B));
    EXPECT_EQ(timerRemain(&port->p2pHoldTimer), 300);
}

TEST_F(PeerDetection, BpduDuringTheHoldRestoresPointToPoint) {
    hear(0x0A);
    hear(0x0B);
    ASSERT_EQ(port->operPointToPointMAC, 0);
    hear(0x0B);
    EXPECT_EQ(port->operPointToPointMAC, 1);
}

TEST_F(PeerDetection, HoldWithLessThanASecondLeftIsOver) {
    hear(0x0A);
    hear(0x0B);
    bridge.advance(501);
    hear(0x0C);
    EXPECT_THAT(port->lastPeer, ElementsAre(2, 0, 0, 0, 0, 0x0C));
    EXPECT_EQ(timerRemain(&port->p2pHoldTimer), 600);
}

TEST_F(PeerDetection, PointToPointReturnsWhenTheHoldEnds) {
    hear(0x0A);
    hear(0x0B);
    bridge.advance(599);
    EXPECT_EQ(port->operPointToPointMAC, 0);
    bridge.advance(1);
    EXPECT_EQ(port->operPointToPointMAC, 1);
}

TEST_F(PeerDetection, HoldOfAPortThatSentNoHelloYetIsOverAtOnce) {
    hear(0x0A);
    port->helloWhen = 0;
    EXPECT_EQ(input(from(0x0B)), 0);
    EXPECT_EQ(timerRemain(&port->p2pHoldTimer), 0);
    EXPECT_EQ(port->operPointToPointMAC, 0);
}

TEST_F(PeerDetection, NotificationNamesNoPeer) {
    hear(0x0A);
    Bytes tcn = from(0x0B);
    put(tcn, 3, {0x80});
    EXPECT_EQ(input(tcn), 0);
    EXPECT_THAT(port->lastPeer, ElementsAre(2, 0, 0, 0, 0, 0x0A));
    EXPECT_EQ(port->operPointToPointMAC, 1);
}

TEST_F(PeerDetection, NothingIsRememberedWhileDetectionIsOff) {
    bridge.bridge->p2pDetection = 0;
    hear(0x0A);
    EXPECT_THAT(port->lastPeer, ElementsAre(0, 0, 0, 0, 0, 0));
}

TEST_F(PeerDetection, MstBpduNamesItsPeerInTheCistBridgeIdentifier) {
    Bytes bytes = testbpdu::mst(1);
    put(bytes, 19, {1, 2, 3, 4, 5, 6});
    put(bytes, 95, {0x42, 0x43, 0x44, 0x45, 0x46, 0x47});
    EXPECT_EQ(input(bytes), 0);
    EXPECT_THAT(port->lastPeer, ElementsAre(0x42, 0x43, 0x44, 0x45, 0x46, 0x47));
}

TEST_F(PeerDetection, ConfigurationBpduOfVersion3NamesItsPeerThereToo) {
    Bytes bytes = testbpdu::mst(0);
    put(bytes, 3, {0});
    put(bytes, 95, {0x42, 0x43, 0x44, 0x45, 0x46, 0x47});
    EXPECT_EQ(input(bytes), 0);
    EXPECT_THAT(port->lastPeer, ElementsAre(0x42, 0x43, 0x44, 0x45, 0x46, 0x47));
}

TEST_F(PeerDetection, ConfigurationBpduNamesItsPeerAsDesignatedBridge) {
    EXPECT_EQ(input(testbpdu::config()), 0);
    EXPECT_THAT(port->lastPeer, ElementsAre(2, 0, 0, 0, 0, 3));
}

TEST_F(PeerDetection, PeerOfAPaddedRstBpduIsThatOfTheParsedRecord) {
    Bytes bytes = testbpdu::rst();
    bytes.resize(102);
    put(bytes, 37, {1});
    put(bytes, 95, {0x42, 0x43, 0x44, 0x45, 0x46, 0x47});
    EXPECT_EQ(input(bytes), 0);
    EXPECT_THAT(port->lastPeer, ElementsAre(0x42, 0x43, 0x44, 0x45, 0x46, 0x47));
}

TEST_F(PeerDetection, AdministrativeStateReachesTheOperationalOneWithEveryBpdu) {
    bridge.bridge->p2pDetection = 0;
    port->operPointToPointMAC = 0;
    hear(0x0A);
    EXPECT_EQ(port->operPointToPointMAC, 1);
    port->adminPointToPointMAC = 0;
    hear(0x0A);
    EXPECT_EQ(port->operPointToPointMAC, 0);
}

// ---- the machines' turn

TEST_F(Input, MachinesRunForThePortFirstAndThenForTheBridge) {
    bridge.trace(MSTP_DEBUG_ACTIVITY | MSTP_DEBUG_MACHINE);
    EXPECT_EQ(input(testbpdu::rst()), 0);
    std::vector<std::string> order;
    for (const std::string& line : bridge.sw.traces) {
        if (line.find("FSM process") != std::string::npos ||
            (order.empty() && line.find("Port Receive") != std::string::npos)) {
            order.push_back(line);
        }
    }
    EXPECT_THAT(order, ElementsAre(HasSubstr("Port Receive"), "port port7 FSM process",
                                   "bridge 1 FSM process"));
}

TEST_F(Input, BpduReachesThePortReceiveMachine) {
    EXPECT_EQ(input(testbpdu::rst()), 0);
    EXPECT_EQ(port->rcvdBpdu, 0);
    EXPECT_EQ(port->bpduType, 0x02);
    EXPECT_EQ(port->fsmState[MSTP_PORT_RECEIVE_FSM], MSTP_PORT_RECEIVE);
}

TEST_F(Input, BpduOnAPortThatIsNotEnabledIsConsumedWithoutEffect) {
    port->portEnabled = 0;
    EXPECT_EQ(input(testbpdu::rst()), 0);
    EXPECT_EQ(port->rcvdBpdu, 0);
    expectCounters(0, 0, 1, 0);
}

// ---- control units

TEST_F(Input, ReceivedBpduIsMirroredWithBridgeUnitAndZero) {
    const Bytes tcn = testbpdu::tcn();
    EXPECT_EQ(mstpRxSync(0x01020304, 0x05060708, tcn.data(), 4), 0);
    EXPECT_THAT(bridge.sw.calls,
                ElementsAre("kelHwScalarSync index=0 attribute=0x50021 "
                            "value=01020304050607080000000000000080 flag=0x80000002"));
}

TEST_F(Input, RefusalOfTheMirrorIsNotLookedAt) {
    const Bytes tcn = testbpdu::tcn();
    bridge.sw.results["kelHwScalarSync"] = -1;
    EXPECT_EQ(mstpRxSync(1, 7, tcn.data(), 4), 0);
}

TEST_F(Input, LongestMirroredFrameFillsTheMessage) {
    const Bytes bytes(2036, 0x5A);
    EXPECT_EQ(mstpRxSync(1, 7, bytes.data(), 2036), 0);
    EXPECT_EQ(bridge.sw.calls.size(), 1u);
}

TEST_F(Input, FrameThatDoesNotFitTheMessageIsNotMirrored) {
    const Bytes bytes(2037, 0x5A);
    EXPECT_EQ(mstpRxSync(1, 7, bytes.data(), 2037), 0);
    EXPECT_EQ(mstpRxSync(1, 7, bytes.data(), 0xFFFFFFFF), 0);
    EXPECT_THAT(bridge.sw.calls, IsEmpty());
}

class PeerUnit : public Input {
  protected:
    int32_t deliver(uint32_t bridgeId, uint32_t unit, const Bytes& bpdu) {
        Bytes message(12);
        testbpdu::put16(message, 2, bridgeId);
        testbpdu::put16(message, 6, unit);
        message.insert(message.end(), bpdu.begin(), bpdu.end());
        return deliver(message);
    }

    static int32_t deliver(Bytes message) {
        octetstring octets = {reinterpret_cast<int8_t*>(message.data()),
                              static_cast<uint32_t>(message.size())};
        return mstpSyncRx(&octets);
    }
};

TEST_F(PeerUnit, MirroredBpduEntersAsIfItHadBeenReceived) {
    EXPECT_EQ(deliver(1, 7, testbpdu::mst(1)), 0);
    expectCounters(0, 0, 0, 1);
}

TEST_F(PeerUnit, MessageOf11BytesIsRefused) {
    port->filtering = 1; // whatever reaches the port is dropped there
    Bytes message = {0, 0, 0, 1, 0, 0, 0, 7, 0, 0, 0, 0};
    octetstring octets = {reinterpret_cast<int8_t*>(message.data()), 11};
    EXPECT_EQ(mstpSyncRx(&octets), -1);
}

TEST_F(PeerUnit, MessageOf12BytesHoldsAnInvalidBpdu) {
    bridge.trace(MSTP_DEBUG_REFUSAL);
    EXPECT_EQ(deliver(1, 7, {}), 0);
    EXPECT_THAT(bridge.sw.traces, Contains("port port7 recv packet invalid"));
}

TEST_F(PeerUnit, BytesBehindTheMessageAreNotRead) {
    Bytes message = {0, 0, 0, 1, 0, 0, 0, 7, 0, 0, 0, 0, 0, 0, 0, 0x80};
    message.resize(64);
    octetstring octets = {reinterpret_cast<int8_t*>(message.data()), 15};
    bridge.trace(MSTP_DEBUG_REFUSAL);
    EXPECT_EQ(mstpSyncRx(&octets), 0);
    EXPECT_EQ(bridge.sw.traces.at(0), "TCN bpduLen invalid");
}

TEST_F(PeerUnit, BpduThatIsDroppedStillSucceeds) {
    port->filtering = 1;
    EXPECT_EQ(deliver(1, 7, testbpdu::rst()), 0);
    expectCounters(0, 0, 0, 0);
}

TEST_F(PeerUnit, UnknownBridgeIsRefused) {
    EXPECT_EQ(deliver(2, 7, testbpdu::rst()), -1);
    EXPECT_EQ(deliver(0, 7, testbpdu::rst()), -1);
    expectCounters(0, 0, 0, 0);
}

TEST_F(PeerUnit, UnknownPortIsRefused) {
    EXPECT_EQ(deliver(1, 8, testbpdu::rst()), -1);
}

} // namespace
