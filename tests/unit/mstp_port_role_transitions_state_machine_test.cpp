// Port Role Transitions: which transition a port makes, when, and what is traced. A port is settled
// in its role first and so has nothing to do; each test then changes what it is about.

#include <algorithm>

#include "role_transitions_test.h"

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::IsSupersetOf;
using testing::Not;

namespace {

const char* const QUIET = "!learning && !forwarding";

// ---- disabled

class DisabledPort : public RoleTransitions {
  protected:
    const char* const BECOMES = "((selectedRole == DisabledPort) || && (role != selectedRole)";
    const char* const STAYS = "(fdWhile != MaxAge) || sync || reRoot || !synced";
    const char* const TO_DISABLE = "jump to DISABLE_PORT";
    const char* const TO_DISABLED = "jump to DISABLED_PORT";

    DisabledPort() { settleDisabled(); }

    void disabling() { setState(MSTP_PORT_ROLE_TRANSITIONS_DISABLE_PORT); }
};

TEST_F(DisabledPort, SettledPortMakesNoTransition) {
    EXPECT_THAT(run(), IsEmpty());
}

TEST_F(DisabledPort, PortThatLosesItsRoleIsDisabledAndWaitsForItsHardware) {
    settleDesignated();
    cist->selectedRole = MSTP_DISABLED_PORT;

    EXPECT_THAT(run(), ElementsAre(BECOMES, TO_DISABLE));
    EXPECT_EQ(state(), MSTP_PORT_ROLE_TRANSITIONS_DISABLE_PORT);
}

TEST_F(DisabledPort, QuietPortThatLosesItsRoleIsDisabledAtOnce) {
    settleAlternate();
    cist->selectedRole = MSTP_DISABLED_PORT;

    EXPECT_THAT(run(), ElementsAre(BECOMES, TO_DISABLE, QUIET, TO_DISABLED));
    EXPECT_EQ(state(), MSTP_PORT_ROLE_TRANSITIONS_DISABLED_PORT);
}

TEST_F(DisabledPort, IsDisabledWhenItNeitherLearnsNorForwards) {
    disabling();
    EXPECT_THAT(run(), ElementsAre(QUIET, TO_DISABLED));
}

TEST_F(DisabledPort, IsNotDisabledWhileItLearns) {
    disabling();
    cist->learning = 1;
    EXPECT_THAT(run(), IsEmpty());
}

TEST_F(DisabledPort, IsNotDisabledWhileItForwards) {
    disabling();
    cist->forwarding = 1;
    EXPECT_THAT(run(), IsEmpty());
}

TEST_F(DisabledPort, HoldsNoTimerWhileItIsStillBeingDisabled) {
    disabling();
    cist->learning = 1;
    cist->fdWhile = 0;
    EXPECT_THAT(run(), IsEmpty());
}

TEST_F(DisabledPort, IsDisabledAlsoWhenItIsAboutToBecomeDesignated) {
    disabling();
    cist->selectedRole = MSTP_DESIGNATED_PORT;
    EXPECT_THAT(run(), IsSupersetOf({QUIET, TO_DISABLED}));
}

TEST_F(DisabledPort, IsHeldAlsoWhenItIsAboutToBecomeDesignated) {
    cist->selectedRole = MSTP_DESIGNATED_PORT;
    cist->synced = 0;
    EXPECT_THAT(run(), IsSupersetOf({STAYS, TO_DISABLED}));
}

TEST_F(DisabledPort, LoadsFdWhileAnewWhenItHasRunOut) {
    cist->fdWhile = 0;
    EXPECT_THAT(run(), ElementsAre(STAYS, TO_DISABLED));
    EXPECT_EQ(cist->fdWhile, MAX_AGE);
}

TEST_F(DisabledPort, LoadsFdWhileAnewWhenMaxAgeChanges) {
    cist->designatedTimes.maxAge = MAX_AGE + 1;
    EXPECT_THAT(run(), ElementsAre(STAYS, TO_DISABLED));
}

TEST_F(DisabledPort, AnswersSyncAtOnce) {
    cist->sync = 1;
    EXPECT_THAT(run(), ElementsAre(STAYS, TO_DISABLED));
}

TEST_F(DisabledPort, AnswersReRootAtOnce) {
    cist->reRoot = 1;
    EXPECT_THAT(run(), ElementsAre(STAYS, TO_DISABLED));
}

TEST_F(DisabledPort, IsAlwaysSynced) {
    cist->synced = 0;
    EXPECT_THAT(run(), ElementsAre(STAYS, TO_DISABLED));
}

// ---- alternate and backup

class AlternatePort : public RoleTransitions {
  protected:
    const char* const BECOMES = "((selectedRole == AlternatePort) || (selectedRole == BackupPort)) "
                                "&& (role !=selectedRole)";
    const char* const STAYS = "(fdWhile != forwardDelay) || sync || reRoot || !synced";
    const char* const AGREES = "(allSynced && !agree) ||(proposed && agree)";
    const char* const BACKS_UP = "(rbWhile != 2*HelloTime) && (role == BackupPort)";
    const char* const TO_BLOCK = "jump to BLOCK_PORT";
    const char* const TO_ALTERNATE = "jump to ALTERNATE_PORT";

