// Port Protocol Migration: which protocol the port speaks, and when it changes its mind.

#include "mstp_port_protocol_migration_state_machine.h"

#include "machine_test.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const char* const BANNER = "mstp port port1  Port Protocol Migration state machine";
const char* const RECHECK = "(mdelayWhile != MigrateTime)&& !portEnabled";
const char* const DELAY_OVER = "mdelayWhile == 0";
const char* const LEAVE_STP = "(mdelayWhile == 0) ||!portEnabled || mcheck";
const char* const CHECK_RSTP = "!portEnabled || mcheck ||((rstpVersion) && !sendRSTP && rcvdRSTP))";
const char* const SELECT_STP = "sendRSTP && rcvdSTP";
const char* const TO_CHECKING = "jump to CHECKING_RSTP";
const char* const TO_SELECTING = "jump to SELECTING_STP";
const char* const TO_SENSING = "jump to SENSING";

constexpr uint8_t CHECKING = MSTP_PORT_PROTOCOL_MIGRATION_CHECKING_RSTP;
constexpr uint8_t SELECTING = MSTP_PORT_PROTOCOL_MIGRATION_SELECTING_STP;
constexpr uint8_t SENSING = MSTP_PORT_PROTOCOL_MIGRATION_SENSING;

constexpr uint8_t HELLO_TIME = 2;
constexpr uint8_t FORWARD_DELAY = 15;

class PortProtocolMigration : public MachineTest {
  protected:
    // At rest in whatever state a test sets: enabled, speaking the newer protocol, nothing heard.
    PortProtocolMigration() {
        cist->designatedTimes.helloTime = HELLO_TIME;
        cist->designatedTimes.forwardDelay = FORWARD_DELAY;
        port->rstpVersion = 1;
        port->sendRSTP = 1;
        port->migrateTime = 3;
        port->mdelayWhile = 3;
        port->forwardDelay = 99;
    }

    void setState(uint8_t state) { port->fsmState[MSTP_PORT_PROTOCOL_MIGRATION_FSM] = state; }
    uint8_t state() const { return port->fsmState[MSTP_PORT_PROTOCOL_MIGRATION_FSM]; }

    std::vector<std::string> run() {
        return traced(MSTP_DEBUG_MACHINE, [&] { mstpPortProtocolMigrationFSM(port); });
    }
};

// ---- Entry actions

TEST_F(PortProtocolMigration, CheckingRstpClearsTheManagementCheck) {
    port->mcheck = 1;
    mstpPortProtocolMigrationCheckingRstp(port);
    EXPECT_EQ(port->mcheck, 0);
}

TEST_F(PortProtocolMigration, CheckingRstpSpeaksRstpIfTheVersionAllows) {
    port->sendRSTP = 0;
    mstpPortProtocolMigrationCheckingRstp(port);
    EXPECT_EQ(port->sendRSTP, 1);

    port->rstpVersion = 0;
    mstpPortProtocolMigrationCheckingRstp(port);
    EXPECT_EQ(port->sendRSTP, 0);
}

TEST_F(PortProtocolMigration, CheckingRstpTakesTheForwardDelayOfTheProtocolItChose) {
    port->sendRSTP = 0;
    mstpPortProtocolMigrationCheckingRstp(port);
    EXPECT_EQ(port->forwardDelay, HELLO_TIME);

    port->rstpVersion = 0;
    mstpPortProtocolMigrationCheckingRstp(port);
    EXPECT_EQ(port->forwardDelay, FORWARD_DELAY);
}

TEST_F(PortProtocolMigration, CheckingRstpRestartsTheDelayForTheMigrateTime) {
    port->migrateTime = 4;
    mstpPortProtocolMigrationCheckingRstp(port);
    expectLoaded(bridge, port->mdelayWhile, port->mdelayWhileTimer, 4, MSTP_EVENT_FSM);
}

TEST_F(PortProtocolMigration, CheckingRstpStoresItsState) {
    setState(SENSING);
    mstpPortProtocolMigrationCheckingRstp(port);
    EXPECT_EQ(state(), CHECKING);
}

TEST_F(PortProtocolMigration, SelectingStpSpeaksStp) {
    mstpPortProtocolMigrationSelectingStp(port);
    EXPECT_EQ(port->sendRSTP, 0);
}

