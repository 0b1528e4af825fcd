// Port Information: what an instance port keeps of what it hears, and the two protections.

#include "mstp_port_information_state_machine.h"

#include <algorithm>
#include <cstring>

#include "machine_test.h"

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

namespace {

const char* const BANNER = "msti 0 port port1 Port Information state machine";
const char* const MSTI_BANNER = "msti 1 port port1 Port Information state machine";
const char* const DISABLE = "(!portEnabled && (infoIs != Disabled)) || BEGIN";
const char* const TO_DISABLED = "jump to DISABLED";
const char* const TO_AGED = "jump to AGED";
const char* const UPDATE = "selected && updtInfo";
const char* const TO_UPDATE = "jump to UPDATE";
const char* const AGE = "(infoIs == Received) && (rcvdInfoWhile == 0) &&!updtInfo && !rcvdXstMsg";
const char* const RECEIVE = "rcvdXstMsg && !updtXstInfo";
const char* const TO_RECEIVE = "jump to RECEIVE";
const char* const TO_CURRENT = "jump to CURRENT";

constexpr uint8_t DISABLED = MSTP_PORT_INFORMATION_DISABLED;
constexpr uint8_t AGED = MSTP_PORT_INFORMATION_AGED;
constexpr uint8_t CURRENT = MSTP_PORT_INFORMATION_CURRENT;

class PortInformation : public MachineTest {
  protected:
    // Two instance ports at rest in CURRENT with this bridge's own information, designated.
    PortInformation() : msti(addInstance(1)) {
        atRest(cist);
        atRest(msti);
        port->rcvdInternal = 0;
        port->infoInternal = 0;
        port->newInfo = 0;
        port->newInfoMsti = 0;
    }

    static void atRest(tMstpXstPort* xstPort) {
        setState(xstPort, CURRENT);
        xstPort->role = MSTP_DESIGNATED_PORT;
        xstPort->infoIs = MSTP_MINE;
        xstPort->selected = 1;
        xstPort->updtInfo = 0;
        xstPort->reselect = 0;
        xstPort->rcvdMsg = 0;
        xstPort->rcvdInfoWhile = 0;
    }

    static void setState(tMstpXstPort* xstPort, uint8_t state) {
        xstPort->fsmState[MSTP_PORT_INFORMATION_FSM] = state;
    }
    static uint8_t state(const tMstpXstPort* xstPort) {
        return xstPort->fsmState[MSTP_PORT_INFORMATION_FSM];
    }

    // A message as setRcvdMsgs leaves it: the port's own information with another root priority,
    // which makes it better (lower), equal or worse.
    void message(tMstpXstPort* xstPort, uint8_t flags, int rootPriority) {
        port->bpduType = MSTP_BPDU_RST;
        xstPort->rcvdMsg = 1;
        xstPort->msgFlag = mstpFlagFromByte(flags);
        xstPort->msgPriority = xstPort->portPriority;
        xstPort->msgPriority.rootId.priority =
            static_cast<uint8_t>(xstPort->portPriority.rootId.priority + rootPriority) & 0x0F;
        xstPort->msgTimes = xstPort->portTimes;
    }

    void superior(tMstpXstPort* xstPort) { message(xstPort, MSTP_FLAG_ROLE_DESIGNATED, -1); }
    void repeated(tMstpXstPort* xstPort) {
        message(xstPort, MSTP_FLAG_ROLE_DESIGNATED, 0);
        xstPort->infoIs = MSTP_RECEIVED;
        xstPort->rcvdInfoWhile = 6;
    }
    void inferiorDesignated(tMstpXstPort* xstPort) {
        message(xstPort, MSTP_FLAG_ROLE_DESIGNATED, 1);
    }
    void inferiorRootAlternate(tMstpXstPort* xstPort) { message(xstPort, MSTP_FLAG_ROLE_ROOT, 1); }
    void other(tMstpXstPort* xstPort) { message(xstPort, MSTP_FLAG_ROLE_ROOT, -1); }

    std::vector<std::string> run(tMstpXstPort* xstPort) {
        return traced(MSTP_DEBUG_MACHINE, [&] { mstpPortInformationFSM(xstPort); });
    }

    static bool sameVector(const tMstpPriorityVector& a, const tMstpPriorityVector& b) {
        return memcmp(&a, &b, MSTP_VECTOR_SIZE) == 0;
    }

