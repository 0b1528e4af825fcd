// Receive procedures: what a port adopts from the message that it heard.

#include "mstp_state_machine_procedures.h"
#include "receive_record_test.h"

using testing::Each;
using testing::ElementsAre;

namespace {

class Record : public ReceiveRecordTest {};

// ---- Priority

TEST_F(Record, PriorityIsTakenWholeWithItsReceivingPort) {
    uint8_t bytes[sizeof(tMstpPriorityVector)];
    for (uint8_t i = 0; i < sizeof bytes; i++) {
        bytes[i] = static_cast<uint8_t>(i + 1);
    }
    memcpy(&msti1->msgPriority, bytes, sizeof bytes);
    recordPriority(msti1);
    EXPECT_EQ(memcmp(&msti1->portPriority, bytes, sizeof bytes), 0);
}

TEST_F(Record, PriorityTouchesNothingElse) {
    memset(&msti1->msgPriority, 0x11, sizeof msti1->msgPriority);
    tMstpXstPort expected = *msti1;
    expected.portPriority = expected.msgPriority;
    recordPriority(msti1);
    EXPECT_EQ(bytesOf(*msti1), bytesOf(expected));
}

// ---- Times

const tMstpTime HEARD = {1, 2, 3, 4, 5, {6, 7, 8}};
const tMstpTime HELD = {11, 12, 13, 14, 15, {16, 17, 18}};

std::vector<int> valuesOf(const tMstpTime& time) {
    return {time.messageAge, time.maxAge, time.forwardDelay, time.helloTime, time.remainingHops};
}

TEST_F(Record, CistTakesAllFiveTimes) {
    cist->msgTimes = HEARD;
    cist->portTimes = HELD;
    recordTimes(cist);
    EXPECT_THAT(valuesOf(cist->portTimes), ElementsAre(1, 2, 3, 4, 5));
}

TEST_F(Record, CistTakesAHelloTimeOfZeroAsOneSecond) {
    cist->msgTimes = HEARD;
    cist->msgTimes.helloTime = 0;
    recordTimes(cist);
    EXPECT_EQ(cist->portTimes.helloTime, 1);
}

TEST_F(Record, CistTakesAHelloTimeOfOneAsItIs) {
    cist->msgTimes = HEARD;
    cist->msgTimes.helloTime = 1;
    recordTimes(cist);
    EXPECT_EQ(cist->portTimes.helloTime, 1);
}

TEST_F(Record, MstiTakesOnlyMessageAgeAndHops) {
    msti1->msgTimes = HEARD;
    msti1->portTimes = HELD;
    recordTimes(msti1);
    EXPECT_THAT(valuesOf(msti1->portTimes), ElementsAre(1, 12, 13, 14, 5));
}

TEST_F(Record, MstiKeepsItsHelloTimeWhenZeroIsHeard) {
    msti1->msgTimes = HEARD;
    msti1->msgTimes.helloTime = 0;
    msti1->portTimes = HELD;
    recordTimes(msti1);
    EXPECT_EQ(msti1->portTimes.helloTime, 14);
}

TEST_F(Record, ReservedBytesOfTheTimesStayAsTheyWere) {
    for (tMstpXstPort* xstPort : {cist, msti1}) {
        xstPort->msgTimes = HEARD;
        xstPort->portTimes = HELD;
        recordTimes(xstPort);
        EXPECT_THAT(xstPort->portTimes.reserved, ElementsAre(16, 17, 18));
    }
}

// ---- Proposal

constexpr uint8_t PROPOSAL = MSTP_FLAG_ROLE_DESIGNATED | MSTP_FLAG_PROPOSAL;

TEST_F(Record, ProposalOfADesignatedPortIsTaken) {
    hear(msti1, PROPOSAL);
    recordProposal(msti1);
    EXPECT_THAT(all(&tMstpXstPort::proposed), ElementsAre(0, 1, 0));
}

TEST_F(Record, ProposalWithoutTheDesignatedRoleIsNotTaken) {
    for (const uint8_t role :
         {uint8_t{0}, uint8_t{MSTP_FLAG_ROLE_ROOT}, uint8_t{MSTP_FLAG_ROLE_ALTERNATE_BACKUP}}) {
        hear(msti1, static_cast<uint8_t>(role | MSTP_FLAG_PROPOSAL));
        recordProposal(msti1);
        EXPECT_EQ(msti1->proposed, 0) << int{role};
    }
}

TEST_F(Record, DesignatedPortThatProposesNothingProposesNothing) {
    hear(msti1, static_cast<uint8_t>(~MSTP_FLAG_PROPOSAL));
    recordProposal(msti1);
    EXPECT_EQ(msti1->proposed, 0);
}

TEST_F(Record, EarlierProposalStaysWithoutANewOne) {
    msti1->proposed = 1;
    hear(msti1, 0);
    recordProposal(msti1);
    EXPECT_EQ(msti1->proposed, 1);
}

TEST_F(Record, CistsProposalFromOutsideGoesToEveryMstiOfThePort) {
    hear(cist, PROPOSAL);
    recordProposal(cist);
    EXPECT_THAT(all(&tMstpXstPort::proposed), Each(1));
    EXPECT_THAT(allOfOther(&tMstpXstPort::proposed), Each(0));
}

TEST_F(Record, CistWithoutAProposalFromOutsideTakesItFromEveryMsti) {
    msti1->proposed = msti2->proposed = 1;
    hear(cist, 0);
    recordProposal(cist);
    EXPECT_THAT(all(&tMstpXstPort::proposed), Each(0));
}

TEST_F(Record, EarlierProposalOfTheCistGoesToEveryMstiToo) {
    cist->proposed = 1;
    hear(cist, 0);
    recordProposal(cist);
    EXPECT_THAT(all(&tMstpXstPort::proposed), Each(1));
}

TEST_F(Record, CistsProposalFromInsideStaysWithTheCist) {
    port->rcvdInternal = 1;
    msti2->proposed = 1;
    hear(cist, PROPOSAL);
    recordProposal(cist);
    EXPECT_THAT(all(&tMstpXstPort::proposed), ElementsAre(1, 0, 1));
}

TEST_F(Record, ProposalOfAnMstiStaysWithItWhereverItComesFrom) {
    hear(msti1, PROPOSAL);
    recordProposal(msti1);
    EXPECT_THAT(all(&tMstpXstPort::proposed), ElementsAre(0, 1, 0));
    port->rcvdInternal = 1;
    hear(msti2, PROPOSAL);
    recordProposal(msti2);
    EXPECT_THAT(all(&tMstpXstPort::proposed), ElementsAre(0, 1, 1));
}

} // namespace