TEST_F(PortProtocolMigration, SelectingStpTakesTheForwardDelayOfStp) {
    mstpPortProtocolMigrationSelectingStp(port);
    EXPECT_EQ(port->forwardDelay, FORWARD_DELAY);
}

TEST_F(PortProtocolMigration, SelectingStpRestartsTheDelayForTheMigrateTime) {
    port->migrateTime = 4;
    mstpPortProtocolMigrationSelectingStp(port);
    expectLoaded(bridge, port->mdelayWhile, port->mdelayWhileTimer, 4, MSTP_EVENT_FSM);
}

TEST_F(PortProtocolMigration, SelectingStpLeavesTheManagementCheckPending) {
    port->mcheck = 1;
    mstpPortProtocolMigrationSelectingStp(port);
    EXPECT_EQ(port->mcheck, 1);
}

TEST_F(PortProtocolMigration, SelectingStpStoresItsState) {
    mstpPortProtocolMigrationSelectingStp(port);
    EXPECT_EQ(state(), SELECTING);
}

TEST_F(PortProtocolMigration, SensingForgetsWhichVersionsWereHeard) {
    port->rcvdRSTP = 1;
    port->rcvdSTP = 1;
    mstpPortProtocolMigrationSending(port);
    EXPECT_EQ(port->rcvdRSTP, 0);
    EXPECT_EQ(port->rcvdSTP, 0);
}

TEST_F(PortProtocolMigration, SensingStoresItsState) {
    mstpPortProtocolMigrationSending(port);
    EXPECT_EQ(state(), SENSING);
}

// ---- BEGIN

TEST_F(PortProtocolMigration, BeginForcesCheckingRstp) {
    setState(SELECTING);
    bridge.bridge->begin = 1;

    EXPECT_THAT(run(), ElementsAre(BANNER, "BEGIN", TO_CHECKING));
    EXPECT_EQ(state(), CHECKING);
}

TEST_F(PortProtocolMigration, BeginDoesNotHoldTheMachine) {
    setState(SELECTING);
    port->migrateTime = 0;
    bridge.bridge->begin = 1;

    EXPECT_THAT(run(), ElementsAre(BANNER, "BEGIN", TO_CHECKING, DELAY_OVER, TO_SENSING));
    EXPECT_EQ(state(), SENSING);
}

// ---- CHECKING_RSTP

TEST_F(PortProtocolMigration, CheckingRstpIsEnteredAgainOnADisabledPortWhoseDelayRuns) {
    port->portEnabled = 0;
    port->mdelayWhile = 2;

    EXPECT_THAT(run(), ElementsAre(BANNER, RECHECK, TO_CHECKING));
    EXPECT_EQ(port->mdelayWhile, 3);
}

TEST_F(PortProtocolMigration, CheckingRstpRestsOnADisabledPortWithTheFullDelay) {
    port->portEnabled = 0;

    EXPECT_THAT(run(), ElementsAre(BANNER));
    EXPECT_EQ(state(), CHECKING);
}

TEST_F(PortProtocolMigration, CheckingRstpWaitsWhileTheDelayRuns) {
    port->mdelayWhile = 2;

    EXPECT_THAT(run(), ElementsAre(BANNER));
    EXPECT_EQ(port->mdelayWhile, 2);
}

TEST_F(PortProtocolMigration, CheckingRstpIsLeftForSensingWhenTheDelayIsOver) {
    port->mdelayWhile = 0;
    port->rcvdRSTP = 1;

    EXPECT_THAT(run(), ElementsAre(BANNER, DELAY_OVER, TO_SENSING));
    EXPECT_EQ(state(), SENSING);
    EXPECT_EQ(port->rcvdRSTP, 0);
}

TEST_F(PortProtocolMigration, CheckingRstpOfADisabledPortWhoseDelayIsOverStartsItAgain) {
    port->portEnabled = 0;
    port->mdelayWhile = 0;

    EXPECT_THAT(run(), ElementsAre(BANNER, RECHECK, TO_CHECKING));
    EXPECT_EQ(state(), CHECKING);
}

TEST_F(PortProtocolMigration, WithMigrateTimeZeroCheckingRstpIsLeftForSensingInTheSamePass) {
    port->migrateTime = 0;
    port->mdelayWhile = 0;

    EXPECT_THAT(run(), ElementsAre(BANNER, DELAY_OVER, TO_SENSING));
    EXPECT_EQ(state(), SENSING);
}

