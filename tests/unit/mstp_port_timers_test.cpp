// Port timers: counters that one-shot nodes run out, the second, and the standard's machine beside
// them.

#include "mstp_port_timers_state_machine.h"

#include "machine_test.h"

using testing::Contains;

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const char* const DRIVER = "bridge 1 FSM process";

class PortTimers : public MachineTest {
  protected:
    void load(uint32_t seconds, uint32_t event = MSTP_EVENT_FSM) {
        mstpLoadCounter(bridge.bridge, &counter[1], &node, seconds, event);
    }

    ~PortTimers() override { timerStop(&gMstp.timerList, &node); }

    uint32_t event() const { return bridge.bridge->event; }
    bool loopIsWoken() const { return listLinked(&gMstp.msgTimer.node); }

    tTimerNode node = {};
    uint8_t counter[3] = {0xAA, 0, 0xBB}; // the one in the middle
};

// ---- Loading and clearing a counter

TEST_F(PortTimers, LoadedCounterHoldsItsSecondsUntilItsNodeFires) {
    load(15);
    EXPECT_EQ(counter[1], 15);
    EXPECT_EQ(timerRemain(&node), 1500);

    bridge.advance(1499);
    EXPECT_EQ(counter[1], 15);
    EXPECT_EQ(event(), 0U);

    bridge.advance(1);
    EXPECT_EQ(counter[1], 0);
    EXPECT_FALSE(listLinked(&node.node));
}

TEST_F(PortTimers, ExpiryTouchesTheCounterAlone) {
    load(1);
    bridge.advance(100);
    EXPECT_THAT(counter, ElementsAre(0xAA, 0, 0xBB));
}

TEST_F(PortTimers, ExpirySetsTheEventThatTheCounterWasLoadedWith) {
    load(1, MSTP_EVENT_TICK);
    bridge.advance(100);
    EXPECT_EQ(event(), MSTP_EVENT_TICK);
}

TEST_F(PortTimers, LongestTimeIsTwoHundredAndFiftyFiveSeconds) {
    load(255);
    EXPECT_EQ(counter[1], 255);
    EXPECT_EQ(timerRemain(&node), 25500);
}

TEST_F(PortTimers, LongerTimesAreCutToEightBitsForCounterAndNodeAlike) {
    load(0x102);
    EXPECT_EQ(counter[1], 2);
    EXPECT_EQ(timerRemain(&node), 200);
}

TEST_F(PortTimers, CounterLoadedWithZeroStartsANodeOfZeroTicksThatStoresZeroAndWakesTheLoop) {
    counter[1] = 9;
    load(0);
    EXPECT_EQ(counter[1], 0);
    EXPECT_TRUE(listLinked(&node.node));
    EXPECT_FALSE(loopIsWoken());

    counter[1] = 9;
    timerListCheck(&gMstp.timerList);

    EXPECT_EQ(counter[1], 0);
    EXPECT_EQ(event(), MSTP_EVENT_FSM);
    EXPECT_TRUE(loopIsWoken());
}

TEST_F(PortTimers, CounterReloadedBeforeItsNodeFiresRunsTheFullPeriodAgain) {
    load(3);
    bridge.advance(299);
    load(3);
    EXPECT_EQ(timerRemain(&node), 300);

    bridge.advance(299);
    EXPECT_EQ(counter[1], 3);
    EXPECT_EQ(event(), 0U);
    bridge.advance(1);
    EXPECT_EQ(counter[1], 0);
}

TEST_F(PortTimers, ReloadedCounterTakesTheNewTime) {
    load(20);
    load(2);
    EXPECT_EQ(counter[1], 2);
    EXPECT_EQ(timerRemain(&node), 200);
}

TEST_F(PortTimers, ClearedCounterIsZeroAndItsNodeNeverFires) {
    load(3);
    mstpClearCounter(&counter[1], &node);
    EXPECT_THAT(counter, ElementsAre(0xAA, 0, 0xBB));
    EXPECT_FALSE(listLinked(&node.node));

    bridge.advance(1000);
    EXPECT_EQ(event(), 0U);
}

TEST_F(PortTimers, ClearingACounterThatStandsStillIsHarmless) {
    mstpClearCounter(&counter[1], &node);
    EXPECT_EQ(counter[1], 0);
}

// ---- Expiry of a counter's node

