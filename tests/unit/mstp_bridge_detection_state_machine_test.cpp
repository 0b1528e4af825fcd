// Bridge Detection: when a port counts as an edge port.

#include "mstp_bridge_detection_state_machine.h"

#include "machine_test.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const char* const BANNER = "mstp port port1 Bridge Detection state machine";
const char* const NO_EDGE = "(!portEnabled && !AdminEdge) || !operEdge";
const char* const AN_EDGE =
    "(!portEnabled && AdminEdge) ||((edgeDelayWhile == 0) && AutoEdge && sendRstp && proposing)";
const char* const TO_EDGE = "jump to EDGE";
const char* const TO_NOT_EDGE = "jump to NOT_EDGE";

class BridgeDetection : public MachineTest {
  protected:
    BridgeDetection() { notEdge(); }

    // An enabled port that has heard nothing for long enough but does not look for edges.
    void notEdge() {
        setState(MSTP_BRIDGE_DETECTION_NOT_EDGE);
        port->operEdge = 0;
        port->adminEdge = 0;
        port->autoEdge = 0;
        port->sendRSTP = 1;
        port->edgeDelayWhile = 0;
        cist->proposing = 1;
    }

    void edge() {
        setState(MSTP_BRIDGE_DETECTION_EDGE);
        port->operEdge = 1;
    }

    void setState(uint8_t state) { port->fsmState[MSTP_BRIDGE_DETECTION_FSM] = state; }

    void expectEdge(bool isEdge) {
        EXPECT_EQ(port->operEdge, isEdge ? 1 : 0);
        EXPECT_EQ(port->fsmState[MSTP_BRIDGE_DETECTION_FSM],
                  isEdge ? MSTP_BRIDGE_DETECTION_EDGE : MSTP_BRIDGE_DETECTION_NOT_EDGE);
    }

    std::vector<std::string> run() {
        return traced(MSTP_DEBUG_MACHINE, [&] { mstpBridgeDetectionFSM(port); });
    }
};

TEST_F(BridgeDetection, EdgeMakesThePortAnEdgePort) {
    mstpBridgeDetectionEdge(port);
    expectEdge(true);
}

TEST_F(BridgeDetection, NotEdgeMakesThePortNoEdgePort) {
    edge();
    mstpBridgeDetectionNotEdge(port);
    expectEdge(false);
}

// ---- BEGIN

TEST_F(BridgeDetection, BeginMakesADeclaredEdgeAnEdge) {
    bridge.bridge->begin = 1;
    port->adminEdge = 1;

    EXPECT_THAT(run(), ElementsAre(BANNER, "BEGIN && AdminEdge", TO_EDGE));
    expectEdge(true);
}

TEST_F(BridgeDetection, BeginMakesAnyOtherPortNoEdge) {
    edge();
    bridge.bridge->begin = 1;

    EXPECT_THAT(run(), ElementsAre(BANNER, "BEGIN && !AdminEdge", TO_NOT_EDGE));
    expectEdge(false);
}

TEST_F(BridgeDetection, BeginDoesNotHoldTheMachine) {
    bridge.bridge->begin = 1;
    port->autoEdge = 1;

    EXPECT_THAT(run(), ElementsAre(BANNER, "BEGIN && !AdminEdge", TO_NOT_EDGE, AN_EDGE, TO_EDGE));
    expectEdge(true);
}

// ---- EDGE

TEST_F(BridgeDetection, AnEnabledEdgePortStaysOne) {
    edge();
    EXPECT_THAT(run(), ElementsAre(BANNER));
    expectEdge(true);
}

TEST_F(BridgeDetection, ADisabledPortThatIsDeclaredAnEdgeStaysOne) {
    edge();
    port->portEnabled = 0;
    port->adminEdge = 1;
    EXPECT_THAT(run(), ElementsAre(BANNER));
    expectEdge(true);
}

TEST_F(BridgeDetection, ADisabledPortThatIsNotDeclaredAnEdgeStopsBeingOne) {
    edge();
    port->portEnabled = 0;
    EXPECT_THAT(run(), ElementsAre(BANNER, NO_EDGE, TO_NOT_EDGE));
    expectEdge(false);
}

TEST_F(BridgeDetection, AnEdgePortThatHeardABridgeStopsBeingOne) {
    edge();
    port->operEdge = 0;
    EXPECT_THAT(run(), ElementsAre(BANNER, NO_EDGE, TO_NOT_EDGE));
    expectEdge(false);
}