    tMstpXstPort* msti;
};

void expectRolesWanted(const tMstpXstPort* xstPort) {
    EXPECT_EQ(xstPort->reselect, 1);
    EXPECT_EQ(xstPort->selected, 0);
}

void expectRolesKept(const tMstpXstPort* xstPort) {
    EXPECT_EQ(xstPort->reselect, 0);
    EXPECT_EQ(xstPort->selected, 1);
}

// ---- DISABLED, AGED

TEST_F(PortInformation, DisabledForgetsMessageAndAgreements) {
    cist->rcvdMsg = 1;
    cist->agreed = 1;
    cist->agree = 1;
    cist->proposed = 1;
    cist->proposing = 1;

    mstpPortInformationDisabled(cist);

    EXPECT_EQ(cist->rcvdMsg, 0);
    EXPECT_EQ(cist->agreed, 0);
    EXPECT_EQ(cist->agree, 0);
    EXPECT_EQ(cist->proposed, 0);
    EXPECT_EQ(cist->proposing, 0);
}

TEST_F(PortInformation, DisabledStopsTheTimerOfReceivedInformation) {
    mstpLoadCounter(bridge.bridge, &cist->rcvdInfoWhile, &cist->rcvdInfoWhileTimer, 6,
                    MSTP_EVENT_FSM);

    mstpPortInformationDisabled(cist);

    EXPECT_EQ(cist->rcvdInfoWhile, 0);
    EXPECT_EQ(timerRemain(&cist->rcvdInfoWhileTimer), 0);
}

TEST_F(PortInformation, DisabledAsksForNewRoles) {
    mstpPortInformationDisabled(cist);
    EXPECT_EQ(cist->infoIs, MSTP_DISABLED);
    EXPECT_EQ(state(cist), DISABLED);
    expectRolesWanted(cist);
}

TEST_F(PortInformation, AgedAsksForNewRoles) {
    mstpPortInformationAged(cist);
    EXPECT_EQ(cist->infoIs, MSTP_AGED);
    EXPECT_EQ(state(cist), AGED);
    expectRolesWanted(cist);
}

// ---- UPDATE

TEST_F(PortInformation, UpdateTakesOverTheDesignatedInformation) {
    cist->designatedPriority.extRootPathCost = 77;
    cist->designatedPriority.rcvPortId.portNumberL = 0x5A;
    cist->designatedTimes = {1, 2, 3, 4, 5, {6, 7, 8}};
    cist->updtInfo = 1;
    cist->infoIs = MSTP_RECEIVED;

    mstpPortInformationUpdate(cist);

    EXPECT_TRUE(sameVector(cist->portPriority, cist->designatedPriority));
    EXPECT_TRUE(mstpSameTimes(&cist->portTimes, &cist->designatedTimes));
    EXPECT_EQ(cist->updtInfo, 0);
    EXPECT_EQ(cist->infoIs, MSTP_MINE);
    EXPECT_EQ(state(cist), MSTP_PORT_INFORMATION_UPDATE);
}

TEST_F(PortInformation, UpdateEndsProposals) {
    cist->proposed = 1;
    cist->proposing = 1;
    mstpPortInformationUpdate(cist);
    EXPECT_EQ(cist->proposed, 0);
    EXPECT_EQ(cist->proposing, 0);
}

TEST_F(PortInformation, UpdateOfTheCistIsNewsOfTheCist) {
    mstpPortInformationUpdate(cist);
    EXPECT_EQ(port->newInfo, 1);
    EXPECT_EQ(port->newInfoMsti, 0);
}

TEST_F(PortInformation, UpdateOfAnMstiIsNewsOfTheMstis) {
    mstpPortInformationUpdate(msti);
    EXPECT_EQ(port->newInfo, 0);
    EXPECT_EQ(port->newInfoMsti, 1);
}

TEST_F(PortInformation, AnAgreementOutlivesAnUpdateToTheSameOrBetterInformation) {
    cist->agreed = 1;
    cist->synced = 1;
    cist->designatedPriority = cist->portPriority;

    mstpPortInformationUpdate(cist);

    EXPECT_EQ(cist->agreed, 1);
    EXPECT_EQ(cist->synced, 1);
}

TEST_F(PortInformation, AnAgreementEndsWithAnUpdateToWorseInformation) {
    cist->agreed = 1;
    cist->synced = 1;
    cist->designatedPriority = cist->portPriority;
    cist->designatedPriority.extRootPathCost++;

    mstpPortInformationUpdate(cist);

    EXPECT_EQ(cist->agreed, 0);
    EXPECT_EQ(cist->synced, 0);
}

TEST_F(PortInformation, AnAgreementToTheNeighboursInformationEndsWithAnUpdate) {
    cist->agreed = 1;
    cist->synced = 1;
    cist->infoIs = MSTP_RECEIVED; // looked at before it becomes MSTP_MINE
    cist->designatedPriority = cist->portPriority;

    mstpPortInformationUpdate(cist);

    EXPECT_EQ(cist->agreed, 0);
    EXPECT_EQ(cist->synced, 0);
}

TEST_F(PortInformation, AnUpdateDoesNotMakeAPortSyncedThatWasNot) {
    cist->agreed = 1;
    cist->synced = 0;
    cist->designatedPriority = cist->portPriority;

    mstpPortInformationUpdate(cist);

    EXPECT_EQ(cist->agreed, 1);
    EXPECT_EQ(cist->synced, 0);
}

TEST_F(PortInformation, AnUpdateWithoutAgreementEndsSynced) {
    cist->agreed = 0;
    cist->synced = 1;
    cist->designatedPriority = cist->portPriority;

    mstpPortInformationUpdate(cist);

    EXPECT_EQ(cist->agreed, 0);
    EXPECT_EQ(cist->synced, 0);
}

// ---- SUPERIOR_DESIGNATED

TEST_F(PortInformation, SuperiorRecordsTheMessage) {
    superior(cist);
    cist->msgTimes = {3, 21, 16, 4, 19, {}};

    mstpPortInformationSuperior(cist);

    EXPECT_TRUE(sameVector(cist->portPriority, cist->msgPriority));
    EXPECT_EQ(cist->portTimes.messageAge, 3);
    EXPECT_EQ(cist->portTimes.maxAge, 21);
    EXPECT_EQ(cist->portTimes.forwardDelay, 16);
    EXPECT_EQ(cist->portTimes.helloTime, 4);
    EXPECT_EQ(cist->portTimes.remainingHops, 19);
    EXPECT_EQ(cist->infoIs, MSTP_RECEIVED);
    EXPECT_EQ(cist->rcvdMsg, 0);
    EXPECT_EQ(state(cist), MSTP_PORT_INFORMATION_SUPERIOR_DESIGNATED);
    expectRolesWanted(cist);
}

TEST_F(PortInformation, SuperiorKeepsTheInformationForThreeOfTheHelloTimesJustReceived) {
    superior(cist);
    cist->portTimes.helloTime = 2;
    cist->msgTimes = {0, 20, 15, 4, 20, {}};

    mstpPortInformationSuperior(cist);

    expectLoaded(bridge, cist->rcvdInfoWhile, cist->rcvdInfoWhileTimer, 12, MSTP_EVENT_FSM);
}

TEST_F(PortInformation, SuperiorRemembersWhetherTheInformationIsOfTheRegion) {
    superior(cist);
    port->rcvdInternal = 1;
    mstpPortInformationSuperior(cist);
    EXPECT_EQ(port->infoInternal, 1);

    port->rcvdInternal = 0;
    mstpPortInformationSuperior(cist);
    EXPECT_EQ(port->infoInternal, 0);
}

TEST_F(PortInformation, SuperiorReadsTheTopologyChangeByWhereItsOwnInformationComesFrom) {
    port->rcvdInternal = 1;
    port->infoInternal = 0; // from outside, a change would concern every instance
    message(cist, MSTP_FLAG_ROLE_DESIGNATED | MSTP_FLAG_TOPOLOGY_CHANGE, -1);

    mstpPortInformationSuperior(cist);

    EXPECT_EQ(cist->rcvdTc, 1);
    EXPECT_EQ(msti->rcvdTc, 0);
}

TEST_F(PortInformation, SuperiorEndsTheOwnProposal) {
    superior(cist);
    cist->proposing = 1;
    mstpPortInformationSuperior(cist);
    EXPECT_EQ(cist->proposing, 0);
}

TEST_F(PortInformation, SuperiorRecordsAProposal) {
    message(cist, MSTP_FLAG_ROLE_DESIGNATED | MSTP_FLAG_PROPOSAL, -1);
    cist->proposed = 0;
    mstpPortInformationSuperior(cist);
    EXPECT_EQ(cist->proposed, 1);
}

TEST_F(PortInformation, SuperiorEndsAnOldAgreementOfTheNeighbour) {
    superior(cist);
    cist->agreed = 1;
    cist->synced = 1;
    mstpPortInformationSuperior(cist);
    EXPECT_EQ(cist->agreed, 0);
    EXPECT_EQ(cist->synced, 0);
}

TEST_F(PortInformation, SuperiorRecordsANewAgreementOfTheNeighbour) {
    message(cist, MSTP_FLAG_ROLE_DESIGNATED | MSTP_FLAG_AGREEMENT, -1);
    cist->agreed = 0;
    cist->synced = 1;
    mstpPortInformationSuperior(cist);
    EXPECT_EQ(cist->agreed, 1);
    EXPECT_EQ(cist->synced, 1);
}

TEST_F(PortInformation, SuperiorDoesNotMakeAPortSyncedThatWasNot) {
    message(cist, MSTP_FLAG_ROLE_DESIGNATED | MSTP_FLAG_AGREEMENT, -1);
    cist->synced = 0;
    mstpPortInformationSuperior(cist);
    EXPECT_EQ(cist->synced, 0);
}

TEST_F(PortInformation, TheOwnAgreementOutlivesBetterInformationOfTheNeighbour) {
    superior(cist);
    cist->infoIs = MSTP_RECEIVED;
    cist->agree = 1;
    mstpPortInformationSuperior(cist);
    EXPECT_EQ(cist->agree, 1);
}

TEST_F(PortInformation, TheOwnAgreementEndsWithWorseInformationOfTheNeighbour) {
    message(cist, MSTP_FLAG_ROLE_DESIGNATED, 1); // compared before it is recorded
    cist->infoIs = MSTP_RECEIVED;
    cist->agree = 1;
    mstpPortInformationSuperior(cist);
    EXPECT_EQ(cist->agree, 0);
}

TEST_F(PortInformation, TheOwnAgreementEndsWhenTheInformationWasNotTheNeighbours) {
    superior(cist);
    cist->infoIs = MSTP_MINE; // looked at before it becomes MSTP_RECEIVED
    cist->agree = 1;
    mstpPortInformationSuperior(cist);
    EXPECT_EQ(cist->agree, 0);
}

TEST_F(PortInformation, SuperiorDoesNotMakeAPortAgreeThatDidNot) {
    superior(cist);
    cist->infoIs = MSTP_RECEIVED;
    cist->agree = 0;
    mstpPortInformationSuperior(cist);
    EXPECT_EQ(cist->agree, 0);
}

// ---- REPEATED_DESIGNATED

TEST_F(PortInformation, RepeatedKeepsTheInformationAndItsRoles) {
    repeated(cist);

    mstpPortInformationRepeatedDesignated(cist);

    EXPECT_EQ(cist->rcvdMsg, 0);
    EXPECT_EQ(state(cist), MSTP_PORT_INFORMATION_REPEATED_DESIGNATED);
    expectRolesKept(cist);
}

TEST_F(PortInformation, RepeatedKeepsTheInformationForThreeMoreHelloTimes) {
    repeated(cist);
    cist->portTimes.helloTime = 3;
    cist->rcvdInfoWhile = 1;

    mstpPortInformationRepeatedDesignated(cist);

    expectLoaded(bridge, cist->rcvdInfoWhile, cist->rcvdInfoWhileTimer, 9, MSTP_EVENT_FSM);
}

TEST_F(PortInformation, RepeatedRemembersWhetherTheInformationIsOfTheRegion) {
    repeated(cist);
    port->rcvdInternal = 1;
    mstpPortInformationRepeatedDesignated(cist);
    EXPECT_EQ(port->infoInternal, 1);

    port->rcvdInternal = 0;
    mstpPortInformationRepeatedDesignated(cist);
    EXPECT_EQ(port->infoInternal, 0);
}

TEST_F(PortInformation, RepeatedReadsTheTopologyChangeByWhereItsOwnInformationComesFrom) {
    port->rcvdInternal = 1;
    port->infoInternal = 0;
    message(cist, MSTP_FLAG_ROLE_DESIGNATED | MSTP_FLAG_TOPOLOGY_CHANGE, 0);

    mstpPortInformationRepeatedDesignated(cist);

    EXPECT_EQ(cist->rcvdTc, 1);
    EXPECT_EQ(msti->rcvdTc, 0);
}

TEST_F(PortInformation, RepeatedRecordsProposalAndAgreement) {
    message(cist, MSTP_FLAG_ROLE_DESIGNATED | MSTP_FLAG_PROPOSAL | MSTP_FLAG_AGREEMENT, 0);
    cist->proposed = 0;
    cist->agreed = 0;

    mstpPortInformationRepeatedDesignated(cist);

    EXPECT_EQ(cist->proposed, 1);
    EXPECT_EQ(cist->agreed, 1);
}

TEST_F(PortInformation, RepeatedLeavesAnAgreementOfTheNeighbourAlone) {
    repeated(cist);
    cist->agreed = 1;
    cist->proposing = 1;

    mstpPortInformationRepeatedDesignated(cist);

    EXPECT_EQ(cist->agreed, 1);
    EXPECT_EQ(cist->proposing, 1);
}

// ---- INFERIOR_DESIGNATED, NOT_DESIGNATED, OTHER

TEST_F(PortInformation, InferiorDesignatedRecordsTheDispute) {
    message(cist, MSTP_FLAG_ROLE_DESIGNATED | MSTP_FLAG_LEARNING, 1);
    cist->disputed = 0;
    cist->agreed = 1;

    mstpPortInformationInferiorDesignated(cist);

    EXPECT_EQ(cist->disputed, 1);
    EXPECT_EQ(cist->agreed, 0);
    EXPECT_EQ(cist->rcvdMsg, 0);
    EXPECT_EQ(state(cist), MSTP_PORT_INFORMATION_INFERIOR_DESIGNATED);
}

TEST_F(PortInformation, InferiorDesignatedReadsNoOtherFlags) {
    message(cist, 0x4F, 1); // agreement, designated, proposal, topology change
    cist->agreed = 0;
    cist->proposed = 0;

    mstpPortInformationInferiorDesignated(cist);

    EXPECT_EQ(cist->agreed, 0);
    EXPECT_EQ(cist->proposed, 0);
    EXPECT_EQ(cist->rcvdTc, 0);
}

TEST_F(PortInformation, NotDesignatedRecordsAgreementAndTopologyChange) {
    message(cist, MSTP_FLAG_ROLE_ROOT | MSTP_FLAG_AGREEMENT | MSTP_FLAG_TOPOLOGY_CHANGE, 1);
    cist->agreed = 0;
    cist->proposing = 1;

    mstpPortInformationNotDesignated(cist);

    EXPECT_EQ(cist->agreed, 1);
    EXPECT_EQ(cist->proposing, 0);
    EXPECT_EQ(cist->rcvdTc, 1);
    EXPECT_EQ(cist->rcvdMsg, 0);
    EXPECT_EQ(state(cist), MSTP_PORT_INFORMATION_NOT_DESIGNATED);
}

TEST_F(PortInformation, OtherDropsTheMessage) {
    message(cist, 0x6F, -1);
    const tMstpPriorityVector before = cist->portPriority;

    mstpPortInformationOther(cist);

    EXPECT_EQ(cist->rcvdMsg, 0);
    EXPECT_EQ(state(cist), MSTP_PORT_INFORMATION_OTHER);
    EXPECT_EQ(cist->agreed, 0);
    EXPECT_EQ(cist->rcvdTc, 0);
    EXPECT_TRUE(sameVector(cist->portPriority, before));
    expectRolesKept(cist);
}

// ---- RECEIVE, CURRENT

TEST_F(PortInformation, ReceiveClassifiesTheMessage) {
    superior(cist);
    cist->rcvdInfo = MSTP_OTHER_INFO;

    mstpPortInformationReceive(cist);

    EXPECT_EQ(cist->rcvdInfo, MSTP_SUPERIOR_DESIGNATED_INFO);
    EXPECT_EQ(cist->rcvdMsg, 1);
    EXPECT_EQ(state(cist), MSTP_PORT_INFORMATION_RECEIVE);
}

TEST_F(PortInformation, ReceiveRecordsThatTheNeighbourIsAMasterPort) {
    message(msti, MSTP_FLAG_ROLE_DESIGNATED | MSTP_FLAG_MASTER, -1);
    msti->mastered = 0;

    mstpPortInformationReceive(msti);

    EXPECT_EQ(msti->mastered, 1);
}

TEST_F(PortInformation, CurrentTracesTheUnconditionalTransition) {
    setState(cist, MSTP_PORT_INFORMATION_OTHER);

    EXPECT_THAT(traced(MSTP_DEBUG_MACHINE, [&] { mstpPortInformationCurrent(cist); }),
                ElementsAre("UCT", TO_CURRENT));
    EXPECT_EQ(state(cist), CURRENT);
}

// ---- The machine: DISABLED and AGED

TEST_F(PortInformation, BeginForcesDisabled) {
    bridge.bridge->begin = 1;
    port->portEnabled = 0;
    cist->infoIs = MSTP_DISABLED;

    EXPECT_THAT(run(cist), ElementsAre(BANNER, DISABLE, TO_DISABLED));
    EXPECT_EQ(state(cist), DISABLED);
}

TEST_F(PortInformation, BeginDoesNotHoldTheMachine) {
    bridge.bridge->begin = 1;

    EXPECT_THAT(run(cist), ElementsAre(BANNER, DISABLE, TO_DISABLED, "portEnabled", TO_AGED));
    EXPECT_EQ(state(cist), AGED);
}

TEST_F(PortInformation, APortThatGoesDownForgetsItsInformation) {
    cist->infoIs = MSTP_RECEIVED;
    port->portEnabled = 0;

    EXPECT_THAT(run(cist), ElementsAre(BANNER, DISABLE, TO_DISABLED));
    EXPECT_EQ(state(cist), DISABLED);
    EXPECT_EQ(cist->infoIs, MSTP_DISABLED);
}

TEST_F(PortInformation, APortThatIsUpKeepsItsInformation) {
    cist->infoIs = MSTP_RECEIVED;
    cist->rcvdInfoWhile = 6;

    EXPECT_THAT(run(cist), ElementsAre(BANNER));
    EXPECT_EQ(state(cist), CURRENT);
}

TEST_F(PortInformation, APortThatIsDownAndDisabledRests) {
    port->portEnabled = 0;
    cist->infoIs = MSTP_DISABLED;
    setState(cist, DISABLED);

    EXPECT_THAT(run(cist), ElementsAre(BANNER));
    EXPECT_EQ(state(cist), DISABLED);
}

TEST_F(PortInformation, APortThatIsDownTakesOverNothing) {
    port->portEnabled = 0;
    cist->infoIs = MSTP_DISABLED;
    setState(cist, DISABLED);
    cist->updtInfo = 1;

    EXPECT_THAT(run(cist), ElementsAre(BANNER));
    EXPECT_EQ(cist->updtInfo, 1);
    EXPECT_EQ(cist->infoIs, MSTP_DISABLED);
}

TEST_F(PortInformation, APortThatWentDownAndComesUpBeforeTheNextRunIsAgedInTheSameRun) {
    cist->infoIs = MSTP_RECEIVED;
    port->portEnabled = 0;
    run(cist);
    port->portEnabled = 1;

    EXPECT_THAT(run(cist), ElementsAre(BANNER, "portEnabled", TO_AGED));
    EXPECT_EQ(state(cist), AGED);
    EXPECT_EQ(cist->infoIs, MSTP_AGED);
}

TEST_F(PortInformation, AMessageOnADisabledPortIsThrownAway) {
    port->portEnabled = 0;
    cist->infoIs = MSTP_DISABLED;
    setState(cist, DISABLED);
    superior(cist);

    EXPECT_THAT(run(cist), ElementsAre(BANNER, "rcvdMsg", TO_DISABLED));
    EXPECT_EQ(cist->rcvdMsg, 0);
}

TEST_F(PortInformation, AMessageFromBeforeThePortCameUpIsThrownAwayInTheSamePass) {
    cist->infoIs = MSTP_DISABLED;
    setState(cist, DISABLED);
    superior(cist);

    EXPECT_THAT(run(cist), ElementsAre(BANNER, "rcvdMsg", TO_DISABLED, "portEnabled", TO_AGED));
    EXPECT_EQ(cist->rcvdMsg, 0);
    EXPECT_EQ(state(cist), AGED);
}

TEST_F(PortInformation, AgedTakesOverTheOwnInformationOnceRolesAreSelected) {
    setState(cist, AGED);
    cist->updtInfo = 1;

    EXPECT_THAT(run(cist), ElementsAre(BANNER, UPDATE, TO_UPDATE, "UCT", TO_CURRENT));
    EXPECT_EQ(state(cist), CURRENT);
    EXPECT_EQ(cist->infoIs, MSTP_MINE);
}

TEST_F(PortInformation, AgedWaitsWhileRolesAreNotSelected) {
    setState(cist, AGED);
    cist->updtInfo = 1;
    cist->selected = 0;

    EXPECT_THAT(run(cist), ElementsAre(BANNER));
    EXPECT_EQ(state(cist), AGED);
}

TEST_F(PortInformation, AgedWaitsForInformationToTakeOver) {
    setState(cist, AGED);

    EXPECT_THAT(run(cist), ElementsAre(BANNER));
    EXPECT_EQ(state(cist), AGED);
}

TEST_F(PortInformation, AMessageWaitsWhileThePortIsAged) {
    setState(cist, AGED);
    superior(cist);

    EXPECT_THAT(run(cist), ElementsAre(BANNER));
    EXPECT_EQ(cist->rcvdMsg, 1);
}

// ---- The machine: UPDATE and aging in CURRENT

TEST_F(PortInformation, CurrentTakesOverTheOwnInformation) {
    cist->updtInfo = 1;

    EXPECT_THAT(run(cist), ElementsAre(BANNER, UPDATE, TO_UPDATE, "UCT", TO_CURRENT));
    EXPECT_EQ(cist->updtInfo, 0);
    EXPECT_EQ(port->newInfo, 1);
}

TEST_F(PortInformation, CurrentRestsWithNothingToTakeOver) {
    EXPECT_THAT(run(cist), ElementsAre(BANNER));
    EXPECT_EQ(port->newInfo, 0);
}

TEST_F(PortInformation, CurrentWaitsWhileRolesAreNotSelected) {
    cist->updtInfo = 1;
    cist->selected = 0;

    EXPECT_THAT(run(cist), ElementsAre(BANNER));
    EXPECT_EQ(cist->updtInfo, 1);
}

TEST_F(PortInformation, AMessageIsReadInTheSamePassAsTheUpdate) {
    superior(cist);
    cist->updtInfo = 1;
    cist->designatedPriority = cist->portPriority;

    EXPECT_THAT(run(cist), ElementsAre(BANNER, UPDATE, TO_UPDATE, "UCT", TO_CURRENT, RECEIVE,
                                       TO_RECEIVE, "rcvdInfo == SuperiorDesignatedInfo",
                                       "jump to SUPERIOR_DESIGNATED", "UCT", TO_CURRENT));
}

TEST_F(PortInformation, InformationThatIsNoLongerRepeatedIsAged) {
    cist->infoIs = MSTP_RECEIVED;

    EXPECT_THAT(run(cist), ElementsAre(BANNER, AGE, TO_AGED));
    EXPECT_EQ(state(cist), AGED);
    EXPECT_EQ(cist->infoIs, MSTP_AGED);
    expectRolesWanted(cist);
}

TEST_F(PortInformation, TheOwnInformationIsNotAged) {
    EXPECT_THAT(run(cist), ElementsAre(BANNER));
    EXPECT_EQ(cist->infoIs, MSTP_MINE);
}

TEST_F(PortInformation, InformationIsNotAgedWhileItsTimerRuns) {
    cist->infoIs = MSTP_RECEIVED;
    cist->rcvdInfoWhile = 1;

    EXPECT_THAT(run(cist), ElementsAre(BANNER));
    EXPECT_EQ(state(cist), CURRENT);
}

TEST_F(PortInformation, InformationIsNotAgedWhileTheOwnWaitsToBeTakenOver) {
    cist->infoIs = MSTP_RECEIVED;
    cist->updtInfo = 1;
    cist->selected = 0;

    EXPECT_THAT(run(cist), ElementsAre(BANNER));
    EXPECT_EQ(state(cist), CURRENT);
}

TEST_F(PortInformation, InformationThatRunsOutWhileAMessageIsPendingIsNotAged) {
    repeated(cist);
    cist->rcvdInfoWhile = 0;

    EXPECT_THAT(run(cist),
                ElementsAre(BANNER, RECEIVE, TO_RECEIVE, "rcvdInfo == RepeatedDesignatedInfo",
                            "jump to REPEATED_DESIGNATED", "UCT", TO_CURRENT));
    EXPECT_EQ(state(cist), CURRENT);
    EXPECT_EQ(cist->infoIs, MSTP_RECEIVED);
}

TEST_F(PortInformation, InformationThatIsTooOldWhenItArrivesIsAgedInTheNextPass) {
    superior(cist);
    cist->msgTimes.messageAge = cist->msgTimes.maxAge;

    EXPECT_THAT(run(cist),
                ElementsAre(BANNER, RECEIVE, TO_RECEIVE, "rcvdInfo == SuperiorDesignatedInfo",
                            "jump to SUPERIOR_DESIGNATED", "UCT", TO_CURRENT, AGE, TO_AGED));
}

// ---- The machine: messages

TEST_F(PortInformation, AMessageWaitsWhileTheOwnInformationWaitsToBeTakenOver) {
    superior(cist);
    cist->updtInfo = 1;
    cist->selected = 0;

    EXPECT_THAT(run(cist), ElementsAre(BANNER));
    EXPECT_EQ(cist->rcvdMsg, 1);
}

TEST_F(PortInformation, SuperiorInformationIsRecorded) {
    superior(cist);

    EXPECT_THAT(run(cist),
                ElementsAre(BANNER, RECEIVE, TO_RECEIVE, "rcvdInfo == SuperiorDesignatedInfo",
                            "jump to SUPERIOR_DESIGNATED", "UCT", TO_CURRENT));
    EXPECT_EQ(state(cist), CURRENT);
    EXPECT_TRUE(sameVector(cist->portPriority, cist->msgPriority));
}

TEST_F(PortInformation, RepeatedInformationIsKept) {
    repeated(cist);

    EXPECT_THAT(run(cist),
                ElementsAre(BANNER, RECEIVE, TO_RECEIVE, "rcvdInfo == RepeatedDesignatedInfo",
                            "jump to REPEATED_DESIGNATED", "UCT", TO_CURRENT));
    EXPECT_EQ(state(cist), CURRENT);
    expectRolesKept(cist);
}

TEST_F(PortInformation, InferiorDesignatedInformationIsDisputed) {
    message(cist, MSTP_FLAG_ROLE_DESIGNATED | MSTP_FLAG_LEARNING, 1);

    EXPECT_THAT(run(cist),
                ElementsAre(BANNER, RECEIVE, TO_RECEIVE, "rcvdInfo == InferiorDesignatedInfo",
                            "jump to INFERIOR_DESIGNATED", "UCT", TO_CURRENT));
    EXPECT_EQ(state(cist), CURRENT);
    EXPECT_EQ(cist->disputed, 1);
}

TEST_F(PortInformation, InformationOfARootPortIsReadForItsAgreement) {
    message(cist, MSTP_FLAG_ROLE_ROOT | MSTP_FLAG_AGREEMENT, 1);
    cist->agreed = 0;

    EXPECT_THAT(run(cist),
                ElementsAre(BANNER, RECEIVE, TO_RECEIVE, "rcvdInfo == InferiorRootAlternateInfo",
                            "jump to NOT DESIGNATED", "UCT", TO_CURRENT));
    EXPECT_EQ(state(cist), CURRENT);
    EXPECT_EQ(cist->agreed, 1);
}

TEST_F(PortInformation, OtherInformationIsDropped) {
    other(cist);

    EXPECT_THAT(run(cist), ElementsAre(BANNER, RECEIVE, TO_RECEIVE, "rcvdInfo == OtherInfo",
                                       "jump to OTHER", "UCT", TO_CURRENT));
    EXPECT_EQ(state(cist), CURRENT);
    EXPECT_EQ(cist->rcvdMsg, 0);
}

TEST_F(PortInformation, AnMstiIsNamedInTheTrace) {
    EXPECT_THAT(run(msti), ElementsAre(MSTI_BANNER));
}

TEST_F(PortInformation, TheMachineTracesUnderItsBitOnly) {
    other(cist);

    EXPECT_THAT(traced(~static_cast<uint32_t>(MSTP_DEBUG_MACHINE | MSTP_DEBUG_ACTIVITY),
                       [&] { mstpPortInformationFSM(cist); }),
                IsEmpty());
}

// ---- Inferior information on a point-to-point link

class PortInformationPointToPoint : public PortInformation {
  protected:
    PortInformationPointToPoint() : neighbour(bridge.xstPort(1, addPort(2)->unit)) {
        port->adminPointToPointMAC = 1;
        port->operPointToPointMAC = 1;
        atRest(msti);
        neighbour->pathCost = OLD;
        msti->pathCost = OLD;
    }

