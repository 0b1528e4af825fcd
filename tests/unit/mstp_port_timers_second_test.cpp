// Port timers: the bridge's second, the call-backs of the holds, and the standard's Port Timers
// machine.

#include <initializer_list>

#include "machine_test.h"
#include "mstp_port_timers_state_machine.h"

using testing::Contains;
using testing::Not;

namespace {

const char* const DRIVER = "bridge 1 FSM process";
const char* const BANNER = "mstp port port1  port timer state machine";

class BridgeSecond : public MachineTest {
  protected:
    // Without a record in service the transmit machine leaves txCount alone.
    void keepFromSending() { cist->state = MSTP_SLOT_FREE; }

    void expire() { mstpIntervalTimerExpire(bridge.bridge, nullptr, nullptr); }
};

// ---- The bridge's second

TEST_F(BridgeSecond, SecondMarksATickAndKeepsTheEventsThatWait) {
    bridge.bridge->event = MSTP_EVENT_REINIT;
    expire();
    EXPECT_EQ(bridge.bridge->event & (MSTP_EVENT_TICK | MSTP_EVENT_REINIT),
              uint32_t{MSTP_EVENT_TICK | MSTP_EVENT_REINIT});
}

TEST_F(BridgeSecond, SecondLowersTheTransmitCountOfEveryPort) {
    tMstpPort* down = bridge.addDownPort(2);
    keepFromSending();
    port->txCount = 4;
    down->txCount = 1;
    expire();
    EXPECT_EQ(port->txCount, 3);
    EXPECT_EQ(down->txCount, 0);
}

TEST_F(BridgeSecond, TransmitCountOfZeroStaysZero) {
    keepFromSending();
    port->txCount = 0;
    expire();
    EXPECT_EQ(port->txCount, 0);
}

TEST_F(BridgeSecond, SecondArmsItsTimerForTheNextOne) {
    expire();
    const tTimerNode& timer = bridge.bridge->oneSecondTimer;
    EXPECT_EQ(timerRemain(&timer), 100);
    EXPECT_EQ(timer.callBack, mstpIntervalTimerExpired);
    EXPECT_EQ(timer.arg1, bridge.bridge);
    EXPECT_EQ(timer.arg2, nullptr);
    EXPECT_EQ(timer.arg3, nullptr);
}

TEST_F(BridgeSecond, SecondThatExpiresEarlyRunsInFullAgain) {
    mstpBridgeStartOneSecondTimer(bridge.bridge);
    bridge.advance(40);
    expire();
    EXPECT_EQ(timerRemain(&bridge.bridge->oneSecondTimer), 100);
}

TEST_F(BridgeSecond, SecondRunsTheMachinesAtOnce) {
    const auto traces = traced(MSTP_DEBUG_ACTIVITY, [&] { expire(); });
    EXPECT_THAT(traces, Contains(DRIVER).Times(1));
}

TEST_F(BridgeSecond, MachinesThatTheSecondRunsSeeTheLoweredTransmitCount) {
    for (int i = 0; i < 3; i++) {
        mstpBridgeFSM(bridge.bridge);
    }
    port->newInfo = 1;
    port->helloWhen = 1;
    port->txCount = bridge.bridge->txHoldCount;
    bridge.sw.sent.clear();
    expire();
    EXPECT_EQ(bridge.sw.sent.size(), 1U);
}

TEST_F(BridgeSecond, SecondOfABridgeWithoutPortsDoesNotWakeTheLoop) {
    mstpBridgePortDelete(bridge.bridge, port);
    timerStop(&gMstp.timerList, &gMstp.msgTimer);
    expire();
    EXPECT_FALSE(listLinked(&gMstp.msgTimer.node));
    EXPECT_EQ(bridge.bridge->event, MSTP_EVENT_TICK);
}

TEST_F(BridgeSecond, TimerListReachesTheSecondThroughItsCallBack) {
    mstpBridgeStartOneSecondTimer(bridge.bridge);
    const auto traces = traced(MSTP_DEBUG_ACTIVITY, [&] {
        sim::setNow(sim::now() + 1'000'000);
        timerListCheck(&gMstp.timerList);
    });
    EXPECT_THAT(traces, Contains(DRIVER).Times(1));
    EXPECT_EQ(timerRemain(&bridge.bridge->oneSecondTimer), 100);
}

TEST_F(BridgeSecond, SecondsFollowOneAnother) {
    mstpBridgeStartOneSecondTimer(bridge.bridge);
    keepFromSending();
    port->txCount = 3;
    bridge.advance(99);
    EXPECT_EQ(port->txCount, 3);
    bridge.advance(1);
    EXPECT_EQ(port->txCount, 2);
    bridge.advance(200);
    EXPECT_EQ(port->txCount, 0);
}

// ---- The tick of the standard's machine, switched off

TEST_F(BridgeSecond, StandardsMachineIsSwitchedOffAndAllTimingComesFromTheNodes) {
    keepFromSending();
    mstpLoadCounter(bridge.bridge, &port->mdelayWhile, &port->mdelayWhileTimer, 5, MSTP_EVENT_FSM);
    port->tick = 0;
    mstpBridgeStartOneSecondTimer(bridge.bridge);
    mstpSendMsg(MSTP_MSG_NULL);
    const auto traces = traced(MSTP_DEBUG_MACHINE | MSTP_DEBUG_ACTIVITY, [&] {
        for (int second = 0; second < 4; second++) {
            bridge.advance(100);
            mstpProcessMsg(MSTP_MSG_NULL);
        }
    });

    EXPECT_THAT(traces, Not(Contains(BANNER)));
    EXPECT_THAT(traces, Not(Contains("bridge 1 timer process")));
    EXPECT_EQ(port->tick, 0);
    EXPECT_EQ(port->mdelayWhile, 5);
    bridge.advance(100);
    EXPECT_EQ(port->mdelayWhile, 0);
}

TEST_F(BridgeSecond, TransmitCountFallsTwiceASecondWhileTheStandardsMachineRuns) {
    keepFromSending();
    mstpTimeProcessEnable = 1;
    port->txCount = 5;
    expire();
    EXPECT_EQ(port->txCount, 4);
    mstpProcessMsg(MSTP_MSG_NULL);
    EXPECT_EQ(port->txCount, 3);
}

// ---- Call-backs of the holds

class HoldCallBack : public MachineTest {};

TEST_F(HoldCallBack, EndOfThePointToPointHoldBringsManagementsChoiceBack) {
    port->adminPointToPointMAC = 1;
    port->operPointToPointMAC = 0;
    mstpPortP2pTimeOut(port);
    EXPECT_EQ(port->operPointToPointMAC, 1);

    port->adminPointToPointMAC = 0;
    mstpPortP2pTimeOut(port);
    EXPECT_EQ(port->operPointToPointMAC, 0);
}

TEST_F(HoldCallBack, EndOfThePointToPointHoldLeavesManagementsChoiceAlone) {
    port->adminPointToPointMAC = 0;
    port->operPointToPointMAC = 1;
    mstpPortP2pTimeOut(port);
    EXPECT_EQ(port->adminPointToPointMAC, 0);
}

TEST_F(HoldCallBack, PointToPointHoldEndsThroughTheTimerList) {
    port->adminPointToPointMAC = 1;
    port->operPointToPointMAC = 0;
    mstpRestartTimer(&port->p2pHoldTimer, 300, mstpP2pHoldExpired, port);
    bridge.advance(299);
    EXPECT_EQ(port->operPointToPointMAC, 0);
    bridge.advance(1);
    EXPECT_EQ(port->operPointToPointMAC, 1);
}

TEST_F(HoldCallBack, EndOfAnInstancePortsHoldLetsThatInstancePortForward) {
    tMstpXstPort* msti = addInstance(1);
    cist->hwState = msti->hwState = MSTP_PORT_STATE_DISCARDING;
    mstpRestartTimer(&msti->loopHoldTimer, 300, mstpXstPortHoldExpired, msti);
    bridge.advance(300);
    EXPECT_EQ(msti->hwState, MSTP_PORT_STATE_FORWARDING);
    EXPECT_EQ(cist->hwState, MSTP_PORT_STATE_DISCARDING);
}

TEST_F(HoldCallBack, EndOfBpduGuardLetsEveryInstanceOfThePortForward) {
    tMstpXstPort* msti = addInstance(1);
    tMstpXstPort* other = mstpCistPort(addPort(2));
    cist->hwState = msti->hwState = other->hwState = MSTP_PORT_STATE_DISCARDING;
    mstpRestartTimer(&port->bpduGuardTimer, 300, mstpBpduGuardExpired, port);
    bridge.advance(300);
    EXPECT_EQ(cist->hwState, MSTP_PORT_STATE_FORWARDING);
    EXPECT_EQ(msti->hwState, MSTP_PORT_STATE_FORWARDING);
    EXPECT_EQ(other->hwState, MSTP_PORT_STATE_DISCARDING);
}

} // namespace