TEST_F(PortProtocolMigration, TheNewStateIsSeenByTheNextBlockOfTheSamePass) {
    port->mdelayWhile = 0;
    port->mcheck = 1;

    EXPECT_THAT(run(), ElementsAre(BANNER, DELAY_OVER, TO_SENSING, CHECK_RSTP, TO_CHECKING));
    EXPECT_EQ(state(), CHECKING);
}

// ---- SELECTING_STP

TEST_F(PortProtocolMigration, SelectingStpWaitsWhileTheDelayRuns) {
    setState(SELECTING);
    port->sendRSTP = 0;
    port->mdelayWhile = 1;
    port->rcvdRSTP = 1;

    EXPECT_THAT(run(), ElementsAre(BANNER));
    EXPECT_EQ(state(), SELECTING);
    EXPECT_EQ(port->rcvdRSTP, 1);
}

TEST_F(PortProtocolMigration, SelectingStpIsLeftWhenTheDelayIsOver) {
    setState(SELECTING);
    port->sendRSTP = 0;
    port->mdelayWhile = 0;
    port->rcvdRSTP = 1;

    EXPECT_THAT(run(), ElementsAre(BANNER, LEAVE_STP, TO_SENSING));
    EXPECT_EQ(state(), SENSING);
    EXPECT_EQ(port->rcvdRSTP, 0);
}

TEST_F(PortProtocolMigration, SelectingStpIsLeftOnADisabledPort) {
    setState(SELECTING);
    port->sendRSTP = 0;
    port->portEnabled = 0;

    EXPECT_THAT(run(), ElementsAre(BANNER, LEAVE_STP, TO_SENSING, CHECK_RSTP, TO_CHECKING));
    EXPECT_EQ(state(), CHECKING);
}

TEST_F(PortProtocolMigration, SelectingStpIsLeftWhenManagementAsksToCheck) {
    setState(SELECTING);
    port->sendRSTP = 0;
    port->mcheck = 1;

    EXPECT_THAT(run(), ElementsAre(BANNER, LEAVE_STP, TO_SENSING, CHECK_RSTP, TO_CHECKING));
    EXPECT_EQ(state(), CHECKING);
    EXPECT_EQ(port->mcheck, 0);
    EXPECT_EQ(port->sendRSTP, 1);
}

// ---- SENSING

TEST_F(PortProtocolMigration, SensingRestsWhileNothingNewIsHeard) {
    setState(SENSING);

    EXPECT_THAT(run(), ElementsAre(BANNER));
    EXPECT_EQ(state(), SENSING);
}

TEST_F(PortProtocolMigration, SensingIsLeftForCheckingRstpOnADisabledPort) {
    setState(SENSING);
    port->portEnabled = 0;

    EXPECT_THAT(run(), ElementsAre(BANNER, CHECK_RSTP, TO_CHECKING));
    EXPECT_EQ(state(), CHECKING);
}

TEST_F(PortProtocolMigration, SensingIsLeftForCheckingRstpWhenManagementAsksToCheck) {
    setState(SENSING);
    port->mcheck = 1;

    EXPECT_THAT(run(), ElementsAre(BANNER, CHECK_RSTP, TO_CHECKING));
    EXPECT_EQ(port->mcheck, 0);
}

TEST_F(PortProtocolMigration, APortThatSpeaksStpReturnsToRstpWhenItHearsIt) {
    setState(SENSING);
    port->sendRSTP = 0;
    port->rcvdRSTP = 1;

    EXPECT_THAT(run(), ElementsAre(BANNER, CHECK_RSTP, TO_CHECKING));
    EXPECT_EQ(port->sendRSTP, 1);
}

TEST_F(PortProtocolMigration, APortOfAnStpBridgeKeepsSpeakingStpWhenItHearsRstp) {
    setState(SENSING);
    port->rstpVersion = 0;
    port->sendRSTP = 0;
    port->rcvdRSTP = 1;

    EXPECT_THAT(run(), ElementsAre(BANNER));
    EXPECT_EQ(state(), SENSING);
}

TEST_F(PortProtocolMigration, APortThatSpeaksRstpKeepsSensingWhenItHearsRstp) {
    setState(SENSING);
    port->rcvdRSTP = 1;

    EXPECT_THAT(run(), ElementsAre(BANNER));
    EXPECT_EQ(state(), SENSING);
}