    static constexpr uint32_t OLD = 123456789; // a cost that initialisation replaces

    // Runs the machine on the instance 1 record and tells what was set afresh.
    void expectAfresh(bool thisRecord, bool wholeInstance) {
        const std::vector<std::string> lines = run(msti);
        EXPECT_EQ(msti->pathCost != OLD, thisRecord);
        EXPECT_EQ(neighbour->pathCost != OLD, wholeInstance);
        EXPECT_EQ(std::count(lines.begin(), lines.end(), TO_CURRENT) == 0, thisRecord);
    }

    tMstpXstPort* neighbour; // the instance's record on port 2
};

TEST_F(PortInformationPointToPoint, ARootPortThatReceivesInferiorDesignatedInfoResetsItsInstance) {
    msti->role = MSTP_ROOT_PORT;
    inferiorDesignated(msti);
    expectAfresh(true, true);
}

TEST_F(PortInformationPointToPoint, ARootPortThatHearsAnotherRootPortResetsItsInstance) {
    msti->role = MSTP_ROOT_PORT;
    inferiorRootAlternate(msti);
    expectAfresh(true, true);
}

TEST_F(PortInformationPointToPoint, ARootPortThatReceivesOtherInfoResetsItsInstance) {
    msti->role = MSTP_ROOT_PORT;
    other(msti);
    expectAfresh(true, true);
}

TEST_F(PortInformationPointToPoint, ARootPortThatReceivesSuperiorInfoKeepsItsInstance) {
    msti->role = MSTP_ROOT_PORT;
    superior(msti);
    expectAfresh(false, false);
}

TEST_F(PortInformationPointToPoint, ARootPortThatReceivesRepeatedInfoKeepsItsInstance) {
    msti->role = MSTP_ROOT_PORT;
    repeated(msti);
    expectAfresh(false, false);
}

TEST_F(PortInformationPointToPoint, TheResetConcernsNoOtherInstance) {
    msti->role = MSTP_ROOT_PORT;
    cist->pathCost = OLD;
    inferiorDesignated(msti);
    run(msti);
    EXPECT_EQ(cist->pathCost, OLD);
}

TEST_F(PortInformationPointToPoint, AnAlternatePortThatReceivesInferiorDesignatedInfoStartsAfresh) {
    msti->role = MSTP_ALTERNATE_PORT;
    inferiorDesignated(msti);
    expectAfresh(true, false);
}

TEST_F(PortInformationPointToPoint, AnAlternatePortThatHearsARootPortStartsAfresh) {
    msti->role = MSTP_ALTERNATE_PORT;
    inferiorRootAlternate(msti);
    expectAfresh(true, false);
}

TEST_F(PortInformationPointToPoint, AnAlternatePortThatReceivesOtherInfoStartsAfresh) {
    msti->role = MSTP_ALTERNATE_PORT;
    other(msti);
    expectAfresh(true, false);
}

TEST_F(PortInformationPointToPoint, AnAlternatePortThatReceivesSuperiorInfoDoesNotStartAfresh) {
    msti->role = MSTP_ALTERNATE_PORT;
    superior(msti);
    expectAfresh(false, false);
}

TEST_F(PortInformationPointToPoint, AnAlternatePortThatReceivesRepeatedInfoDoesNotStartAfresh) {
    msti->role = MSTP_ALTERNATE_PORT;
    repeated(msti);
    expectAfresh(false, false);
}

TEST_F(PortInformationPointToPoint, PortsOfOtherRolesReadInferiorInfoAsUsual) {
    for (uint8_t role :
         {MSTP_DISABLED_PORT, MSTP_BACKUP_PORT, MSTP_DESIGNATED_PORT, MSTP_MASTER_PORT}) {
        msti->role = role;
        inferiorDesignated(msti);
        expectAfresh(false, false);
    }
}

TEST_F(PortInformationPointToPoint, OnASharedLinkInferiorInfoIsReadAsUsual) {
    for (uint8_t role : {MSTP_ROOT_PORT, MSTP_ALTERNATE_PORT}) {
        msti->role = role;
        port->adminPointToPointMAC = 1;
        port->operPointToPointMAC = 0;
        inferiorDesignated(msti);
        expectAfresh(false, false);
    }
}

TEST_F(PortInformationPointToPoint, OnALinkNotDeclaredPointToPointInferiorInfoIsReadAsUsual) {
    for (uint8_t role : {MSTP_ROOT_PORT, MSTP_ALTERNATE_PORT}) {
        msti->role = role;
        port->adminPointToPointMAC = 0;
        port->operPointToPointMAC = 1;
        inferiorDesignated(msti);
        expectAfresh(false, false);
    }
}

TEST_F(PortInformationPointToPoint, ARunThatSetAfreshTracesNothingMoreOfTheMessage) {
    msti->role = MSTP_ALTERNATE_PORT;
    inferiorDesignated(msti);
    const std::vector<std::string> lines = run(msti);
    ASSERT_GE(lines.size(), 3U);
    EXPECT_EQ(std::vector<std::string>(lines.begin(), lines.begin() + 3),
              (std::vector<std::string>{MSTI_BANNER, RECEIVE, TO_RECEIVE}));
    EXPECT_THAT(lines, Not(Contains("rcvdInfo == InferiorDesignatedInfo")));
    EXPECT_EQ(state(msti), DISABLED);
}

// ---- Loop protection

const char* const LOOP_TEXT =
    "loop protection,instance 1 port port1 aged and change to designated,set discard";

class PortInformationLoopProtection : public PortInformation {
  protected:
    // An alternate port whose neighbour has fallen silent.
    PortInformationLoopProtection() {
        bridge.bridge->loopProtection = 1;
        bridge.bridge->loopHoldTime = 30;
        msti->role = MSTP_ALTERNATE_PORT;
        msti->infoIs = MSTP_RECEIVED;
        msti->hwState = MSTP_PORT_STATE_FORWARDING;
    }

