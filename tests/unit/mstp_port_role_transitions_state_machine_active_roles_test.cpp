// Port Role Transitions in the master, root and designated roles: each home state's transitions in
// their order. A port is settled first and so has nothing to do; each test then changes what it is
// about.

#include "role_transitions_test.h"

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

namespace {

const char* const AGREES = "(allSynced && !agree) || (proposed && agree)";
const char* const RETIRES = "reRoot && (rrWhile == 0)";
const char* const DISCARDS =
    "((sync && !synced) || (reRoot && (rrWhile != 0)) || disputed) && !operEdge && "
    "(learn || forward)";

// ---- master

class MasterPort : public RoleTransitions {
  protected:
    const char* const BECOMES = "(selectedRole == MasterPort) && (role != selectedRole)";
    const char* const SYNCS = "(!learning && !forwarding && !synced) || (agreed && !synced) || "
                              "(operEdge && !synced) || (sync && synced) ";
    const char* const LEARNS = "((fdWhile == 0) || allSynced) && !learn";
    const char* const FORWARDS = "((fdWhile == 0) || allSynced) && (learn && !forward)";
    const char* const TO_HOME = "jump to MASTER_PORT";

    MasterPort() { settleMaster(); }

    /// A port that waits for fdWhile.
    void waiting() {
        setForwarding(0);
        cist->fdWhile = WAITING;
        cist->agreed = 0;
    }

