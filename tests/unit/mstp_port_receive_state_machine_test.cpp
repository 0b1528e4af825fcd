// Port Receive: what a BPDU does to the port, and when it is taken.

#include "mstp_port_receive_state_machine.h"

#include <cstring>

#include "machine_test.h"
#include "mstp_port_protocol_migration_state_machine.h"

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

namespace {

const char* const BANNER = "mstp port port1 Port Receive state machine";
const char* const DISCARD_CONDITION =
    "BEGIN || ((rcvdBpdu || edgeDelayWhile != MigrateTime)) && !portEnabled)";
const char* const RECEIVE_CONDITION = "rcvdBpdu && portEnabled";
const char* const RECEIVE_AGAIN_CONDITION = "rcvdBpdu && portEnabled && !rcvdAnyMsg";

class PortReceive : public MachineTest {
  protected:
    PortReceive() {
        setState(MSTP_PORT_DISCARD);
        port->migrateTime = 3;
        port->edgeDelayWhile = 3;
    }

    void setState(uint8_t state) { port->fsmState[MSTP_PORT_RECEIVE_FSM] = state; }
    uint8_t state() const { return port->fsmState[MSTP_PORT_RECEIVE_FSM]; }
    uint8_t migrationState() const { return port->fsmState[MSTP_PORT_PROTOCOL_MIGRATION_FSM]; }

    static tMstpBpdu rstBpdu() {
        tMstpBpdu bpdu = {};
        bpdu.protocolVersionId = 2;
        bpdu.bpduType = MSTP_BPDU_RST;
        bpdu.protocolType = MSTP_PROTOCOL_TYPE_RSTP;
        bpdu.flag = mstpFlagFromByte(MSTP_FLAG_ROLE_DESIGNATED);
        return bpdu;
    }

    static tMstpBpdu configBpdu() {
        tMstpBpdu bpdu = {};
        bpdu.bpduType = MSTP_BPDU_CONFIG;
        bpdu.protocolType = MSTP_PROTOCOL_TYPE_CONFIG;
        return bpdu;
    }

    static tMstpBpdu tcnBpdu() {
        tMstpBpdu bpdu = {};
        bpdu.bpduType = MSTP_BPDU_TCN;
        bpdu.protocolType = MSTP_PROTOCOL_TYPE_TCN;
        return bpdu;
    }

    // An MST BPDU of a neighbour in this bridge's region.
    tMstpBpdu mstBpdu() const {
        tMstpBpdu bpdu = rstBpdu();
        bpdu.protocolVersionId = 3;
        bpdu.protocolType = MSTP_PROTOCOL_TYPE_MSTP;
        bpdu.cfgIdFmtSel = bridge.bridge->cfgIdFmtSel;
        memcpy(bpdu.cfgIdName, bridge.bridge->cfgIdName, sizeof bpdu.cfgIdName);
        bpdu.cfgIdRevLevel = mstpBig16(bridge.bridge->cfgIdRevLevel);
        memcpy(bpdu.cfgIdDigest, bridge.bridge->cfgIdDigest, sizeof bpdu.cfgIdDigest);
        return bpdu;
    }

    tMstpBpdu foreignMstBpdu() const {
        tMstpBpdu bpdu = mstBpdu();
        bpdu.cfgIdName[0] ^= 0xFF;
        return bpdu;
    }

    std::vector<std::string> run(tMstpBpdu* bpdu) {
        return traced(MSTP_DEBUG_MACHINE, [&] { mstpPortReceiveFSM(port, bpdu); });
    }

