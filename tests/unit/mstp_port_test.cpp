// Bridge ports and instance ports: adding, finding, the cost of the link, initialisation.

#include <array>

#include "mstp_port_timers_state_machine.h"
#include "test_objects.h"

namespace {

using objects::arm;
using objects::armed;
using objects::Bytes;
using objects::bytesOf;
using objects::tracesEnding;
using objects::unitsOf;
using objects::xstIdsOf;
using testing::ElementsAre;
using testing::IsEmpty;

// ---- mstpBridgePortAdd

TEST(PortAdd, SetsTheDefaults) {
    TestBridge bridge;
    bridge.sw.add(4).number = 0x123;

    const tMstpPort* port = mstpBridgePortAdd(bridge.bridge, 4);

    EXPECT_EQ(port->state, MSTP_SLOT_IN_USE);
    EXPECT_EQ(port->unit, 4U);
    EXPECT_EQ(port->index, 0x123);
    EXPECT_EQ(port->bridge, bridge.bridge);
    EXPECT_EQ(port->inited, 0);
    EXPECT_EQ(port->adminPointToPointMAC, 1);
    EXPECT_EQ(port->snoopingEnable, 2U);
    EXPECT_EQ(port->upTime, 0U);
    EXPECT_EQ(port->portEnabled, 0);
}

TEST(PortAdd, IsTraced) {
    TestBridge bridge({.withCist = false});
    bridge.sw.add(4);
    bridge.trace(MSTP_DEBUG_OBJECT);

    mstpBridgePortAdd(bridge.bridge, 4);

    EXPECT_THAT(bridge.sw.traces, ElementsAre("bridge 1 add port port4"));
}

TEST(PortAdd, TakesTheFirstFreeRecordOfThePool) {
    TestBridge bridge;
    bridge.addUpPort(1);
    tMstpPort* second = bridge.addUpPort(2);
    bridge.addUpPort(3);
    mstpBridgePortDelete(bridge.bridge, second);

    EXPECT_EQ(bridge.addUpPort(9), second);
}

TEST(PortAdd, RecordIsTakenWithoutWhatItsLastPortLeft) {
    TestBridge bridge;
    tMstpPort* port = bridge.addUpPort(1);
    port->adminEdge = 1;
    bridge.xstPort(0, 1)->adminPathCost = 5;
    mstpBridgePortDelete(bridge.bridge, port);

    bridge.addUpPort(1);

    EXPECT_EQ(bridge.port(1)->adminEdge, 0);
    EXPECT_EQ(bridge.xstPort(0, 1)->adminPathCost, 0U);
}

TEST(PortAdd, WhatStandsInAFreeRecordDoesNotCount) {
    TestBridge bridge;
    gMstp.ports[0].adminEdge = 1;
    arm(gMstp.ports[0].p2pHoldTimer);
    gMstp.ports[0].xstPorts[3].adminPathCost = 5;
    arm(gMstp.ports[0].xstPorts[3].fdWhileTimer);
    bridge.sw.add(1);

    tMstpPort* port = mstpBridgePortAdd(bridge.bridge, 1);

    EXPECT_EQ(port, &gMstp.ports[0]);
    EXPECT_EQ(port->adminEdge, 0);
    EXPECT_EQ(port->xstPorts[3].adminPathCost, 0U);
    bridge.advance(2000);
    EXPECT_FALSE(armed(port->p2pHoldTimer));
    EXPECT_FALSE(armed(port->xstPorts[3].fdWhileTimer));
}

TEST(PortAdd, HasThePlatformDeliverItsBpdus) {
    TestBridge bridge;
    bridge.addUpPort(4);

    EXPECT_TRUE(bridge.sw.interfaces[4].attached);
}

TEST(PortAdd, CountsThePort) {
    TestBridge bridge;
    bridge.addUpPort(1);
    bridge.addUpPort(2);

    EXPECT_EQ(bridge.bridge->portCount, 2);
}

TEST(PortAdd, ListIsAscendingWhateverTheOrderOfAdding) {
    TestBridge bridge;
    for (const uint32_t unit : {5U, 2U, 9U, 1U, 7U}) {
        bridge.addUpPort(unit);
    }

    EXPECT_THAT(unitsOf(bridge.bridge), ElementsAre(1, 2, 5, 7, 9));
}

TEST(PortAdd, PreparesTheRecordsOfAllInstances) {
    TestBridge bridge({.xstLimit = 5});
    bridge.sw.add(1).number = 0x1FE;

    tMstpPort* port = mstpBridgePortAdd(bridge.bridge, 1);

    for (uint32_t id = 0; id < 5; id++) {
        EXPECT_EQ(port->xstPorts[id].host, port) << id;
        EXPECT_EQ(bytesOf(port->xstPorts[id].portId), (Bytes{0x81, 0xFE})) << id;
    }
}

TEST(PortAdd, JoinsEveryActiveInstance) {
    TestBridge bridge;
    bridge.addInstance(3);
    mstpXstDisable(bridge.addInstance(5));
    mstpXstAdd(bridge.bridge, 6);

    EXPECT_THAT(xstIdsOf(bridge.addUpPort(1)), ElementsAre(0, 3));
}

TEST(PortAdd, FirstPortRestartsTheOneSecondTimer) {
    TestBridge bridge;
    mstpBridgeInit(bridge.bridge);
    sim::setNow(sim::now() + 400'000);
    bridge.sw.add(1);

    mstpBridgePortAdd(bridge.bridge, 1);

    EXPECT_EQ(timerRemain(&bridge.bridge->oneSecondTimer), 100);
}

TEST(PortAdd, FurtherPortLeavesTheOneSecondTimerAlone) {
    TestBridge bridge;
    bridge.addUpPort(1);
    sim::setNow(sim::now() + 400'000);
    bridge.sw.add(2);

    mstpBridgePortAdd(bridge.bridge, 2);

    EXPECT_EQ(timerRemain(&bridge.bridge->oneSecondTimer), 60);
}

TEST(PortAdd, DoesNotInitialiseThePort) {
    TestBridge bridge;
    bridge.sw.add(1);
    bridge.trace(MSTP_DEBUG_ACTIVITY);

    mstpBridgePortAdd(bridge.bridge, 1);

    EXPECT_THAT(bridge.sw.traces, IsEmpty());
}

TEST(PortAdd, RefusesAPortBeyondTheLimit) {
    TestBridge bridge({.portLimit = 2});
    bridge.addUpPort(1);
    bridge.addUpPort(2);
    bridge.sw.add(3);
    bridge.trace(MSTP_DEBUG_REFUSAL);

    EXPECT_EQ(mstpBridgePortAdd(bridge.bridge, 3), nullptr);

    EXPECT_THAT(bridge.sw.traces, ElementsAre("bridge 1 port num exceed limit"));
    EXPECT_EQ(bridge.bridge->portCount, 2);
}

TEST(PortAdd, RefusesAPortWithoutAFreeRecord) {
    TestBridge bridge({.bridgeLimit = 2, .portLimit = 2});
    bridge.addUpPort(1);
    bridge.addUpPort(2);
    tMstpBridge* other = mstpBridgeAdd(2);
    bridge.sw.add(3);
    bridge.trace(MSTP_DEBUG_REFUSAL);

    EXPECT_EQ(mstpBridgePortAdd(other, 3), nullptr);

    EXPECT_THAT(bridge.sw.traces, ElementsAre("bridge 2 no free port"));
    EXPECT_EQ(other->portCount, 0);
}

TEST(PortAdd, LimitIsTracedOnlyWithItsBit) {
    TestBridge bridge({.portLimit = 1});
    bridge.addUpPort(1);
    bridge.sw.add(2);
    bridge.trace(0);

    mstpBridgePortAdd(bridge.bridge, 2);

    EXPECT_THAT(bridge.sw.traces, IsEmpty());
}

TEST(PortAdd, InterfaceOfAnotherProtocolIsRefusedAndTracedWhateverTheMask) {
    TestBridge bridge;
    bridge.sw.add(4).protocolUse = {0x04};
    bridge.trace(0);

    EXPECT_EQ(mstpBridgePortAdd(bridge.bridge, 4), nullptr);

    EXPECT_THAT(bridge.sw.traces, ElementsAre("Can not enable stp to port4, protocol conflict!"));
    EXPECT_EQ(bridge.bridge->portCount, 0);
    EXPECT_THAT(unitsOf(bridge.bridge), IsEmpty());
    EXPECT_FALSE(bridge.sw.interfaces[4].attached);
}

TEST(PortAdd, EveryBitOfAnExclusiveProtocolCounts) {
    const std::vector<Bytes> uses = {{0x04},
                                     {0x00, 0x01},
                                     {0x00, 0x02},
                                     {0x00, 0x04},
                                     {0x00, 0x00, 0x80},
                                     {0x00, 0x00, 0x40},
                                     {0x00, 0x00, 0x20}};
    for (size_t i = 0; i < uses.size(); i++) {
        TestBridge bridge;
        bridge.sw.add(4).protocolUse = uses[i];

        EXPECT_EQ(mstpBridgePortAdd(bridge.bridge, 4), nullptr) << i;
    }
}

TEST(PortAdd, NoOtherBitCounts) {
    TestBridge bridge;
    Bytes use(18, 0xFF);
    use[0] = static_cast<uint8_t>(~0x04);
    use[1] = static_cast<uint8_t>(~0x07);
    use[2] = static_cast<uint8_t>(~0xE0);
    bridge.sw.add(4).protocolUse = use;

    EXPECT_NE(mstpBridgePortAdd(bridge.bridge, 4), nullptr);
}

TEST(PortAdd, LimitIsTestedBeforeTheProtocols) {
    TestBridge bridge({.portLimit = 1});
    bridge.addUpPort(1);
    bridge.sw.add(2).protocolUse = {0x04};
    bridge.trace(0);

    mstpBridgePortAdd(bridge.bridge, 2);

    EXPECT_THAT(bridge.sw.traces, IsEmpty());
}

// ---- Look-ups, membership

TEST(PortGet, FindsAPortByItsUnit) {
    TestBridge bridge;
    bridge.addUpPort(1);
    tMstpPort* port = bridge.addUpPort(2);

    EXPECT_EQ(mstpBridgePortGet(bridge.bridge, 2), port);
}

TEST(PortGet, GivesNoneForAnUnknownUnitOrNoBridge) {
    TestBridge bridge;
    bridge.addUpPort(1);

    EXPECT_EQ(mstpBridgePortGet(bridge.bridge, 2), nullptr);
    EXPECT_EQ(mstpBridgePortGet(nullptr, 1), nullptr);
}

TEST(XstPortGet, FindsAnInstancePortByItsUnit) {
    TestBridge bridge;
    bridge.addInstance(1);
    bridge.addUpPort(1);
    tMstpPort* port = bridge.addUpPort(2);

    EXPECT_EQ(mstpXstPortGet(bridge.xst(1), 2), &port->xstPorts[1]);
}

TEST(XstPortGet, GivesNoneForAnUnknownUnit) {
    TestBridge bridge;
    bridge.addUpPort(1);

    EXPECT_EQ(mstpXstPortGet(bridge.xst(0), 2), nullptr);
}

TEST(XstPortAdd, TakesTheElementOfTheInstance) {
    TestBridge bridge;
    tMstpPort* port = bridge.addUpPort(1);
    tMstpXst* xst = mstpXstAdd(bridge.bridge, 3);

    const tMstpXstPort* xstPort = mstpXstPortAdd(xst, port);

    EXPECT_EQ(xstPort, &port->xstPorts[3]);
    EXPECT_EQ(xstPort->state, MSTP_SLOT_IN_USE);
    EXPECT_EQ(xstPort->xst, xst);
    EXPECT_EQ(xstPort->host, port);
    EXPECT_EQ(bytesOf(xstPort->portId), (Bytes{0x80, 0x01}));
}

TEST(XstPortAdd, IsTraced) {
    TestBridge bridge;
    tMstpPort* port = bridge.addUpPort(1);
    tMstpXst* xst = mstpXstAdd(bridge.bridge, 3);
    bridge.trace(MSTP_DEBUG_OBJECT);

    mstpXstPortAdd(xst, port);

    EXPECT_THAT(bridge.sw.traces, ElementsAre("msti 3 add port port1"));
}

TEST(XstPortAdd, InstancesListIsAscendingByUnitAndThePortsByInstance) {
    TestBridge bridge;
    for (const uint32_t unit : {5U, 2U, 9U}) {
        bridge.addUpPort(unit);
    }
    for (const uint32_t id : {4U, 1U, 6U}) {
        bridge.addInstance(id);
    }

    EXPECT_THAT(unitsOf(bridge.xst(4)), ElementsAre(2, 5, 9));
    EXPECT_THAT(xstIdsOf(bridge.port(5)), ElementsAre(0, 1, 4, 6));
}

TEST(XstPortAdd, MemberAddedAgainStandsInBothListsOnce) {
    TestBridge bridge;
    bridge.addInstance(1);
    tMstpPort* port = bridge.addUpPort(1);
    bridge.addUpPort(2);

    mstpXstPortAdd(bridge.xst(0), port);

    EXPECT_THAT(unitsOf(bridge.xst(0)), ElementsAre(1, 2));
    EXPECT_THAT(xstIdsOf(port), ElementsAre(0, 1));
}

TEST(XstPortAdd, RefusesAnInstanceBeyondTheLimit) {
    TestBridge bridge;
    tMstpPort* port = bridge.addUpPort(1);
    tMstpXst* xst = mstpXstAdd(bridge.bridge, 3);
    gMstp.xstLimit = 3;

    EXPECT_EQ(mstpXstPortAdd(xst, port), nullptr);
}

TEST(XstPortAdd, DoesNotInitialise) {
    TestBridge bridge;
    tMstpPort* port = bridge.addUpPort(1);
    tMstpXst* xst = mstpXstAdd(bridge.bridge, 3);
    bridge.trace(MSTP_DEBUG_ACTIVITY);

    mstpXstPortAdd(xst, port);

    EXPECT_THAT(bridge.sw.traces, IsEmpty());
}

// ---- Cost of the link

uint32_t costOf(uint32_t speed, uint8_t method) {
    tMstpBridge bridge = {};
    bridge.pathCostDefault = method;
    tMstpPort port = {};
    port.bridge = &bridge;
    port.speed = speed;
    const uint32_t cost = mstpUpdtPortOperPathcost(&port);
    EXPECT_EQ(port.operPathCost, cost);
    return cost;
}

TEST(PathCost, UnknownSpeedCostsTwentyMillionUnderBothMethods) {
    EXPECT_EQ(costOf(0, MSTP_PATHCOST_8021T2001), 20000000U);
    EXPECT_EQ(costOf(0, MSTP_PATHCOST_8021D1998), 20000000U);
}

TEST(PathCost, Speed100Costs200000UnderBothMethods) {
    EXPECT_EQ(costOf(100, MSTP_PATHCOST_8021T2001), 200000U);
    EXPECT_EQ(costOf(100, MSTP_PATHCOST_8021D1998), 200000U);
}

TEST(PathCost, Speed1000Costs20000UnderBothMethods) {
    EXPECT_EQ(costOf(1000, MSTP_PATHCOST_8021T2001), 20000U);
    EXPECT_EQ(costOf(1000, MSTP_PATHCOST_8021D1998), 20000U);
}

TEST(PathCost, Speed40CostsHalfAMillionByDivisionAndTwoMillionByDecade) {
    EXPECT_EQ(costOf(40, MSTP_PATHCOST_8021T2001), 500000U);
    EXPECT_EQ(costOf(40, MSTP_PATHCOST_8021D1998), 2000000U);
}

TEST(PathCost, DivisionIsThatOfIntegers) {
    EXPECT_EQ(costOf(1, MSTP_PATHCOST_8021T2001), 20000000U);
    EXPECT_EQ(costOf(3, MSTP_PATHCOST_8021T2001), 6666666U);
    EXPECT_EQ(costOf(2500, MSTP_PATHCOST_8021T2001), 8000U);
    EXPECT_EQ(costOf(9999999, MSTP_PATHCOST_8021T2001), 2U);
    EXPECT_EQ(costOf(10000000, MSTP_PATHCOST_8021T2001), 2U);
    EXPECT_EQ(costOf(10000001, MSTP_PATHCOST_8021T2001), 1U);
    EXPECT_EQ(costOf(20000000, MSTP_PATHCOST_8021T2001), 1U);
}

TEST(PathCost, IsNeverZero) {
    EXPECT_EQ(costOf(20000001, MSTP_PATHCOST_8021T2001), 1U);
    EXPECT_EQ(costOf(0xFFFFFFFF, MSTP_PATHCOST_8021T2001), 1U);
    EXPECT_EQ(costOf(0xFFFFFFFF, MSTP_PATHCOST_8021D1998), 1U);
}

TEST(PathCost, EveryDecadeHasItsCost) {
    const std::vector<std::array<uint32_t, 3>> decades = {
        {1, 9, 20000000},       {10, 99, 2000000},       {100, 999, 200000},
        {1000, 9999, 20000},    {10000, 99999, 2000},    {100000, 999999, 200},
        {1000000, 9999999, 20}, {10000000, 10000000, 2}, {10000001, 4294967295, 1},
    };
    for (const auto& [first, last, cost] : decades) {
        EXPECT_EQ(costOf(first, MSTP_PATHCOST_8021D1998), cost) << first;
        EXPECT_EQ(costOf(last, MSTP_PATHCOST_8021D1998), cost) << last;
    }
}

TEST(PathCost, AnyMethodButTheSecondIsByDecade) {
    EXPECT_EQ(costOf(40, 0), 2000000U);
    EXPECT_EQ(costOf(40, 3), 2000000U);
}

// ---- mstpBridgePortInit

TEST(PortInit, IsTracedAndReturnsZero) {
    TestBridge bridge;
    tMstpPort* port = bridge.addUpPort(1);
    bridge.trace(MSTP_DEBUG_ACTIVITY);

    EXPECT_EQ(mstpBridgePortInit(port), 0);

    EXPECT_EQ(bridge.sw.traces.front(), "mstp port port1 init");
}

TEST(PortInit, OperationalPointToPointIsTheAdministrative) {
    TestBridge bridge;
    tMstpPort* port = bridge.addUpPort(1);
    EXPECT_EQ(port->operPointToPointMAC, 1);
    port->adminPointToPointMAC = 0;

    mstpBridgePortInit(port);

    EXPECT_EQ(port->operPointToPointMAC, 0);
}

TEST(PortInit, MacIsEnabledOperationallyAndAdministratively) {
    TestBridge bridge;
    tMstpPort* port = bridge.addUpPort(1);
    port->operMacEnabled = 0;
    port->adminMacEnabled = 0;

    mstpBridgePortInit(port);

    EXPECT_EQ(port->operMacEnabled, 1);
    EXPECT_EQ(port->adminMacEnabled, 1);
}

TEST(PortInit, VersionsFollowTheForcedVersion) {
    struct {
        uint8_t force, stp, rstp;
    } const cases[] = {{MSTP_FORCE_NOTSTP, 0, 0},
                       {MSTP_FORCE_LEGACYDOT1D1998, 1, 0},
                       {MSTP_FORCE_DOT1W, 0, 1},
                       {MSTP_FORCE_ATUODOT1S, 0, 1},
                       {MSTP_FORCE_UNKNOWN, 0, 1}};
    TestBridge bridge;
    tMstpPort* port = bridge.addUpPort(1);
    for (const auto& each : cases) {
        bridge.bridge->forceVersion = each.force;

        mstpBridgePortInit(port);

        EXPECT_EQ(port->stpVersion, each.stp) << unsigned{each.force};
        EXPECT_EQ(port->rstpVersion, each.rstp) << unsigned{each.force};
    }
}

TEST(PortInit, TimesAreCopiesOfTheBridges) {
    TestBridge bridge;
    tMstpPort* port = bridge.addUpPort(1);
    bridge.bridge->migrateTime = 5;

    mstpBridgePortInit(port);

    EXPECT_EQ(port->migrateTime, 5);
    EXPECT_EQ(port->edgeDelay, 5);
}

// Entering CHECKING_RSTP then derives the forward delay from what the port sends.
TEST(PortInit, ForwardDelayOfAnStpPortIsThatOfTheBridge) {
    TestBridge bridge;
    bridge.bridge->forceVersion = MSTP_FORCE_LEGACYDOT1D1998;
    bridge.bridge->bridgeForwardDelay = 17;
    tMstpPort* port = bridge.addUpPort(1);
    bridge.bridge->bridgeForwardDelay = 19;
    mstpXstReset(bridge.xst(0));

    mstpBridgePortInit(port);

    EXPECT_EQ(port->forwardDelay, 19);
}

TEST(PortInit, PortWhoseLinkIsUpHasAnUpTime) {
    TestBridge bridge;

    const tMstpPort* port = bridge.addUpPort(1);

    EXPECT_EQ(port->operState, MSTP_PORT_OPERATE_UP);
    EXPECT_EQ(port->upTime, mstpGetSysUpTime());
    EXPECT_NE(port->upTime, 0U);
}

TEST(PortInit, PortWhoseLinkWentDownHasNoUpTime) {
    TestBridge bridge;
    tMstpPort* port = bridge.addUpPort(1);
    bridge.sw.interfaces[1].up = false;

    mstpBridgePortInit(port);

    EXPECT_EQ(port->operState, MSTP_PORT_OPERATE_DOWN);
    EXPECT_EQ(port->upTime, 0U);
}

TEST(PortInit, ReadsTheSpeedAndItsCost) {
    TestBridge bridge;
    tMstpPort* port = bridge.addUpPort(1);
    bridge.sw.interfaces[1].speed = 10000;

    mstpBridgePortInit(port);

    EXPECT_EQ(port->speed, 10000U);
    EXPECT_EQ(port->operPathCost, 2000U);
    EXPECT_EQ(bridge.xstPort(0, 1)->pathCost, 2000U);
}

TEST(PortInit, ZeroesTheEightBpduCounters) {
    TestBridge bridge;
    tMstpPort* port = bridge.addUpPort(1);
    port->rxTcnBpdu = port->rxCfgBpdu = port->rxRstBpdu = port->rxMstBpdu = 7;
    port->txTcnBpdu = port->txCfgBpdu = port->txRstBpdu = port->txMstBpdu = 7;

    mstpBridgePortInit(port);

    EXPECT_EQ(port->rxTcnBpdu + port->rxCfgBpdu + port->rxRstBpdu + port->rxMstBpdu, 0U);
    EXPECT_EQ(port->txTcnBpdu + port->txCfgBpdu + port->txRstBpdu + port->txMstBpdu, 0U);
}

// The machines' first states load their timers afresh.
TEST(PortInit, TimersStartAfresh) {
    TestBridge bridge;
    tMstpPort* port = bridge.addUpPort(1);
    arm(port->bpduGuardTimer);
    arm(port->p2pHoldTimer);
    sim::setNow(sim::now() + 1'500'000);
    port->txCount = 4;

    mstpBridgePortInit(port);

    EXPECT_FALSE(armed(port->bpduGuardTimer));
    EXPECT_FALSE(armed(port->p2pHoldTimer));
    EXPECT_EQ(timerRemain(&port->mdelayWhileTimer), 300);
    EXPECT_EQ(timerRemain(&port->edgeDelayWhileTimer), 300);
    EXPECT_EQ(timerRemain(&port->helloWhenTimer), 200);
    EXPECT_EQ(port->mdelayWhile, 3);
    EXPECT_EQ(port->edgeDelayWhile, 3);
    EXPECT_EQ(port->helloWhen, 2);
    EXPECT_EQ(port->txCount, 0);
}

TEST(PortInit, InitialisesEveryInstancePortAscending) {
    TestBridge bridge;
    bridge.addInstance(2);
    bridge.addInstance(1);
    tMstpPort* port = bridge.addUpPort(1);
    bridge.trace(MSTP_DEBUG_ACTIVITY);

    mstpBridgePortInit(port);

    EXPECT_THAT(tracesEnding(bridge, " init"),
                ElementsAre("mstp port port1 init", "msti 0 port port1 init",
                            "msti 1 port port1 init", "msti 2 port port1 init"));
}

TEST(PortInit, MachinesOfThePortStandInTheirFirstStates) {
    TestBridge bridge;
    tMstpPort* port = bridge.addUpPort(1);
    ASSERT_NE(port, nullptr);
    memset(port->fsmState, 0xFF, sizeof port->fsmState);

    mstpBridgePortInit(port);

    EXPECT_EQ(port->fsmState[MSTP_PORT_RECEIVE_FSM], MSTP_PORT_DISCARD);
    EXPECT_EQ(port->fsmState[MSTP_PORT_PROTOCOL_MIGRATION_FSM],
              MSTP_PORT_PROTOCOL_MIGRATION_CHECKING_RSTP);
    EXPECT_EQ(port->fsmState[MSTP_BRIDGE_DETECTION_FSM], MSTP_BRIDGE_DETECTION_NOT_EDGE);
    EXPECT_EQ(port->fsmState[MSTP_PORT_TRANSMIT_FSM], MSTP_PORT_TRANSMIT_IDLE);
}

TEST(PortInit, TransmitMachineHasPassedThroughInit) {
    TestBridge bridge;
    tMstpPort* port = bridge.addUpPort(1);
    port->newInfo = 0;
    port->newInfoMsti = 0;

    mstpBridgePortInit(port);

    EXPECT_EQ(port->newInfo, 1);
    EXPECT_EQ(port->newInfoMsti, 1);
}

TEST(PortInit, AdministrativeEdgePortStartsAsEdge) {
    TestBridge bridge;
    tMstpPort* port = bridge.addUpPort(1);
    port->adminEdge = 1;

    mstpBridgePortInit(port);

    EXPECT_EQ(port->fsmState[MSTP_BRIDGE_DETECTION_FSM], MSTP_BRIDGE_DETECTION_EDGE);
    EXPECT_EQ(port->operEdge, 1);
}

TEST(PortInit, AnyOtherPortStartsAsNotEdge) {
    TestBridge bridge;
    tMstpPort* port = bridge.addUpPort(1);
    port->operEdge = 1;

    mstpBridgePortInit(port);

    EXPECT_EQ(port->operEdge, 0);
}

TEST(PortInit, AsksForAPassOfTheMachines) {
    TestBridge bridge({.withCist = false});
    bridge.sw.add(1);
    tMstpPort* port = mstpBridgePortAdd(bridge.bridge, 1);
    timerStop(&gMstp.timerList, &gMstp.msgTimer);
    bridge.bridge->event = 0;

    mstpBridgePortInit(port);

    EXPECT_EQ(port->inited, 1);
    EXPECT_EQ(bridge.bridge->event, uint32_t{MSTP_EVENT_FSM});
    EXPECT_TRUE(armed(gMstp.msgTimer));
}

} // namespace
