// Port State Transition: the hardware follows what the role asks for.

#include "mstp_port_state_transition_state_machine.h"

#include "machine_test.h"
#include "record_changes.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const char* const BANNER = "msti 0 port 1 Port State Transition state machine";
const char* const TO_DISCARDING = "jump to DISCARDING";
const char* const TO_LEARNING = "jump to LEARNING";
const char* const TO_FORWARDING = "jump to FORWARDING";

class PortStateTransition : public MachineTest {
  protected:
    PortStateTransition() {
        discarding();
        cist->learn = 0;
        cist->forward = 0;
        cist->selected = 1;
        cist->updtInfo = 0;
        cist->fdbFlush = 0;
    }

    void discarding() {
        setState(MSTP_PORT_STATE_TRANSITION_DISCARDING);
        cist->learning = 0;
        cist->forwarding = 0;
        cist->hwState = MSTP_PORT_STATE_DISCARDING;
    }

    void learning() {
        setState(MSTP_PORT_STATE_TRANSITION_LEARNING);
        cist->learn = 1;
        cist->learning = 1;
        cist->hwState = MSTP_PORT_STATE_LEARNING;
    }

    void forwarding() {
        learning();
        setState(MSTP_PORT_STATE_TRANSITION_FORWARDING);
        cist->forward = 1;
        cist->forwarding = 1;
        cist->hwState = MSTP_PORT_STATE_FORWARDING;
    }

    void setState(uint8_t state) { cist->fsmState[MSTP_PORT_STATE_TRANSITION_FSM] = state; }

    void hold(tTimerNode* timer, uint32_t ticks) {
        mstpRestartTimer(
            timer, ticks, [](void*, void*, void*) {}, nullptr);
    }

    void expectState(uint8_t state) {
        EXPECT_EQ(cist->fsmState[MSTP_PORT_STATE_TRANSITION_FSM], state);
        EXPECT_EQ(cist->learning, state != MSTP_PORT_STATE_TRANSITION_DISCARDING ? 1 : 0);
        EXPECT_EQ(cist->forwarding, state == MSTP_PORT_STATE_TRANSITION_FORWARDING ? 1 : 0);
    }

    std::vector<std::string> run() {
        return traced(MSTP_DEBUG_MACHINE, [&] { mstpPortStateTransitionFSM(cist); });
    }

    /// The procedures that an entry calls, by their traces in their order.
    std::vector<std::string> procedures(void (*entry)(tMstpXstPort*)) {
        std::vector<std::string> lines = traced(MSTP_DEBUG_ACTIVITY, [&] { entry(cist); });
        std::erase_if(lines, [](const std::string& line) {
            return line.find("set port state") != std::string::npos;
        });
        return lines;
    }
};

// ---- entries

TEST_F(PortStateTransition, DiscardingStopsThePortAndAsksForAFlush) {
    forwarding();
    RecordChanges changes(cist);

    mstpPortStateTransitionDiscarding(cist);

    EXPECT_THAT(changes.list(), ElementsAre("fdbFlush=1", "forwarding=0", "hwState=1", "learning=0",
                                            "state of 7=0"));
}

TEST_F(PortStateTransition, DiscardingStopsLearningBeforeForwarding) {
    forwarding();
    EXPECT_THAT(
        procedures(mstpPortStateTransitionDiscarding),
        ElementsAre("msti 0 port port1 disable learning", "msti 0 port port1 disable forwarding"));
}

TEST_F(PortStateTransition, LearningStartsToLearn) {
    RecordChanges changes(cist);

    mstpPortStateTransitionLearning(cist);

    EXPECT_THAT(changes.list(), ElementsAre("hwState=2", "learning=1", "state of 7=1"));
}

TEST_F(PortStateTransition, LearningWritesTheHardware) {
    EXPECT_THAT(procedures(mstpPortStateTransitionLearning),
                ElementsAre("msti 0 port port1 eable learning"));
}

TEST_F(PortStateTransition, ForwardingStartsToForward) {
    learning();
    RecordChanges changes(cist);

    mstpPortStateTransitionForwarding(cist);

    EXPECT_THAT(changes.list(), ElementsAre("forwarding=1", "hwState=3", "state of 7=2"));
}