    AlternatePort() { settleAlternate(); }

    void blocking() { setState(MSTP_PORT_ROLE_TRANSITIONS_BLOCK_PORT); }
};

TEST_F(AlternatePort, SettledPortMakesNoTransition) {
    EXPECT_THAT(run(), IsEmpty());
}

TEST_F(AlternatePort, SettledBackupPortMakesNoTransition) {
    settleBackup();
    EXPECT_THAT(run(), IsEmpty());
}

TEST_F(AlternatePort, PortThatBecomesAlternateIsBlockedAndWaitsForItsHardware) {
    settleDesignated();
    cist->selectedRole = MSTP_ALTERNATE_PORT;

    EXPECT_THAT(run(), ElementsAre(BECOMES, TO_BLOCK));
    EXPECT_EQ(state(), MSTP_PORT_ROLE_TRANSITIONS_BLOCK_PORT);
}

TEST_F(AlternatePort, PortThatBecomesBackupIsBlockedAndWaitsForItsHardware) {
    settleDesignated();
    cist->selectedRole = MSTP_BACKUP_PORT;
    EXPECT_THAT(run(), ElementsAre(BECOMES, TO_BLOCK));
}

TEST_F(AlternatePort, QuietPortThatBecomesAlternateIsSoAtOnce) {
    settleDisabled();
    cist->selectedRole = MSTP_ALTERNATE_PORT;

    EXPECT_THAT(run(), ElementsAre(BECOMES, TO_BLOCK, QUIET, TO_ALTERNATE, "UCT", TO_ALTERNATE));
    EXPECT_EQ(state(), MSTP_PORT_ROLE_TRANSITIONS_ALTERNATE_PORT);
}

TEST_F(AlternatePort, AlternateThatBecomesBackupIsBlockedAnew) {
    cist->selectedRole = MSTP_BACKUP_PORT;
    EXPECT_THAT(run(), ElementsAre(BECOMES, TO_BLOCK, QUIET, TO_ALTERNATE, "UCT", TO_ALTERNATE,
                                   BACKS_UP, "jump to BACKUP_PORT", "UCT", TO_ALTERNATE));
}

TEST_F(AlternatePort, BlockedPortIsAlternateWhenItNeitherLearnsNorForwards) {
    blocking();
    EXPECT_THAT(run(), ElementsAre(QUIET, TO_ALTERNATE, "UCT", TO_ALTERNATE));
}

TEST_F(AlternatePort, BlockedPortWaitsWhileItLearns) {
    blocking();
    cist->learning = 1;
    EXPECT_THAT(run(), IsEmpty());
}

TEST_F(AlternatePort, BlockedPortWaitsWhileItForwards) {
    blocking();
    cist->forwarding = 1;
    EXPECT_THAT(run(), IsEmpty());
}

TEST_F(AlternatePort, BlockedPortTakesNoProposal) {
    blocking();
    cist->learning = 1;
    cist->proposed = 1;
    EXPECT_THAT(run(), IsEmpty());
}

TEST_F(AlternatePort, TakesAProposalInTheStepThatMakesItAlternate) {
    blocking();
    cist->proposed = 1;
    cist->agree = 0;
    EXPECT_THAT(run(), ElementsAre(QUIET, TO_ALTERNATE, "UCT", TO_ALTERNATE, PROPOSED,
                                   "jump to ALTERNATE_PROPOSED", "UCT", TO_ALTERNATE));
}

TEST_F(AlternatePort, PassesAProposalOn) {
    cist->proposed = 1;
    cist->agree = 0;
    EXPECT_THAT(run(), ElementsAre(PROPOSED, "jump to ALTERNATE_PROPOSED", "UCT", TO_ALTERNATE));
}

TEST_F(AlternatePort, DoesNotAgreeBeforeAllAreSynced) {
    cist->agree = 0;
    EXPECT_THAT(run(), IsEmpty());
}

TEST_F(AlternatePort, AgreesWhenAllAreSynced) {
    letAllSync();
    cist->agree = 0;
    EXPECT_THAT(run(), ElementsAre(AGREES, "jump to ALTERNATE_AGREED", "UCT", TO_ALTERNATE));
}

TEST_F(AlternatePort, AgreesOnceWhenAllAreSynced) {
    letAllSync();
    EXPECT_THAT(run(), IsEmpty());
}

TEST_F(AlternatePort, RepeatsItsAgreementToAProposal) {
    cist->proposed = 1;
    EXPECT_THAT(run(), ElementsAre(AGREES, "jump to ALTERNATE_AGREED", "UCT", TO_ALTERNATE));
}

TEST_F(AlternatePort, BackupPortLoadsRbWhileAnewWhenItHasRunOut) {
    settleBackup();
    cist->rbWhile = 0;

    EXPECT_THAT(run(), ElementsAre(BACKS_UP, "jump to BACKUP_PORT", "UCT", TO_ALTERNATE));
    EXPECT_EQ(cist->rbWhile, 2 * HELLO_TIME);
}

TEST_F(AlternatePort, LoadsFdWhileAnewWhenItHasRunOut) {
    cist->fdWhile = 0;
    EXPECT_THAT(run(), ElementsAre(STAYS, TO_ALTERNATE, "UCT", TO_ALTERNATE));
    EXPECT_EQ(cist->fdWhile, FORWARD_DELAY);
}

TEST_F(AlternatePort, LoadsFdWhileAnewWhenTheDelayChanges) {
    port->forwardDelay = FORWARD_DELAY + 1;
    EXPECT_THAT(run(), ElementsAre(STAYS, TO_ALTERNATE, "UCT", TO_ALTERNATE));
}

TEST_F(AlternatePort, AnswersSyncAtOnce) {
    cist->sync = 1;
    EXPECT_THAT(run(), ElementsAre(STAYS, TO_ALTERNATE, "UCT", TO_ALTERNATE));
}

TEST_F(AlternatePort, AnswersReRootAtOnce) {
    cist->reRoot = 1;
    EXPECT_THAT(run(), ElementsAre(STAYS, TO_ALTERNATE, "UCT", TO_ALTERNATE));
}

TEST_F(AlternatePort, IsAlwaysSynced) {
    cist->synced = 0;
    EXPECT_THAT(run(), ElementsAre(STAYS, TO_ALTERNATE, "UCT", TO_ALTERNATE));
}
// ---- a run

class RoleTransitionsRun : public RoleTransitions {
  protected:
    RoleTransitionsRun() { settleDesignated(); }

