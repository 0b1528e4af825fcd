// Forwarding, learning and topology changes: what reaches the hardware, what the holds withhold,
// and how a topology change is marked and handed on.

#include "mstp_main.h"
#include "mstp_port_timers_state_machine.h"
#include "mstp_state_machine_procedures.h"
#include "test_roles.h"

namespace {

using Lines = std::vector<std::string>;

constexpr uint8_t NEVER_SET = 99;

// Port 1 is asked in instance 1; its hardware state is one that no procedure writes.
class ForwardingProcedures : public RoleProcedures {
  protected:
    ForwardingProcedures() {
        port = bridge.port(1);
        xstPort = at(1, 1);
        setFlags(&tMstpXstPort::hwState, NEVER_SET);
        bridge.sw.forget();
    }

    void hold(tTimerNode* timer, uint32_t ticks) {
        mstpRestartTimer(
            timer, ticks, [](void*, void*, void*) {}, nullptr);
    }

    void guard(uint32_t ticks) { hold(&port->bpduGuardTimer, ticks); }
    void holdLoop(uint32_t ticks) { hold(&xstPort->loopHoldTimer, ticks); }
    void holdRoot(uint32_t ticks) { hold(&xstPort->rootHoldoffTimer, ticks); }

    // The state that the hardware was told, or nothing.
    Lines written(void (*procedure)(tMstpXstPort*)) {
        bridge.sw.calls.clear();
        procedure(xstPort);
        return bridge.sw.calls;
    }

    Lines traced(void (*procedure)(tMstpXstPort*)) {
        bridge.trace(MSTP_DEBUG_ACTIVITY);
        procedure(xstPort);
        return bridge.sw.traces;
    }

    Lines group(uint32_t state) {
        return {"stgShrProtocolPortStateSet stg=" + std::to_string(msti->stgId) +
                " unit=1 state=" + std::to_string(state)};
    }

