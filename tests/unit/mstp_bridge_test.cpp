// The bridge: creation, initialisation, deletion, and the driver of the state machines.

#include "mstp_port_timers_state_machine.h"
#include "test_objects.h"

namespace {

using objects::armed;
using objects::machinesRun;
using objects::setVlans;
using objects::tracesEnding;
using objects::unitsOf;
using objects::xstIdsOf;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

std::vector<uint32_t> indicesOfBridges() {
    std::vector<uint32_t> indices;
    for (const tMstpBridge* each : bridges()) {
        indices.push_back(each->index);
    }
    return indices;
}

// ---- mstpBridgeAdd, mstpBridgeGet

TEST(BridgeAdd, SetsTheDefaultsOfTheProtocol) {
    TestBridge bridge({.bridgeLimit = 2});

    const tMstpBridge* added = mstpBridgeAdd(2);

    EXPECT_EQ(added->index, 2);
    EXPECT_EQ(added->type, MSTP_BRIDGE_CUSTOMER);
    EXPECT_EQ(added->rowStatus, MSTP_ACTIVE);
    EXPECT_EQ(added->migrateTime, 3);
    EXPECT_EQ(added->bridgeMaxAge, 20);
    EXPECT_EQ(added->bridgeHelloTime, 2);
    EXPECT_EQ(added->bridgeForwardDelay, 15);
    EXPECT_EQ(added->bridgeMaxHops, 20);
    EXPECT_EQ(added->txHoldCount, 6);
    EXPECT_EQ(added->pathCostDefault, MSTP_PATHCOST_8021T2001);
    EXPECT_EQ(added->capable, MSTP_CAPABLE_DOT1Q);
    EXPECT_EQ(added->forceVersion, MSTP_FORCE_ATUODOT1S);
    EXPECT_EQ(added->ageingTime, 300);
}

TEST(BridgeAdd, SetsTheDefaultsOfItsOwnFeatures) {
    TestBridge bridge({.bridgeLimit = 2});

    const tMstpBridge* added = mstpBridgeAdd(2);

    EXPECT_EQ(added->isFastMapVlan, 0);
    EXPECT_EQ(added->p2pDetection, 1);
    EXPECT_EQ(added->tcHoldOffTime, 10);
    EXPECT_EQ(added->bpduGuardTime, -1);
    EXPECT_EQ(added->loopHoldTime, -1);
    EXPECT_EQ(added->cfgIdRevLevel, 0);
    EXPECT_EQ(added->cfgIdFmtSel, 0);
    EXPECT_EQ(added->bpduGuard, 0);
    EXPECT_EQ(added->loopProtection, 0);
    EXPECT_EQ(added->tcProtection, 0);
    EXPECT_EQ(added->begin, 0);
    EXPECT_EQ(added->event, 0U);
}

TEST(BridgeAdd, BridgeIsNotInitialisedYet) {
    TestBridge bridge({.bridgeLimit = 2});

    EXPECT_EQ(mstpBridgeAdd(2)->inited, 0);
}

TEST(BridgeAdd, BridgeStartsWithoutPortsAndInstances) {
    TestBridge bridge({.bridgeLimit = 2});

    tMstpBridge* added = mstpBridgeAdd(2);

    EXPECT_TRUE(listEmpty(&added->portsList));
    EXPECT_TRUE(listEmpty(&added->xstList));
    EXPECT_EQ(added->portCount, 0);
    EXPECT_EQ(added->xstCount, 0);
}

TEST(BridgeAdd, RegionIsNamedLikeTheDaemonsBridge) {
    TestBridge bridge({.name = "backbone"});

    EXPECT_EQ(bridge.bridge->nameLen, 8);
    EXPECT_EQ(memcmp(bridge.bridge->cfgIdName, "backbone\0\0", 10), 0);
}

TEST(BridgeAdd, RegionTakesANameOfThirtyTwoCharactersWhole) {
    TestBridge bridge({.name = "0123456789abcdef0123456789ABCDEFcut"});

    EXPECT_EQ(bridge.bridge->nameLen, 32);
    EXPECT_EQ(memcmp(bridge.bridge->cfgIdName, "0123456789abcdef0123456789ABCDEF", 32), 0);
}

TEST(BridgeAdd, AddressIsThatOfTheSystem) {
    TestBridge bridge;
    const uint8_t mac[] = {0x00, 0x11, 0x22, 0x33, 0x44, 0x55};

    EXPECT_EQ(memcmp(bridge.bridge->bridgeMac, mac, sizeof mac), 0);
}

// The stride is the number of bridges, not that of instances.
TEST(BridgeAdd, InstanceSliceOfABridgeIsStridedByTheBridgeLimit) {
    TestBridge bridge({.bridgeLimit = 3, .xstLimit = 8});

    EXPECT_EQ(mstpBridgeGet(1)->xsts, gMstp.xsts);
    EXPECT_EQ(mstpBridgeAdd(2)->xsts, gMstp.xsts + 3);
    EXPECT_EQ(mstpBridgeAdd(3)->xsts, gMstp.xsts + 6);
}

TEST(BridgeAdd, ListIsAscendingWhateverTheOrderOfAdding) {
    TestBridge bridge({.bridgeLimit = 4});
    mstpBridgeAdd(4);
    mstpBridgeAdd(2);
    mstpBridgeAdd(3);

    EXPECT_THAT(indicesOfBridges(), ElementsAre(1, 2, 3, 4));
}

TEST(BridgeAdd, SmallestIndexGoesToTheHead) {
    TestBridge bridge({.bridgeLimit = 3});
    mstpBridgeDelete(bridge.bridge);
    mstpBridgeAdd(3);
    mstpBridgeAdd(1);

    EXPECT_THAT(indicesOfBridges(), ElementsAre(1, 3));
}

TEST(BridgeAdd, RefusesZero) {
    TestBridge bridge;

    EXPECT_EQ(mstpBridgeAdd(0), nullptr);
}

TEST(BridgeAdd, RefusesAnIndexAboveTheLimit) {
    TestBridge bridge({.bridgeLimit = 2});

    EXPECT_EQ(mstpBridgeAdd(3), nullptr);
}

TEST(BridgeAdd, IsTracedWithATrailingBlank) {
    TestBridge bridge({.bridgeLimit = 2});
    bridge.trace(MSTP_DEBUG_OBJECT);

    mstpBridgeAdd(2);

    EXPECT_THAT(bridge.sw.traces, ElementsAre("bridge 2 add "));
}

TEST(BridgeAdd, IsTracedEvenWhenRefused) {
    TestBridge bridge;
    bridge.trace(MSTP_DEBUG_OBJECT);

    mstpBridgeAdd(9);

    EXPECT_THAT(bridge.sw.traces, ElementsAre("bridge 9 add "));
}

TEST(BridgeAdd, IsNotTracedWithoutItsBit) {
    TestBridge bridge({.bridgeLimit = 2});
    bridge.trace(~static_cast<uint32_t>(MSTP_DEBUG_OBJECT));

    mstpBridgeAdd(2);

    EXPECT_THAT(bridge.sw.traces, IsEmpty());
}

TEST(BridgeAdd, BridgeAddedAgainStandsInTheListOnce) {
    TestBridge bridge;
    mstpBridgeAdd(1);

    EXPECT_THAT(indicesOfBridges(), ElementsAre(1));
}

TEST(BridgeAdd, BridgeAddedAgainIdlesItsTimer) {
    TestBridge bridge;
    mstpBridgeInit(bridge.bridge);

    mstpBridgeAdd(1);
    bridge.trace(MSTP_DEBUG_ACTIVITY);
    bridge.advance(300);

    EXPECT_THAT(tracesEnding(bridge, "FSM process"), IsEmpty());
}

TEST(BridgeAdd, BridgeAddedAgainHasNoneOfItsOldMembers) {
    TestBridge bridge;
    bridge.addInstance(1);
    bridge.addUpPort(1);
    bridge.addUpPort(2);

    tMstpBridge* again = mstpBridgeAdd(1);
    mstpXstAdd(again, 0);

    EXPECT_THAT(xstIdsOf(again), ElementsAre(0));
    EXPECT_THAT(unitsOf(again), IsEmpty());
}

TEST(BridgeAdd, BridgeAddedAgainIsOutOfReachOfItsOldPorts) {
    TestBridge bridge;
    tMstpPort* port = bridge.addUpPort(1);
    bridge.addUpPort(2);

    tMstpBridge* again = mstpBridgeAdd(1);
    mstpBridgePortDelete(again, port);

    EXPECT_THAT(unitsOf(again), IsEmpty());
}

TEST(BridgeGet, FindsABridgeByItsNumber) {
    TestBridge bridge({.bridgeLimit = 2});
    tMstpBridge* added = mstpBridgeAdd(2);

    EXPECT_EQ(mstpBridgeGet(2), added);
}

TEST(BridgeGet, GivesNoneForZero) {
    TestBridge bridge;

    EXPECT_EQ(mstpBridgeGet(0), nullptr);
}

TEST(BridgeGet, GivesNoneAboveTheLimit) {
    TestBridge bridge;

    EXPECT_EQ(mstpBridgeGet(2), nullptr);
}

TEST(BridgeGet, GivesNoneForAFreeSlot) {
    TestBridge bridge({.bridgeLimit = 2});

    EXPECT_EQ(mstpBridgeGet(2), nullptr);
}

// ---- mstpBridgeDelete

TEST(BridgeDelete, FreesTheSlot) {
    TestBridge bridge;

    EXPECT_EQ(mstpBridgeDelete(bridge.bridge), 0);

    EXPECT_EQ(mstpBridgeGet(1), nullptr);
    EXPECT_THAT(indicesOfBridges(), IsEmpty());
}

TEST(BridgeDelete, IsTracedWithATrailingBlank) {
    TestBridge bridge;
    bridge.trace(MSTP_DEBUG_OBJECT);

    mstpBridgeDelete(bridge.bridge);

    EXPECT_THAT(bridge.sw.traces, ElementsAre("bridge 1 del "));
}

TEST(BridgeDelete, StopsTheOneSecondTimer) {
    TestBridge bridge;
    mstpBridgeInit(bridge.bridge);

    mstpBridgeDelete(bridge.bridge);

    EXPECT_FALSE(armed(bridge.bridge->oneSecondTimer));
}

TEST(BridgeDelete, DisablesEveryInstance) {
    TestBridge bridge;
    tMstpXst* msti = bridge.addInstance(1);
    tMstpXst* cist = bridge.xst(0);

    mstpBridgeDelete(bridge.bridge);

    EXPECT_EQ(cist->rowStatus, MSTP_NOTINSERVICE);
    EXPECT_EQ(msti->rowStatus, MSTP_NOTINSERVICE);
}

TEST(BridgeDelete, DisablesEveryPort) {
    TestBridge bridge;
    tMstpPort* up = bridge.addUpPort(1);
    tMstpPort* down = bridge.addDownPort(2);

    mstpBridgeDelete(bridge.bridge);

    EXPECT_EQ(up->state, MSTP_SLOT_DISABLED);
    EXPECT_EQ(down->state, MSTP_SLOT_DISABLED);
}

TEST(BridgeDelete, BridgeAddedAfterItStartsAnew) {
    TestBridge bridge;
    bridge.addInstance(1);
    bridge.addUpPort(1);
    mstpBridgeDelete(bridge.bridge);

    mstpBridgeAdd(1);
    bridge.addInstance(1);
    bridge.addInstance(0);

    EXPECT_THAT(xstIdsOf(bridge.bridge), ElementsAre(0, 1));
}

// ---- mstpBridgeInit

TEST(BridgeInit, IsTraced) {
    TestBridge bridge;
    bridge.trace(MSTP_DEBUG_ACTIVITY);

    mstpBridgeInit(bridge.bridge);

    EXPECT_EQ(bridge.sw.traces.front(), "bridge 1 init");
}

TEST(BridgeInit, InitialisesEveryPort) {
    TestBridge bridge;
    tMstpPort* up = bridge.addUpPort(1);
    tMstpPort* down = bridge.addDownPort(2);
    up->inited = 0;
    down->inited = 0;

    mstpBridgeInit(bridge.bridge);

    EXPECT_EQ(up->inited, 1);
    EXPECT_EQ(down->inited, 1);
}

TEST(BridgeInit, BelowFullMstpDeletesEveryMsti) {
    for (const uint8_t version :
         {MSTP_FORCE_NOTSTP, MSTP_FORCE_LEGACYDOT1D1998, MSTP_FORCE_DOT1W}) {
        TestBridge bridge;
        bridge.addInstance(1);
        bridge.addInstance(7);
        bridge.bridge->forceVersion = version;

        mstpBridgeInit(bridge.bridge);

        EXPECT_THAT(xstIdsOf(bridge.bridge), ElementsAre(0)) << "version " << unsigned{version};
    }
}

TEST(BridgeInit, UnderFullMstpKeepsEveryMsti) {
    TestBridge bridge;
    bridge.addInstance(1);

    mstpBridgeInit(bridge.bridge);

    EXPECT_THAT(xstIdsOf(bridge.bridge), ElementsAre(0, 1));
}

TEST(BridgeInit, DisablesAndInitialisesEveryActiveInstance) {
    TestBridge bridge;
    bridge.addInstance(1);
    bridge.trace(MSTP_DEBUG_ACTIVITY);

    mstpBridgeInit(bridge.bridge);

    EXPECT_THAT(bridge.sw.traces,
                ElementsAre("bridge 1 init", "msti 0 disable", "msti 0 init", "msti 1 disable",
                            "msti 1 init", "bridge 1 FSM process"));
}

TEST(BridgeInit, LeavesActiveInstancesActive) {
    TestBridge bridge;

    mstpBridgeInit(bridge.bridge);

    EXPECT_EQ(bridge.xst(0)->rowStatus, MSTP_ACTIVE);
}

TEST(BridgeInit, LeavesAnInstanceAloneThatIsNotInService) {
    TestBridge bridge;
    tMstpXst* xst = bridge.addInstance(1);
    mstpXstDisable(xst);

    mstpBridgeInit(bridge.bridge);

    EXPECT_EQ(xst->rowStatus, MSTP_NOTINSERVICE);
    EXPECT_EQ(xst->stgId, 0U);
}

TEST(BridgeInit, ComputesTheDigest) {
    TestBridge bridge;
    setVlans(bridge.addInstance(1), {10});
    mstpBridgeDigest(bridge.bridge);
    uint8_t expected[16];
    memcpy(expected, bridge.bridge->cfgIdDigest, sizeof expected);
    memset(bridge.bridge->cfgIdDigest, 0, sizeof expected);

    mstpBridgeInit(bridge.bridge);

    EXPECT_EQ(memcmp(bridge.bridge->cfgIdDigest, expected, sizeof expected), 0);
}

TEST(BridgeInit, RunsTheMachinesOnceWithBegin) {
    TestBridge bridge;
    bridge.addUpPort(1);
    bridge.trace(MSTP_DEBUG_MACHINE | MSTP_DEBUG_ACTIVITY);

    mstpBridgeInit(bridge.bridge);

    EXPECT_THAT(tracesEnding(bridge, "FSM process"), SizeIs(1));
    EXPECT_THAT(bridge.sw.traces, Contains("BEGIN"));
    EXPECT_EQ(bridge.bridge->begin, 0);
}

TEST(BridgeInit, StartsTheOneSecondTimer) {
    TestBridge bridge;
    mstpBridgeInit(bridge.bridge);
    bridge.trace(MSTP_DEBUG_ACTIVITY);
    timerStop(&gMstp.timerList, &gMstp.msgTimer);

    bridge.advance(99);
    EXPECT_THAT(tracesEnding(bridge, "FSM process"), IsEmpty());
    bridge.advance(1);

    EXPECT_THAT(tracesEnding(bridge, "FSM process"), SizeIs(1));
}

TEST(BridgeInit, RestartsTheOneSecondTimerThatRunsAlready) {
    TestBridge bridge;
    mstpBridgeInit(bridge.bridge);
    sim::setNow(sim::now() + 500'000);

    mstpBridgeInit(bridge.bridge);

    EXPECT_EQ(timerRemain(&bridge.bridge->oneSecondTimer), 100);
}

TEST(BridgeInit, MarksTheBridgeAsInitialisedAndTheDaemonAsNotBusy) {
    TestBridge bridge;
    gMstp.busyDoing = MSTP_BUSY_FASTMAPVLAN;

    mstpBridgeInit(bridge.bridge);

    EXPECT_EQ(bridge.bridge->inited, 1);
    EXPECT_EQ(gMstp.busyDoing, MSTP_BUSY_NULL);
}

TEST(BridgeInit, GivesTheResultOfTheTimer) {
    TestBridge bridge;
    EXPECT_EQ(mstpBridgeInit(bridge.bridge), 0);

    timerListRelease(&gMstp.timerList);

    EXPECT_EQ(mstpBridgeInit(bridge.bridge), -1);
}

TEST(BridgeInit, WithoutPortsDoesNothingButTheTraceAndStillStartsItsTimer) {
    TestBridge bridge({.withCist = false});
    bridge.trace(0xFFFFFFFF);

    mstpBridgeInit(bridge.bridge);

    EXPECT_THAT(bridge.sw.traces, ElementsAre("bridge 1 init", "bridge 1 FSM process"));
    EXPECT_TRUE(armed(bridge.bridge->oneSecondTimer));
}

// ---- Work on every port

TEST(BridgeInitPorts, InitialisesOnlyThePortsThatAreNotYet) {
    TestBridge bridge;
    bridge.addUpPort(1);
    bridge.sw.add(2);
    tMstpPort* added = mstpBridgePortAdd(bridge.bridge, 2);
    bridge.trace(MSTP_DEBUG_ACTIVITY);

    mstpBridgeInitPorts(bridge.bridge);

    EXPECT_EQ(added->inited, 1);
    EXPECT_TRUE(bridge.sw.traced("mstp port port2 init"));
    EXPECT_FALSE(bridge.sw.traced("mstp port port1 init"));
}

TEST(BridgeInitPorts, InitialisesAlsoAPortWhoseLinkIsDown) {
    TestBridge bridge;
    tMstpPort* port = bridge.addDownPort(1);
    port->inited = 0;

    mstpBridgeInitPorts(bridge.bridge);

    EXPECT_EQ(port->inited, 1);
    EXPECT_EQ(port->upTime, 0U);
}

TEST(BridgeTimerProcess, IsTraced) {
    TestBridge bridge;
    bridge.trace(MSTP_DEBUG_ACTIVITY);

    EXPECT_EQ(mstpBridgeTimerProcess(bridge.bridge), 0);

    EXPECT_THAT(bridge.sw.traces, ElementsAre("bridge 1 timer process"));
}

TEST(BridgeTimerProcess, TicksEveryLivePort) {
    TestBridge bridge;
    tMstpPort* first = bridge.addUpPort(1);
    tMstpPort* second = bridge.addUpPort(2);
    first->mdelayWhile = 3;
    second->mdelayWhile = 2;

    mstpBridgeTimerProcess(bridge.bridge);

    EXPECT_EQ(first->mdelayWhile, 2);
    EXPECT_EQ(second->mdelayWhile, 1);
}

TEST(BridgeTimerProcess, SkipsAPortWhoseLinkIsDown) {
    TestBridge bridge;
    tMstpPort* port = bridge.addDownPort(1);
    port->mdelayWhile = 3;

    mstpBridgeTimerProcess(bridge.bridge);

    EXPECT_EQ(port->mdelayWhile, 3);
    EXPECT_EQ(port->tick, 0);
}

TEST(BridgeIntervalTx, RunsTheTransmitMachineOfEveryLivePort) {
    TestBridge bridge;
    bridge.addUpPort(1);
    bridge.addDownPort(2);
    bridge.addUpPort(3);
    bridge.trace(MSTP_DEBUG_MACHINE);

    mstpBridgeIntervalTx(bridge.bridge);

    EXPECT_THAT(machinesRun(bridge), ElementsAre("mstp port port1  Port Transmit state machine",
                                                 "mstp port port3  Port Transmit state machine"));
}

// ---- Reset, posted work

TEST(BridgeReset, CalledTwicePostsOneMessage) {
    TestBridge bridge;
    mstpBridgeReset(bridge.bridge);
    const uint64_t expiry = gMstp.msgTimer.expireTime;
    sim::setNow(sim::now() + 5'000);

    mstpBridgeReset(bridge.bridge);

    EXPECT_EQ(gMstp.msgTimer.expireTime, expiry);
}

TEST(BridgeReset, AsksTheMainLoopForAReset) {
    TestBridge bridge;
    bridge.bridge->event = 0;
    timerStop(&gMstp.timerList, &gMstp.msgTimer);

    mstpBridgeReset(bridge.bridge);

    EXPECT_EQ(bridge.bridge->event, uint32_t{MSTP_EVENT_REINIT});
    EXPECT_TRUE(armed(gMstp.msgTimer));
}

TEST(BridgeReset, FirstResetInitialisesTheBridge) {
    TestBridge bridge;
    mstpBridgeReset(bridge.bridge);

    bridge.advance(1);

    EXPECT_EQ(bridge.bridge->inited, 1);
}

TEST(BridgeReset, ResetOfARunningBridgeKeepsItsInstancePorts) {
    TestBridge bridge;
    mstpBridgeInit(bridge.bridge);
    bridge.addUpPort(1);
    bridge.xstPort(0, 1)->adminPathCost = 77;

    mstpBridgeReset(bridge.bridge);
    bridge.advance(1);

    EXPECT_EQ(bridge.xstPort(0, 1)->pathCost, 77U);
}

TEST(BridgePost, SetsTheBitsBesideThoseThatArePending) {
    TestBridge bridge;
    bridge.bridge->event = MSTP_EVENT_TICK;

    mstpBridgePost(bridge.bridge, MSTP_EVENT_FSM);

    EXPECT_EQ(bridge.bridge->event, uint32_t{MSTP_EVENT_TICK} | MSTP_EVENT_FSM);
    EXPECT_TRUE(armed(gMstp.msgTimer));
}

TEST(BridgePortDoNothing, ReturnsAtOnce) {
    TestBridge bridge;
    bridge.bridge->event = 0;
    timerStop(&gMstp.timerList, &gMstp.msgTimer);
    bridge.trace(0xFFFFFFFF);

    mstpBridgePortDoNothing();

    EXPECT_EQ(bridge.bridge->event, 0U);
    EXPECT_FALSE(armed(gMstp.msgTimer));
    EXPECT_THAT(bridge.sw.traces, IsEmpty());
}

} // namespace
