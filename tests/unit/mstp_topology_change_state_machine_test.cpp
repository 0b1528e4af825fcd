// Topology Change: who notices that stations may have moved, and who is told.

#include "mstp_topology_change_state_machine.h"

#include <algorithm>

#include "machine_test.h"
#include "record_changes.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const char* const BANNER = "msti 0 port port1  Topology Change state machine";
const char* const WAKES = "learn && !fdbFlush";
const char* const HEARD = "rcvdTc || rcvdTcn || rcvdTcAck || tcProp";
const char* const RESTS =
    "(role != RootPort) && (role != DesignatedPort) && (role != MasterPort) && "
    "!(learn || learning) && !(rcvdTc || rcvdTcn || rcvdTcAck || tcProp)";
const char* const FORWARDS = "((role == RootPort) || (role == DesignatedPort) || "
                             "(role == MasterPort)) &&  forward && !operEdge";
const char* const LEAVES =
    "((role != RootPort) && (role != DesignatedPort) && (role != MasterPort)) || operEdge";
const char* const TO_INACTIVE = "jump to INACTIVE";
const char* const TO_LEARNING = "jump to LEARNING";
const char* const TO_DETECTED = "jump to DETECTED";
const char* const TO_NOTIFIED_TCN = "jump to NOTIFIED_TCN";
const char* const TO_NOTIFIED_TC = "jump to NOTIFIED_TC";
const char* const TO_PROPAGATING = "jump to PROPAGATING";
const char* const TO_ACKNOWLEDGED = "jump to ACKNOWLEDGED";
const char* const TO_ACTIVE = "jump to ACTIVE";

// Port 1 in the CIST and in instance 3, beside port 2. Its machine rests, nothing is asked for.
class TopologyChange : public MachineTest {
  protected:
    TopologyChange() : otherPort(addPort(2)), other(mstpCistPort(otherPort)) {
        msti = addInstance(3);
        otherMsti = bridge.xstPort(3, 2);
        port->sendRSTP = 1;
        port->operEdge = 0;
        port->newInfo = 0;
        port->newInfoMsti = 0;
        cist->portTimes.helloTime = 2;
        for (tMstpXstPort* each : {cist, msti, other, otherMsti}) {
            setUp(each);
        }
    }

    static void setUp(tMstpXstPort* each) {
        each->role = MSTP_DESIGNATED_PORT;
        each->selected = 1;
        each->updtInfo = 0;
        each->learn = 0;
        each->learning = 0;
        each->forward = 0;
        each->fdbFlush = 0;
        each->tcAck = 0;
        setState(each, MSTP_TOPOLOGY_CHANGE_INACTIVE);
    }

    static void setState(tMstpXstPort* each, uint8_t state) {
        each->fsmState[MSTP_TOPOLOGY_CHANGE_FSM] = state;
    }

    static uint8_t stateOf(const tMstpXstPort* each) {
        return each->fsmState[MSTP_TOPOLOGY_CHANGE_FSM];
    }

    void learning(tMstpXstPort* each) {
        setState(each, MSTP_TOPOLOGY_CHANGE_LEARNING);
        each->learn = 1;
        each->learning = 1;
    }

    void active(tMstpXstPort* each) {
        learning(each);
        setState(each, MSTP_TOPOLOGY_CHANGE_ACTIVE);
        each->forward = 1;
    }

    void runTcWhile(tMstpXstPort* each) {
        mstpLoadCounter(bridge.bridge, &each->tcWhile, &each->tcWhileTimer, 30, MSTP_EVENT_FSM);
    }

    /// What @p entry changes in @p each.
    std::vector<std::string> changesBy(void (*entry)(tMstpXstPort*), tMstpXstPort* each) {
        RecordChanges changes(each);
        entry(each);
        return changes.list();
    }

    std::vector<std::string> run(tMstpXstPort* each) {
        return traced(MSTP_DEBUG_MACHINE, [&] { mstpTopologyChangeFSM(each); });
    }

    std::vector<std::string> run() { return run(cist); }

    tMstpPort* otherPort;
    tMstpXstPort* other;
    tMstpXstPort* msti;
    tMstpXstPort* otherMsti;
};

// ---- entries

TEST_F(TopologyChange, InactiveAsksForAFlushAndTellsNobody) {
    active(cist);
    runTcWhile(cist);
    cist->tcAck = 1;

    EXPECT_THAT(
        changesBy(mstpTopologyChangeInactive, cist),
        ElementsAre("fdbFlush=1", "state of 8=0", "tcAck=0", "tcWhile=0", "tcWhileTimer=idle"));
}