    const Lines NOTHING;
    const uint32_t BLOCKING = 2, LEARNING = 4, FORWARDING = 5;
    tMstpPort* port = nullptr;
    tMstpXstPort* xstPort = nullptr;
};

// ---- disableForwarding

TEST_F(ForwardingProcedures, DisableForwardingDiscards) {
    EXPECT_EQ(written(disableForwarding), group(BLOCKING));
    EXPECT_EQ(xstPort->hwState, MSTP_PORT_STATE_DISCARDING);
}

TEST_F(ForwardingProcedures, DisableForwardingAlwaysWrites) {
    guard(100);
    holdLoop(100);
    holdRoot(100);

    EXPECT_EQ(written(disableForwarding), group(BLOCKING));
}

TEST_F(ForwardingProcedures, DisableForwardingTracesItselfAndTheState) {
    EXPECT_EQ(traced(disableForwarding), (Lines{"msti 1 port port1 disable forwarding",
                                                "msti 1 port port1 set port state blocking"}));
}

// ---- disableLearning

TEST_F(ForwardingProcedures, DisableLearningDiscards) {
    EXPECT_EQ(written(disableLearning), group(BLOCKING));
    EXPECT_EQ(xstPort->hwState, MSTP_PORT_STATE_DISCARDING);
}

TEST_F(ForwardingProcedures, DisableLearningDuringBpduGuardWritesNothing) {
    guard(100);

    EXPECT_EQ(written(disableLearning), NOTHING);
    EXPECT_EQ(traced(disableLearning), NOTHING);
    EXPECT_EQ(xstPort->hwState, NEVER_SET);
}

TEST_F(ForwardingProcedures, DisableLearningDuringALoopHoldWritesNothing) {
    holdLoop(100);

    EXPECT_EQ(written(disableLearning), NOTHING);
    EXPECT_EQ(xstPort->hwState, NEVER_SET);
}

TEST_F(ForwardingProcedures, DisableLearningIsNotWithheldByARootHoldOff) {
    holdRoot(100);

    EXPECT_EQ(written(disableLearning), group(BLOCKING));
}

TEST_F(ForwardingProcedures, DisableLearningIsNotWithheldByHoldsOfLessThanASecond) {
    guard(99);
    holdLoop(99);

    EXPECT_EQ(written(disableLearning), group(BLOCKING));
}

TEST_F(ForwardingProcedures, DisableLearningTracesItselfAndTheState) {
    EXPECT_EQ(traced(disableLearning), (Lines{"msti 1 port port1 disable learning",
                                              "msti 1 port port1 set port state blocking"}));
}

// ---- enableLearning

TEST_F(ForwardingProcedures, EnableLearningLearns) {
    EXPECT_EQ(written(enableLearning), group(LEARNING));
    EXPECT_EQ(xstPort->hwState, MSTP_PORT_STATE_LEARNING);
}

TEST_F(ForwardingProcedures, EnableLearningDuringBpduGuardWritesNothing) {
    guard(100);

    EXPECT_EQ(written(enableLearning), NOTHING);
    EXPECT_EQ(traced(enableLearning), NOTHING);
    EXPECT_EQ(xstPort->hwState, NEVER_SET);
}

TEST_F(ForwardingProcedures, EnableLearningDuringALoopHoldWritesNothing) {
    holdLoop(100);

    EXPECT_EQ(written(enableLearning), NOTHING);
    EXPECT_EQ(xstPort->hwState, NEVER_SET);
}

TEST_F(ForwardingProcedures, PortUnderRootHoldOffMayLearn) {
    holdRoot(100);

    EXPECT_EQ(written(enableLearning), group(LEARNING));
}

TEST_F(ForwardingProcedures, EnableLearningIsNotWithheldByHoldsOfLessThanASecond) {
    guard(99);
    holdLoop(99);

    EXPECT_EQ(written(enableLearning), group(LEARNING));
}

TEST_F(ForwardingProcedures, EnableLearningTracesItselfAndTheState) {
    EXPECT_EQ(traced(enableLearning), (Lines{"msti 1 port port1 eable learning",
                                             "msti 1 port port1 set port state learning"}));
}

// ---- enableForwarding

TEST_F(ForwardingProcedures, EnableForwardingForwards) {
    EXPECT_EQ(written(enableForwarding), group(FORWARDING));
    EXPECT_EQ(xstPort->hwState, MSTP_PORT_STATE_FORWARDING);
}

TEST_F(ForwardingProcedures,
       EnableForwardingUnderBpduGuardWritesDiscardingAndPrintsDisableForwarding) {
    guard(100);

    EXPECT_EQ(written(enableForwarding), group(BLOCKING));
    EXPECT_EQ(xstPort->hwState, MSTP_PORT_STATE_DISCARDING);
    EXPECT_EQ(traced(enableForwarding), (Lines{"msti 1 port port1 disable forwarding",
                                               "msti 1 port port1 set port state blocking"}));
}

TEST_F(ForwardingProcedures, EnableForwardingUnderBpduGuardDiscardsWhateverElseHolds) {
    guard(100);
    holdLoop(100);
    holdRoot(100);

    EXPECT_EQ(written(enableForwarding), group(BLOCKING));
}

TEST_F(ForwardingProcedures, EnableForwardingWithASecondOfLoopHoldLeftWritesNothing) {
    holdLoop(100);

    EXPECT_EQ(written(enableForwarding), NOTHING);
    EXPECT_EQ(traced(enableForwarding), NOTHING);
    EXPECT_EQ(xstPort->hwState, NEVER_SET);
}

TEST_F(ForwardingProcedures, EnableForwardingWithASecondOfRootHoldOffLeftWritesNothing) {
    holdRoot(100);

    EXPECT_EQ(written(enableForwarding), NOTHING);
    EXPECT_EQ(traced(enableForwarding), NOTHING);
    EXPECT_EQ(xstPort->hwState, NEVER_SET);
}

TEST_F(ForwardingProcedures, EnableForwardingWithHoldsOf99HundredthsLeftForwards) {
    guard(99);
    holdLoop(99);
    holdRoot(99);

    EXPECT_EQ(written(enableForwarding), group(FORWARDING));
}

TEST_F(ForwardingProcedures, EnableForwardingTracesItselfAndTheState) {
    EXPECT_EQ(traced(enableForwarding), (Lines{"msti 1 port port1 enable forwarding",
                                               "msti 1 port port1 set port state forwarding"}));
}

TEST_F(ForwardingProcedures, HoldWithoutEndWithholdsForwarding) {
    holdLoop(static_cast<uint32_t>(-1 * 100));

    EXPECT_EQ(written(enableForwarding), NOTHING);
}

TEST_F(ForwardingProcedures, HoldsOfAnotherInstanceOrPortDoNotCount) {
    hold(&at(0, 1)->loopHoldTimer, 100);
    hold(&at(1, 2)->rootHoldoffTimer, 100);
    hold(&bridge.port(2)->bpduGuardTimer, 100);

    EXPECT_EQ(written(enableForwarding), group(FORWARDING));
}

TEST_F(ForwardingProcedures, HardwareThatFailsLeavesTheStateWritten) {
    bridge.sw.results["stgShrProtocolPortStateSet"] = -1;

    enableForwarding(xstPort);

    EXPECT_EQ(xstPort->hwState, MSTP_PORT_STATE_FORWARDING);
}

TEST_F(ForwardingProcedures, TracesNeedTheActivityBit) {
    bridge.trace(~MSTP_DEBUG_ACTIVITY);

    for (auto procedure : {disableForwarding, disableLearning, enableLearning, enableForwarding}) {
        procedure(xstPort);
    }

    EXPECT_EQ(bridge.sw.traces, Lines{});
}

// ---- All instances of a port

TEST_F(ForwardingProcedures, EnableForwardingAllForwardsEveryInstanceInOrder) {
    bridge.trace(MSTP_DEBUG_ACTIVITY);

    enableForwardingAll(port);

    EXPECT_EQ(
        bridge.sw.traces,
        (Lines{"msti 0 port port1 enable forwarding", "msti 0 port port1 set port state forwarding",
               "msti 1 port port1 enable forwarding", "msti 1 port port1 set port state forwarding",
               "msti 2 port port1 enable forwarding",
               "msti 2 port port1 set port state forwarding"}));
}

TEST_F(ForwardingProcedures, EnableForwardingAllRespectsTheHoldsOfEachInstance) {
    holdLoop(100);

    enableForwardingAll(port);

    EXPECT_EQ(at(0, 1)->hwState, MSTP_PORT_STATE_FORWARDING);
    EXPECT_EQ(at(1, 1)->hwState, NEVER_SET);
    EXPECT_EQ(at(2, 1)->hwState, MSTP_PORT_STATE_FORWARDING);
}

TEST_F(ForwardingProcedures, EnableForwardingAllByRoleForwardsRootDesignatedAndMasterPorts) {
    at(0, 1)->role = MSTP_ROOT_PORT;
    at(1, 1)->role = MSTP_DESIGNATED_PORT;
    at(2, 1)->role = MSTP_MASTER_PORT;

    enableForwardingAllByRole(port);

    EXPECT_EQ(at(0, 1)->hwState, MSTP_PORT_STATE_FORWARDING);
    EXPECT_EQ(at(1, 1)->hwState, MSTP_PORT_STATE_FORWARDING);
    EXPECT_EQ(at(2, 1)->hwState, MSTP_PORT_STATE_FORWARDING);
}

TEST_F(ForwardingProcedures, EnableForwardingAllByRoleDoesNotTouchAlternateBackupOrDisabledPorts) {
    at(0, 1)->role = MSTP_ALTERNATE_PORT;
    at(1, 1)->role = MSTP_BACKUP_PORT;
    at(2, 1)->role = MSTP_DISABLED_PORT;

    enableForwardingAllByRole(port);

    EXPECT_EQ(bridge.sw.calls, NOTHING);
    for (uint32_t xstId = 0; xstId < 3; xstId++) {
        EXPECT_EQ(at(xstId, 1)->hwState, NEVER_SET) << "instance " << xstId;
    }
}

TEST_F(ForwardingProcedures, EnableForwardingAllByRoleRunsInInstanceOrder) {
    bridge.trace(MSTP_DEBUG_ACTIVITY);
    at(0, 1)->role = MSTP_DESIGNATED_PORT;
    at(1, 1)->role = MSTP_ALTERNATE_PORT;
    at(2, 1)->role = MSTP_ROOT_PORT;

    enableForwardingAllByRole(port);

    EXPECT_EQ(bridge.sw.traces, (Lines{"msti 0 port port1 enable forwarding",
                                       "msti 0 port port1 set port state forwarding",
                                       "msti 2 port port1 enable forwarding",
                                       "msti 2 port port1 set port state forwarding"}));
}

// ---- newTcWhile

class NewTcWhile : public ForwardingProcedures {
  protected:
    NewTcWhile() {
        port->sendRSTP = 1;
        port->newInfo = port->newInfoMsti = 0;
        at(0, 1)->portTimes.helloTime = 7;
        xstPort->portTimes.helloTime = 99;
        msti->rootTimes = {1, 25, 11, 3, 9, {}};
        cist->rootTimes = {1, 40, 30, 3, 9, {}};
    }