    void expectHeld(bool held) {
        const std::vector<std::string> lines = traced(0, [&] { mstpPortInformationFSM(msti); });
        EXPECT_EQ(state(msti), AGED);
        EXPECT_EQ(lines, held ? std::vector<std::string>{LOOP_TEXT} : std::vector<std::string>{});
        EXPECT_EQ(msti->hwState, held ? MSTP_PORT_STATE_DISCARDING : MSTP_PORT_STATE_FORWARDING);
        EXPECT_EQ(timerRemain(&msti->loopHoldTimer), held ? 3000 : 0);
    }
};

TEST_F(PortInformationLoopProtection, AnAlternatePortThatHearsNothingMoreIsHeldDiscarding) {
    expectHeld(true);
}

TEST_F(PortInformationLoopProtection, ARootPortThatHearsNothingMoreIsHeldDiscarding) {
    msti->role = MSTP_ROOT_PORT;
    expectHeld(true);
}

TEST_F(PortInformationLoopProtection, ABackupPortThatHearsNothingMoreIsHeldDiscarding) {
    msti->role = MSTP_BACKUP_PORT;
    expectHeld(true);
}

TEST_F(PortInformationLoopProtection, ADesignatedPortWhoseInformationAgesIsNotTouched) {
    msti->role = MSTP_DESIGNATED_PORT;
    expectHeld(false);
}

TEST_F(PortInformationLoopProtection, AMasterPortWhoseInformationAgesIsNotTouched) {
    msti->role = MSTP_MASTER_PORT;
    expectHeld(false);
}

TEST_F(PortInformationLoopProtection, ADisabledPortWhoseInformationAgesIsNotTouched) {
    msti->role = MSTP_DISABLED_PORT;
    expectHeld(false);
}

TEST_F(PortInformationLoopProtection, WithoutLoopProtectionNoPortIsHeld) {
    bridge.bridge->loopProtection = 0;
    expectHeld(false);
}

TEST_F(PortInformationLoopProtection, APortThatComesUpIsNotHeld) {
    setState(msti, DISABLED);
    msti->infoIs = MSTP_DISABLED;
    expectHeld(false);
}

TEST_F(PortInformationLoopProtection, TheReportFollowsTheTransition) {
    EXPECT_THAT(run(msti), ElementsAre(MSTI_BANNER, AGE, TO_AGED, LOOP_TEXT));
}

TEST_F(PortInformationLoopProtection, TheHoldEndsWithForwarding) {
    expectHeld(true);
    bridge.advance(2999);
    EXPECT_EQ(msti->hwState, MSTP_PORT_STATE_DISCARDING);
    bridge.advance(1);
    EXPECT_EQ(msti->hwState, MSTP_PORT_STATE_FORWARDING);
}

TEST_F(PortInformationLoopProtection, AHoldThatRunsStartsAgain) {
    expectHeld(true);
    bridge.advance(1000);
    setState(msti, CURRENT);
    msti->infoIs = MSTP_RECEIVED;
    msti->hwState = MSTP_PORT_STATE_FORWARDING;
    expectHeld(true);
}

TEST_F(PortInformationLoopProtection, AHoldTimeThatNobodySetHoldsUntilManagementReleasesThePort) {
    bridge.bridge->loopHoldTime = -1;
    run(msti);
    EXPECT_EQ(timerRemain(&msti->loopHoldTimer), -100);
    bridge.advance(100 * 3600 * 24);
    EXPECT_NE(mstpRemain(&msti->loopHoldTimer), 0);
    EXPECT_EQ(msti->hwState, MSTP_PORT_STATE_DISCARDING);
}

// ---- Root protection

const char* const ROOT_TEXT = "root protection,instance 1 recv unexpect bpdu,set port port1 learn";

class PortInformationRootProtection : public PortInformation {
  protected:
    PortInformationRootProtection() {
        msti->xst->rootProtection = 1;
        msti->hwState = MSTP_PORT_STATE_FORWARDING;
        cist->designatedTimes.helloTime = 2;
        msti->designatedTimes.helloTime = 9; // never looked at
    }