TEST_F(PortProtocolMigration, APortThatSpeaksStpKeepsSensingWhileItHearsNoRstp) {
    setState(SENSING);
    port->sendRSTP = 0;

    EXPECT_THAT(run(), ElementsAre(BANNER));
    EXPECT_EQ(state(), SENSING);
}

TEST_F(PortProtocolMigration, APortThatSpeaksRstpSelectsStpWhenItHearsIt) {
    setState(SENSING);
    port->rcvdSTP = 1;

    EXPECT_THAT(run(), ElementsAre(BANNER, SELECT_STP, TO_SELECTING));
    EXPECT_EQ(state(), SELECTING);
    EXPECT_EQ(port->sendRSTP, 0);
}

TEST_F(PortProtocolMigration, APortThatSpeaksStpKeepsSensingWhenItHearsStp) {
    setState(SENSING);
    port->sendRSTP = 0;
    port->rcvdSTP = 1;

    EXPECT_THAT(run(), ElementsAre(BANNER));
    EXPECT_EQ(state(), SENSING);
}

TEST_F(PortProtocolMigration, APortThatLeavesSensingHavingHeardStpSelectsItWithoutWaiting) {
    setState(SENSING);
    port->mcheck = 1;
    port->rcvdSTP = 1;

    EXPECT_THAT(run(), ElementsAre(BANNER, CHECK_RSTP, TO_CHECKING, SELECT_STP, TO_SELECTING));
    EXPECT_EQ(state(), SELECTING);
    EXPECT_EQ(port->sendRSTP, 0);
    EXPECT_EQ(port->mdelayWhile, 3);
}

TEST_F(PortProtocolMigration, ADisabledPortThatHeardStpPassesThroughSelectingStpToCheckingRstp) {
    setState(SENSING);
    port->portEnabled = 0;
    port->rcvdSTP = 1;

    EXPECT_THAT(run(), ElementsAre(BANNER, CHECK_RSTP, TO_CHECKING, SELECT_STP, TO_SELECTING,
                                   LEAVE_STP, TO_SENSING, CHECK_RSTP, TO_CHECKING));
    EXPECT_EQ(state(), CHECKING);
    EXPECT_EQ(port->sendRSTP, 1);
    EXPECT_EQ(port->rcvdSTP, 0);
}

// ---- The run as a whole

TEST_F(PortProtocolMigration, ARunMakesFivePassesAtTheMost) {
    port->portEnabled = 0;
    port->migrateTime = 0;
    port->mdelayWhile = 0;
    std::vector<std::string> expected = {BANNER};
    for (int pass = 0; pass < 5; pass++) {
        expected.insert(expected.end(), {DELAY_OVER, TO_SENSING, CHECK_RSTP, TO_CHECKING});
    }

    EXPECT_EQ(run(), expected);
}

TEST_F(PortProtocolMigration, WithMigrateTimeZeroTheNextPassLeavesCheckingRstpAgain) {
    setState(SENSING);
    port->migrateTime = 0;
    port->mcheck = 1;

    EXPECT_THAT(run(), ElementsAre(BANNER, CHECK_RSTP, TO_CHECKING, DELAY_OVER, TO_SENSING));
    EXPECT_EQ(state(), SENSING);
}

TEST_F(PortProtocolMigration, WithMigrateTimeZeroTheNextPassLeavesSelectingStpAgain) {
    setState(SENSING);
    port->migrateTime = 0;
    port->rcvdSTP = 1;

    EXPECT_THAT(run(), ElementsAre(BANNER, SELECT_STP, TO_SELECTING, LEAVE_STP, TO_SENSING));
    EXPECT_EQ(state(), SENSING);
    EXPECT_EQ(port->sendRSTP, 0);
}

TEST_F(PortProtocolMigration, EveryRunBringsTheForwardDelayUpToDate) {
    run();
    EXPECT_EQ(port->forwardDelay, HELLO_TIME);

    port->sendRSTP = 0;
    run();
    EXPECT_EQ(port->forwardDelay, FORWARD_DELAY);
}

TEST_F(PortProtocolMigration, TheMachineTracesUnderItsBitOnly) {
    port->mdelayWhile = 0;

    EXPECT_THAT(traced(~static_cast<uint32_t>(MSTP_DEBUG_MACHINE),
                       [&] { mstpPortProtocolMigrationFSM(port); }),
                IsEmpty());
}

} // namespace
