// The main loop: how long it waits, what it serves in one turn and in which order, and the posted
// work of the bridges.

#include "mstp_bridge.h"
#include "mstp_io.h"
#include "mstp_main.h"
#include "test_bpdu.h"
#include "test_bridge.h"

using testbpdu::Bytes;
using testing::Contains;
using testing::IsEmpty;
using testing::Not;

namespace {

constexpr uint32_t UNIT = 3;

timeval waitFor(uint32_t ticks) {
    timeval timeout = {};
    mstpLoopTimeout(ticks, &timeout);
    return timeout;
}

/// A bridge with one port and a loop that is turned by hand.
class Loop : public testing::Test {
  protected:
    Loop() {
        port = bridge.addUpPort(UNIT);
        mstpLoopInit(loop.get());
        bridge.sw.forget();
    }

    /// A frame on the wire of @p unit: the header that the switch's data offset counts, then the
    /// BPDU.
    void receive(const Bytes& bpdu, uint32_t unit = UNIT) {
        sim::Frame frame;
        frame.unit = unit;
        frame.bytes.assign(bridge.sw.dataOffset, 0x5A);
        frame.bytes.insert(frame.bytes.end(), bpdu.begin(), bpdu.end());
        bridge.sw.received.push_back(frame);
    }

    /// The BPDU of the only message that was mirrored to the peer.
    Bytes mirrored() const {
        Bytes bytes;
        for (const std::string& call : bridge.sw.calls) {
            const size_t at = call.find("value=");
            if (call.rfind("kelHwScalarSync", 0) != 0 || at == call.npos) {
                continue;
            }
            const size_t end = call.find(' ', at);
            for (size_t i = at + 6 + 2 * MSTP_SYNC_HEADER_SIZE; i < end; i += 2) {
                bytes.push_back(static_cast<uint8_t>(std::stoul(call.substr(i, 2), nullptr, 16)));
            }
        }
        return bytes;
    }

    void request() { bridge.sw.requests.push_back({25, 0, 0, 0}); }

    void turn() {
        const int32_t ready = mstpLoopWait(loop.get());
        testing::internal::CaptureStderr();
        mstpLoopServe(loop.get(), ready);
        errors = testing::internal::GetCapturedStderr();
    }

    TestBridge bridge;
    tMstpPort* port = nullptr;
    std::unique_ptr<tMstpLoop> loop = std::make_unique<tMstpLoop>();
    std::string errors;
};

} // namespace

// ---- the wait

TEST(LoopTimeout, WithoutATimerIsOneSecond) {
    EXPECT_EQ(waitFor(TIMER_NO_TIMEOUT).tv_sec, 1);
    EXPECT_EQ(waitFor(TIMER_NO_TIMEOUT).tv_usec, 0);
}