    /// A port that has been told to sync and has not.
    void outOfSync() {
        cist->sync = 1;
        cist->synced = 0;
        cist->agreed = 0;
    }
};

TEST_F(MasterPort, SettledPortMakesNoTransition) {
    EXPECT_THAT(run(), IsEmpty());
}

TEST_F(MasterPort, PortThatWaitsMakesNoTransition) {
    waiting();
    EXPECT_THAT(run(), IsEmpty());
}

TEST_F(MasterPort, TakesTheRole) {
    settleDisabled();
    cist->selectedRole = MSTP_MASTER_PORT;

    EXPECT_THAT(run(), ElementsAre(BECOMES, TO_HOME, "(UCT", TO_HOME));
    EXPECT_EQ(state(), MSTP_PORT_ROLE_TRANSITIONS_MASTER_PORT);
}

TEST_F(MasterPort, MakesItsTransitionsInTheCallThatGivesItTheRole) {
    settleDisabled();
    cist->selectedRole = MSTP_MASTER_PORT;
    cist->proposed = 1;

    EXPECT_THAT(run(), ElementsAre(BECOMES, TO_HOME, "(UCT", TO_HOME, AGREES,
                                   "jump to MASTER_AGREED", "(UCT", TO_HOME));
}

TEST_F(MasterPort, PassesAProposalOnAndIsInSyncItself) {
    cist->proposed = 1;
    cist->agree = 0;
    EXPECT_THAT(run(), ElementsAre(PROPOSED, "jump to MASTER_PROPOSED", "(UCT", TO_HOME, SYNCS,
                                   "jump to MASTER_SYNCED", "(UCT", TO_HOME));
}

TEST_F(MasterPort, DoesNotAgreeBeforeAllAreSynced) {
    cist->agree = 0;
    EXPECT_THAT(run(), IsEmpty());
}

TEST_F(MasterPort, AgreesWhenAllAreSynced) {
    letAllSync();
    cist->agree = 0;
    EXPECT_THAT(run(), ElementsAre(AGREES, "jump to MASTER_AGREED", "(UCT", TO_HOME));
}

TEST_F(MasterPort, AgreesOnceWhenAllAreSynced) {
    letAllSync();
    EXPECT_THAT(run(), IsEmpty());
}

TEST_F(MasterPort, RepeatsItsAgreementToAProposal) {
    cist->proposed = 1;
    EXPECT_THAT(run(), ElementsAre(AGREES, "jump to MASTER_AGREED", "(UCT", TO_HOME));
}

TEST_F(MasterPort, IsInSyncWhenItNeitherLearnsNorForwards) {
    waiting();
    cist->synced = 0;
    EXPECT_THAT(run(), ElementsAre(SYNCS, "jump to MASTER_SYNCED", "(UCT", TO_HOME));
}

TEST_F(MasterPort, IsOutOfSyncWhileItLearns) {
    waiting();
    cist->synced = 0;
    cist->learning = 1;
    EXPECT_THAT(run(), IsEmpty());
}

TEST_F(MasterPort, IsOutOfSyncWhileItForwards) {
    waiting();
    cist->synced = 0;
    cist->forwarding = 1;
    EXPECT_THAT(run(), IsEmpty());
}

TEST_F(MasterPort, IsInSyncWhenTheNeighbourAgreed) {
    cist->synced = 0;
    EXPECT_THAT(run(), ElementsAre(SYNCS, "jump to MASTER_SYNCED", "(UCT", TO_HOME));
}

TEST_F(MasterPort, IsInSyncAtTheEdge) {
    cist->synced = 0;
    cist->agreed = 0;
    port->operEdge = 1;
    EXPECT_THAT(run(), ElementsAre(SYNCS, "jump to MASTER_SYNCED", "(UCT", TO_HOME));
}

TEST_F(MasterPort, AnswersSyncWhenInSync) {
    cist->sync = 1;
    EXPECT_THAT(run(), ElementsAre(SYNCS, "jump to MASTER_SYNCED", "(UCT", TO_HOME));
}

TEST_F(MasterPort, RetiresWhenItsTimeAsRootPortIsOver) {
    cist->reRoot = 1;
    EXPECT_THAT(run(), ElementsAre(RETIRES, "jump to MASTER_RETIRED", "(UCT", TO_HOME));
}

TEST_F(MasterPort, DoesNotRetireBeforeItsTimeAsRootPortIsOver) {
    waiting();
    cist->reRoot = 1;
    cist->rrWhile = WAITING;
    EXPECT_THAT(run(), IsEmpty());
}

TEST_F(MasterPort, DiscardsToComeInSync) {
    outOfSync();
    EXPECT_THAT(run(), ElementsAre(DISCARDS, "jump to MASTER_DISCARD", "(UCT", TO_HOME));
}

TEST_F(MasterPort, ForwardsOutOfSyncUntilItIsToldToSync) {
    outOfSync();
    cist->sync = 0;
    EXPECT_THAT(run(), IsEmpty());
}

TEST_F(MasterPort, DiscardsForANewRootPort) {
    cist->reRoot = 1;
    cist->rrWhile = WAITING;
    EXPECT_THAT(run(), ElementsAre(DISCARDS, "jump to MASTER_DISCARD", "(UCT", TO_HOME));
}

TEST_F(MasterPort, ForwardsWithoutANewRootPort) {
    cist->rrWhile = WAITING;
    EXPECT_THAT(run(), IsEmpty());
}

TEST_F(MasterPort, DiscardsWhenDisputed) {
    cist->disputed = 1;
    EXPECT_THAT(run(), ElementsAre(DISCARDS, "jump to MASTER_DISCARD", "(UCT", TO_HOME));
}

TEST_F(MasterPort, DiscardsWhenItIsOnlyToLearn) {
    cist->disputed = 1;
    cist->forward = 0;
    EXPECT_THAT(run(), ElementsAre(DISCARDS, "jump to MASTER_DISCARD", "(UCT", TO_HOME));
}

TEST_F(MasterPort, DiscardsWhenItIsOnlyToForward) {
    cist->disputed = 1;
    cist->learn = 0;
    EXPECT_THAT(run(), ElementsAre(DISCARDS, "jump to MASTER_DISCARD", "(UCT", TO_HOME));
}

TEST_F(MasterPort, DiscardsOnce) {
    waiting();
    cist->disputed = 1;
    EXPECT_THAT(run(), IsEmpty());
}

TEST_F(MasterPort, DoesNotDiscardAtTheEdge) {
    cist->disputed = 1;
    port->operEdge = 1;
    EXPECT_THAT(run(), IsEmpty());
}

TEST_F(MasterPort, LearnsWhenFdWhileHasRunOut) {
    waiting();
    cist->fdWhile = 0;
    EXPECT_THAT(run(), ElementsAre(LEARNS, "jump to MASTER_LEARN", "(UCT", TO_HOME));
}

TEST_F(MasterPort, ForwardsWhenFdWhileHasRunOutAgain) {
    waiting();
    cist->fdWhile = 0;
    cist->learn = 1;
    EXPECT_THAT(run(), ElementsAre(FORWARDS, "jump to MASTER_FORWARD", "(UCT", TO_HOME));
}

TEST_F(MasterPort, DoesNotForwardWhileFdWhileRuns) {
    waiting();
    cist->learn = 1;
    EXPECT_THAT(run(), IsEmpty());
}

TEST_F(MasterPort, LearnsAndForwardsAtOnceWhenAllAreSynced) {
    waiting();
    letAllSync();
    EXPECT_THAT(run(), ElementsAre(LEARNS, "jump to MASTER_LEARN", "(UCT", TO_HOME, FORWARDS,
                                   "jump to MASTER_FORWARD", "(UCT", TO_HOME));
}

// Each test is made on the values that the one before it has left.

TEST_F(MasterPort, AgreementEndsTheSyncThatWouldBeAnswered) {
    letAllSync();
    cist->agree = 0;
    cist->sync = 1;
    EXPECT_THAT(run(), ElementsAre(AGREES, "jump to MASTER_AGREED", "(UCT", TO_HOME));
}

TEST_F(MasterPort, PortThatIsQuietIsInSyncInsteadOfDiscarding) {
    waiting();
    outOfSync();
    cist->learn = 1;
    EXPECT_THAT(run(), ElementsAre(SYNCS, "jump to MASTER_SYNCED", "(UCT", TO_HOME));
}

TEST_F(MasterPort, DiscardsLearnsAndForwardsInOnePassWhenDisputedAndAllAreSynced) {
    letAllSync();
    cist->disputed = 1;
    EXPECT_THAT(run(), ElementsAre(DISCARDS, "jump to MASTER_DISCARD", "(UCT", TO_HOME, LEARNS,
                                   "jump to MASTER_LEARN", "(UCT", TO_HOME, FORWARDS,
                                   "jump to MASTER_FORWARD", "(UCT", TO_HOME));
}

// ---- root

class RootPort : public RoleTransitions {
  protected:
    const char* const BECOMES = "(selectedRole == RootPort) && (role !=selectedRole)";
    const char* const SYNCS = "(agreed && !synced) ||(sync && synced) ";
    const char* const REROOTS = "!forward && !reRoot";
    const char* const LEARNS =
        "((fdWhile == 0) || (reRooted && (rbWhile == 0)) && (rstpVersion)) && !learn";
    const char* const FORWARDS =
        "((fdWhile == 0) || (reRooted && (rbWhile == 0)) && (rstpVersion)) && learn && !forward";
    const char* const REROOTED = "reRoot && forward";
    const char* const TO_HOME = "jump to ROOT_PORT";