    Flags newInfos() { return {port->newInfo, port->newInfoMsti}; }
};

TEST_F(NewTcWhile, WithRstpLastsForTheCistPortsHelloTimeAndOneSecond) {
    newTcWhile(xstPort);

    EXPECT_EQ(xstPort->tcWhile, 8);
    EXPECT_EQ(timerRemain(&xstPort->tcWhileTimer), 800);
}

TEST_F(NewTcWhile, WithRstpSetsNewInfoOfTheMstisForAnMsti) {
    newTcWhile(xstPort);

    EXPECT_EQ(newInfos(), (Flags{0, 1}));
}

TEST_F(NewTcWhile, WithRstpSetsNewInfoForTheCist) {
    newTcWhile(at(0, 1));

    EXPECT_EQ(newInfos(), (Flags{1, 0}));
}

TEST_F(NewTcWhile, WithoutRstpLastsForMaxAgeAndForwardDelayOfTheInstancesRoot) {
    port->sendRSTP = 0;

    newTcWhile(xstPort);

    EXPECT_EQ(xstPort->tcWhile, 36);
    EXPECT_EQ(timerRemain(&xstPort->tcWhileTimer), 3600);
}

TEST_F(NewTcWhile, WithoutRstpSetsNeitherNewInfoNorNewInfoMsti) {
    port->sendRSTP = 0;

    newTcWhile(xstPort);
    newTcWhile(at(0, 1));

    EXPECT_EQ(newInfos(), (Flags{0, 0}));
}

TEST_F(NewTcWhile, TimeIsCutToEightBitsOfSecondsForCounterAndTimer) {
    port->sendRSTP = 0;
    msti->rootTimes.maxAge = 250;

    newTcWhile(xstPort);

    EXPECT_EQ(xstPort->tcWhile, 5);
    EXPECT_EQ(timerRemain(&xstPort->tcWhileTimer), 500);
}

TEST_F(NewTcWhile, TimerClearsTheCounterAndAsksForARunOfTheMachines) {
    newTcWhile(xstPort);
    bridge.bridge->event = 0;

    sim::setNow(sim::now() + 8'000'000);
    timerListCheck(&gMstp.timerList);

    EXPECT_EQ(xstPort->tcWhile, 0);
    EXPECT_NE(bridge.bridge->event & MSTP_EVENT_FSM, 0U);
}

TEST_F(NewTcWhile, WhileAlreadyRunningLeavesCounterTimerAndNewInfoAlone) {
    newTcWhile(xstPort);
    port->newInfoMsti = 0;
    sim::setNow(sim::now() + 3'000'000);
    at(0, 1)->portTimes.helloTime = 50;

    newTcWhile(xstPort);

    EXPECT_EQ(xstPort->tcWhile, 8);
    EXPECT_EQ(timerRemain(&xstPort->tcWhileTimer), 500);
    EXPECT_EQ(newInfos(), (Flags{0, 0}));
}

TEST_F(NewTcWhile, WhileAlreadyRunningStillCountsAndRefreshesTheTimeOfTheLastChange) {
    newTcWhile(xstPort);
    const uint32_t first = msti->timeSinceTopologyChange;
    sim::setNow(sim::now() + 3'000'000);

    newTcWhile(xstPort);

    EXPECT_EQ(msti->topologyChangesCount, 2U);
    EXPECT_EQ(msti->timeSinceTopologyChange, first + 3);
}

TEST_F(NewTcWhile, MarksCountsAndStampsTheInstancesTopologyChange) {
    msti->topologyChange = 0;
    msti->topologyChangesCount = 41;
    msti->timeSinceTopologyChange = 0;

    newTcWhile(xstPort);

    EXPECT_EQ(msti->topologyChange, 1);
    EXPECT_EQ(msti->topologyChangesCount, 42U);
    EXPECT_EQ(msti->timeSinceTopologyChange, mstpGetSysUpTime());
    EXPECT_EQ(cist->topologyChange, 0);
    EXPECT_EQ(cist->topologyChangesCount, 0U);
}

TEST_F(NewTcWhile, CountsWithoutRstpToo) {
    port->sendRSTP = 0;

    newTcWhile(xstPort);

    EXPECT_EQ(msti->topologyChange, 1);
    EXPECT_EQ(msti->topologyChangesCount, 1U);
}

// ---- setTcFlags

class SetTcFlags : public RoleProcedures {
  protected:
    SetTcFlags() {
        setFlags(&tMstpXstPort::rcvdTc, 0);
        setFlags(&tMstpXstPort::rcvdTcAck, 0);
        setFlags(&tMstpXstPort::rcvdTcn, 0);
        port()->infoInternal = 1;
        port()->rcvdInternal = 0;
        port()->arpFlush = 0;
    }