TEST_F(TopologyChange, InactiveInAnMstiLeavesTheAcknowledgmentAlone) {
    active(msti);
    msti->tcAck = 1;
    EXPECT_THAT(changesBy(mstpTopologyChangeInactive, msti),
                ElementsAre("fdbFlush=1", "state of 8=0"));
}

TEST_F(TopologyChange, LearningForgetsWhatWasHeard) {
    cist->rcvdTcAck = cist->rcvdTcn = cist->rcvdTc = cist->tcProp = 1;
    EXPECT_THAT(changesBy(mstpTopologyChangeLearning, cist),
                ElementsAre("rcvdTc=0", "rcvdTcAck=0", "rcvdTcn=0", "state of 8=1", "tcProp=0"));
}

TEST_F(TopologyChange, LearningInAnMstiLeavesTheFlagsOfTheCistAlone) {
    msti->rcvdTcAck = msti->rcvdTcn = msti->rcvdTc = msti->tcProp = 1;
    EXPECT_THAT(changesBy(mstpTopologyChangeLearning, msti),
                ElementsAre("rcvdTc=0", "state of 8=1", "tcProp=0"));
}

TEST_F(TopologyChange, DetectedStartsTcWhileCountsTheChangeAndSends) {
    EXPECT_THAT(changesBy(mstpTopologyChangeDetected, cist),
                ElementsAre("newInfo=1", "state of 8=2", "tcWhile=3", "tcWhileTimer=300",
                            "topologyChange=1", "topologyChangesCount=1"));
}

TEST_F(TopologyChange, DetectedInAnMstiSendsForTheMstis) {
    EXPECT_THAT(changesBy(mstpTopologyChangeDetected, msti),
                ElementsAre("newInfoMsti=1", "state of 8=2", "tcWhile=3", "tcWhileTimer=300",
                            "topologyChange=1", "topologyChangesCount=1"));
}

// Without RSTP newTcWhile itself asks for no BPDU.
TEST_F(TopologyChange, DetectedSendsAlsoToAnOldNeighbour) {
    port->sendRSTP = 0;
    mstpTopologyChangeDetected(cist);
    EXPECT_EQ(port->newInfo, 1);
}

TEST_F(TopologyChange, DetectedTellsTheInstancesOtherPorts) {
    mstpTopologyChangeDetected(cist);
    EXPECT_EQ(other->tcProp, 1);
    EXPECT_EQ(cist->tcProp, 0);
    EXPECT_EQ(otherMsti->tcProp, 0);
}

TEST_F(TopologyChange, NotifiedTcnStartsTcWhileAndCountsTheChange) {
    EXPECT_THAT(changesBy(mstpTopologyChangeNotifiedTcn, cist),
                ElementsAre("newInfo=1", "state of 8=3", "tcWhile=3", "tcWhileTimer=300",
                            "topologyChange=1", "topologyChangesCount=1"));
}

TEST_F(TopologyChange, NotifiedTcnItselfTellsNoOtherPort) {
    mstpTopologyChangeNotifiedTcn(cist);
    EXPECT_EQ(other->tcProp, 0);
}

TEST_F(TopologyChange, NotifiedTcOfADesignatedPortAcknowledges) {
    cist->rcvdTcn = cist->rcvdTc = 1;
    EXPECT_THAT(changesBy(mstpTopologyChangeNotifiedTc, cist),
                ElementsAre("rcvdTc=0", "rcvdTcn=0", "state of 8=4", "tcAck=1"));
}

TEST_F(TopologyChange, NotifiedTcOfARootPortAcknowledgesNothing) {
    cist->role = MSTP_ROOT_PORT;
    cist->rcvdTc = 1;
    EXPECT_THAT(changesBy(mstpTopologyChangeNotifiedTc, cist),
                ElementsAre("rcvdTc=0", "state of 8=4"));
}

TEST_F(TopologyChange, NotifiedTcInAnMstiAcknowledgesNothing) {
    msti->rcvdTcn = msti->rcvdTc = 1;
    EXPECT_THAT(changesBy(mstpTopologyChangeNotifiedTc, msti),
                ElementsAre("rcvdTc=0", "state of 8=4"));
}

