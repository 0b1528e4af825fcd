// The driver of the state machines: their order, the messages that it drops, the flushes that it
// collects.

#include "test_objects.h"

namespace {

using objects::arm;
using objects::armed;
using objects::flushes;
using objects::macFlushes;
using objects::machinesRun;
using objects::setVlans;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

// ---- mstpBridgeFSM

// The banners of one pass over port @p unit.
std::vector<std::string> runsOf(uint32_t unit, std::initializer_list<uint32_t> xstIds) {
    std::vector<std::string> runs;
    const auto add = [&runs](const char* format, uint32_t first, uint32_t second) {
        char text[128];
        snprintf(text, sizeof text, format, first, second);
        runs.emplace_back(text);
    };
    add("mstp port port%u Port Receive state machine", unit, 0);
    add("mstp port port%u  Port Protocol Migration state machine", unit, 0);
    add("mstp port port%u Bridge Detection state machine", unit, 0);
    for (const uint32_t id : xstIds) {
        add("msti %u port port%u Port Information state machine", id, unit);
        add("msti %u Port Role Selection state machine", id, 0);
        add("msti %u port port%u Port Role Transitions state machine", id, unit);
        add("msti %u port %u Port State Transition state machine", id, unit);
        add("msti %u port port%u  Topology Change state machine", id, unit);
    }
    add("mstp port port%u  Port Transmit state machine", unit, 0);
    return runs;
}

TEST(BridgeDriver, RunsTheMachinesInTheirOrder) {
    TestBridge bridge;
    bridge.addUpPort(1);
    bridge.trace(MSTP_DEBUG_MACHINE);

    mstpBridgeFSM(bridge.bridge);

    EXPECT_EQ(machinesRun(bridge), runsOf(1, {0}));
}

TEST(BridgeDriver, TakesInstancesAscendingCistFirst) {
    TestBridge bridge;
    bridge.addInstance(5);
    bridge.addInstance(2);
    bridge.addUpPort(1);
    bridge.trace(MSTP_DEBUG_MACHINE);

    mstpBridgeFSM(bridge.bridge);

    EXPECT_EQ(machinesRun(bridge), runsOf(1, {0, 2, 5}));
}

TEST(BridgeDriver, TakesPortsAscendingByUnitOnceEach) {
    TestBridge bridge;
    bridge.addUpPort(9);
    bridge.addUpPort(4);
    bridge.trace(MSTP_DEBUG_MACHINE);

    mstpBridgeFSM(bridge.bridge);

    std::vector<std::string> expected = runsOf(4, {0});
    for (const std::string& run : runsOf(9, {0})) {
        expected.push_back(run);
    }
    EXPECT_EQ(machinesRun(bridge), expected);
}

TEST(BridgeDriver, SkipsAPortWhoseLinkIsDown) {
    TestBridge bridge;
    bridge.addDownPort(1);
    bridge.addUpPort(2);
    bridge.trace(MSTP_DEBUG_MACHINE);

    mstpBridgeFSM(bridge.bridge);

    EXPECT_EQ(machinesRun(bridge), runsOf(2, {0}));
}

TEST(BridgeDriver, IsTraced) {
    TestBridge bridge;
    bridge.trace(MSTP_DEBUG_ACTIVITY);

    mstpBridgeFSM(bridge.bridge);

    EXPECT_THAT(bridge.sw.traces, ElementsAre("bridge 1 FSM process"));
}

TEST(BridgeDriver, LeavesAPendingBpduPending) {
    TestBridge bridge;
    tMstpPort* port = bridge.addUpPort(1);
    mstpBridgeFSM(bridge.bridge);
    port->rcvdBpdu = 1;

    mstpBridgeFSM(bridge.bridge);

    EXPECT_EQ(port->rcvdBpdu, 1);
}

TEST(BridgeDriver, ClearsTheReceivedMessageFlagsOfEveryLivePort) {
    TestBridge bridge;
    tMstpPort* port = bridge.addUpPort(1);
    port->rcvdAnyMsg = 1;
    port->rcvdCistMsg = 1;
    port->rcvdMstiMsg = 1;

    mstpBridgeFSM(bridge.bridge);

    EXPECT_EQ(port->rcvdAnyMsg, 0);
    EXPECT_EQ(port->rcvdCistMsg, 0);
    EXPECT_EQ(port->rcvdMstiMsg, 0);
}

// An instance port whose information is to be updated but that role selection has not confirmed
// takes in no message: the driver then drops it.
TEST(BridgeDriver, ClearsAMessageThatNoMachineTookIn) {
    TestBridge bridge;
    bridge.addInstance(1);
    bridge.addUpPort(1);
    mstpBridgeFSM(bridge.bridge);
    mstpBridgeFSM(bridge.bridge);
    for (const uint32_t id : {0U, 1U}) {
        tMstpXstPort* xstPort = bridge.xstPort(id, 1);
        ASSERT_EQ(xstPort->fsmState[MSTP_PORT_INFORMATION_FSM], MSTP_PORT_INFORMATION_CURRENT);
        xstPort->selected = 0;
        xstPort->updtInfo = 1;
        xstPort->rcvdMsg = 1;
    }

    mstpBridgeFSM(bridge.bridge);

    EXPECT_EQ(bridge.xstPort(0, 1)->rcvdMsg, 0);
    EXPECT_EQ(bridge.xstPort(1, 1)->rcvdMsg, 0);
}

TEST(BridgeDriver, KeepsTheReceivedMessageFlagsOfAPortWhoseLinkIsDown) {
    TestBridge bridge;
    tMstpPort* port = bridge.addDownPort(1);
    port->rcvdAnyMsg = 1;
    bridge.xstPort(0, 1)->rcvdMsg = 1;

    mstpBridgeFSM(bridge.bridge);

    EXPECT_EQ(port->rcvdAnyMsg, 1);
    EXPECT_EQ(bridge.xstPort(0, 1)->rcvdMsg, 1);
}

// ---- Flushes of the driver

// Two ports and an MSTI, every flush of the start made, the one-second timer idle: nothing flushes
// but what a test asks for.
struct SettledBridge : TestBridge {
    SettledBridge() {
        msti = addInstance(1);
        setVlans(xst(0), {1, 2, 3});
        setVlans(msti, {100});
        addUpPort(1);
        addUpPort(2);
        mstpBridgeInitPorts(bridge);
        advance(6000);
        timerStop(&gMstp.timerList, &bridge->oneSecondTimer);
        mstpBridgeFSM(bridge);
        mstpBridgeFSM(bridge);
        sw.forget();
    }