TEST_F(BridgeDetection, ADeclaredEdgePortThatHeardABridgeStopsBeingOneWhileEnabled) {
    edge();
    port->adminEdge = 1;
    port->operEdge = 0;
    EXPECT_THAT(run(), ElementsAre(BANNER, NO_EDGE, TO_NOT_EDGE));
    expectEdge(false);
}

TEST_F(BridgeDetection, ADisabledDeclaredEdgePortThatHeardABridgeIsOneAgainInTheSamePass) {
    edge();
    port->adminEdge = 1;
    port->operEdge = 0;
    port->portEnabled = 0;
    EXPECT_THAT(run(), ElementsAre(BANNER, NO_EDGE, TO_NOT_EDGE, AN_EDGE, TO_EDGE));
    expectEdge(true);
}

// ---- NOT_EDGE

TEST_F(BridgeDetection, ADisabledPortThatIsDeclaredAnEdgeBecomesOne) {
    port->portEnabled = 0;
    port->adminEdge = 1;
    EXPECT_THAT(run(), ElementsAre(BANNER, AN_EDGE, TO_EDGE));
    expectEdge(true);
}

TEST_F(BridgeDetection, AnEnabledPortThatIsDeclaredAnEdgeDoesNotBecomeOne) {
    port->adminEdge = 1;
    EXPECT_THAT(run(), ElementsAre(BANNER));
    expectEdge(false);
}

TEST_F(BridgeDetection, ADisabledPortThatIsNotDeclaredAnEdgeDoesNotBecomeOne) {
    port->portEnabled = 0;
    EXPECT_THAT(run(), ElementsAre(BANNER));
    expectEdge(false);
}

TEST_F(BridgeDetection, AProposingPortThatHearsNothingIsFoundToBeAnEdge) {
    port->autoEdge = 1;
    EXPECT_THAT(run(), ElementsAre(BANNER, AN_EDGE, TO_EDGE));
    expectEdge(true);
}

TEST_F(BridgeDetection, NoEdgeIsFoundWhileTheEdgeDelayRuns) {
    port->autoEdge = 1;
    port->edgeDelayWhile = 1;
    EXPECT_THAT(run(), ElementsAre(BANNER));
    expectEdge(false);
}

TEST_F(BridgeDetection, NoEdgeIsFoundWithoutAutomaticDetection) {
    EXPECT_THAT(run(), ElementsAre(BANNER));
    expectEdge(false);
}

TEST_F(BridgeDetection, NoEdgeIsFoundWhileThePortSpeaksStp) {
    port->autoEdge = 1;
    port->sendRSTP = 0;
    EXPECT_THAT(run(), ElementsAre(BANNER));
    expectEdge(false);
}

TEST_F(BridgeDetection, NoEdgeIsFoundWhileThePortDoesNotPropose) {
    port->autoEdge = 1;
    cist->proposing = 0;
    EXPECT_THAT(run(), ElementsAre(BANNER));
    expectEdge(false);
}

TEST_F(BridgeDetection, OnlyTheProposalInTheCistCounts) {
    tMstpXstPort* msti = addInstance(1);
    notEdge();
    port->autoEdge = 1;
    cist->proposing = 0;
    msti->proposing = 1;
    EXPECT_THAT(run(), ElementsAre(BANNER));
    expectEdge(false);
}

// ---- The run as a whole

TEST_F(BridgeDetection, ARunMakesFivePassesAtTheMost) {
    edge();
    port->portEnabled = 0;
    port->autoEdge = 1;
    std::vector<std::string> expected = {BANNER};
    for (int pass = 0; pass < 5; pass++) {
        expected.insert(expected.end(), {NO_EDGE, TO_NOT_EDGE, AN_EDGE, TO_EDGE});
    }

    EXPECT_EQ(run(), expected);
    expectEdge(true);
}

TEST_F(BridgeDetection, APassThatOnlyFoundAnEdgeIsFollowedByAnother) {
    port->portEnabled = 0;
    port->autoEdge = 1;

    const std::vector<std::string> lines = run();

    // One transition in the first pass, two in each of the other four.
    EXPECT_EQ(lines.size(), 1U + 2 * (1 + 2 * 4));
    expectEdge(true);
}

TEST_F(BridgeDetection, TheMachineTracesUnderItsBitOnly) {
    port->autoEdge = 1;
    EXPECT_THAT(
        traced(~static_cast<uint32_t>(MSTP_DEBUG_MACHINE), [&] { mstpBridgeDetectionFSM(port); }),
        IsEmpty());
}

} // namespace