TEST_F(TopologyChange, NotifiedTcTellsTheInstancesOtherPorts) {
    mstpTopologyChangeNotifiedTc(cist);
    EXPECT_EQ(other->tcProp, 1);
    EXPECT_EQ(cist->tcProp, 0);
    EXPECT_EQ(otherMsti->tcProp, 0);
}

TEST_F(TopologyChange, PropagatingStartsTcWhileCountsAndFlushes) {
    cist->tcProp = 1;
    EXPECT_THAT(changesBy(mstpTopologyChangePropagating, cist),
                ElementsAre("fdbFlush=1", "newInfo=1", "state of 8=5", "tcProp=0", "tcWhile=3",
                            "tcWhileTimer=300", "topologyChange=1", "topologyChangesCount=1"));
}

TEST_F(TopologyChange, PropagatingTellsNoOtherPort) {
    mstpTopologyChangePropagating(cist);
    EXPECT_EQ(other->tcProp, 0);
}

TEST_F(TopologyChange, AcknowledgedEndsTcWhile) {
    runTcWhile(cist);
    cist->rcvdTcAck = 1;
    EXPECT_THAT(changesBy(mstpTopologyChangeAcknowledged, cist),
                ElementsAre("rcvdTcAck=0", "state of 8=6", "tcWhile=0", "tcWhileTimer=idle"));
}

TEST_F(TopologyChange, ActiveChangesTheStateAlone) {
    EXPECT_THAT(changesBy(mstpTopologyChangeActive, cist), ElementsAre("state of 8=7"));
}

TEST_F(TopologyChange, ActiveTracesItsUnconditionalTransition) {
    EXPECT_THAT(traced(MSTP_DEBUG_MACHINE, [&] { mstpTopologyChangeActive(cist); }),
                ElementsAre("UCT", TO_ACTIVE));
}

// ---- BEGIN

TEST_F(TopologyChange, BeginGoesToInactive) {
    active(cist);
    bridge.bridge->begin = 1;

    EXPECT_THAT(run(), ElementsAre(BANNER, "BEGIN", TO_INACTIVE));
    EXPECT_EQ(stateOf(cist), MSTP_TOPOLOGY_CHANGE_INACTIVE);
}

TEST_F(TopologyChange, BeginSetsFdbFlushOnEveryInstancePort) {
    bridge.bridge->begin = 1;
    for (tMstpXstPort* each : {cist, msti, other, otherMsti}) {
        mstpTopologyChangeFSM(each);
        EXPECT_EQ(each->fdbFlush, 1);
    }
}

// ---- from INACTIVE

TEST_F(TopologyChange, InactiveStaysWhileThePortShallNotLearn) {
    EXPECT_THAT(run(), ElementsAre(BANNER));
}

TEST_F(TopologyChange, InactiveGoesToLearningWhenThePortShallLearn) {
    cist->learn = 1;

    EXPECT_THAT(run(), ElementsAre(BANNER, WAKES, TO_LEARNING));
    EXPECT_EQ(stateOf(cist), MSTP_TOPOLOGY_CHANGE_LEARNING);
}

TEST_F(TopologyChange, InactiveWaitsUntilThePendingFlushIsDone) {
    cist->learn = 1;
    bridge.bridge->begin = 1;
    mstpTopologyChangeFSM(cist);
    bridge.bridge->begin = 0;
    EXPECT_THAT(run(), ElementsAre(BANNER));

    cist->fdbFlush = 0;
    EXPECT_THAT(run(), ElementsAre(BANNER, WAKES, TO_LEARNING));
}

TEST_F(TopologyChange, InactiveReachesActiveInOnePass) {
    cist->learn = 1;
    cist->forward = 1;
    EXPECT_THAT(run(),
                ElementsAre(BANNER, WAKES, TO_LEARNING, FORWARDS, TO_DETECTED, "UCT", TO_ACTIVE));
}

// ---- from LEARNING

TEST_F(TopologyChange, LearningStaysUntilThePortForwards) {
    learning(cist);
    EXPECT_THAT(run(), ElementsAre(BANNER));
}

TEST_F(TopologyChange, LearningForgetsAChangeHeard) {
    learning(cist);
    cist->rcvdTc = 1;
    EXPECT_THAT(run(), ElementsAre(BANNER, HEARD, TO_LEARNING));
}

TEST_F(TopologyChange, LearningForgetsATcn) {
    learning(cist);
    cist->rcvdTcn = 1;
    EXPECT_THAT(run(), ElementsAre(BANNER, HEARD, TO_LEARNING));
}

