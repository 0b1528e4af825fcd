// Receive procedures: how long received information lives, which of two is better, and the port's
// summary of its messages.

#include "mstp_state_machine_procedures.h"
#include "receive_record_test.h"

using testing::Each;
using testing::ElementsAre;

namespace {

// ---- rcvdInfoWhile

class UpdtRcvdInfoWhile : public ReceiveRecordTest {
  protected:
    UpdtRcvdInfoWhile() {
        cist->portTimes = {1, 20, 15, 2, 19, {0, 0, 0}};
        msti1->portTimes = {30, 20, 15, 9, 18, {0, 0, 0}};
        cist->rcvdInfoWhile = msti1->rcvdInfoWhile = 77;
    }

    // @p xstPort's counter is 0 and its node does not run.
    static void expectCleared(tMstpXstPort* xstPort) {
        updtRcvdInfoWhile(xstPort);
        EXPECT_EQ(xstPort->rcvdInfoWhile, 0);
        EXPECT_FALSE(listLinked(&xstPort->rcvdInfoWhileTimer.node));
    }

    static uint8_t seconds(tMstpXstPort* xstPort) {
        updtRcvdInfoWhile(xstPort);
        EXPECT_EQ(timerRemain(&xstPort->rcvdInfoWhileTimer), xstPort->rcvdInfoWhile * 100);
        return xstPort->rcvdInfoWhile;
    }

    void arm(tMstpXstPort* xstPort) {
        mstpLoadCounter(bridge.bridge, &xstPort->rcvdInfoWhile, &xstPort->rcvdInfoWhileTimer, 50,
                        MSTP_EVENT_FSM);
    }
};

TEST_F(UpdtRcvdInfoWhile, InformationLivesThreeHelloTimesAndThenTheMachinesRun) {
    updtRcvdInfoWhile(cist);
    expectLoaded(bridge, cist->rcvdInfoWhile, cist->rcvdInfoWhileTimer, 6, MSTP_EVENT_FSM);
}

TEST_F(UpdtRcvdInfoWhile, InformationOfAnMstiPostsTheMachinesToo) {
    updtRcvdInfoWhile(msti1);
    expectLoaded(bridge, msti1->rcvdInfoWhile, msti1->rcvdInfoWhileTimer, 6, MSTP_EVENT_FSM);
}

TEST_F(UpdtRcvdInfoWhile, HelloTimeIsThatOfTheCistForEveryInstance) {
    cist->portTimes.helloTime = 4;
    EXPECT_EQ(seconds(msti1), 12);
    port->rcvdInternal = 1;
    EXPECT_EQ(seconds(msti1), 12);
    EXPECT_EQ(seconds(cist), 12);
}

TEST_F(UpdtRcvdInfoWhile, NewInformationRestartsTheFullTime) {
    updtRcvdInfoWhile(cist);
    bridge.advance(599);
    EXPECT_EQ(seconds(cist), 6);
}

TEST_F(UpdtRcvdInfoWhile, TimeIsKeptToEightBits) {
    cist->portTimes.helloTime = 86;
    EXPECT_EQ(seconds(cist), 2);
    cist->portTimes.helloTime = 85;
    EXPECT_EQ(seconds(cist), 255);
}

TEST_F(UpdtRcvdInfoWhile, HelloTimeOfZeroStopsTheTimer) {
    cist->portTimes.helloTime = 0;
    arm(cist);
    expectCleared(cist);
}

TEST_F(UpdtRcvdInfoWhile, OutsideInformationLivesUntilItsAgePlusOneIsItsMaximum) {
    cist->portTimes.messageAge = 19;
    EXPECT_EQ(seconds(cist), 6);
}

TEST_F(UpdtRcvdInfoWhile, OutsideInformationThatReachedItsMaximumAgeEnds) {
    cist->portTimes.messageAge = 20;
    arm(cist);
    expectCleared(cist);
}

TEST_F(UpdtRcvdInfoWhile, OldestAgeDoesNotWrapAround) {
    cist->portTimes.messageAge = 255;
    cist->portTimes.maxAge = 255;
    arm(cist);
    expectCleared(cist);
}

TEST_F(UpdtRcvdInfoWhile, OutsideInformationOfAnMstiAgesWithThatOfTheCist) {
    EXPECT_EQ(seconds(msti1), 6);
    cist->portTimes.messageAge = 20;
    msti1->portTimes.messageAge = 0;
    arm(msti1);
    expectCleared(msti1);
}

TEST_F(UpdtRcvdInfoWhile, OutsideInformationDoesNotCountHops) {
    cist->portTimes.remainingHops = 1;
    msti1->portTimes.remainingHops = 1;
    EXPECT_EQ(seconds(cist), 6);
    EXPECT_EQ(seconds(msti1), 6);
}

TEST_F(UpdtRcvdInfoWhile, InsideInformationDoesNotAge) {
    port->rcvdInternal = 1;
    cist->portTimes.messageAge = 20;
    EXPECT_EQ(seconds(cist), 6);
    EXPECT_EQ(seconds(msti1), 6);
}

TEST_F(UpdtRcvdInfoWhile, InsideInformationEndsOnItsLastHop) {
    port->rcvdInternal = 1;
    cist->portTimes.remainingHops = 1;
    arm(cist);
    expectCleared(cist);
}

TEST_F(UpdtRcvdInfoWhile, InsideInformationWithTwoHopsLives) {
    port->rcvdInternal = 1;
    cist->portTimes.remainingHops = 2;
    EXPECT_EQ(seconds(cist), 6);
}

TEST_F(UpdtRcvdInfoWhile, InsideInformationWithZeroHopsLivesTheFullTime) {
    port->rcvdInternal = 1;
    cist->portTimes.remainingHops = 0;
    EXPECT_EQ(seconds(cist), 6);
}

TEST_F(UpdtRcvdInfoWhile, HopsAreThoseOfTheInstanceItself) {
    port->rcvdInternal = 1;
    cist->portTimes.remainingHops = 1;
    EXPECT_EQ(seconds(msti1), 6);
    cist->portTimes.remainingHops = 19;
    msti1->portTimes.remainingHops = 1;
    arm(msti1);
    expectCleared(msti1);
}

// ---- betterorsameInfo

class BetterOrSameInfo : public ReceiveRecordTest {
  protected:
    BetterOrSameInfo() {
        cist->portPriority = {};
        cist->portPriority.extRootPathCost = 1000;
        cist->msgPriority = cist->designatedPriority = cist->portPriority;
    }