    void begin() { bridge.bridge->begin = 1; }

    /// Much to do: a disputed port under a hold that is told to become alternate.
    void makeBusy() {
        cist->disputed = 1;
        cist->reRoot = 1;
        cist->selectedRole = MSTP_ALTERNATE_PORT;
        holdLoop(100);
    }

    void holdLoop(uint32_t ticks) {
        mstpRestartTimer(
            &cist->loopHoldTimer, ticks, [](void*, void*, void*) {}, nullptr);
    }

    bool loopHeld() const { return listLinked(&cist->loopHoldTimer.node); }

    void becomeRoot() {
        settleDisabled();
        cist->selectedRole = MSTP_ROOT_PORT;
    }

    void becomeDesignated() {
        settleDisabled();
        cist->selectedRole = MSTP_DESIGNATED_PORT;
    }

    void agreeAnew() {
        letAllSync();
        cist->agree = 0;
        mstpPortRoleTransitionsFSM(cist);
        EXPECT_EQ(cist->agree, 1);
    }

    std::vector<std::string> changesByRun() {
        RecordChanges changes(cist);
        mstpPortRoleTransitionsFSM(cist);
        return changes.list();
    }

    uint32_t newRootPortTraps() const {
        return bridge.sw.count("sendStpNewRootPortTrap xst=0 unit=1");
    }
};

TEST_F(RoleTransitionsRun, NamesTheInstanceAndThePort) {
    tMstpXstPort* msti = addInstance(3);
    msti->selected = 0;
    EXPECT_THAT(traced(MSTP_DEBUG_MACHINE, [&] { mstpPortRoleTransitionsFSM(msti); }),
                ElementsAre("msti 3 port port1 Port Role Transitions state machine"));
}

TEST_F(RoleTransitionsRun, TracesNothingWithoutItsBit) {
    makeBusy();
    begin();
    EXPECT_THAT(traced(~static_cast<uint32_t>(MSTP_DEBUG_MACHINE | MSTP_DEBUG_ACTIVITY),
                       [&] { mstpPortRoleTransitionsFSM(cist); }),
                IsEmpty());
}

TEST_F(RoleTransitionsRun, BeginInitialisesAndDisablesThePort) {
    cist->selected = 0;
    begin();

    EXPECT_THAT(run(), ElementsAre("BEGIN", "jump to INIT_PORT", "UCT", "jump to DISABLE_PORT"));
    EXPECT_EQ(state(), MSTP_PORT_ROLE_TRANSITIONS_DISABLE_PORT);
}

TEST_F(RoleTransitionsRun, BeginPerformsTheActionsOfInitPort) {
    cist->selected = 0;
    begin();
    mstpPortRoleTransitionsFSM(cist);
    EXPECT_EQ(cist->rrWhile, FWD_DELAY);
    EXPECT_EQ(cist->sync, 1);
}

TEST_F(RoleTransitionsRun, BeginGoesOnToTheSelectedRole) {
    setForwarding(0);
    begin();
    EXPECT_THAT(run(), IsSupersetOf({"BEGIN", "jump to DISABLED_PORT", "jump to DESIGNATED_PORT"}));
}

TEST_F(RoleTransitionsRun, PortWhoseRoleIsNotSelectedMakesNoTransition) {
    makeBusy();
    cist->selected = 0;
    EXPECT_THAT(run(), IsEmpty());
}

TEST_F(RoleTransitionsRun, PortWhoseRoleIsNotSelectedChangesNothing) {
    makeBusy();
    cist->selected = 0;
    EXPECT_THAT(changesByRun(), IsEmpty());
    EXPECT_TRUE(loopHeld());
}

TEST_F(RoleTransitionsRun, PortThatAwaitsItsInformationMakesNoTransition) {
    makeBusy();
    cist->updtInfo = 1;
    EXPECT_THAT(run(), IsEmpty());
}

TEST_F(RoleTransitionsRun, PortThatAwaitsItsInformationChangesNothing) {
    makeBusy();
    cist->updtInfo = 1;
    EXPECT_THAT(changesByRun(), IsEmpty());
    EXPECT_TRUE(loopHeld());
}

TEST_F(RoleTransitionsRun, BeginIsMadeAlsoWithoutASelectedRole) {
    cist->selected = 0;
    begin();
    EXPECT_THAT(run(), Contains("jump to INIT_PORT"));
}

TEST_F(RoleTransitionsRun, BeginIsMadeAlsoWhileInformationIsAwaited) {
    cist->updtInfo = 1;
    begin();
    EXPECT_THAT(run(), Contains("jump to INIT_PORT"));
}

TEST_F(RoleTransitionsRun, AllSyncedIsBroughtUpToDate) {
    letAllSync();
    cist->allSynced = 0;
    mstpPortRoleTransitionsFSM(cist);
    EXPECT_EQ(cist->allSynced, 1);
}

TEST_F(RoleTransitionsRun, AllSyncedIsBroughtUpToDateAlsoWithoutASelectedRole) {
    cist->selected = 0;
    cist->allSynced = 1;
    mstpPortRoleTransitionsFSM(cist);
    EXPECT_EQ(cist->allSynced, 0);
}

TEST_F(RoleTransitionsRun, ReRootedIsBroughtUpToDateAlsoWithoutASelectedRole) {
    cist->selected = 0;
    cist->reRooted = 0;
    letReRoot();
    mstpPortRoleTransitionsFSM(cist);
    EXPECT_EQ(cist->reRooted, 1);
}

// ---- loop protection

TEST_F(RoleTransitionsRun, DesignatedPortKeepsItsLoopHold) {
    holdLoop(100);
    EXPECT_THAT(changesByRun(), Not(Contains("forward=0")));
    EXPECT_TRUE(loopHeld());
}

TEST_F(RoleTransitionsRun, PortThatBecomesDesignatedKeepsItsLoopHold) {
    settleRoot();
    cist->selectedRole = MSTP_DESIGNATED_PORT;
    holdLoop(100);
    mstpPortRoleTransitionsFSM(cist);
    EXPECT_TRUE(loopHeld());
}

TEST_F(RoleTransitionsRun, AnyOtherRoleEndsTheLoopHold) {
    for (uint8_t role : {MSTP_DISABLED_PORT, MSTP_ALTERNATE_PORT, MSTP_BACKUP_PORT, MSTP_ROOT_PORT,
                         MSTP_MASTER_PORT}) {
        settleDesignated();
        cist->selectedRole = role;
        holdLoop(100);
        mstpPortRoleTransitionsFSM(cist);
        EXPECT_FALSE(loopHeld()) << "role " << int{role};
    }
}

TEST_F(RoleTransitionsRun, PortWhoseLoopHoldEndsStartsFromDiscarding) {
    settleMaster();
    cist->fdWhile = WAITING;
    holdLoop(100);

    EXPECT_THAT(run(), IsEmpty());
    EXPECT_EQ(cist->learn, 0);
    EXPECT_EQ(cist->forward, 0);
}

TEST_F(RoleTransitionsRun, LoopHoldWithLessThanASecondLeftIsNone) {
    settleMaster();
    cist->fdWhile = WAITING;
    holdLoop(99);

    mstpPortRoleTransitionsFSM(cist);

    EXPECT_TRUE(loopHeld());
    EXPECT_EQ(cist->learn, 1);
    EXPECT_EQ(cist->forward, 1);
}

TEST_F(RoleTransitionsRun, LoopHoldWithoutEndIsAHold) {
    settleMaster();
    cist->fdWhile = WAITING;
    holdLoop(0xFFFFFF9C);

    mstpPortRoleTransitionsFSM(cist);

    EXPECT_FALSE(loopHeld());
    EXPECT_EQ(cist->forward, 0);
}

// The passes that follow let it learn and forward again.
TEST_F(RoleTransitionsRun, LoopHoldIsEndedOnce) {
    settleRoot();
    letReRoot();
    holdLoop(100);

    mstpPortRoleTransitionsFSM(cist);

    EXPECT_EQ(cist->learn, 1);
    EXPECT_EQ(cist->forward, 1);
}

// ---- plain spanning tree

TEST_F(RoleTransitionsRun, NewRootPortInPlainSpanningTreeWaitsTheFullForwardDelay) {
    becomeRoot();
    bridge.bridge->forceVersion = MSTP_FORCE_LEGACYDOT1D1998;
    port->rstpVersion = 0;
    cist->fdWhile = 1;

    mstpPortRoleTransitionsFSM(cist);

    EXPECT_EQ(cist->fdWhile, FORWARD_DELAY);
    EXPECT_EQ(timerRemain(&cist->fdWhileTimer), FORWARD_DELAY * 100);
    EXPECT_EQ(cist->learn, 0);
}

TEST_F(RoleTransitionsRun, NewDesignatedPortInPlainSpanningTreeWaitsTheFullForwardDelay) {
    becomeDesignated();
    bridge.bridge->forceVersion = MSTP_FORCE_LEGACYDOT1D1998;
    cist->agreed = 0;
    cist->fdWhile = 1;

    mstpPortRoleTransitionsFSM(cist);

    EXPECT_EQ(cist->fdWhile, FORWARD_DELAY);
    EXPECT_EQ(timerRemain(&cist->fdWhileTimer), FORWARD_DELAY * 100);
    EXPECT_EQ(cist->learn, 0);
}

// A wait that has ended before the role changes does not count.
TEST_F(RoleTransitionsRun, WaitInPlainSpanningTreeIsRestartedBeforeTheHomeState) {
    settleAlternate();
    setState(MSTP_PORT_ROLE_TRANSITIONS_BLOCK_PORT);
    cist->selectedRole = MSTP_ROOT_PORT;
    bridge.bridge->forceVersion = MSTP_FORCE_LEGACYDOT1D1998;
    port->rstpVersion = 0;
    cist->fdWhile = 0;

    EXPECT_THAT(run(), Not(Contains("jump to ROOT_LEARN")));
}

TEST_F(RoleTransitionsRun, OtherVersionsDoNotRestartTheWait) {
    for (uint8_t version : {MSTP_FORCE_NOTSTP, MSTP_FORCE_DOT1W, MSTP_FORCE_ATUODOT1S}) {
        bridge.bridge->forceVersion = version;
        becomeRoot();
        mstpPortRoleTransitionsFSM(cist);
        EXPECT_EQ(cist->fdWhile, MAX_AGE) << "root, version " << int{version};
        becomeDesignated();
        cist->agreed = 0;
        mstpPortRoleTransitionsFSM(cist);
        EXPECT_EQ(cist->fdWhile, MAX_AGE) << "designated, version " << int{version};
    }
}

TEST_F(RoleTransitionsRun, NewMasterPortInPlainSpanningTreeDoesNotRestartTheWait) {
    settleDisabled();
    cist->selectedRole = MSTP_MASTER_PORT;
    bridge.bridge->forceVersion = MSTP_FORCE_LEGACYDOT1D1998;
    mstpPortRoleTransitionsFSM(cist);
    EXPECT_EQ(cist->fdWhile, MAX_AGE);
}

// ---- notifications

TEST_F(RoleTransitionsRun, NewRootPortIsNotifiedOnce) {
    becomeRoot();
    gMstp.trap = 1;
    mstpPortRoleTransitionsFSM(cist);
    EXPECT_EQ(newRootPortTraps(), 1U);
}

TEST_F(RoleTransitionsRun, NewRootPortIsNotifiedAfterItHasTheRole) {
    becomeRoot();
    gMstp.trap = 1;
    cist->rrWhile = 0;
    mstpPortRoleTransitionsFSM(cist);
    mstpPortRoleTransitionsFSM(cist);
    EXPECT_EQ(newRootPortTraps(), 1U);
}

TEST_F(RoleTransitionsRun, NewRootPortIsNotNotifiedWhileNotificationsAreOff) {
    becomeRoot();
    gMstp.trap = 0;
    mstpPortRoleTransitionsFSM(cist);
    EXPECT_EQ(newRootPortTraps(), 0U);
}

TEST_F(RoleTransitionsRun, RootPortThatReentersItsStateIsNotNotified) {
    settleRoot();
    gMstp.trap = 1;
    cist->rrWhile = 0;
    mstpPortRoleTransitionsFSM(cist);
    EXPECT_EQ(newRootPortTraps(), 0U);
}

TEST_F(RoleTransitionsRun, RootPortThatVisitsASubStateIsNotNotified) {
    settleRoot();
    gMstp.trap = 1;
    cist->proposed = 1;
    mstpPortRoleTransitionsFSM(cist);
    EXPECT_EQ(newRootPortTraps(), 0U);
}

TEST_F(RoleTransitionsRun, NewDesignatedPortIsNotNotified) {
    becomeDesignated();
    gMstp.trap = 1;
    mstpPortRoleTransitionsFSM(cist);
    EXPECT_EQ(newRootPortTraps(), 0U);
}

TEST_F(RoleTransitionsRun, PortThatBecomesRootAgainIsNotifiedAgain) {
    gMstp.trap = 1;
    for (int change = 0; change < 2; change++) {
        becomeRoot();
        mstpPortRoleTransitionsFSM(cist);
    }
    EXPECT_EQ(newRootPortTraps(), 2U);
}

// ---- order, passes

TEST_F(RoleTransitionsRun, RootPortThatBecomesDesignatedMakesItsOwnTransitionsFirst) {
    settleRoot();
    cist->selectedRole = MSTP_DESIGNATED_PORT;
    cist->reRoot = 1;
    EXPECT_THAT(run(),
                ElementsAre("reRoot && forward", "jump to REROOTED", "UCT", "jump to ROOT_PORT",
                            "(selectedRole == DesignatedPort) && (role != selectedRole)",
                            "jump to DESIGNATED_PORT", "UCT", "jump to DESIGNATED_PORT"));
}

TEST_F(RoleTransitionsRun, MasterPortThatBecomesRootMakesItsOwnTransitionsFirst) {
    settleMaster();
    cist->selectedRole = MSTP_ROOT_PORT;
    cist->synced = 0;
    std::vector<std::string> lines = run();
    ASSERT_GE(lines.size(), 6U);
    EXPECT_EQ(lines[1], "jump to MASTER_SYNCED");
    EXPECT_EQ(lines[5], "jump to ROOT_PORT");
}

TEST_F(RoleTransitionsRun, DesignatedPortThatBecomesAlternateMakesItsOwnTransitionsFirst) {
    cist->selectedRole = MSTP_ALTERNATE_PORT;
    cist->synced = 0;
    std::vector<std::string> lines = run();
    ASSERT_GE(lines.size(), 6U);
    EXPECT_EQ(lines[1], "jump to DESIGNATED_SYNCED");
    EXPECT_EQ(lines[5], "jump to BLOCK_PORT");
}

TEST_F(RoleTransitionsRun, DesignatedPortThatBecomesRootMakesNoTransitionOfItsOwn) {
    cist->selectedRole = MSTP_ROOT_PORT;
    cist->disputed = 1;
    EXPECT_THAT(run(), Not(Contains("jump to DESIGNATED_DISCARD")));
}

TEST_F(RoleTransitionsRun, PortMakesOnlyTheTransitionsOfItsHomeState) {
    cist->proposed = 1;
    cist->agree = 0;
    EXPECT_THAT(run(), IsEmpty());
}

TEST_F(RoleTransitionsRun, PortMakesNoDesignatedTransitionFromAnotherHomeState) {
    settleAlternate();
    cist->agreed = 0;
    EXPECT_THAT(run(), IsEmpty());
}

// Whether all are synced is known anew in each pass, and depends on the role and on `synced`.

TEST_F(RoleTransitionsRun, NewMasterPortAgreesInTheNextPass) {
    settleDisabled();
    cist->selectedRole = MSTP_MASTER_PORT;
    cist->agree = 0;
    letAllSync();
    EXPECT_THAT(run(), Contains("jump to MASTER_AGREED"));
}

TEST_F(RoleTransitionsRun, NewRootPortAgreesInTheNextPass) {
    settleAlternate();
    setState(MSTP_PORT_ROLE_TRANSITIONS_BLOCK_PORT);
    cist->selectedRole = MSTP_ROOT_PORT;
    cist->reRoot = 1;
    cist->rrWhile = FWD_DELAY;
    cist->agree = 0;
    letAllSync();
    EXPECT_THAT(run(), Contains("jump to ROOT_AGREED"));
}

TEST_F(RoleTransitionsRun, NewDesignatedPortAgreesInTheNextPass) {
    becomeDesignated();
    cist->agreed = 0;
    cist->proposing = 1;
    cist->agree = 0;
    letAllSync();
    EXPECT_THAT(run(), Contains("jump to DESIGNATED_AGREED"));
}

TEST_F(RoleTransitionsRun, NewAlternatePortAgreesInTheNextPass) {
    settleAlternate();
    setState(MSTP_PORT_ROLE_TRANSITIONS_BLOCK_PORT);
    cist->synced = 0;
    cist->agree = 0;
    letAllSync();
    EXPECT_THAT(run(), Contains("jump to ALTERNATE_AGREED"));
}

TEST_F(RoleTransitionsRun, AlternatePortThatIsSyncedAnewAgreesInTheNextPass) {
    settleAlternate();
    cist->synced = 0;
    cist->agree = 0;
    letAllSync();
    EXPECT_THAT(run(), Contains("jump to ALTERNATE_AGREED"));
}

// Twice the hello time fits no counter, so it is never what the counter says.
TEST_F(RoleTransitionsRun, CallEndsAfterTheFifthPassAndTheNextGoesOn) {
    settleBackup();
    cist->designatedTimes.helloTime = 200;
    for (int call = 0; call < 2; call++) {
        std::vector<std::string> lines = run();
        EXPECT_EQ(std::count(lines.begin(), lines.end(), "jump to BACKUP_PORT"), 5);
        EXPECT_EQ(state(), MSTP_PORT_ROLE_TRANSITIONS_ALTERNATE_PORT);
    }
}

TEST_F(RoleTransitionsRun, CounterTakesTheLowBitsOfTwiceTheHelloTime) {
    settleBackup();
    cist->designatedTimes.helloTime = 200;
    mstpPortRoleTransitionsFSM(cist);
    EXPECT_EQ(cist->rbWhile, 400 - 256);
    EXPECT_EQ(timerRemain(&cist->rbWhileTimer), (400 - 256) * 100);
}

// ---- agreements

TEST_F(RoleTransitionsRun, MasterPortThatAgreesSendsNothing) {
    settleMaster();
    agreeAnew();
    EXPECT_EQ(port->newInfo, 0);
}

TEST_F(RoleTransitionsRun, RootPortThatAgreesSends) {
    settleRoot();
    agreeAnew();
    EXPECT_EQ(port->newInfo, 1);
}

TEST_F(RoleTransitionsRun, DesignatedPortThatAgreesSends) {
    settleDesignated();
    agreeAnew();
    EXPECT_EQ(port->newInfo, 1);
}

TEST_F(RoleTransitionsRun, AlternatePortThatAgreesSends) {
    settleAlternate();
    agreeAnew();
    EXPECT_EQ(port->newInfo, 1);
}

} // namespace