TEST_F(PortStateTransition, ForwardingWritesTheHardware) {
    EXPECT_THAT(procedures(mstpPortStateTransitionForwarding),
                ElementsAre("msti 0 port port1 enable forwarding"));
}

// ---- BEGIN

TEST_F(PortStateTransition, BeginPassesThroughDiscarding) {
    forwarding();
    cist->learn = 0;
    bridge.bridge->begin = 1;

    EXPECT_THAT(run(), ElementsAre(BANNER, "BEGIN", TO_DISCARDING));
    expectState(MSTP_PORT_STATE_TRANSITION_DISCARDING);
}

TEST_F(PortStateTransition, BeginAsksForAFlush) {
    bridge.bridge->begin = 1;
    mstpPortStateTransitionFSM(cist);
    EXPECT_EQ(cist->fdbFlush, 1);
}

TEST_F(PortStateTransition, BeginWritesDiscardingToTheHardware) {
    forwarding();
    cist->learn = 0;
    bridge.bridge->begin = 1;

    mstpPortStateTransitionFSM(cist);

    EXPECT_EQ(cist->hwState, MSTP_PORT_STATE_DISCARDING);
}

TEST_F(PortStateTransition, BeginGoesOnToWhatTheRoleAsksFor) {
    forwarding();
    bridge.bridge->begin = 1;

    EXPECT_THAT(run(), ElementsAre(BANNER, "BEGIN", TO_DISCARDING, "learn", TO_LEARNING, "forward",
                                   TO_FORWARDING));
    expectState(MSTP_PORT_STATE_TRANSITION_FORWARDING);
}

// ---- transitions

TEST_F(PortStateTransition, DiscardingStaysWithoutARequest) {
    EXPECT_THAT(run(), ElementsAre(BANNER));
    expectState(MSTP_PORT_STATE_TRANSITION_DISCARDING);
}

TEST_F(PortStateTransition, DiscardingDoesNotForwardWithoutLearning) {
    cist->forward = 1;
    EXPECT_THAT(run(), ElementsAre(BANNER));
}

TEST_F(PortStateTransition, DiscardingGoesToLearningOnRequest) {
    cist->learn = 1;

    EXPECT_THAT(run(), ElementsAre(BANNER, "learn", TO_LEARNING));
    expectState(MSTP_PORT_STATE_TRANSITION_LEARNING);
}

TEST_F(PortStateTransition, DiscardingReachesForwardingInOneCall) {
    cist->learn = 1;
    cist->forward = 1;

    EXPECT_THAT(run(), ElementsAre(BANNER, "learn", TO_LEARNING, "forward", TO_FORWARDING));
    expectState(MSTP_PORT_STATE_TRANSITION_FORWARDING);
}

TEST_F(PortStateTransition, LearningStaysUntilForwardingIsAskedFor) {
    learning();
    EXPECT_THAT(run(), ElementsAre(BANNER));
}

TEST_F(PortStateTransition, LearningGoesToForwardingOnRequest) {
    learning();
    cist->forward = 1;

    EXPECT_THAT(run(), ElementsAre(BANNER, "forward", TO_FORWARDING));
    expectState(MSTP_PORT_STATE_TRANSITION_FORWARDING);
}

TEST_F(PortStateTransition, LearningFallsBackWhenTheRequestEnds) {
    learning();
    cist->learn = 0;

    EXPECT_THAT(run(), ElementsAre(BANNER, "!learn", TO_DISCARDING));
    expectState(MSTP_PORT_STATE_TRANSITION_DISCARDING);
}

TEST_F(PortStateTransition, LearningThatFallsBackStillLooksAtTheRequestToForward) {
    learning();
    cist->learn = 0;
    cist->forward = 1;

    EXPECT_THAT(run(), ElementsAre(BANNER, "!learn", TO_DISCARDING, "forward", TO_FORWARDING));
    EXPECT_EQ(cist->fsmState[MSTP_PORT_STATE_TRANSITION_FSM],
              MSTP_PORT_STATE_TRANSITION_FORWARDING);
}