    static constexpr uint32_t HOLD_OFF = 600; // ticks

    // What a run prints while no debug bit is set.
    std::vector<std::string> report() {
        return traced(0, [&] { mstpPortInformationFSM(msti); });
    }

    void expectRefused(bool refused) {
        report();
        EXPECT_EQ(timerRemain(&msti->rootHoldoffTimer), refused ? HOLD_OFF : 0);
        EXPECT_EQ(msti->hwState, refused ? MSTP_PORT_STATE_LEARNING : MSTP_PORT_STATE_FORWARDING);
        EXPECT_EQ(msti->rcvdMsg, 0);
        EXPECT_EQ(state(msti), CURRENT);
    }
};

TEST_F(PortInformationRootProtection, TheFirstSuperiorBpduSetsThePortToLearning) {
    superior(msti);
    EXPECT_THAT(report(), ElementsAre(ROOT_TEXT));
    EXPECT_EQ(msti->hwState, MSTP_PORT_STATE_LEARNING);
}

TEST_F(PortInformationRootProtection, ASuperiorBpduIsIgnored) {
    superior(msti);
    const tMstpPriorityVector before = msti->portPriority;

    expectRefused(true);

    EXPECT_TRUE(sameVector(msti->portPriority, before));
    EXPECT_EQ(msti->infoIs, MSTP_MINE);
    expectRolesKept(msti);
}

TEST_F(PortInformationRootProtection, RepeatedInformationIsRefusedAsWell) {
    repeated(msti);
    expectRefused(true);
}

TEST_F(PortInformationRootProtection, InferiorInformationIsReadAsUsual) {
    inferiorDesignated(msti);
    expectRefused(false);
    inferiorRootAlternate(msti);
    expectRefused(false);
    other(msti);
    expectRefused(false);
}

TEST_F(PortInformationRootProtection, AnInstanceWithoutItTakesSuperiorInformation) {
    msti->xst->rootProtection = 0;
    superior(msti);
    expectRefused(false);
    EXPECT_TRUE(sameVector(msti->portPriority, msti->msgPriority));
}

TEST_F(PortInformationRootProtection, OtherInstancesTakeSuperiorInformation) {
    superior(cist);
    mstpPortInformationFSM(cist);
    EXPECT_TRUE(sameVector(cist->portPriority, cist->msgPriority));
}

TEST_F(PortInformationRootProtection, OtherIsEnteredWithoutATraceOfItsOwn) {
    superior(msti);
    EXPECT_THAT(run(msti),
                ElementsAre(MSTI_BANNER, RECEIVE, TO_RECEIVE, ROOT_TEXT, "UCT", TO_CURRENT));
}

TEST_F(PortInformationRootProtection, TheMachineEndsAfterARefusal) {
    repeated(msti);
    msti->rcvdInfoWhile = 0; // the next pass would age the information

    report();

    EXPECT_EQ(state(msti), CURRENT);
    EXPECT_EQ(msti->infoIs, MSTP_RECEIVED);
}

TEST_F(PortInformationRootProtection, FurtherSuperiorBpdusOnlyRestartTheHoldOff) {
    superior(msti);
    report();
    bridge.advance(300);
    msti->hwState = MSTP_PORT_STATE_DISCARDING; // would become learning
    superior(msti);

    EXPECT_THAT(report(), IsEmpty());
    EXPECT_EQ(msti->hwState, MSTP_PORT_STATE_DISCARDING);
    EXPECT_EQ(timerRemain(&msti->rootHoldoffTimer), HOLD_OFF);
}

TEST_F(PortInformationRootProtection, AHoldOffWithLessThanASecondLeftCountsAsOver) {
    superior(msti);
    report();
    bridge.advance(501);
    superior(msti);

    EXPECT_THAT(report(), ElementsAre(ROOT_TEXT));
}

TEST_F(PortInformationRootProtection, ThePortForwardsAgainThreeHelloTimesAfterTheLastSuperiorBpdu) {
    superior(msti);
    report();
    bridge.advance(300);
    superior(msti);
    report();

    bridge.advance(HOLD_OFF - 1);
    EXPECT_EQ(msti->hwState, MSTP_PORT_STATE_LEARNING);
    bridge.advance(1);
    EXPECT_EQ(msti->hwState, MSTP_PORT_STATE_FORWARDING);
}

TEST_F(PortInformationRootProtection, ARootPortThatReceivesInferiorInfoIsResetAllTheSame) {
    port->adminPointToPointMAC = 1;
    port->operPointToPointMAC = 1;
    msti->role = MSTP_ROOT_PORT;
    inferiorDesignated(msti);
    report();
    EXPECT_EQ(state(msti), DISABLED);
}

} // namespace