TEST_F(TopologyChange, LearningForgetsAnAcknowledgment) {
    learning(cist);
    cist->rcvdTcAck = 1;
    EXPECT_THAT(run(), ElementsAre(BANNER, HEARD, TO_LEARNING));
}

TEST_F(TopologyChange, LearningForgetsAChangeOfAnotherPort) {
    learning(cist);
    cist->tcProp = 1;
    EXPECT_THAT(run(), ElementsAre(BANNER, HEARD, TO_LEARNING));
}

TEST_F(TopologyChange, LearningRestsOnAPortThatHasNoPart) {
    setState(cist, MSTP_TOPOLOGY_CHANGE_LEARNING);
    cist->role = MSTP_ALTERNATE_PORT;

    EXPECT_THAT(run(), ElementsAre(BANNER, RESTS, TO_INACTIVE));
    EXPECT_EQ(stateOf(cist), MSTP_TOPOLOGY_CHANGE_INACTIVE);
}

TEST_F(TopologyChange, LearningDoesNotRestWhileThePortShallLearn) {
    learning(cist);
    cist->learning = 0;
    cist->role = MSTP_ALTERNATE_PORT;
    EXPECT_THAT(run(), ElementsAre(BANNER));
}

TEST_F(TopologyChange, LearningDoesNotRestWhileThePortLearns) {
    learning(cist);
    cist->learn = 0;
    cist->role = MSTP_ALTERNATE_PORT;
    EXPECT_THAT(run(), ElementsAre(BANNER));
}

TEST_F(TopologyChange, LearningDoesNotRestOnAnActiveRole) {
    setState(cist, MSTP_TOPOLOGY_CHANGE_LEARNING);
    for (uint8_t role : {MSTP_ROOT_PORT, MSTP_DESIGNATED_PORT, MSTP_MASTER_PORT}) {
        cist->role = role;
        EXPECT_THAT(run(), ElementsAre(BANNER)) << "role " << int{role};
    }
}

// An MSTI's entry does not clear the flag, so it is heard in every pass.
TEST_F(TopologyChange, LearningDoesNotRestWhileAFlagStands) {
    setState(msti, MSTP_TOPOLOGY_CHANGE_LEARNING);
    msti->role = MSTP_ALTERNATE_PORT;
    msti->rcvdTcn = 1;

    mstpTopologyChangeFSM(msti);

    EXPECT_EQ(stateOf(msti), MSTP_TOPOLOGY_CHANGE_LEARNING);
}

TEST_F(TopologyChange, LearningForgetsAndThenRests) {
    setState(cist, MSTP_TOPOLOGY_CHANGE_LEARNING);
    cist->role = MSTP_DISABLED_PORT;
    cist->rcvdTc = 1;
    EXPECT_THAT(run(), ElementsAre(BANNER, HEARD, TO_LEARNING, RESTS, TO_INACTIVE));
}

TEST_F(TopologyChange, ForwardingInAnActiveRoleIsATopologyChange) {
    for (uint8_t role : {MSTP_ROOT_PORT, MSTP_DESIGNATED_PORT, MSTP_MASTER_PORT}) {
        learning(cist);
        cist->forward = 1;
        cist->role = role;
        EXPECT_THAT(run(), ElementsAre(BANNER, FORWARDS, TO_DETECTED, "UCT", TO_ACTIVE))
            << "role " << int{role};
        EXPECT_EQ(stateOf(cist), MSTP_TOPOLOGY_CHANGE_ACTIVE);
    }
}

TEST_F(TopologyChange, ForwardingInAnotherRoleIsNone) {
    for (uint8_t role : {MSTP_DISABLED_PORT, MSTP_ALTERNATE_PORT, MSTP_BACKUP_PORT}) {
        learning(cist);
        cist->forward = 1;
        cist->role = role;
        EXPECT_THAT(run(), ElementsAre(BANNER)) << "role " << int{role};
    }
}

TEST_F(TopologyChange, LearningForgetsWhatWasHeardBeforeItDetectsAChange) {
    learning(cist);
    cist->forward = 1;
    cist->rcvdTc = 1;
    EXPECT_THAT(run(),
                ElementsAre(BANNER, HEARD, TO_LEARNING, FORWARDS, TO_DETECTED, "UCT", TO_ACTIVE));
}

TEST_F(TopologyChange, EdgePortThatForwardsAsDesignatedDetectsNone) {
    learning(cist);
    cist->forward = 1;
    port->operEdge = 1;

    EXPECT_THAT(run(), ElementsAre(BANNER));
    EXPECT_EQ(cist->tcWhile, 0);
}