    // Runs @p work and tells whether it left the port and its CIST record as they were.
    bool changesNothing(const std::function<void()>& work) {
        const std::string before = bytesOf(*port) + bytesOf(*cist);
        work();
        return bytesOf(*port) + bytesOf(*cist) == before;
    }
};

// ---- DISCARD

TEST_F(PortReceive, DiscardForgetsTheBpduAndTheVersionsHeard) {
    port->rcvdBpdu = 1;
    port->rcvdRSTP = 1;
    port->rcvdSTP = 1;

    mstpPortDicscard(port);

    EXPECT_EQ(port->rcvdBpdu, 0);
    EXPECT_EQ(port->rcvdRSTP, 0);
    EXPECT_EQ(port->rcvdSTP, 0);
}

TEST_F(PortReceive, DiscardForgetsTheMessagesOfEveryInstance) {
    tMstpXstPort* msti = addInstance(1);
    cist->rcvdMsg = 1;
    msti->rcvdMsg = 1;

    mstpPortDicscard(port);

    EXPECT_EQ(cist->rcvdMsg, 0);
    EXPECT_EQ(msti->rcvdMsg, 0);
}

TEST_F(PortReceive, DiscardRestartsEdgeDelayForTheMigrateTime) {
    port->migrateTime = 5;
    port->edgeDelayWhile = 1;

    mstpPortDicscard(port);

    expectLoaded(bridge, port->edgeDelayWhile, port->edgeDelayWhileTimer, 5, MSTP_EVENT_FSM);
}

TEST_F(PortReceive, DiscardStoresItsState) {
    setState(MSTP_PORT_RECEIVE);

    mstpPortDicscard(port);

    EXPECT_EQ(state(), MSTP_PORT_DISCARD);
}

// ---- RECEIVE

TEST_F(PortReceive, ReceiveWithoutABpduChangesNothing) {
    port->rcvdBpdu = 1;
    port->operEdge = 1;
    port->edgeDelayWhile = 1;

    EXPECT_TRUE(changesNothing([&] { mstpPortReceive(port, nullptr); }));
}

TEST_F(PortReceive, ABpduIsIgnoredEntirelyWhileTheCistRecordIsNotInService) {
    port->rcvdBpdu = 1;
    port->operEdge = 1;
    port->edgeDelayWhile = 1;
    tMstpBpdu bpdu = mstBpdu();
    for (uint8_t notInService : {MSTP_SLOT_FREE, MSTP_SLOT_DISABLED}) {
        cist->state = notInService;
        EXPECT_TRUE(changesNothing([&] { mstpPortReceive(port, &bpdu); })) << +notInService;
        EXPECT_TRUE(changesNothing([&] { mstpPortReceiveFSM(port, &bpdu); })) << +notInService;
    }
}

TEST_F(PortReceive, ReceiveNotesThatTheNeighbourSpeaksRstp) {
    tMstpBpdu bpdu = rstBpdu();
    mstpPortReceive(port, &bpdu);
    EXPECT_EQ(port->rcvdRSTP, 1);
    EXPECT_EQ(port->rcvdSTP, 0);
}

TEST_F(PortReceive, ReceiveNotesThatTheNeighbourSpeaksStp) {
    tMstpBpdu bpdu = configBpdu();
    mstpPortReceive(port, &bpdu);
    EXPECT_EQ(port->rcvdSTP, 1);
    EXPECT_EQ(port->rcvdRSTP, 0);
}

TEST_F(PortReceive, TheVersionIsNotedBeforeTheRegionIsTold) {
    port->rcvdInternal = 1;
    port->rcvdRSTP = 0; // nobody of this region would say so before the BPDU is looked at
    tMstpBpdu bpdu = mstBpdu();

    mstpPortReceive(port, &bpdu);

    EXPECT_EQ(port->rcvdInternal, 1);
}

TEST_F(PortReceive, ReceiveTellsTheOwnRegionFromAnother) {
    port->rcvdInternal = 1;
    tMstpBpdu foreign = foreignMstBpdu();
    mstpPortReceive(port, &foreign);
    EXPECT_EQ(port->rcvdInternal, 0);

    tMstpBpdu own = mstBpdu();
    mstpPortReceive(port, &own);
    EXPECT_EQ(port->rcvdInternal, 1);
}

TEST_F(PortReceive, AnMstBpduIsNewsOnABridgeForcedToStp) {
    bridge.bridge->forceVersion = MSTP_FORCE_LEGACYDOT1D1998;
    port->newInfo = 0;
    tMstpBpdu bpdu = mstBpdu();

    mstpPortReceive(port, &bpdu);

    EXPECT_EQ(port->newInfo, 1);
}

TEST_F(PortReceive, AnMstBpduIsNoNewsOnABridgeOfAnotherVersion) {
    for (uint8_t version : {MSTP_FORCE_NOTSTP, MSTP_FORCE_DOT1W, MSTP_FORCE_ATUODOT1S}) {
        bridge.bridge->forceVersion = version;
        port->newInfo = 0;
        tMstpBpdu bpdu = mstBpdu();

        mstpPortReceive(port, &bpdu);

        EXPECT_EQ(port->newInfo, 0) << +version;
    }
}

TEST_F(PortReceive, AnRstBpduIsNoNewsOnABridgeForcedToStp) {
    bridge.bridge->forceVersion = MSTP_FORCE_LEGACYDOT1D1998;
    port->newInfo = 0;
    tMstpBpdu bpdu = rstBpdu();

    mstpPortReceive(port, &bpdu);

    EXPECT_EQ(port->newInfo, 0);
}

TEST_F(PortReceive, ANeighbourThatJoinsTheRegionMakesMasterPortsReselectAndMigrationSense) {
    tMstpXstPort* master = addInstance(1);
    tMstpXstPort* otherMaster = addInstance(2);
    master->role = MSTP_MASTER_PORT;
    master->reselect = 0;
    otherMaster->role = MSTP_MASTER_PORT;
    otherMaster->reselect = 0;
    tMstpBpdu foreign = foreignMstBpdu();
    mstpPortReceive(port, &foreign);
    ASSERT_EQ(master->reselect, 0);
    port->rcvdSTP = 1;
    tMstpBpdu own = mstBpdu();

    mstpPortReceive(port, &own);

    EXPECT_EQ(master->reselect, 1);
    EXPECT_EQ(otherMaster->reselect, 1);
    EXPECT_EQ(migrationState(), MSTP_PORT_PROTOCOL_MIGRATION_SENSING);
    EXPECT_EQ(port->rcvdRSTP, 0);
    EXPECT_EQ(port->rcvdSTP, 0);
}

TEST_F(PortReceive, ANeighbourThatJoinsTheRegionLeavesPortsOfOtherRolesAlone) {
    tMstpXstPort* msti = addInstance(1);
    for (uint8_t role : {MSTP_DISABLED_PORT, MSTP_ALTERNATE_PORT, MSTP_BACKUP_PORT, MSTP_ROOT_PORT,
                         MSTP_DESIGNATED_PORT}) {
        port->rcvdInternal = 0;
        msti->role = role;
        msti->reselect = 0;
        tMstpBpdu bpdu = mstBpdu();

        mstpPortReceive(port, &bpdu);

        EXPECT_EQ(msti->reselect, 0) << +role;
    }
}

TEST_F(PortReceive, ANeighbourThatWasInTheRegionBeforeChangesNoRolesAndNoProtocol) {
    tMstpXstPort* master = addInstance(1);
    master->role = MSTP_MASTER_PORT;
    master->reselect = 0;
    port->rcvdInternal = 1;
    tMstpBpdu bpdu = mstBpdu();

    mstpPortReceive(port, &bpdu);

    EXPECT_EQ(master->reselect, 0);
    EXPECT_EQ(migrationState(), MSTP_PORT_PROTOCOL_MIGRATION_CHECKING_RSTP);
    EXPECT_EQ(port->rcvdRSTP, 1);
}

TEST_F(PortReceive, ANeighbourOfAnotherRegionChangesNoRolesAndNoProtocol) {
    tMstpXstPort* master = addInstance(1);
    master->role = MSTP_MASTER_PORT;
    master->reselect = 0;
    port->rcvdInternal = 0;
    tMstpBpdu bpdu = foreignMstBpdu();

    mstpPortReceive(port, &bpdu);

    EXPECT_EQ(master->reselect, 0);
    EXPECT_EQ(migrationState(), MSTP_PORT_PROTOCOL_MIGRATION_CHECKING_RSTP);
    EXPECT_EQ(port->rcvdRSTP, 1);
}

TEST_F(PortReceive, JoiningTheRegionIsActedOnOnlyWithTheVersionOfMstp) {
    tMstpXstPort* master = addInstance(1);
    master->role = MSTP_MASTER_PORT;
    master->reselect = 0;
    bridge.bridge->forceVersion = MSTP_FORCE_UNKNOWN;
    tMstpBpdu bpdu = mstBpdu();

    mstpPortReceive(port, &bpdu);

    EXPECT_EQ(port->rcvdInternal, 1);
    EXPECT_EQ(master->reselect, 0);
    EXPECT_EQ(migrationState(), MSTP_PORT_PROTOCOL_MIGRATION_CHECKING_RSTP);
}

TEST_F(PortReceive, ReceiveTracesTheRegionUnderTheActivityBitOnly) {
    tMstpBpdu own = mstBpdu();
    tMstpBpdu foreign = foreignMstBpdu();
    const char* const same = "port port1 received bpdu from the same region";
    const char* const different = "port port1 received bpdu from the different region";

    EXPECT_THAT(traced(MSTP_DEBUG_ACTIVITY, [&] { mstpPortReceive(port, &own); }), Contains(same));
    EXPECT_THAT(traced(MSTP_DEBUG_ACTIVITY, [&] { mstpPortReceive(port, &foreign); }),
                Contains(different));
    EXPECT_THAT(traced(~static_cast<uint32_t>(MSTP_DEBUG_ACTIVITY),
                       [&] { mstpPortReceive(port, &foreign); }),
                Not(Contains(different)));
}

TEST_F(PortReceive, ReceiveSetsTheReceivedMessages) {
    tMstpBpdu bpdu = rstBpdu();
    bpdu.externalPathCost = mstpBig32(77);

    mstpPortReceive(port, &bpdu);

    EXPECT_EQ(cist->rcvdMsg, 1);
    EXPECT_EQ(port->rcvdAnyMsg, 1);
    EXPECT_EQ(port->bpduType, MSTP_BPDU_RST);
    EXPECT_EQ(cist->msgPriority.extRootPathCost, 77U);
}

TEST_F(PortReceive, TheMessagesOfANeighbourThatHasJustJoinedTheRegionReachTheMstis) {
    tMstpXstPort* msti = addInstance(1);
    port->rcvdInternal = 0;
    tMstpBpdu bpdu = mstBpdu();
    bpdu.mstiCount = 1;
    mstpBridgeIdSetExtension(&bpdu.mstiBpdus[0].regionalRootId, 1);

    mstpPortReceive(port, &bpdu);

    EXPECT_EQ(msti->rcvdMsg, 1);
}

TEST_F(PortReceive, ReceiveConsumesTheBpdu) {
    port->rcvdBpdu = 1;
    tMstpBpdu bpdu = rstBpdu();
    mstpPortReceive(port, &bpdu);
    EXPECT_EQ(port->rcvdBpdu, 0);
}

TEST_F(PortReceive, EdgePortThatHearsABpduStopsBeingEdge) {
    port->operEdge = 1;
    tMstpBpdu bpdu = rstBpdu();
    mstpPortReceive(port, &bpdu);
    EXPECT_EQ(port->operEdge, 0);
}

TEST_F(PortReceive, ReceiveRestartsEdgeDelayForTheMigrateTime) {
    port->migrateTime = 4;
    port->edgeDelayWhile = 1;
    tMstpBpdu bpdu = rstBpdu();

    mstpPortReceive(port, &bpdu);

    expectLoaded(bridge, port->edgeDelayWhile, port->edgeDelayWhileTimer, 4, MSTP_EVENT_FSM);
}

TEST_F(PortReceive, ReceiveStoresItsState) {
    tMstpBpdu bpdu = rstBpdu();
    mstpPortReceive(port, &bpdu);
    EXPECT_EQ(state(), MSTP_PORT_RECEIVE);
}

// ---- The machine

TEST_F(PortReceive, BeginForcesDiscard) {
    bridge.bridge->begin = 1;
    setState(MSTP_PORT_RECEIVE);

    EXPECT_THAT(run(nullptr), ElementsAre(BANNER, DISCARD_CONDITION, "jump to DISCARD"));
    EXPECT_EQ(state(), MSTP_PORT_DISCARD);
}

TEST_F(PortReceive, BeginThrowsAwayAPendingBpdu) {
    bridge.bridge->begin = 1;
    port->rcvdBpdu = 1;
    tMstpBpdu bpdu = rstBpdu();

    EXPECT_THAT(run(&bpdu), ElementsAre(BANNER, DISCARD_CONDITION, "jump to DISCARD"));
    EXPECT_EQ(port->rcvdBpdu, 0);
    EXPECT_EQ(cist->rcvdMsg, 0);
}

TEST_F(PortReceive, ADisabledPortThatReceivesABpduDiscardsItAndItsFlags) {
    tMstpBpdu bpdu = rstBpdu();
    mstpPortReceive(port, &bpdu);
    port->portEnabled = 0;
    port->rcvdBpdu = 1;

    EXPECT_THAT(run(nullptr), ElementsAre(BANNER, DISCARD_CONDITION, "jump to DISCARD"));
    EXPECT_EQ(state(), MSTP_PORT_DISCARD);
    EXPECT_EQ(port->rcvdBpdu, 0);
    EXPECT_EQ(port->rcvdRSTP, 0);
    EXPECT_EQ(cist->rcvdMsg, 0);
}

TEST_F(PortReceive, ADisabledPortWhoseEdgeDelayRunsDiscards) {
    port->portEnabled = 0;
    port->edgeDelayWhile = 2;

    EXPECT_THAT(run(nullptr), ElementsAre(BANNER, DISCARD_CONDITION, "jump to DISCARD"));
    EXPECT_EQ(port->edgeDelayWhile, 3);
}

TEST_F(PortReceive, ADisabledPortAtRestStaysAsItIs) {
    port->portEnabled = 0;
    setState(MSTP_PORT_RECEIVE);

    EXPECT_THAT(run(nullptr), ElementsAre(BANNER));
    EXPECT_EQ(state(), MSTP_PORT_RECEIVE);
}

TEST_F(PortReceive, AnEnabledPortWhoseEdgeDelayRunsStaysAsItIs) {
    port->edgeDelayWhile = 2;
    setState(MSTP_PORT_RECEIVE);

    EXPECT_THAT(run(nullptr), ElementsAre(BANNER));
    EXPECT_EQ(state(), MSTP_PORT_RECEIVE);
}

TEST_F(PortReceive, AnEnabledPortInDiscardTakesABpdu) {
    port->rcvdBpdu = 1;
    tMstpBpdu bpdu = rstBpdu();

    EXPECT_THAT(run(&bpdu), ElementsAre(BANNER, RECEIVE_CONDITION, "jump to RECEIVE"));
    EXPECT_EQ(state(), MSTP_PORT_RECEIVE);
    EXPECT_EQ(cist->rcvdMsg, 1);
}

TEST_F(PortReceive, DiscardIsNotLeftWithoutABpdu) {
    tMstpBpdu bpdu = rstBpdu();

    EXPECT_THAT(run(&bpdu), ElementsAre(BANNER));
    EXPECT_EQ(state(), MSTP_PORT_DISCARD);
}

TEST_F(PortReceive, BpduStaysPendingWhenMachineRunsWithoutIt) {
    port->rcvdBpdu = 1;

    EXPECT_THAT(run(nullptr), ElementsAre(BANNER, RECEIVE_CONDITION, "jump to RECEIVE"));
    EXPECT_EQ(state(), MSTP_PORT_DISCARD);
    EXPECT_EQ(port->rcvdBpdu, 1);
}

TEST_F(PortReceive, TheNextBpduIsTakenOnceTheLastIsRead) {
    setState(MSTP_PORT_RECEIVE);
    port->rcvdBpdu = 1;
    port->rcvdAnyMsg = 0;
    tMstpBpdu bpdu = rstBpdu();

    EXPECT_THAT(run(&bpdu), ElementsAre(BANNER, RECEIVE_AGAIN_CONDITION, "jump to RECEIVE"));
    EXPECT_EQ(port->rcvdBpdu, 0);
    EXPECT_EQ(cist->rcvdMsg, 1);
}

TEST_F(PortReceive, TheNextBpduWaitsWhileTheLastIsUnread) {
    setState(MSTP_PORT_RECEIVE);
    port->rcvdBpdu = 1;
    port->rcvdAnyMsg = 1;
    tMstpBpdu bpdu = rstBpdu();

    EXPECT_THAT(run(&bpdu), ElementsAre(BANNER));
    EXPECT_EQ(port->rcvdBpdu, 1);
    EXPECT_EQ(cist->rcvdMsg, 0);
}

TEST_F(PortReceive, ReceiveIsNotEnteredAgainWithoutABpdu) {
    setState(MSTP_PORT_RECEIVE);
    tMstpBpdu bpdu = rstBpdu();

    EXPECT_THAT(run(&bpdu), ElementsAre(BANNER));
    EXPECT_EQ(cist->rcvdMsg, 0);
}

TEST_F(PortReceive, ATcnIsTakenOnce) {
    port->rcvdBpdu = 1;
    tMstpBpdu bpdu = tcnBpdu();

    EXPECT_THAT(run(&bpdu), ElementsAre(BANNER, RECEIVE_CONDITION, "jump to RECEIVE"));
    EXPECT_EQ(port->rcvdAnyMsg, 0);
    EXPECT_EQ(port->bpduType, MSTP_BPDU_TCN);
}

TEST_F(PortReceive, TheMachineTracesUnderItsBitOnly) {
    port->rcvdBpdu = 1;

    EXPECT_THAT(traced(~static_cast<uint32_t>(MSTP_DEBUG_MACHINE),
                       [&] { mstpPortReceiveFSM(port, nullptr); }),
                IsEmpty());
}

} // namespace