TEST_F(PortStateTransition, ForwardingStaysWhileAskedFor) {
    forwarding();
    EXPECT_THAT(run(), ElementsAre(BANNER));
}

TEST_F(PortStateTransition, ForwardingDoesNotLookAtTheRequestToLearn) {
    forwarding();
    cist->learn = 0;
    EXPECT_THAT(run(), ElementsAre(BANNER));
}

TEST_F(PortStateTransition, ForwardingGoesStraightToDiscardingAndAsksForAFlush) {
    forwarding();
    cist->learn = 0;
    cist->forward = 0;

    EXPECT_THAT(run(), ElementsAre(BANNER, "!forward", TO_DISCARDING));
    expectState(MSTP_PORT_STATE_TRANSITION_DISCARDING);
    EXPECT_EQ(cist->fdbFlush, 1);
}

TEST_F(PortStateTransition, ForwardingThatIsStillAskedToLearnGoesByWayOfDiscarding) {
    forwarding();
    cist->forward = 0;

    EXPECT_THAT(run(), ElementsAre(BANNER, "!forward", TO_DISCARDING, "learn", TO_LEARNING));
    expectState(MSTP_PORT_STATE_TRANSITION_LEARNING);
}

// ---- gates, holds, traces

TEST_F(PortStateTransition, FollowsAPortWhoseRoleIsNotSelected) {
    cist->selected = 0;
    cist->learn = 1;
    mstpPortStateTransitionFSM(cist);
    expectState(MSTP_PORT_STATE_TRANSITION_LEARNING);
}

TEST_F(PortStateTransition, FollowsAPortThatAwaitsItsInformation) {
    cist->updtInfo = 1;
    cist->learn = 1;
    mstpPortStateTransitionFSM(cist);
    expectState(MSTP_PORT_STATE_TRANSITION_LEARNING);
}

TEST_F(PortStateTransition, BpduGuardKeepsTheHardwareDiscarding) {
    hold(&port->bpduGuardTimer, 100);
    cist->learn = 1;
    cist->forward = 1;

    mstpPortStateTransitionFSM(cist);

    expectState(MSTP_PORT_STATE_TRANSITION_FORWARDING);
    EXPECT_EQ(cist->hwState, MSTP_PORT_STATE_DISCARDING);
}

TEST_F(PortStateTransition, LoopHoldKeepsTheHardwareDiscarding) {
    hold(&cist->loopHoldTimer, 100);
    cist->learn = 1;
    cist->forward = 1;

    mstpPortStateTransitionFSM(cist);

    expectState(MSTP_PORT_STATE_TRANSITION_FORWARDING);
    EXPECT_EQ(cist->hwState, MSTP_PORT_STATE_DISCARDING);
}

TEST_F(PortStateTransition, RootHoldOffKeepsTheHardwareLearning) {
    hold(&cist->rootHoldoffTimer, 100);
    cist->learn = 1;
    cist->forward = 1;

    mstpPortStateTransitionFSM(cist);

    expectState(MSTP_PORT_STATE_TRANSITION_FORWARDING);
    EXPECT_EQ(cist->hwState, MSTP_PORT_STATE_LEARNING);
}

TEST_F(PortStateTransition, TracesNothingWithoutItsBit) {
    cist->learn = 1;
    bridge.bridge->begin = 1;
    EXPECT_THAT(traced(~static_cast<uint32_t>(MSTP_DEBUG_MACHINE | MSTP_DEBUG_ACTIVITY),
                       [&] { mstpPortStateTransitionFSM(cist); }),
                IsEmpty());
}

TEST_F(PortStateTransition, NamesTheInstanceAndTheNumberOfTheUnit) {
    addInstance(5);
    tMstpPort* second = addPort(12);
    EXPECT_THAT(traced(MSTP_DEBUG_MACHINE,
                       [&] { mstpPortStateTransitionFSM(bridge.xstPort(5, second->unit)); }),
                ElementsAre("msti 5 port 12 Port State Transition state machine"));
}

} // namespace