TEST(LoopTimeout, TakesTheHundredthsBeyondWholeSecondsAsMilliseconds) {
    EXPECT_EQ(waitFor(250).tv_sec, 2);
    EXPECT_EQ(waitFor(250).tv_usec, 50'000);
}

TEST(LoopTimeout, IsNeverLessThan17MillisecondsBeyondWholeSeconds) {
    EXPECT_EQ(waitFor(5).tv_sec, 0);
    EXPECT_EQ(waitFor(5).tv_usec, 17'000);
    EXPECT_EQ(waitFor(0).tv_usec, 17'000);
    EXPECT_EQ(waitFor(17).tv_usec, 17'000);
    EXPECT_EQ(waitFor(18).tv_usec, 18'000);
    EXPECT_EQ(waitFor(300).tv_sec, 3);
    EXPECT_EQ(waitFor(300).tv_usec, 17'000);
}

TEST_F(Loop, WithNoTimerRunningWakesEverySecond) {
    timerListRelease(&gMstp.timerList);
    timerListInit(&gMstp.timerList);
    EXPECT_EQ(mstpLoopWait(loop.get()), 0);
    EXPECT_EQ(bridge.sw.waitMicroseconds, 1'000'000);
}

TEST_F(Loop, WaitsForTheEarliestTimer) {
    bridge.advance(5);
    timerListRelease(&gMstp.timerList);
    timerListInit(&gMstp.timerList);
    mstpBridgeStartOneSecondTimer(bridge.bridge);
    mstpLoopWait(loop.get());
    EXPECT_EQ(bridge.sw.waitMicroseconds, 1'017'000);
}

TEST_F(Loop, RunsDueTimersAlsoWhenTheWaitTimedOut) {
    mstpBridgeReset(bridge.bridge);
    sim::setNow(sim::now() + 20'000);
    mstpLoopServe(loop.get(), 0);
    EXPECT_EQ(bridge.bridge->event, 0U);
    EXPECT_EQ(bridge.bridge->inited, 1);
}

TEST_F(Loop, RunsDueTimersAlsoWhenTheWaitFailed) {
    mstpBridgeReset(bridge.bridge);
    sim::setNow(sim::now() + 20'000);
    mstpLoopServe(loop.get(), -1);
    EXPECT_EQ(bridge.bridge->inited, 1);
}

// ---- one frame

TEST_F(Loop, FrameReachesItsPortFromItsDataOffsetOn) {
    receive(testbpdu::rst());
    turn();
    EXPECT_EQ(port->rxRstBpdu, 1U);
}

TEST_F(Loop, ServesOneFrameATurn) {
    receive(testbpdu::rst());
    receive(testbpdu::rst());
    turn();
    EXPECT_EQ(port->rxRstBpdu, 1U);
    turn();
    EXPECT_EQ(port->rxRstBpdu, 2U);
}

TEST_F(Loop, FrameWithoutPacketInformationIsDropped) {
    bridge.sw.withPacketInfo = false;
    receive(testbpdu::rst());
    turn();
    EXPECT_EQ(port->rxRstBpdu, 0U);
}

TEST_F(Loop, FrameOfAnInterfaceThatIsNoPortIsDropped) {
    receive(testbpdu::rst(), UNIT + 1);
    turn();
    EXPECT_EQ(port->rxRstBpdu, 0U);
}

TEST_F(Loop, FrameWithoutABridgeIsDropped) {
    receive(testbpdu::rst());
    bridge.bridge->rowStatus = 0;
    turn();
    bridge.bridge->rowStatus = MSTP_ACTIVE;
    EXPECT_EQ(port->rxRstBpdu, 0U);
}

TEST_F(Loop, DataOffsetBeyondTheFrameIsDropped) {
    receive({});
    bridge.sw.received.front().bytes.resize(5);
    turn();
    EXPECT_EQ(port->rcvdBpdu, 0);
}

TEST_F(Loop, ReceivedFrameIsTracedWithItsLength) {
    bridge.trace(MSTP_DEBUG_RECEIVE);
    receive(testbpdu::rst());
    turn();
    EXPECT_THAT(bridge.sw.traces, Contains("received pkt from port port3,len 53"));
    EXPECT_EQ(bridge.sw.traces.size(), 1U);
}

TEST_F(Loop, ReceivedFrameIsDumpedWholeWithTheDumpBitToo) {
    bridge.trace(MSTP_DEBUG_RECEIVE | MSTP_DEBUG_DUMP);
    receive(testbpdu::tcn());
    turn();
    EXPECT_THAT(bridge.sw.debugOutput,
                testing::HasSubstr("\n\r5a 5a 5a 5a 5a 5a 5a 5a 5a 5a 5a 5a 5a 5a 5a 5a "
                                   "\n\r5a 00 00 00 80 \n\r"));
}

TEST_F(Loop, DumpBitAloneTracesNoReceivedFrame) {
    bridge.trace(MSTP_DEBUG_DUMP);
    receive(testbpdu::tcn());
    turn();
    EXPECT_THAT(bridge.sw.traces, IsEmpty());
}

// ---- the mirror to the peer control unit

TEST_F(Loop, FrameIsMirroredFromItsDataOffsetOnWhileThereIsAPeer) {
    bridge.sw.peerUnit = true;
    receive(testbpdu::tcn());
    turn();
    EXPECT_THAT(bridge.sw.calls, Contains("kelHwScalarSync index=0 attribute=0x50021 "
                                          "value=00000001000000030000000000000080 "
                                          "flag=0x80000002"));
}

TEST_F(Loop, FrameIsNotMirroredWithoutAPeer) {
    receive(testbpdu::tcn());
    turn();
    EXPECT_THAT(bridge.sw.calls, Not(Contains(testing::StartsWith("kelHwScalarSync"))));
}

TEST_F(Loop, FrameIsMirroredAlsoDuringAFastMap) {
    bridge.sw.peerUnit = true;
    bridge.bridge->isFastMapVlan = 1;
    receive(testbpdu::tcn());
    turn();
    EXPECT_THAT(bridge.sw.calls, Contains(testing::StartsWith("kelHwScalarSync")));
}

TEST_F(Loop, PreStandardFrameIsMirroredAsItCame) {
    bridge.sw.peerUnit = true;
    port->snoopingEnable = 1;
    const Bytes legacy = testbpdu::legacyMst(1);
    receive(legacy);
    turn();
    EXPECT_EQ(mirrored(), legacy);
}

TEST_F(Loop, EitherScalarAloneMeansThatThereIsAPeer) {
    for (const char* scalar : {"kelHwScalarGet:53", "kelHwScalarGet:44"}) {
        bridge.sw.forget();
        bridge.sw.peerUnit = true;
        bridge.sw.results = {{scalar, 1}};
        receive(testbpdu::tcn());
        turn();
        EXPECT_THAT(bridge.sw.calls, Contains(testing::StartsWith("kelHwScalarSync"))) << scalar;
    }
}

// ---- the pre-standard format and the fast map

TEST_F(Loop, PreStandardFrameOnASnoopingPortIsConverted) {
    port->snoopingEnable = 1;
    receive(testbpdu::legacyMst(1));
    turn();
    EXPECT_EQ(port->rxMstBpdu, 1U);
}

TEST_F(Loop, ConvertedFrameEndsTheTurnAndTheCommandWaitsForTheNext) {
    port->snoopingEnable = 1;
    receive(testbpdu::legacyMst(1));
    request();
    turn();
    EXPECT_EQ(bridge.sw.requests.size(), 1U);
    turn();
    EXPECT_THAT(bridge.sw.requests, IsEmpty());
}

TEST_F(Loop, StandardFrameOnASnoopingPortIsTakenAsItIsAndTheTurnGoesOn) {
    port->snoopingEnable = 1;
    receive(testbpdu::rst());
    request();
    turn();
    EXPECT_EQ(port->rxRstBpdu, 1U);
    EXPECT_THAT(bridge.sw.requests, IsEmpty());
}

TEST_F(Loop, PaddedRstFrameOnASnoopingPortIsTakenAsItIs) {
    port->snoopingEnable = 1;
    uint32_t expected = 0;
    for (const size_t size : {37U, 38U, 39U, 43U, 103U, 200U}) {
        Bytes padded = testbpdu::rst();
        padded.resize(size);
        receive(padded);
        turn();
        EXPECT_EQ(port->rxRstBpdu, ++expected) << size;
    }
}

/// What a port has learnt from its neighbour.
class Learnt : public Loop {
  protected:
    Learnt() {
        bridge.addInstance(1);
        bridge.addInstance(2);
        bridge.advance(10); // the port's machines have left their initial states
    }

    static Bytes identifier(const tMstpBridgeId& id) { return testbpdu::bytesOf(id); }

    const tMstpPriorityVector& vector(uint32_t xstId) {
        return bridge.xstPort(xstId, UNIT)->portPriority;
    }
};

TEST_F(Learnt, CistOfAPreStandardFrameReachesTheMachines) {
    port->snoopingEnable = 1;
    receive(testbpdu::legacyMst(2));
    turn();
    EXPECT_EQ(identifier(vector(0).rootId), (Bytes{0x20, 0, 2, 0, 0, 0, 0, 1}));
    EXPECT_EQ(vector(0).extRootPathCost, 200000U);
    EXPECT_EQ(identifier(vector(0).rRootId), (Bytes{0x50, 0, 2, 0, 0, 0, 0, 2}));
    EXPECT_EQ(vector(0).intRootPathCost, 20000U);
    EXPECT_EQ(identifier(vector(0).designatedBridgeId), (Bytes{0x30, 0, 2, 0, 0, 0, 0, 3}));
    EXPECT_EQ(testbpdu::bytesOf(vector(0).designatedPortId), (Bytes{0x81, 0x23}));
}

// The last record is the first that a length too short would cut.
TEST_F(Learnt, LastMstiOfAPreStandardFrameReachesTheMachines) {
    port->snoopingEnable = 1;
    receive(testbpdu::legacyMst(2));
    turn();
    EXPECT_EQ(identifier(vector(2).rRootId), (Bytes{0x40, 2, 2, 0, 0, 0, 0x10, 2}));
    EXPECT_EQ(vector(2).intRootPathCost, 0x00010207U);
    EXPECT_EQ(identifier(vector(2).designatedBridgeId), (Bytes{0x60, 2, 2, 0, 0, 0, 0, 3}));
    EXPECT_EQ(testbpdu::bytesOf(vector(2).designatedPortId), (Bytes{0x71, 0x23}));
    EXPECT_EQ(bridge.xstPort(2, UNIT)->portTimes.remainingHops, 18);
}

TEST_F(Learnt, PreStandardFrameOfTheSameRegionComesFromTheSameRegion) {
    port->snoopingEnable = 1;
    receive(testbpdu::legacyMst(2));
    turn();
    EXPECT_EQ(port->rcvdInternal, 1);
}

TEST_F(Loop, PreStandardFrameIsNotConvertedOnAnotherPort) {
    receive(testbpdu::legacyMst(1));
    turn();
    EXPECT_EQ(port->rxMstBpdu, 0U);
}

TEST_F(Loop, StandardFrameIsDroppedDuringAFastMap) {
    bridge.bridge->isFastMapVlan = 1;
    receive(testbpdu::rst());
    turn();
    EXPECT_EQ(port->rxRstBpdu, 0U);
}

TEST_F(Loop, PreStandardFrameIsServedAlsoDuringAFastMap) {
    bridge.bridge->isFastMapVlan = 1;
    port->snoopingEnable = 1;
    receive(testbpdu::legacyMst(1));
    turn();
    EXPECT_EQ(port->rxMstBpdu, 1U);
}

// ---- the other sockets

TEST_F(Loop, FrameCommandAndLinkMessageAreServedInOneTurn) {
    receive(testbpdu::rst());
    request();
    bridge.sw.linkMessages.push_back(Bytes(15));
    turn();
    EXPECT_EQ(port->rxRstBpdu, 1U);
    EXPECT_THAT(bridge.sw.requests, IsEmpty());
    EXPECT_THAT(bridge.sw.linkMessages, IsEmpty());
}

TEST_F(Loop, ServesOneCommandATurn) {
    request();
    request();
    turn();
    EXPECT_EQ(bridge.sw.requests.size(), 1U);
}

TEST_F(Loop, FailedReadOfTheLinkSocketIsReported) {
    bridge.sw.linkMessages.emplace_back();
    turn();
    EXPECT_EQ(errors.substr(0, 16), "recvfrom error: ");
}

// ---- posted work

TEST_F(Loop, PostingTwiceWithinATickYieldsOnePass) {
    bridge.advance(2);
    bridge.trace(MSTP_DEBUG_ACTIVITY);
    mstpBridgePost(bridge.bridge, MSTP_EVENT_FSM);
    sim::setNow(sim::now() + 5'000);
    mstpBridgePost(bridge.bridge, MSTP_EVENT_FSM);
    bridge.advance(3);
    EXPECT_EQ(std::count(bridge.sw.traces.begin(), bridge.sw.traces.end(), "bridge 1 FSM process"),
              1);
}

TEST_F(Loop, PostingAgainMovesTheExpiryForward) {
    bridge.advance(2);
    mstpBridgePost(bridge.bridge, MSTP_EVENT_FSM);
    sim::setNow(sim::now() + 5'000);
    mstpSendMsg(MSTP_MSG_NULL);
    EXPECT_EQ(timerRemain(&gMstp.msgTimer), 1);
    EXPECT_EQ(gMstp.msgTimer.expireTime, sim::now() + 10'000);
}

/// What one pass of posted work leaves in the traces.
class PostedWork : public Loop {
  protected:
    void process(uint32_t event) {
        bridge.advance(2);
        bridge.trace(MSTP_DEBUG_ACTIVITY);
        bridge.bridge->event = event;
        mstpProcessMsg(MSTP_MSG_NULL);
    }
    bool did(const std::string& text) const { return bridge.sw.traced(text); }
};

TEST_F(PostedWork, FsmBitRunsTheDriver) {
    process(MSTP_EVENT_FSM);
    EXPECT_TRUE(did("bridge 1 FSM process"));
    EXPECT_EQ(bridge.bridge->event, 0U);
}

TEST_F(PostedWork, TickBitTransmitsWithoutTheDriver) {
    bridge.advance(300);
    port->helloWhen = 0;
    process(MSTP_EVENT_TICK);
    EXPECT_FALSE(did("bridge 1 FSM process"));
    EXPECT_FALSE(did("bridge 1 timer process"));
    EXPECT_EQ(port->helloWhen, 2);
}

TEST_F(PostedWork, TickBitRunsTheTimersOnlyWhileTheyAreEnabled) {
    mstpTimeProcessEnable = 1;
    process(MSTP_EVENT_TICK);
    EXPECT_TRUE(did("bridge 1 timer process"));
}

TEST_F(PostedWork, InitPortsBitInitialisesPortsThatWait) {
    port->inited = 0;
    process(MSTP_EVENT_INIT_PORTS);
    EXPECT_TRUE(did("mstp port port3 init"));
}

TEST_F(PostedWork, ReinitBitInitialisesABridgeThatIsNot) {
    process(MSTP_EVENT_REINIT);
    EXPECT_TRUE(did("bridge 1 init"));
}

TEST_F(PostedWork, ReinitBitResetsABridgeThatIsInitialised) {
    mstpBridgeInit(bridge.bridge);
    bridge.bridge->cfgIdDigest[0] = 0;
    process(MSTP_EVENT_REINIT);
    EXPECT_FALSE(did("bridge 1 init"));
    EXPECT_TRUE(did("mstp port port3 init"));
    EXPECT_TRUE(did("msti 0 reset"));
    EXPECT_TRUE(did("bridge 1 FSM process"));
    EXPECT_EQ(bridge.bridge->cfgIdDigest[0], 0xAC);
    EXPECT_EQ(bridge.bridge->begin, 0);
}

TEST_F(PostedWork, ResetLeavesOutInstancesThatAreNotActive) {
    mstpBridgeInit(bridge.bridge);
    bridge.addInstance(2)->rowStatus = MSTP_NOTINSERVICE;
    process(MSTP_EVENT_REINIT);
    EXPECT_FALSE(did("msti 2 reset"));
}

TEST_F(PostedWork, AllBitsAreServedInTheirOrder) {
    mstpBridgeInit(bridge.bridge);
    port->inited = 0;
    mstpTimeProcessEnable = 1;
    process(MSTP_EVENT_TICK | MSTP_EVENT_FSM | MSTP_EVENT_INIT_PORTS | MSTP_EVENT_REINIT);
    std::vector<std::string> order;
    for (const std::string& text : bridge.sw.traces) {
        if (text == "bridge 1 FSM process" || text == "bridge 1 timer process" ||
            text == "mstp port port3 init" || text == "msti 0 reset") {
            order.push_back(text);
        }
    }
    EXPECT_THAT(order, testing::ElementsAre("bridge 1 FSM process", "bridge 1 timer process",
                                            "mstp port port3 init", "mstp port port3 init",
                                            "msti 0 reset", "bridge 1 FSM process"));
}

TEST_F(PostedWork, PendingFastMapDropsEverythingElse) {
    bridge.bridge->isFastMapVlan = 1;
    process(MSTP_EVENT_FSM | MSTP_EVENT_REINIT);
    EXPECT_THAT(bridge.sw.traces, IsEmpty());
    EXPECT_EQ(bridge.bridge->event, 0U);
    EXPECT_EQ(bridge.bridge->isFastMapVlan, 1);
}

TEST_F(PostedWork, ReleasedFastMapRebuildsTheInstancesAndInitialisesTheBridge) {
    bridge.bridge->isFastMapVlan = 1;
    bridge.bridge->fastXsts[0] = 0xA0; // instances 0 and 2
    process(MSTP_EVENT_FASTMAP_DONE);
    EXPECT_TRUE(did("bridge 1 init"));
    EXPECT_TRUE(did("Vlan fastMap finished!"));
    EXPECT_NE(bridge.xst(2), nullptr);
    EXPECT_EQ(bridge.bridge->isFastMapVlan, 0);
    EXPECT_EQ(bridge.bridge->inited, 1);
}

TEST_F(PostedWork, FinishedFastMapIsTracedWhateverTheMask) {
    bridge.bridge->isFastMapVlan = 1;
    bridge.bridge->fastXsts[0] = 0x80;
    bridge.advance(2);
    bridge.trace(0);
    bridge.bridge->event = MSTP_EVENT_FASTMAP_DONE;
    mstpProcessMsg(MSTP_MSG_NULL);
    EXPECT_TRUE(did("Vlan fastMap finished!"));
}