    // Time passes, no timer fires.
    void wait(uint32_t seconds) { sim::setNow(sim::now() + seconds * 1'000'000ULL); }

    void requestFlush(uint32_t xstId, uint32_t unit) { xstPort(xstId, unit)->fdbFlush = 1; }

    tMstpXst* msti;
};

TEST(BridgeDriverFlush, NothingIsFlushedWithoutARequest) {
    SettledBridge bridge;

    mstpBridgeFSM(bridge.bridge);

    EXPECT_THAT(flushes(bridge), IsEmpty());
}

TEST(BridgeDriverFlush, RequestFlushesTheInstancesVlansOnThePort) {
    SettledBridge bridge;
    bridge.requestFlush(1, 2);

    mstpBridgeFSM(bridge.bridge);

    EXPECT_THAT(macFlushes(bridge), ElementsAre("kelIfSetApi:98 unit=2 vlans=100"));
}

TEST(BridgeDriverFlush, RequestIsConsumed) {
    SettledBridge bridge;
    bridge.requestFlush(1, 2);

    mstpBridgeFSM(bridge.bridge);

    EXPECT_EQ(bridge.xstPort(1, 2)->fdbFlush, 0);
}

// A port that rests learns only after its flush.
TEST(BridgeDriverFlush, PortThatComesToLifeLearnsInThePassAfterItsFlush) {
    SettledBridge bridge;
    tMstpXstPort* xstPort = bridge.xstPort(1, 2);
    xstPort->fsmState[MSTP_TOPOLOGY_CHANGE_FSM] = MSTP_TOPOLOGY_CHANGE_INACTIVE;
    bridge.requestFlush(1, 2);

    mstpBridgeFSM(bridge.bridge);
    EXPECT_THAT(macFlushes(bridge), SizeIs(1));
    EXPECT_EQ(xstPort->fsmState[MSTP_TOPOLOGY_CHANGE_FSM], MSTP_TOPOLOGY_CHANGE_INACTIVE);

    mstpBridgeFSM(bridge.bridge);
    EXPECT_NE(xstPort->fsmState[MSTP_TOPOLOGY_CHANGE_FSM], MSTP_TOPOLOGY_CHANGE_INACTIVE);
}

TEST(BridgeDriverFlush, RequestsOfSeveralInstancesOfAPortAreOneFlush) {
    SettledBridge bridge;
    bridge.requestFlush(0, 1);
    bridge.requestFlush(1, 1);

    mstpBridgeFSM(bridge.bridge);

    EXPECT_THAT(macFlushes(bridge), ElementsAre("kelIfSetApi:98 unit=1 vlans=1-3,100"));
}

// The list of a pass is not cleared between ports, deliberately.
TEST(BridgeDriverFlush, LaterPortAlsoCoversTheVlansOfAnEarlierPort) {
    SettledBridge bridge;
    bridge.requestFlush(0, 1);
    bridge.requestFlush(1, 2);

    mstpBridgeFSM(bridge.bridge);

    EXPECT_THAT(macFlushes(bridge), ElementsAre("kelIfSetApi:98 unit=1 vlans=1-3",
                                                "kelIfSetApi:98 unit=2 vlans=1-3,100"));
}

TEST(BridgeDriverFlush, ListIsAsLongAsTheLongestOfItsInstances) {
    SettledBridge bridge;
    bridge.requestFlush(1, 1);
    bridge.requestFlush(0, 2);

    mstpBridgeFSM(bridge.bridge);

    EXPECT_THAT(macFlushes(bridge), ElementsAre("kelIfSetApi:98 unit=1 vlans=100",
                                                "kelIfSetApi:98 unit=2 vlans=1-3,100"));
}

TEST(BridgeDriverFlush, EveryPassStartsWithAnEmptyList) {
    SettledBridge bridge;
    bridge.requestFlush(0, 1);
    mstpBridgeFSM(bridge.bridge);
    bridge.sw.forget();
    bridge.requestFlush(1, 2);

    mstpBridgeFSM(bridge.bridge);

    EXPECT_THAT(macFlushes(bridge), ElementsAre("kelIfSetApi:98 unit=2 vlans=100"));
}

TEST(BridgeDriverFlush, BytesBeyondTheInstancesLengthDoNotCount) {
    SettledBridge bridge;
    bridge.msti->vlanLen = 1;
    bitListSet(bridge.msti->vlanList, 0);
    bridge.requestFlush(1, 2);

    mstpBridgeFSM(bridge.bridge);

    EXPECT_THAT(macFlushes(bridge), ElementsAre("kelIfSetApi:98 unit=2 vlans=1"));
}

TEST(BridgeDriverFlush, InstanceWithoutVlansFlushesNothing) {
    SettledBridge bridge;
    setVlans(bridge.msti, {});
    bridge.requestFlush(1, 2);

    mstpBridgeFSM(bridge.bridge);

    EXPECT_THAT(flushes(bridge), IsEmpty());
    EXPECT_EQ(bridge.xstPort(1, 2)->fdbFlush, 0);
}

TEST(BridgeDriverFlush, WithoutProtectionNoHoldOffStarts) {
    SettledBridge bridge;
    bridge.requestFlush(1, 2);

    mstpBridgeFSM(bridge.bridge);

    EXPECT_FALSE(armed(bridge.xstPort(1, 2)->tcHoldoffTimer));
}

TEST(BridgeDriverFlush, UnderProtectionAFlushStartsTheHoldOff) {
    SettledBridge bridge;
    bridge.bridge->tcProtection = 1;
    bridge.requestFlush(1, 2);

    mstpBridgeFSM(bridge.bridge);

    EXPECT_THAT(macFlushes(bridge), SizeIs(1));
    EXPECT_EQ(timerRemain(&bridge.xstPort(1, 2)->tcHoldoffTimer), 1000);
}

TEST(BridgeDriverFlush, TwoTopologyChangesThreeSecondsApartFlushOnceUntilTheHoldOffExpires) {
    SettledBridge bridge;
    bridge.bridge->tcProtection = 1;
    bridge.requestFlush(1, 2);
    mstpBridgeFSM(bridge.bridge);
    bridge.wait(3);
    bridge.requestFlush(1, 2);

    mstpBridgeFSM(bridge.bridge);
    EXPECT_THAT(macFlushes(bridge), SizeIs(1));
    EXPECT_EQ(bridge.xstPort(1, 2)->fdbFlush, 1);

    bridge.wait(7);
    mstpBridgeFSM(bridge.bridge);
    EXPECT_THAT(macFlushes(bridge), SizeIs(2));
    EXPECT_EQ(bridge.xstPort(1, 2)->fdbFlush, 0);
}

// The driver runs once a second by itself, so a flush that was held off does not wait for an event.
TEST(BridgeDriverFlush, FlushThatWasHeldOffIsMadeByTheRunningBridgeWhenTheHoldOffExpires) {
    SettledBridge bridge;
    bridge.bridge->tcProtection = 1;
    bridge.requestFlush(1, 2);
    mstpBridgeFSM(bridge.bridge);
    bridge.requestFlush(1, 2);
    mstpBridgeStartOneSecondTimer(bridge.bridge);

    bridge.advance(800);
    EXPECT_THAT(macFlushes(bridge), SizeIs(1));
    bridge.advance(400);
    EXPECT_THAT(macFlushes(bridge), SizeIs(2));
}

TEST(BridgeDriverFlush, HoldOffWithExactlyASecondLeftStillHolds) {
    SettledBridge bridge;
    bridge.bridge->tcProtection = 1;
    arm(bridge.xstPort(1, 2)->tcHoldoffTimer, 100);
    bridge.requestFlush(1, 2);

    mstpBridgeFSM(bridge.bridge);

    EXPECT_THAT(macFlushes(bridge), IsEmpty());
}

TEST(BridgeDriverFlush, HoldOffWithLessThanASecondLeftHoldsNoMore) {
    SettledBridge bridge;
    bridge.bridge->tcProtection = 1;
    arm(bridge.xstPort(1, 2)->tcHoldoffTimer, 99);
    bridge.requestFlush(1, 2);

    mstpBridgeFSM(bridge.bridge);

    EXPECT_THAT(macFlushes(bridge), SizeIs(1));
    EXPECT_EQ(timerRemain(&bridge.xstPort(1, 2)->tcHoldoffTimer), 1000);
}

TEST(BridgeDriverFlush, HoldOffTakesTheBridgesTime) {
    SettledBridge bridge;
    bridge.bridge->tcProtection = 1;
    bridge.bridge->tcHoldOffTime = 300;
    bridge.requestFlush(1, 2);

    mstpBridgeFSM(bridge.bridge);

    EXPECT_EQ(timerRemain(&bridge.xstPort(1, 2)->tcHoldoffTimer), 30000);
}

TEST(BridgeDriverFlush, HoldOffOfOneInstancePortDoesNotHoldAnother) {
    SettledBridge bridge;
    bridge.bridge->tcProtection = 1;
    arm(bridge.xstPort(0, 1)->tcHoldoffTimer);
    bridge.requestFlush(0, 1);
    bridge.requestFlush(1, 1);

    mstpBridgeFSM(bridge.bridge);

    EXPECT_THAT(macFlushes(bridge), ElementsAre("kelIfSetApi:98 unit=1 vlans=100"));
    EXPECT_EQ(bridge.xstPort(0, 1)->fdbFlush, 1);
}

TEST(BridgeDriverFlush, ExpiryOfTheHoldOffDoesNothingByItself) {
    SettledBridge bridge;
    bridge.bridge->tcProtection = 1;
    bridge.bridge->tcHoldOffTime = 0;
    bridge.requestFlush(1, 2);
    mstpBridgeFSM(bridge.bridge);
    bridge.sw.forget();
    gMstp.debug = MSTP_DEBUG_ACTIVITY;

    tTimerNode* timer = &bridge.xstPort(1, 2)->tcHoldoffTimer;
    timer->callBack(timer->arg1, timer->arg2, timer->arg3);

    EXPECT_THAT(bridge.sw.traces, IsEmpty());
    EXPECT_THAT(bridge.sw.calls, IsEmpty());
}

TEST(BridgeDriverFlush, ProtectionOfAHeldPortDoesNotKeepItsMachinesFromRunning) {
    SettledBridge bridge;
    bridge.bridge->tcProtection = 1;
    arm(bridge.xstPort(0, 1)->tcHoldoffTimer);
    bridge.requestFlush(0, 1);
    bridge.trace(MSTP_DEBUG_MACHINE);

    mstpBridgeFSM(bridge.bridge);

    EXPECT_THAT(machinesRun(bridge), SizeIs(2 * runsOf(1, {0, 1}).size()));
}

} // namespace
