// Instance ports from initialisation to deletion.

#include "mstp_port_timers_state_machine.h"
#include "test_objects.h"

namespace {

using objects::arm;
using objects::armAll;
using objects::armed;
using objects::armedOf;
using objects::Bytes;
using objects::bytesOf;
using objects::unitsOf;
using objects::xstIdsOf;
using testing::ElementsAre;
using testing::IsEmpty;

template <class Record> bool isZero(const Record& record) {
    return bytesOf(record) == Bytes(sizeof record);
}

// ---- mstpXstPortInit

TEST(XstPortInit, IsTracedAndReturnsZero) {
    TestBridge bridge;
    bridge.addUpPort(1);
    bridge.trace(MSTP_DEBUG_ACTIVITY);

    EXPECT_EQ(mstpXstPortInit(bridge.xstPort(0, 1)), 0);

    EXPECT_EQ(bridge.sw.traces.front(), "msti 0 port port1 init");
}

TEST(XstPortInit, StopsItsEightTimers) {
    TestBridge bridge;
    bridge.addUpPort(1);
    tMstpXstPort* xstPort = bridge.xstPort(0, 1);
    armAll(xstPort);

    mstpXstPortInit(xstPort);

    // Entry of INIT_PORT loads two of them at once.
    EXPECT_FALSE(armed(xstPort->tcWhileTimer));
    EXPECT_FALSE(armed(xstPort->rcvdInfoWhileTimer));
    EXPECT_FALSE(armed(xstPort->rbWhileTimer));
    EXPECT_FALSE(armed(xstPort->tcHoldoffTimer));
    EXPECT_FALSE(armed(xstPort->rootHoldoffTimer));
    EXPECT_FALSE(armed(xstPort->loopHoldTimer));
    EXPECT_EQ(timerRemain(&xstPort->fdWhileTimer), xstPort->fdWhile * 100);
    EXPECT_EQ(timerRemain(&xstPort->rrWhileTimer), xstPort->rrWhile * 100);
}

TEST(XstPortInit, ClearsItsCounters) {
    TestBridge bridge;
    bridge.addUpPort(1);
    tMstpXstPort* xstPort = bridge.xstPort(0, 1);
    xstPort->tcWhile = 9;
    xstPort->rbWhile = 9;
    xstPort->rcvdInfoWhile = 9;

    mstpXstPortInit(xstPort);

    EXPECT_EQ(xstPort->tcWhile, 0);
    EXPECT_EQ(xstPort->rbWhile, 0);
    EXPECT_EQ(xstPort->rcvdInfoWhile, 0);
}

TEST(XstPortInit, StopsForwardingFirst) {
    TestBridge bridge;
    bridge.addUpPort(1);
    bridge.trace(MSTP_DEBUG_ACTIVITY);
    bridge.sw.forget();

    mstpXstPortInit(bridge.xstPort(0, 1));

    ASSERT_GE(bridge.sw.traces.size(), 2U);
    EXPECT_EQ(bridge.sw.traces[1], "msti 0 port port1 disable forwarding");
    EXPECT_EQ(bridge.sw.calls.front(), "stgShrProtocolPortStateSet stg=1 unit=1 state=2");
    EXPECT_EQ(bridge.xstPort(0, 1)->hwState, MSTP_PORT_STATE_DISCARDING);
}

TEST(XstPortInit, CostIsThatOfTheLinkUnlessOneIsConfigured) {
    TestBridge bridge;
    tMstpPort* port = bridge.addUpPort(1);
    port->operPathCost = 123;

    mstpXstPortInit(bridge.xstPort(0, 1));

    EXPECT_EQ(bridge.xstPort(0, 1)->operPathCost, 123U);
    EXPECT_EQ(bridge.xstPort(0, 1)->pathCost, 123U);
}

TEST(XstPortInit, ConfiguredCostWins) {
    TestBridge bridge;
    tMstpPort* port = bridge.addUpPort(1);
    port->operPathCost = 123;
    bridge.xstPort(0, 1)->adminPathCost = 55;

    mstpXstPortInit(bridge.xstPort(0, 1));

    EXPECT_EQ(bridge.xstPort(0, 1)->operPathCost, 123U);
    EXPECT_EQ(bridge.xstPort(0, 1)->pathCost, 55U);
}

TEST(XstPortInit, PortPriorityIsTheBridgeItselfByThisPort) {
    TestBridge bridge;
    bridge.addInstance(3);
    bridge.addUpPort(1);
    const tMstpXstPort* xstPort = bridge.xstPort(3, 1);
    const tMstpPriorityVector* vector = &xstPort->portPriority;
    const Bytes self = bytesOf(bridge.xst(3)->bridgeId);

    EXPECT_EQ(bytesOf(vector->rootId), self);
    EXPECT_EQ(bytesOf(vector->rRootId), self);
    EXPECT_EQ(bytesOf(vector->designatedBridgeId), self);
    EXPECT_EQ(vector->extRootPathCost, 0U);
    EXPECT_EQ(vector->intRootPathCost, 0U);
    EXPECT_EQ(bytesOf(vector->designatedPortId), (Bytes{0x80, 0x01}));
    EXPECT_EQ(bytesOf(vector->rcvPortId), (Bytes{0x80, 0x01}));
}

TEST(XstPortInit, TimesAreThoseOfTheBridge) {
    TestBridge bridge;
    bridge.addUpPort(1);
    const tMstpXstPort* xstPort = bridge.xstPort(0, 1);

    EXPECT_EQ(bytesOf(xstPort->portTimes), (Bytes{0, 20, 15, 2, 20, 0, 0, 0}));
}

TEST(XstPortInit, DesignatedInformationIsThatOfThePort) {
    TestBridge bridge;
    bridge.addUpPort(1);
    tMstpXstPort* xstPort = bridge.xstPort(0, 1);
    memset(&xstPort->designatedPriority, 0xFF, sizeof xstPort->designatedPriority);
    memset(&xstPort->designatedTimes, 0xFF, sizeof xstPort->designatedTimes);

    mstpXstPortInit(xstPort);

    EXPECT_EQ(bytesOf(xstPort->designatedPriority), bytesOf(xstPort->portPriority));
    EXPECT_EQ(bytesOf(xstPort->designatedTimes), bytesOf(xstPort->portTimes));
}

TEST(XstPortInit, MessageIsForgotten) {
    TestBridge bridge;
    bridge.addUpPort(1);
    tMstpXstPort* xstPort = bridge.xstPort(0, 1);
    memset(&xstPort->msgPriority, 0xFF, sizeof xstPort->msgPriority);
    memset(&xstPort->msgTimes, 0xFF, sizeof xstPort->msgTimes);

    mstpXstPortInit(xstPort);

    EXPECT_TRUE(isZero(xstPort->msgPriority));
    EXPECT_TRUE(isZero(xstPort->msgTimes));
}

TEST(XstPortInit, MachinesStandInTheirFirstStates) {
    TestBridge bridge;
    bridge.addUpPort(1);
    tMstpXstPort* xstPort = bridge.xstPort(0, 1);
    memset(xstPort->fsmState, 0xFF, sizeof xstPort->fsmState);

    mstpXstPortInit(xstPort);

    EXPECT_EQ(xstPort->fsmState[MSTP_PORT_INFORMATION_FSM], MSTP_PORT_INFORMATION_DISABLED);
    EXPECT_EQ(xstPort->fsmState[MSTP_PORT_ROLE_TRANSITIONS_FSM],
              MSTP_PORT_ROLE_TRANSITIONS_DISABLE_PORT);
    EXPECT_EQ(xstPort->fsmState[MSTP_PORT_STATE_TRANSITION_FSM],
              MSTP_PORT_STATE_TRANSITION_DISCARDING);
    EXPECT_EQ(xstPort->fsmState[MSTP_TOPOLOGY_CHANGE_FSM], MSTP_TOPOLOGY_CHANGE_INACTIVE);
}

TEST(XstPortInit, RolesOfTheInstanceAreSelectedAnew) {
    TestBridge bridge;
    bridge.addUpPort(1);
    tMstpXstPort* xstPort = bridge.xstPort(0, 1);
    xstPort->selectedRole = MSTP_ROOT_PORT;
    xstPort->selected = 0;

    mstpXstPortInit(xstPort);

    EXPECT_EQ(xstPort->selectedRole, MSTP_DISABLED_PORT);
    EXPECT_EQ(xstPort->reselect, 0);
    EXPECT_EQ(xstPort->selected, 1);
}

// A record at the region's boundary keeps its selected role through a mere computation of roles.
TEST(XstPortInit, RolesOfTheWholeInstanceStartFromDisabled) {
    TestBridge bridge;
    bridge.addInstance(1);
    bridge.addUpPort(1);
    tMstpPort* other = bridge.addUpPort(2);
    other->infoInternal = 0;
    bridge.xstPort(0, 2)->infoIs = MSTP_MINE;
    bridge.xstPort(1, 2)->infoIs = MSTP_RECEIVED;
    bridge.xstPort(1, 2)->selectedRole = MSTP_DESIGNATED_PORT;

    mstpXstPortInit(bridge.xstPort(1, 1));

    EXPECT_EQ(bridge.xstPort(1, 2)->selectedRole, MSTP_DISABLED_PORT);
}

TEST(XstPortInit, RoleTransitionsHavePassedThroughInitPort) {
    TestBridge bridge;
    bridge.addUpPort(1);
    tMstpXstPort* xstPort = bridge.xstPort(0, 1);
    xstPort->role = MSTP_ROOT_PORT;
    xstPort->sync = 0;
    xstPort->reRoot = 0;

    mstpXstPortInit(xstPort);

    EXPECT_EQ(xstPort->role, MSTP_DISABLED_PORT);
    EXPECT_EQ(xstPort->sync, 1);
    EXPECT_EQ(xstPort->reRoot, 1);
    EXPECT_EQ(xstPort->fdWhile, 20);
    EXPECT_EQ(xstPort->rrWhile, 15);
}

TEST(XstPortInit, LeavesAFlushPending) {
    TestBridge bridge;
    bridge.addUpPort(1);
    bridge.xstPort(0, 1)->fdbFlush = 0;

    mstpXstPortInit(bridge.xstPort(0, 1));

    EXPECT_EQ(bridge.xstPort(0, 1)->fdbFlush, 1);
}

TEST(XstPortInit, MarksTheEventWithoutWakingTheLoop) {
    TestBridge bridge;
    bridge.addUpPort(1);
    bridge.bridge->event = 0;
    timerStop(&gMstp.timerList, &gMstp.msgTimer);

    mstpXstPortInit(bridge.xstPort(0, 1));

    EXPECT_EQ(bridge.bridge->event, uint32_t{MSTP_EVENT_FSM});
    EXPECT_FALSE(armed(gMstp.msgTimer));
}

// ---- mstpXstPortDisable, mstpXstPortDelete

TEST(XstPortDisable, LeavesTheInstancePortForwarding) {
    TestBridge bridge;
    bridge.addUpPort(1);
    bridge.sw.forget();

    EXPECT_EQ(mstpXstPortDisable(bridge.xstPort(0, 1)), 0);

    EXPECT_EQ(bridge.sw.calls.back(), "stgShrProtocolPortStateSet stg=1 unit=1 state=5");
    EXPECT_EQ(bridge.xstPort(0, 1)->hwState, MSTP_PORT_STATE_FORWARDING);
}

TEST(XstPortDisable, HoldTimersNoLongerKeepItFromForwarding) {
    TestBridge bridge;
    bridge.addUpPort(1);
    arm(bridge.xstPort(0, 1)->rootHoldoffTimer);
    arm(bridge.xstPort(0, 1)->loopHoldTimer);

    mstpXstPortDisable(bridge.xstPort(0, 1));

    EXPECT_EQ(bridge.xstPort(0, 1)->hwState, MSTP_PORT_STATE_FORWARDING);
}

TEST(XstPortDisable, StopsItsEightTimers) {
    TestBridge bridge;
    bridge.addUpPort(1);
    armAll(bridge.xstPort(0, 1));

    mstpXstPortDisable(bridge.xstPort(0, 1));

    EXPECT_EQ(armedOf(bridge.xstPort(0, 1)), 0U);
}

TEST(XstPortDisable, StaysAMemberThatIsDisabled) {
    TestBridge bridge;
    bridge.addUpPort(1);
    bridge.xstPort(0, 1)->infoIs = MSTP_RECEIVED;

    mstpXstPortDisable(bridge.xstPort(0, 1));

    EXPECT_EQ(bridge.xstPort(0, 1)->state, MSTP_SLOT_DISABLED);
    EXPECT_EQ(bridge.xstPort(0, 1)->infoIs, MSTP_DISABLED);
}

TEST(XstPortDisable, IsTraced) {
    TestBridge bridge;
    bridge.addUpPort(1);
    bridge.trace(MSTP_DEBUG_ACTIVITY);

    mstpXstPortDisable(bridge.xstPort(0, 1));

    EXPECT_EQ(bridge.sw.traces.front(), "msti 0 port port1 disable");
}

TEST(XstPortDelete, LeavesBothListsAndZeroesTheRecord) {
    TestBridge bridge;
    tMstpPort* port = bridge.addUpPort(1);
    bridge.addUpPort(2);
    armAll(bridge.xstPort(0, 1));

    EXPECT_EQ(mstpXstPortDelete(bridge.xstPort(0, 1)), 0);

    EXPECT_THAT(unitsOf(bridge.xst(0)), ElementsAre(2));
    EXPECT_THAT(xstIdsOf(port), IsEmpty());
    EXPECT_TRUE(isZero(port->xstPorts[0]));
}

TEST(XstPortDelete, RefusesARecordThatIsNotInUse) {
    TestBridge bridge;
    tMstpPort* port = bridge.addUpPort(1);
    bridge.trace(0xFFFFFFFF);

    EXPECT_EQ(mstpXstPortDelete(&port->xstPorts[5]), -1);

    EXPECT_THAT(bridge.sw.traces, IsEmpty());
}

TEST(XstPortDelete, IsTraced) {
    TestBridge bridge;
    bridge.addUpPort(1);
    bridge.trace(MSTP_DEBUG_OBJECT);

    mstpXstPortDelete(bridge.xstPort(0, 1));

    EXPECT_THAT(bridge.sw.traces, ElementsAre("msti 0 del port port1"));
}

TEST(XstPortDelete, TimersThatStillRanNoLongerFire) {
    TestBridge bridge;
    tMstpPort* port = bridge.addUpPort(1);
    tMstpXstPort* xstPort = bridge.xstPort(0, 1);
    mstpLoadCounter(bridge.bridge, &xstPort->tcWhile, &xstPort->tcWhileTimer, 3, MSTP_EVENT_FSM);

    mstpXstPortDelete(xstPort);
    bridge.advance(500);

    EXPECT_TRUE(isZero(port->xstPorts[0]));
}

TEST(XstPortDelete, RootPortResetsItsInstance) {
    TestBridge bridge;
    bridge.addUpPort(1);
    bridge.addUpPort(2);
    bridge.xstPort(0, 1)->role = MSTP_PORT_ROLE_ROOT;
    bridge.trace(MSTP_DEBUG_ACTIVITY);

    mstpXstPortDelete(bridge.xstPort(0, 1));

    EXPECT_EQ(bridge.sw.traces.front(), "msti 0 reset");
    EXPECT_TRUE(bridge.sw.traced("msti 0 port port2 init"));
    EXPECT_FALSE(bridge.sw.traced("msti 0 port port1 init"));
}

TEST(XstPortDelete, MasterPortResetsItsInstance) {
    TestBridge bridge;
    bridge.addInstance(1);
    bridge.addUpPort(1);
    bridge.xstPort(1, 1)->role = MSTP_PORT_ROLE_MASTER;
    bridge.trace(MSTP_DEBUG_ACTIVITY);

    mstpXstPortDelete(bridge.xstPort(1, 1));

    EXPECT_TRUE(bridge.sw.traced("msti 1 reset"));
}

TEST(XstPortDelete, PortOfAnyOtherRoleDoesNotResetItsInstance) {
    for (const uint8_t role : {MSTP_PORT_ROLE_DISABLED, MSTP_PORT_ROLE_ALTERNATE,
                               MSTP_PORT_ROLE_BACKUP, MSTP_PORT_ROLE_DESIGNATED}) {
        TestBridge bridge;
        bridge.addUpPort(1);
        bridge.xstPort(0, 1)->role = role;
        bridge.trace(MSTP_DEBUG_ACTIVITY);

        mstpXstPortDelete(bridge.xstPort(0, 1));

        EXPECT_FALSE(bridge.sw.traced("msti 0 reset")) << unsigned{role};
    }
}

} // namespace