    // The answer for a vector whose external cost is @p cost, the port's being 1000. The other
    // vector says the opposite.
    uint8_t answer(uint8_t newInfoIs, uint32_t cost) {
        const bool message = newInfoIs == MSTP_RECEIVED;
        cist->infoIs = newInfoIs;
        cist->msgPriority.extRootPathCost = message ? cost : 2000 - cost;
        cist->designatedPriority.extRootPathCost = message ? 2000 - cost : cost;
        return betterorsameInfo(cist, newInfoIs);
    }
};

TEST_F(BetterOrSameInfo, ReceivedInformationComparesTheMessage) {
    EXPECT_EQ(answer(MSTP_RECEIVED, 999), 1);
    EXPECT_EQ(answer(MSTP_RECEIVED, 1000), 1);
    EXPECT_EQ(answer(MSTP_RECEIVED, 1001), 0);
}

TEST_F(BetterOrSameInfo, OwnInformationComparesTheDesignatedVector) {
    EXPECT_EQ(answer(MSTP_MINE, 999), 1);
    EXPECT_EQ(answer(MSTP_MINE, 1000), 1);
    EXPECT_EQ(answer(MSTP_MINE, 1001), 0);
}

TEST_F(BetterOrSameInfo, ReceivedIsNotAskedOfAPortThatHoldsOther) {
    for (const uint8_t infoIs : {uint8_t{MSTP_DISABLED}, uint8_t{MSTP_MINE}, uint8_t{MSTP_AGED}}) {
        cist->infoIs = infoIs;
        EXPECT_EQ(betterorsameInfo(cist, MSTP_RECEIVED), 0) << int{infoIs};
    }
}

TEST_F(BetterOrSameInfo, OwnIsNotAskedOfAPortThatHoldsOther) {
    for (const uint8_t infoIs :
         {uint8_t{MSTP_DISABLED}, uint8_t{MSTP_RECEIVED}, uint8_t{MSTP_AGED}}) {
        cist->infoIs = infoIs;
        EXPECT_EQ(betterorsameInfo(cist, MSTP_MINE), 0) << int{infoIs};
    }
}

TEST_F(BetterOrSameInfo, OtherKindsAreNeverBetter) {
    for (const uint8_t kind : {uint8_t{MSTP_DISABLED}, uint8_t{MSTP_AGED}, uint8_t{4}}) {
        cist->infoIs = kind;
        EXPECT_EQ(betterorsameInfo(cist, kind), 0) << int{kind};
    }
}

TEST_F(BetterOrSameInfo, VectorThatDiffersOnlyInReceivingPortFollowsThatDifference) {
    cist->portPriority.rcvPortId.portNumberL = 5;
    for (const uint8_t kind : {uint8_t{MSTP_RECEIVED}, uint8_t{MSTP_MINE}}) {
        cist->infoIs = kind;
        cist->msgPriority.rcvPortId.portNumberL = 4;
        cist->designatedPriority.rcvPortId.portNumberL = 4;
        EXPECT_EQ(betterorsameInfo(cist, kind), 1) << int{kind};
        cist->msgPriority.rcvPortId.portNumberL = 6;
        cist->designatedPriority.rcvPortId.portNumberL = 6;
        EXPECT_EQ(betterorsameInfo(cist, kind), 0) << int{kind};
    }
}

// ---- Summary of the messages

class RcvdMessages : public ReceiveRecordTest {
  protected:
    // rcvdAnyMsg, rcvdCistMsg and rcvdMstiMsg for messages as given.
    std::vector<int> summary(uint8_t onCist, uint8_t onMsti1, uint8_t onMsti2, uint8_t before) {
        cist->rcvdMsg = onCist;
        msti1->rcvdMsg = onMsti1;
        msti2->rcvdMsg = onMsti2;
        port->rcvdAnyMsg = port->rcvdCistMsg = port->rcvdMstiMsg = before;
        updtRcvdAnyMsg(port);
        return {port->rcvdAnyMsg, port->rcvdCistMsg, port->rcvdMstiMsg};
    }
};

TEST_F(RcvdMessages, SummaryOfNoMessageIsEmpty) {
    EXPECT_THAT(summary(0, 0, 0, 1), ElementsAre(0, 0, 0));
}

TEST_F(RcvdMessages, MessageOfTheCistIsSummedUpAsSuch) {
    EXPECT_THAT(summary(1, 0, 0, 0), ElementsAre(1, 1, 0));
    EXPECT_THAT(summary(1, 0, 0, 1), ElementsAre(1, 1, 0));
}

TEST_F(RcvdMessages, MessageOfAnyMstiIsSummedUpAsSuch) {
    EXPECT_THAT(summary(0, 1, 0, 0), ElementsAre(1, 0, 1));
    EXPECT_THAT(summary(0, 0, 1, 1), ElementsAre(1, 0, 1));
}

TEST_F(RcvdMessages, MessagesOfBothAreSummedUpTogether) {
    EXPECT_THAT(summary(1, 0, 1, 0), ElementsAre(1, 1, 1));
}

TEST_F(RcvdMessages, SummaryKnowsTheCistByItsMark) {
    bridge.xst(1)->cist = 1;
    EXPECT_THAT(summary(0, 1, 0, 0), ElementsAre(1, 1, 0));
    bridge.xst(1)->cist = 0;
}

TEST_F(RcvdMessages, ClearingReachesEveryInstanceOfThePortAlone) {
    setAll(&tMstpXstPort::rcvdMsg, 1);
    clearAllRcvdMsgs(port);
    EXPECT_THAT(all(&tMstpXstPort::rcvdMsg), Each(0));
    EXPECT_THAT(allOfOther(&tMstpXstPort::rcvdMsg), Each(1));
}

TEST_F(RcvdMessages, ClearingLeavesTheSummaryAlone) {
    port->rcvdAnyMsg = port->rcvdCistMsg = port->rcvdMstiMsg = 1;
    clearAllRcvdMsgs(port);
    EXPECT_EQ(port->rcvdAnyMsg, 1);
    EXPECT_EQ(port->rcvdCistMsg, 1);
    EXPECT_EQ(port->rcvdMstiMsg, 1);
}

} // namespace