TEST_F(PortTimers, ExpiryLeavesTheMachinesToTheLoop) {
    load(1);
    const auto traces = traced(MSTP_DEBUG_ACTIVITY | MSTP_DEBUG_MACHINE, [&] {
        sim::setNow(sim::now() + 1'000'000);
        timerListCheck(&gMstp.timerList);
    });

    EXPECT_THAT(traces, IsEmpty());
    EXPECT_EQ(timerRemain(&gMstp.msgTimer), 1);
    EXPECT_EQ(gMstp.msgTimer.arg1, reinterpret_cast<void*>(uintptr_t{MSTP_MSG_NULL}));
}

TEST_F(PortTimers, LoopRunsTheMachinesOneTickAfterAnExpiry) {
    load(1);
    const auto traces = traced(MSTP_DEBUG_ACTIVITY, [&] { bridge.advance(101); });
    EXPECT_THAT(traces, Contains(DRIVER).Times(1));
}

TEST_F(PortTimers, ExpiryAddsItsEventToThoseThatWait) {
    bridge.bridge->event = MSTP_EVENT_INIT_PORTS;
    mstpNonIntervalTimerExpire(bridge.bridge, &counter[1],
                               reinterpret_cast<void*>(uintptr_t{MSTP_EVENT_FSM}));
    EXPECT_EQ(event(), uint32_t{MSTP_EVENT_INIT_PORTS | MSTP_EVENT_FSM});
}

TEST_F(PortTimers, ExpirySetsAllBitsOfItsEvent) {
    mstpNonIntervalTimerExpire(bridge.bridge, &counter[1],
                               reinterpret_cast<void*>(uintptr_t{0x12}));
    EXPECT_EQ(event(), 0x12U);
}

TEST_F(PortTimers, ExpiryOfACounterReachesTheBridgeGiven) {
    tMstpBridge other = {};
    mstpNonIntervalTimerExpire(&other, &counter[1],
                               reinterpret_cast<void*>(uintptr_t{MSTP_EVENT_FSM}));
    EXPECT_EQ(other.event, MSTP_EVENT_FSM);
    EXPECT_EQ(event(), 0U);
}

// ---- Timers without a counter

void* firedWith[3];
void remember(void* arg1, void* arg2, void* arg3) {
    firedWith[0] = arg1;
    firedWith[1] = arg2;
    firedWith[2] = arg3;
}

TEST_F(PortTimers, RestartedTimerCallsBackWithItsOneArgument) {
    firedWith[1] = firedWith[2] = this;
    EXPECT_EQ(mstpRestartTimer(&node, 150, remember, port), 0);
    EXPECT_EQ(timerRemain(&node), 150);

    bridge.advance(150);
    EXPECT_THAT(firedWith, ElementsAre(port, nullptr, nullptr));
}

TEST_F(PortTimers, RestartedTimerRunsTheFullDelayAgain) {
    mstpRestartTimer(&node, 150, remember, port);
    bridge.advance(149);
    EXPECT_EQ(mstpRestartTimer(&node, 150, remember, port), 0);
    EXPECT_EQ(timerRemain(&node), 150);
}

TEST_F(PortTimers, RestartTellsThatThereIsNoTimerList) {
    const tTimerLst list = gMstp.timerList;
    gMstp.timerList = {};
    EXPECT_EQ(mstpRestartTimer(&node, 150, remember, port), -1);
    gMstp.timerList = list;
}

TEST_F(PortTimers, RemainingTimeIsWholeSecondsAndTruncated) {
    const std::pair<uint32_t, int32_t> cases[] = {{100, 1}, {101, 1}, {199, 1},
                                                  {200, 2}, {1, 0},   {25500, 255}};
    for (const auto& [ticks, seconds] : cases) {
        mstpRestartTimer(&node, ticks, remember, nullptr);
        EXPECT_EQ(mstpRemain(&node), seconds) << ticks;
    }
}

TEST_F(PortTimers, NodeWithNinetyNineTicksLeftHasZeroSecondsLeft) {
    mstpRestartTimer(&node, 99, remember, nullptr);
    EXPECT_EQ(mstpRemain(&node), 0);
}

TEST_F(PortTimers, StoppedNodeHasZeroSecondsLeft) {
    mstpRestartTimer(&node, 500, remember, nullptr);
    timerStop(&gMstp.timerList, &node);
    EXPECT_EQ(mstpRemain(&node), 0);
}

TEST_F(PortTimers, NodeHeldUntilManagementReleasesItRemainsBelowZero) {
    mstpRestartTimer(&node, static_cast<uint32_t>(-1) * 100, remember, nullptr);
    EXPECT_EQ(mstpRemain(&node), -1);
    bridge.advance(1000);
    EXPECT_EQ(mstpRemain(&node), -11);
}

} // namespace