TEST_F(TopologyChange, DetectionIsCountedOnce) {
    learning(cist);
    cist->forward = 1;
    mstpTopologyChangeFSM(cist);
    mstpTopologyChangeFSM(cist);
    EXPECT_EQ(cist->xst->topologyChangesCount, 1U);
}

// ---- from ACTIVE

TEST_F(TopologyChange, ActiveStaysInAnActiveRole) {
    for (uint8_t role : {MSTP_ROOT_PORT, MSTP_DESIGNATED_PORT, MSTP_MASTER_PORT}) {
        active(cist);
        cist->role = role;
        EXPECT_THAT(run(), ElementsAre(BANNER)) << "role " << int{role};
    }
}

TEST_F(TopologyChange, ActiveEndsInAnotherRole) {
    for (uint8_t role : {MSTP_DISABLED_PORT, MSTP_ALTERNATE_PORT, MSTP_BACKUP_PORT}) {
        active(cist);
        cist->role = role;
        EXPECT_THAT(run(), ElementsAre(BANNER, LEAVES, TO_LEARNING)) << "role " << int{role};
        EXPECT_EQ(stateOf(cist), MSTP_TOPOLOGY_CHANGE_LEARNING);
    }
}

TEST_F(TopologyChange, ActiveEndsOnAnEdgePort) {
    active(cist);
    port->operEdge = 1;
    EXPECT_THAT(run(), ElementsAre(BANNER, LEAVES, TO_LEARNING));
}

TEST_F(TopologyChange, ActiveGoesAllTheWayToRestInOneCall) {
    active(cist);
    cist->role = MSTP_DISABLED_PORT;
    cist->learn = 0;
    cist->learning = 0;
    EXPECT_THAT(run(), ElementsAre(BANNER, LEAVES, TO_LEARNING, RESTS, TO_INACTIVE));
}

TEST_F(TopologyChange, ActiveTakesATcn) {
    active(cist);
    cist->rcvdTcn = 1;
    EXPECT_THAT(run(), ElementsAre(BANNER, "rcvdTcn", TO_NOTIFIED_TCN, "UCT", TO_NOTIFIED_TC, "UCT",
                                   TO_ACTIVE));
}

TEST_F(TopologyChange, TcnOnADesignatedPortIsAcknowledgedPropagatedAndCountedOnce) {
    tMstpXstPort* third = mstpCistPort(addPort(3));
    active(cist);
    cist->rcvdTcn = 1;

    EXPECT_THAT(changesBy(mstpTopologyChangeFSM, cist),
                ElementsAre("newInfo=1", "rcvdTcn=0", "tcAck=1", "tcWhile=3", "tcWhileTimer=300",
                            "topologyChange=1", "topologyChangesCount=1"));
    EXPECT_EQ(other->tcProp, 1);
    EXPECT_EQ(third->tcProp, 1);
}

// As it is received: a TCN sets both flags.
TEST_F(TopologyChange, TcnThatIsAlsoAChangeHeardIsTakenAsATcnOnce) {
    active(cist);
    cist->rcvdTcn = cist->rcvdTc = 1;
    EXPECT_THAT(run(), ElementsAre(BANNER, "rcvdTcn", TO_NOTIFIED_TCN, "UCT", TO_NOTIFIED_TC, "UCT",
                                   TO_ACTIVE));
    EXPECT_EQ(cist->xst->topologyChangesCount, 1U);
    EXPECT_EQ(cist->tcWhile, 3);
}

TEST_F(TopologyChange, ActiveTakesAChangeHeard) {
    active(cist);
    cist->rcvdTc = 1;
    EXPECT_THAT(run(), ElementsAre(BANNER, "rcvdTc", TO_NOTIFIED_TC, "UCT", TO_ACTIVE));
}

TEST_F(TopologyChange, ChangeHeardIsPropagatedAndNotCountedHere) {
    active(msti);
    msti->rcvdTc = 1;

    EXPECT_THAT(changesBy(mstpTopologyChangeFSM, msti), ElementsAre("rcvdTc=0"));
    EXPECT_EQ(otherMsti->tcProp, 1);
}

TEST_F(TopologyChange, ActiveTakesAChangeOfAnotherPort) {
    active(cist);
    cist->tcProp = 1;
    EXPECT_THAT(run(),
                ElementsAre(BANNER, "tcProp && !operEdge", TO_PROPAGATING, "UCT", TO_ACTIVE));
}