    RootPort() { settleRoot(); }

    /// A port that has asked the others to give way and waits for fdWhile.
    void waiting() {
        setForwarding(0);
        cist->fdWhile = WAITING;
        cist->reRoot = 1;
    }
};

TEST_F(RootPort, SettledPortMakesNoTransition) {
    EXPECT_THAT(run(), IsEmpty());
}

TEST_F(RootPort, PortThatWaitsMakesNoTransition) {
    waiting();
    EXPECT_THAT(run(), IsEmpty());
}

TEST_F(RootPort, TakesTheRole) {
    settleDisabled();
    cist->selectedRole = MSTP_ROOT_PORT;

    EXPECT_THAT(run(), ElementsAre(BECOMES, TO_HOME, "UCT", TO_HOME, REROOTS, "jump to REROOT",
                                   "UCT", TO_HOME));
    EXPECT_EQ(state(), MSTP_PORT_ROLE_TRANSITIONS_ROOT_PORT);
}

TEST_F(RootPort, PassesAProposalOnAndIsInSyncItself) {
    cist->proposed = 1;
    cist->agree = 0;
    EXPECT_THAT(run(), ElementsAre(PROPOSED, "jump to ROOT_PROPOSED", "UCT", TO_HOME, SYNCS,
                                   "jump to ROOT_SYNCED", "UCT", TO_HOME));
}

TEST_F(RootPort, DoesNotAgreeBeforeAllAreSynced) {
    cist->agree = 0;
    EXPECT_THAT(run(), IsEmpty());
}

TEST_F(RootPort, AgreesWhenAllAreSynced) {
    letAllSync();
    cist->agree = 0;
    EXPECT_THAT(run(), ElementsAre(AGREES, "jump to ROOT_AGREED", "UCT", TO_HOME));
}

TEST_F(RootPort, AgreesOnceWhenAllAreSynced) {
    letAllSync();
    EXPECT_THAT(run(), IsEmpty());
}

TEST_F(RootPort, RepeatsItsAgreementToAProposal) {
    cist->proposed = 1;
    EXPECT_THAT(run(), ElementsAre(AGREES, "jump to ROOT_AGREED", "UCT", TO_HOME));
}

TEST_F(RootPort, IsInSyncWhenTheNeighbourAgreed) {
    cist->synced = 0;
    EXPECT_THAT(run(), ElementsAre(SYNCS, "jump to ROOT_SYNCED", "UCT", TO_HOME));
}

TEST_F(RootPort, IsOutOfSyncWhenTheNeighbourDidNotAgree) {
    waiting();
    cist->synced = 0;
    cist->agreed = 0;
    EXPECT_THAT(run(), IsEmpty());
}

TEST_F(RootPort, AnswersSyncWhenInSync) {
    cist->sync = 1;
    EXPECT_THAT(run(), ElementsAre(SYNCS, "jump to ROOT_SYNCED", "UCT", TO_HOME));
}

TEST_F(RootPort, AnswersSyncOnlyWhenInSync) {
    cist->sync = 1;
    cist->synced = 0;
    cist->agreed = 0;
    EXPECT_THAT(run(), IsEmpty());
}

TEST_F(RootPort, MakesTheOthersGiveWayBeforeItForwards) {
    waiting();
    cist->reRoot = 0;
    EXPECT_THAT(run(), ElementsAre(REROOTS, "jump to REROOT", "UCT", TO_HOME));
}

TEST_F(RootPort, LearnsWhenFdWhileHasRunOut) {
    waiting();
    cist->fdWhile = 0;
    EXPECT_THAT(run(), ElementsAre(LEARNS, "jump to ROOT_LEARN", "UCT", TO_HOME));
}

TEST_F(RootPort, LearnsWhenFdWhileHasRunOutAlsoInPlainSpanningTree) {
    waiting();
    cist->fdWhile = 0;
    port->rstpVersion = 0;
    EXPECT_THAT(run(), ElementsAre(LEARNS, "jump to ROOT_LEARN", "UCT", TO_HOME));
}

TEST_F(RootPort, ForwardsWhenFdWhileHasRunOutAgain) {
    waiting();
    cist->fdWhile = 0;
    cist->learn = 1;
    EXPECT_THAT(run(), ElementsAre(FORWARDS, "jump to ROOT_FORWARD", "UCT", TO_HOME, REROOTED,
                                   "jump to REROOTED", "UCT", TO_HOME));
}

TEST_F(RootPort, DoesNotForwardWhileFdWhileRuns) {
    waiting();
    cist->learn = 1;
    EXPECT_THAT(run(), IsEmpty());
}

TEST_F(RootPort, LearnsAndForwardsAtOnceWhenTheOthersHaveGivenWay) {
    waiting();
    letReRoot();
    EXPECT_THAT(run(), ElementsAre(LEARNS, "jump to ROOT_LEARN", "UCT", TO_HOME, FORWARDS,
                                   "jump to ROOT_FORWARD", "UCT", TO_HOME, REROOTED,
                                   "jump to REROOTED", "UCT", TO_HOME));
}

TEST_F(RootPort, WaitsInPlainSpanningTreeAlsoWhenTheOthersHaveGivenWay) {
    waiting();
    letReRoot();
    port->rstpVersion = 0;
    EXPECT_THAT(run(), IsEmpty());
}

TEST_F(RootPort, WaitsAfterHavingBeenBackupAlsoWhenTheOthersHaveGivenWay) {
    waiting();
    letReRoot();
    cist->rbWhile = WAITING;
    EXPECT_THAT(run(), IsEmpty());
}

TEST_F(RootPort, HasRerootedWhenItForwards) {
    cist->reRoot = 1;
    EXPECT_THAT(run(), ElementsAre(REROOTED, "jump to REROOTED", "UCT", TO_HOME));
}

TEST_F(RootPort, LoadsRrWhileAnewWhenItHasRunOut) {
    cist->rrWhile = 0;
    EXPECT_THAT(run(), ElementsAre("rrWhile != FwdDelay", TO_HOME, "UCT", TO_HOME));
    EXPECT_EQ(cist->rrWhile, FWD_DELAY);
}

TEST_F(RootPort, LoadsRrWhileAnewWhenTheDelayChanges) {
    cist->designatedTimes.forwardDelay = FWD_DELAY + 1;
    EXPECT_THAT(run(), ElementsAre("rrWhile != FwdDelay", TO_HOME, "UCT", TO_HOME));
}

TEST_F(RootPort, AgreementEndsTheSyncThatWouldBeAnswered) {
    letAllSync();
    cist->agree = 0;
    cist->sync = 1;
    EXPECT_THAT(run(), ElementsAre(AGREES, "jump to ROOT_AGREED", "UCT", TO_HOME));
}

TEST_F(RootPort, ForwardsAtOnceWhenItLearnsAndTheOthersHaveGivenWay) {
    waiting();
    letReRoot();
    cist->learn = 1;
    EXPECT_THAT(run(), ElementsAre(FORWARDS, "jump to ROOT_FORWARD", "UCT", TO_HOME, REROOTED,
                                   "jump to REROOTED", "UCT", TO_HOME));
}

TEST_F(RootPort, ThatLearnsWaitsInPlainSpanningTreeAlsoWhenTheOthersHaveGivenWay) {
    waiting();
    letReRoot();
    cist->learn = 1;
    port->rstpVersion = 0;
    EXPECT_THAT(run(), IsEmpty());
}

TEST_F(RootPort, ThatLearnsWaitsAfterHavingBeenBackupAlsoWhenTheOthersHaveGivenWay) {
    waiting();
    letReRoot();
    cist->learn = 1;
    cist->rbWhile = WAITING;
    EXPECT_THAT(run(), IsEmpty());
}

// ---- designated

class DesignatedPort : public RoleTransitions {
  protected:
    const char* const BECOMES = "(selectedRole == DesignatedPort) && (role != selectedRole)";
    const char* const PROPOSES = "(!forward && !agreed && !proposing && !operEdge";
    const char* const AGREES_TOO = "(allSynced && (proposed || !agree)";
    const char* const SYNCS = "(!learning && !forwarding  && !synced) || (agreed && !synced) || "
                              "(operEdge && !synced) || (sync && synced) ";
    const char* const LEARNS = "((fdWhile == 0) || agreed || operEdge) && ((rrWhile ==0) || "
                               "!reRoot) && !sync && !learn";
    const char* const FORWARDS = "((fdWhile == 0) || agreed || operEdge) && ((rrWhile ==0) || "
                                 "!reRoot) && !sync && (learn && !forward)";
    const char* const TO_HOME = "jump to DESIGNATED_PORT";