    tMstpPort* port() { return bridge.port(1); }

    void receive(uint32_t xstId, uint8_t flagByte) {
        at(xstId, 1)->msgFlag = mstpFlagFromByte(flagByte);
        setTcFlags(at(xstId, 1));
    }

    // A flag of port 1 in the three instances.
    Flags ofPort(uint8_t tMstpXstPort::*flag) {
        return {at(0, 1)->*flag, at(1, 1)->*flag, at(2, 1)->*flag};
    }

    static constexpr uint8_t ALL_BUT_TC_AND_ACK = 0x7E;
};

TEST_F(SetTcFlags, CistAcknowledgementSetsRcvdTcAckOnly) {
    receive(0, MSTP_FLAG_TOPOLOGY_CHANGE_ACK);

    EXPECT_EQ(ofPort(&tMstpXstPort::rcvdTcAck), (Flags{1, 0, 0}));
    EXPECT_EQ(ofPort(&tMstpXstPort::rcvdTc), (Flags{0, 0, 0}));
    EXPECT_EQ(port()->arpFlush, 0);
}

TEST_F(SetTcFlags, CistChangeFromInsideTheRegionMarksTheCistOnly) {
    receive(0, MSTP_FLAG_TOPOLOGY_CHANGE);

    EXPECT_EQ(ofPort(&tMstpXstPort::rcvdTc), (Flags{1, 0, 0}));
    EXPECT_EQ(ofPort(&tMstpXstPort::rcvdTcAck), (Flags{0, 0, 0}));
    EXPECT_EQ(port()->arpFlush, 1);
}

TEST_F(SetTcFlags, CistChangeFromOutsideMarksEveryInstanceThoughItsOwnMessageCarriedNoFlag) {
    port()->infoInternal = 0;
    port()->rcvdInternal = 1;
    at(1, 1)->msgFlag = mstpFlagFromByte(0);

    receive(0, MSTP_FLAG_TOPOLOGY_CHANGE);

    EXPECT_EQ(ofPort(&tMstpXstPort::rcvdTc), (Flags{1, 1, 1}));
    EXPECT_EQ(port()->arpFlush, 1);
}

TEST_F(SetTcFlags, CistMayCarryChangeAndAcknowledgementAtOnce) {
    receive(0, MSTP_FLAG_TOPOLOGY_CHANGE | MSTP_FLAG_TOPOLOGY_CHANGE_ACK);

    EXPECT_EQ(at(0, 1)->rcvdTc, 1);
    EXPECT_EQ(at(0, 1)->rcvdTcAck, 1);
}

TEST_F(SetTcFlags, OtherFlagsOfTheCistMarkNothing) {
    for (uint8_t infoInternal : {uint8_t{0}, uint8_t{1}}) {
        port()->infoInternal = infoInternal;
        receive(0, ALL_BUT_TC_AND_ACK);
    }

    EXPECT_EQ(ofPort(&tMstpXstPort::rcvdTc), (Flags{0, 0, 0}));
    EXPECT_EQ(ofPort(&tMstpXstPort::rcvdTcAck), (Flags{0, 0, 0}));
    EXPECT_EQ(port()->arpFlush, 0);
}

TEST_F(SetTcFlags, MstiChangeMarksThatMstiOnlyWhereverItCameFrom) {
    for (uint8_t infoInternal : {uint8_t{0}, uint8_t{1}}) {
        setFlags(&tMstpXstPort::rcvdTc, 0);
        port()->arpFlush = 0;
        port()->infoInternal = infoInternal;

        receive(1, MSTP_FLAG_TOPOLOGY_CHANGE);

        EXPECT_EQ(ofPort(&tMstpXstPort::rcvdTc), (Flags{0, 1, 0}));
        EXPECT_EQ(port()->arpFlush, 1);
    }
}

TEST_F(SetTcFlags, MasterFlagOfAnMstiIsNoAcknowledgement) {
    receive(1, MSTP_FLAG_MASTER | ALL_BUT_TC_AND_ACK);

    EXPECT_EQ(ofPort(&tMstpXstPort::rcvdTcAck), (Flags{0, 0, 0}));
    EXPECT_EQ(ofPort(&tMstpXstPort::rcvdTc), (Flags{0, 0, 0}));
    EXPECT_EQ(port()->arpFlush, 0);
}

TEST_F(SetTcFlags, NeverSetsRcvdTcn) {
    port()->infoInternal = 0;
    receive(0, 0xFF);
    receive(1, 0xFF);

    EXPECT_EQ(ofPort(&tMstpXstPort::rcvdTcn), (Flags{0, 0, 0}));
}

TEST_F(SetTcFlags, OtherPortsAreNotConcerned) {
    port()->infoInternal = 0;
    receive(0, 0xFF);

    EXPECT_EQ(at(0, 2)->rcvdTc, 0);
    EXPECT_EQ(bridge.port(2)->arpFlush, 0);
}

// ---- setTcPropTree

class SetTcPropTree : public RoleProcedures {};

TEST_F(SetTcPropTree, MarksAllOtherPortsOfTheInstanceThoseDownIncluded) {
    setFlags(&tMstpXstPort::tcProp, 0);

    setTcPropTree(msti, at(1, 1));

    EXPECT_EQ(flags(1, &tMstpXstPort::tcProp), (Flags{0, 1, 1}));
    EXPECT_EQ(flags(0, &tMstpXstPort::tcProp), (Flags{0, 0, 0}));
}

TEST_F(SetTcPropTree, LeavesTheCallingPortsFlag) {
    setFlags(&tMstpXstPort::tcProp, 1);

    setTcPropTree(msti, at(1, 1));

    EXPECT_EQ(flags(1, &tMstpXstPort::tcProp), (Flags{1, 1, 1}));
}

TEST_F(SetTcPropTree, FromAPortWithRestrictedTcnChangesNothingNotEvenOnOtherPorts) {
    setFlags(&tMstpXstPort::tcProp, 0);
    bridge.port(1)->restrictedTcn = 1;

    setTcPropTree(msti, at(1, 1));

    EXPECT_EQ(flags(1, &tMstpXstPort::tcProp), (Flags{0, 0, 0}));
}

TEST_F(SetTcPropTree, ReachesPortsThatHaveRestrictedTcnThemselves) {
    setFlags(&tMstpXstPort::tcProp, 0);
    bridge.port(2)->restrictedTcn = 1;

    setTcPropTree(msti, at(1, 1));

    EXPECT_EQ(flags(1, &tMstpXstPort::tcProp), (Flags{0, 1, 1}));
}

// ---- Cached delays

class CachedDelays : public RoleProcedures {
  protected:
    CachedDelays() {
        at(0, 1)->designatedTimes = {1, 31, 16, 4, 9, {}};
        at(1, 1)->designatedTimes = {2, 32, 17, 5, 10, {}};
        at(0, 1)->portTimes = {3, 33, 18, 6, 11, {}};
        bridge.port(1)->migrateTime = 8;
    }
};

TEST_F(CachedDelays, ForwardDelayIsTheCistsDesignatedHelloTimeWithRstp) {
    bridge.port(1)->sendRSTP = 1;

    updtForwardDelay(bridge.port(1));

    EXPECT_EQ(bridge.port(1)->forwardDelay, 4);
}

TEST_F(CachedDelays, ForwardDelayIsTheCistsDesignatedForwardDelayWithoutRstp) {
    bridge.port(1)->sendRSTP = 0;

    updtForwardDelay(bridge.port(1));

    EXPECT_EQ(bridge.port(1)->forwardDelay, 16);
}

TEST_F(CachedDelays, EdgeDelayIsTheMigrateTimeOnAPointToPointLink) {
    bridge.port(1)->operPointToPointMAC = 1;

    updtEdgeDelay(bridge.port(1));

    EXPECT_EQ(bridge.port(1)->edgeDelay, 8);
}

TEST_F(CachedDelays, EdgeDelayIsTheCistsDesignatedMaxAgeOnASharedLink) {
    bridge.port(1)->operPointToPointMAC = 0;

    updtEdgeDelay(bridge.port(1));

    EXPECT_EQ(bridge.port(1)->edgeDelay, 31);
}

} // namespace