TEST_F(TopologyChange, EdgePortPropagatesNothing) {
    active(cist);
    cist->tcProp = 1;
    port->operEdge = 1;

    EXPECT_THAT(run(), ElementsAre(BANNER, LEAVES, TO_LEARNING));
    EXPECT_EQ(cist->fdbFlush, 0);
}

TEST_F(TopologyChange, ActiveTakesAnAcknowledgment) {
    active(cist);
    cist->rcvdTcAck = 1;
    EXPECT_THAT(run(), ElementsAre(BANNER, " rcvdTcAck", TO_ACKNOWLEDGED, "UCT", TO_ACTIVE));
}

TEST_F(TopologyChange, ActiveTakesEverythingInOrder) {
    active(cist);
    cist->rcvdTcn = cist->rcvdTcAck = cist->tcProp = 1;
    EXPECT_THAT(run(), ElementsAre(BANNER, "rcvdTcn", TO_NOTIFIED_TCN, "UCT", TO_NOTIFIED_TC, "UCT",
                                   TO_ACTIVE, "tcProp && !operEdge", TO_PROPAGATING, "UCT",
                                   TO_ACTIVE, " rcvdTcAck", TO_ACKNOWLEDGED, "UCT", TO_ACTIVE));
}

TEST_F(TopologyChange, EveryTestOfActiveIsMadeAlsoAfterItWasLeft) {
    active(msti);
    msti->role = MSTP_ALTERNATE_PORT;
    msti->rcvdTcAck = 1;
    EXPECT_THAT(run(msti),
                ElementsAre("msti 3 port port1  Topology Change state machine", LEAVES, TO_LEARNING,
                            " rcvdTcAck", TO_ACKNOWLEDGED, "UCT", TO_ACTIVE, LEAVES, TO_LEARNING));
}

// ---- restricted TCN, passes, gates, traces

TEST_F(TopologyChange, RestrictedPortThatDetectsPropagatesNothingButStartsTcWhile) {
    port->restrictedTcn = 1;
    learning(cist);
    cist->forward = 1;

    mstpTopologyChangeFSM(cist);

    EXPECT_EQ(other->tcProp, 0);
    EXPECT_EQ(cist->tcWhile, 3);
}

TEST_F(TopologyChange, RestrictedPortThatIsNotifiedPropagatesNothingButStartsTcWhile) {
    port->restrictedTcn = 1;
    active(cist);
    cist->rcvdTcn = 1;

    mstpTopologyChangeFSM(cist);

    EXPECT_EQ(other->tcProp, 0);
    EXPECT_EQ(cist->tcWhile, 3);
}

TEST_F(TopologyChange, CallEndsAfterTheFifthPassAndTheNextGoesOn) {
    learning(msti);
    msti->rcvdTcn = 1;
    for (int call = 0; call < 2; call++) {
        EXPECT_THAT(run(msti), ElementsAre("msti 3 port port1  Topology Change state machine",
                                           HEARD, TO_LEARNING, HEARD, TO_LEARNING, HEARD,
                                           TO_LEARNING, HEARD, TO_LEARNING, HEARD, TO_LEARNING));
    }
}

// An MSTI's entry does not clear the flag.
TEST_F(TopologyChange, TcnOfAnMstiIsTakenInEveryPass) {
    active(msti);
    msti->rcvdTcn = 1;
    std::vector<std::string> lines = run(msti);
    EXPECT_EQ(std::count(lines.begin(), lines.end(), TO_NOTIFIED_TCN), 5);
}

TEST_F(TopologyChange, IsNotHeldBackByARoleThatIsNotSelected) {
    cist->selected = 0;
    cist->learn = 1;
    EXPECT_THAT(run(), ElementsAre(BANNER, WAKES, TO_LEARNING));
}

TEST_F(TopologyChange, IsNotHeldBackByInformationThatAwaitsItsUpdate) {
    cist->updtInfo = 1;
    cist->learn = 1;
    EXPECT_THAT(run(), ElementsAre(BANNER, WAKES, TO_LEARNING));
}

TEST_F(TopologyChange, TracesNothingWithoutItsBit) {
    active(cist);
    cist->rcvdTcn = cist->rcvdTcAck = cist->tcProp = 1;
    EXPECT_THAT(
        traced(~static_cast<uint32_t>(MSTP_DEBUG_MACHINE), [&] { mstpTopologyChangeFSM(cist); }),
        IsEmpty());
}

} // namespace