    DesignatedPort() { settleDesignated(); }

    /// A port that has proposed and waits for fdWhile.
    void waiting() {
        setForwarding(0);
        cist->fdWhile = WAITING;
        cist->agreed = 0;
        cist->proposing = 1;
    }

    /// A port that has been told to sync and has not.
    void outOfSync() {
        cist->sync = 1;
        cist->synced = 0;
        cist->agreed = 0;
    }
};

TEST_F(DesignatedPort, SettledPortMakesNoTransition) {
    EXPECT_THAT(run(), IsEmpty());
}

TEST_F(DesignatedPort, PortThatWaitsMakesNoTransition) {
    waiting();
    EXPECT_THAT(run(), IsEmpty());
}

TEST_F(DesignatedPort, TakesTheRole) {
    settleDisabled();
    cist->selectedRole = MSTP_DESIGNATED_PORT;
    cist->agreed = 0;
    cist->proposing = 1;

    EXPECT_THAT(run(), ElementsAre(BECOMES, TO_HOME, "UCT", TO_HOME));
    EXPECT_EQ(state(), MSTP_PORT_ROLE_TRANSITIONS_DESIGNATED_PORT);
}

TEST_F(DesignatedPort, Proposes) {
    waiting();
    cist->proposing = 0;
    EXPECT_THAT(run(), ElementsAre(PROPOSES, "jump to DESIGNATED_PROPOSE", "UCT", TO_HOME));
}

TEST_F(DesignatedPort, DoesNotProposeWhileItShallForward) {
    cist->agreed = 0;
    EXPECT_THAT(run(), IsEmpty());
}

TEST_F(DesignatedPort, DoesNotProposeWhatTheNeighbourAgreedTo) {
    waiting();
    cist->proposing = 0;
    cist->agreed = 1;
    EXPECT_THAT(run(), Not(Contains("jump to DESIGNATED_PROPOSE")));
}

TEST_F(DesignatedPort, DoesNotProposeAtTheEdge) {
    waiting();
    cist->proposing = 0;
    port->operEdge = 1;
    EXPECT_THAT(run(), Not(Contains("jump to DESIGNATED_PROPOSE")));
}

TEST_F(DesignatedPort, AgreesToAProposalWhenAllAreSynced) {
    letAllSync();
    cist->proposed = 1;
    EXPECT_THAT(run(), ElementsAre(AGREES_TOO, "jump to DESIGNATED_AGREED", "UCT", TO_HOME));
}

TEST_F(DesignatedPort, AgreesUnaskedWhenAllAreSynced) {
    letAllSync();
    cist->agree = 0;
    EXPECT_THAT(run(), ElementsAre(AGREES_TOO, "jump to DESIGNATED_AGREED", "UCT", TO_HOME));
}

TEST_F(DesignatedPort, AgreesOnceWhenAllAreSynced) {
    letAllSync();
    EXPECT_THAT(run(), IsEmpty());
}

TEST_F(DesignatedPort, DoesNotAgreeBeforeAllAreSynced) {
    cist->proposed = 1;
    cist->agree = 0;
    EXPECT_THAT(run(), IsEmpty());
}

TEST_F(DesignatedPort, IsInSyncWhenItNeitherLearnsNorForwards) {
    waiting();
    cist->synced = 0;
    EXPECT_THAT(run(), ElementsAre(SYNCS, "jump to DESIGNATED_SYNCED", "UCT", TO_HOME));
}

TEST_F(DesignatedPort, IsOutOfSyncWhileItLearns) {
    waiting();
    cist->synced = 0;
    cist->learning = 1;
    EXPECT_THAT(run(), IsEmpty());
}

TEST_F(DesignatedPort, IsOutOfSyncWhileItForwards) {
    waiting();
    cist->synced = 0;
    cist->forwarding = 1;
    EXPECT_THAT(run(), IsEmpty());
}

TEST_F(DesignatedPort, IsInSyncWhenTheNeighbourAgreed) {
    cist->synced = 0;
    EXPECT_THAT(run(), ElementsAre(SYNCS, "jump to DESIGNATED_SYNCED", "UCT", TO_HOME));
}

TEST_F(DesignatedPort, IsInSyncAtTheEdge) {
    cist->synced = 0;
    cist->agreed = 0;
    port->operEdge = 1;
    EXPECT_THAT(run(), ElementsAre(SYNCS, "jump to DESIGNATED_SYNCED", "UCT", TO_HOME));
}

TEST_F(DesignatedPort, AnswersSyncWhenInSync) {
    cist->sync = 1;
    EXPECT_THAT(run(), ElementsAre(SYNCS, "jump to DESIGNATED_SYNCED", "UCT", TO_HOME));
}

TEST_F(DesignatedPort, RetiresWhenItsTimeAsRootPortIsOver) {
    cist->reRoot = 1;
    EXPECT_THAT(run(), ElementsAre(RETIRES, "jump to DESIGNATED_RETIRED", "UCT", TO_HOME));
}

TEST_F(DesignatedPort, DoesNotRetireBeforeItsTimeAsRootPortIsOver) {
    waiting();
    cist->reRoot = 1;
    cist->rrWhile = WAITING;
    EXPECT_THAT(run(), IsEmpty());
}

TEST_F(DesignatedPort, DiscardsToComeInSync) {
    outOfSync();
    cist->proposing = 1;
    EXPECT_THAT(run(), ElementsAre(DISCARDS, "jump to DESIGNATED_DISCARD", "UCT", TO_HOME));
}

TEST_F(DesignatedPort, ProposesAfterHavingDiscardedToComeInSync) {
    outOfSync();
    EXPECT_THAT(run(), ElementsAre(DISCARDS, "jump to DESIGNATED_DISCARD", "UCT", TO_HOME, PROPOSES,
                                   "jump to DESIGNATED_PROPOSE", "UCT", TO_HOME));
}

TEST_F(DesignatedPort, ForwardsOutOfSyncUntilItIsToldToSync) {
    outOfSync();
    cist->sync = 0;
    EXPECT_THAT(run(), IsEmpty());
}

TEST_F(DesignatedPort, DiscardsForANewRootPort) {
    cist->reRoot = 1;
    cist->rrWhile = WAITING;
    EXPECT_THAT(run(), ElementsAre(DISCARDS, "jump to DESIGNATED_DISCARD", "UCT", TO_HOME));
}

TEST_F(DesignatedPort, ForwardsWithoutANewRootPort) {
    cist->rrWhile = WAITING;
    EXPECT_THAT(run(), IsEmpty());
}

TEST_F(DesignatedPort, DiscardsWhenDisputed) {
    cist->disputed = 1;
    cist->agreed = 0;
    cist->proposing = 1;
    EXPECT_THAT(run(), ElementsAre(DISCARDS, "jump to DESIGNATED_DISCARD", "UCT", TO_HOME));
}

TEST_F(DesignatedPort, DiscardsWhenItIsOnlyToLearn) {
    waiting();
    cist->disputed = 1;
    cist->learn = 1;
    EXPECT_THAT(run(), ElementsAre(DISCARDS, "jump to DESIGNATED_DISCARD", "UCT", TO_HOME));
}

TEST_F(DesignatedPort, DiscardsWhenItIsOnlyToForward) {
    waiting();
    cist->disputed = 1;
    cist->forward = 1;
    EXPECT_THAT(run(), ElementsAre(DISCARDS, "jump to DESIGNATED_DISCARD", "UCT", TO_HOME));
}

TEST_F(DesignatedPort, DiscardsOnce) {
    waiting();
    cist->disputed = 1;
    EXPECT_THAT(run(), IsEmpty());
}

TEST_F(DesignatedPort, DoesNotDiscardAtTheEdge) {
    cist->disputed = 1;
    port->operEdge = 1;
    EXPECT_THAT(run(), IsEmpty());
}

TEST_F(DesignatedPort, LearnsWhenFdWhileHasRunOut) {
    waiting();
    cist->fdWhile = 0;
    EXPECT_THAT(run(), ElementsAre(LEARNS, "jump to DESIGNATED_LEARN", "UCT", TO_HOME));
}

TEST_F(DesignatedPort, ForwardsWhenFdWhileHasRunOutAgain) {
    waiting();
    cist->fdWhile = 0;
    cist->learn = 1;
    EXPECT_THAT(run(), ElementsAre(FORWARDS, "jump to DESIGNATED_FORWARD", "UCT", TO_HOME));
}

TEST_F(DesignatedPort, DoesNotForwardWhileFdWhileRuns) {
    waiting();
    cist->learn = 1;
    EXPECT_THAT(run(), IsEmpty());
}

TEST_F(DesignatedPort, LearnsAndForwardsAtOnceWhenTheNeighbourAgrees) {
    waiting();
    cist->agreed = 1;
    EXPECT_THAT(run(), ElementsAre(LEARNS, "jump to DESIGNATED_LEARN", "UCT", TO_HOME, FORWARDS,
                                   "jump to DESIGNATED_FORWARD", "UCT", TO_HOME));
}

TEST_F(DesignatedPort, LearnsAndForwardsAtOnceAtTheEdge) {
    waiting();
    port->operEdge = 1;
    EXPECT_THAT(run(), ElementsAre(LEARNS, "jump to DESIGNATED_LEARN", "UCT", TO_HOME, FORWARDS,
                                   "jump to DESIGNATED_FORWARD", "UCT", TO_HOME));
}

TEST_F(DesignatedPort, DoesNotLearnBeforeANewRootPortForwards) {
    waiting();
    cist->agreed = 1;
    cist->reRoot = 1;
    cist->rrWhile = WAITING;
    EXPECT_THAT(run(), IsEmpty());
}

TEST_F(DesignatedPort, DoesNotForwardBeforeANewRootPortForwards) {
    waiting();
    port->operEdge = 1;
    cist->learn = 1;
    cist->reRoot = 1;
    cist->rrWhile = WAITING;
    EXPECT_THAT(run(), IsEmpty());
}

TEST_F(DesignatedPort, LearnsWhileNobodyElseIsANewRootPort) {
    waiting();
    cist->fdWhile = 0;
    cist->rrWhile = WAITING;
    EXPECT_THAT(run(), ElementsAre(LEARNS, "jump to DESIGNATED_LEARN", "UCT", TO_HOME));
}

TEST_F(DesignatedPort, DoesNotLearnWhileItShallSync) {
    waiting();
    cist->fdWhile = 0;
    cist->learning = 1;
    cist->sync = 1;
    cist->synced = 0;
    EXPECT_THAT(run(), IsEmpty());
}

TEST_F(DesignatedPort, AgreementEndsTheSyncThatWouldBeAnswered) {
    letAllSync();
    cist->agree = 0;
    cist->sync = 1;
    EXPECT_THAT(run(), ElementsAre(AGREES_TOO, "jump to DESIGNATED_AGREED", "UCT", TO_HOME));
}

TEST_F(DesignatedPort, PortThatIsQuietIsInSyncInsteadOfDiscarding) {
    waiting();
    outOfSync();
    cist->learn = 1;
    EXPECT_THAT(run(), ElementsAre(SYNCS, "jump to DESIGNATED_SYNCED", "UCT", TO_HOME));
}

TEST_F(DesignatedPort, DiscardsLearnsAndForwardsInOnePassWhenDisputedAndAgreed) {
    cist->disputed = 1;
    EXPECT_THAT(run(), ElementsAre(DISCARDS, "jump to DESIGNATED_DISCARD", "UCT", TO_HOME, LEARNS,
                                   "jump to DESIGNATED_LEARN", "UCT", TO_HOME, FORWARDS,
                                   "jump to DESIGNATED_FORWARD", "UCT", TO_HOME));
}

} // namespace
