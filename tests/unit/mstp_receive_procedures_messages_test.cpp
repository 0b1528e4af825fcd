// Receive procedures: how a BPDU is dealt out to the port's records.

#include <cstring>

#include "machine_test.h"
#include "mstp_state_machine_procedures.h"
#include "receive_test.h"

using testing::Each;
using testing::ElementsAre;

namespace {

using Bytes = testbpdu::Bytes;

const Bytes ROOT = {0x20, 0x00, 0x02, 0, 0, 0, 0, 0x01};
const Bytes REGIONAL_ROOT = {0x50, 0x00, 0x02, 0, 0, 0, 0, 0x02};
const Bytes SENDER = {0x30, 0x00, 0x02, 0, 0, 0, 0, 0x03};

class SetRcvdMsgs : public MachineTest {
  protected:
    SetRcvdMsgs() {
        msti1 = addInstance(1);
        msti2 = addInstance(2);
        mstpPortIdSetNumber(&cist->portId, 0x201);
        cist->portId.priority = 4;
        mstpPortIdSetNumber(&msti1->portId, 0x202);
        msti1->portId.priority = 5;
        port->rcvdInternal = 1;
        clear();
    }

    void clear() {
        port->rcvdAnyMsg = port->rcvdCistMsg = port->rcvdMstiMsg = 0;
        for (tMstpXstPort* each : xstPortsOf(port)) {
            each->rcvdMsg = 0;
            memset(&each->msgPriority, 0xEE, sizeof each->msgPriority);
            each->msgTimes = {0xEE, 0xEE, 0xEE, 0xEE, 0xEE, {0, 0, 0}};
            each->msgFlag = mstpFlagFromByte(0xEE);
        }
    }

    void deal(tMstpBpdu bpdu) { setRcvdMsgs(port, &bpdu); }

    // rcvdAnyMsg, rcvdCistMsg and rcvdMstiMsg.
    std::vector<int> portFlags() const {
        return {port->rcvdAnyMsg, port->rcvdCistMsg, port->rcvdMstiMsg};
    }

    // rcvdMsg of the CIST and of the two MSTIs.
    std::vector<int> rcvdMsgs() const { return {cist->rcvdMsg, msti1->rcvdMsg, msti2->rcvdMsg}; }

    static std::vector<int> times(const tMstpXstPort* xstPort) {
        const tMstpTime& times = xstPort->msgTimes;
        return {times.messageAge, times.maxAge, times.forwardDelay, times.helloTime,
                times.remainingHops};
    }

    static bool hasMessage(const tMstpXstPort* xstPort) {
        const Bytes vector = testbpdu::bytesOf(xstPort->msgPriority);
        return vector != Bytes(sizeof xstPort->msgPriority, 0xEE) ||
               mstpFlagByte(xstPort->msgFlag) != 0xEE || times(xstPort)[0] != 0xEE;
    }

    // An MST BPDU with a message for instance 1 whose regional root is changed by @p change.
    static tMstpBpdu withEntry(const std::function<void(tMstiBpdu&)>& change) {
        tMstpBpdu bpdu = parsed(testbpdu::mst(1));
        change(bpdu.mstiBpdus[0]);
        return bpdu;
    }

    static tMstpBpdu naming(uint32_t number) {
        return withEntry(
            [&](tMstiBpdu& entry) { mstpBridgeIdSetExtension(&entry.regionalRootId, number); });
    }

    tMstpXstPort* msti1;
    tMstpXstPort* msti2;
};

// ---- Topology change notification

TEST_F(SetRcvdMsgs, TcnIsAMessageForTheCistOnlyAndLeavesRcvdAnyMsgAtZero) {
    port->rcvdAnyMsg = 1;
    deal(parsed(testbpdu::tcn()));
    EXPECT_THAT(rcvdMsgs(), ElementsAre(1, 0, 0));
    EXPECT_THAT(portFlags(), ElementsAre(0, 0, 0));
    EXPECT_EQ(port->bpduType, MSTP_BPDU_TCN);
}

TEST_F(SetRcvdMsgs, TcnStoresNoVectorNoTimesAndNoFlags) {
    deal(parsed(testbpdu::tcn()));
    EXPECT_FALSE(hasMessage(cist));
    EXPECT_FALSE(hasMessage(msti1));
}

TEST_F(SetRcvdMsgs, TcnLeavesTheOtherSummariesAsTheyWere) {
    port->rcvdCistMsg = port->rcvdMstiMsg = 1;
    deal(parsed(testbpdu::tcn()));
    EXPECT_THAT(portFlags(), ElementsAre(0, 1, 1));
}

// ---- The CIST's message from outside

TEST_F(SetRcvdMsgs, ConfigurationBpduIsAMessageForTheCist) {
    port->rcvdInternal = 0;
    deal(parsed(testbpdu::config()));
    EXPECT_THAT(rcvdMsgs(), ElementsAre(1, 0, 0));
    EXPECT_THAT(portFlags(), ElementsAre(1, 1, 0));
    EXPECT_EQ(port->bpduType, MSTP_BPDU_CONFIG);
    EXPECT_EQ(mstpFlagByte(cist->msgFlag), 0x81);
}

TEST_F(SetRcvdMsgs, RstBpduIsAMessageForTheCist) {
    port->rcvdInternal = 0;
    deal(parsed(testbpdu::rst()));
    EXPECT_THAT(rcvdMsgs(), ElementsAre(1, 0, 0));
    EXPECT_THAT(portFlags(), ElementsAre(1, 1, 0));
    EXPECT_EQ(port->bpduType, MSTP_BPDU_RST);
    EXPECT_EQ(mstpFlagByte(cist->msgFlag), 0x7C);
}

TEST_F(SetRcvdMsgs, OutsideInformationGetsThisBridgeAsRegionalRootAndItsSenderAsDesignated) {
    port->rcvdInternal = 0;
    bridge.xst(0)->bridgeId = idFromBytes<tMstpBridgeId>({0x90, 0, 9, 9, 9, 9, 9, 9});
    deal(parsed(testbpdu::rst()));

    const tMstpPriorityVector& message = cist->msgPriority;
    EXPECT_EQ(testbpdu::bytesOf(message.rootId), ROOT);
    EXPECT_EQ(message.extRootPathCost, 200000U);
    EXPECT_EQ(testbpdu::bytesOf(message.rRootId), testbpdu::bytesOf(bridge.xst(0)->bridgeId));
    EXPECT_EQ(message.intRootPathCost, 0U);
    EXPECT_EQ(testbpdu::bytesOf(message.designatedBridgeId), SENDER);
    EXPECT_THAT(testbpdu::bytesOf(message.designatedPortId), ElementsAre(0x81, 0x23));
    EXPECT_THAT(testbpdu::bytesOf(message.rcvPortId), ElementsAre(0x42, 0x01));
}

TEST_F(SetRcvdMsgs, TimesFromOutsideComeWithTheBridgesMaximumOfHops) {
    port->rcvdInternal = 0;
    bridge.bridge->bridgeMaxHops = 33;
    deal(parsed(testbpdu::mst(0)));
    EXPECT_THAT(times(cist), ElementsAre(1, 20, 15, 2, 33));
}

TEST_F(SetRcvdMsgs, OnlyTheLowOrderByteOfATimeIsTaken) {
    tMstpBpdu bpdu = parsed(testbpdu::rst());
    bpdu.messageAge = mstpBig16(0x0A01);
    bpdu.maxAge = mstpBig16(0x0B02);
    bpdu.forwardDelay = mstpBig16(0x0C03);
    bpdu.helloTime = mstpBig16(0x0D04);
    deal(bpdu);
    EXPECT_EQ(cist->msgTimes.messageAge, 1);
    EXPECT_EQ(cist->msgTimes.maxAge, 2);
    EXPECT_EQ(cist->msgTimes.forwardDelay, 3);
    EXPECT_EQ(cist->msgTimes.helloTime, 4);
}

TEST_F(SetRcvdMsgs, MstBpduFromAnotherRegionIsAMessageForTheCistOnly) {
    port->rcvdInternal = 0;
    deal(parsed(testbpdu::mst(2)));
    EXPECT_THAT(rcvdMsgs(), ElementsAre(1, 0, 0));
    EXPECT_THAT(portFlags(), ElementsAre(1, 1, 0));
    EXPECT_FALSE(hasMessage(msti1));
    EXPECT_FALSE(hasMessage(msti2));
    EXPECT_EQ(cist->msgTimes.remainingHops, bridge.bridge->bridgeMaxHops);
    EXPECT_EQ(testbpdu::bytesOf(cist->msgPriority.designatedBridgeId), REGIONAL_ROOT);
}

// ---- The CIST's message from this region

TEST_F(SetRcvdMsgs, InsideInformationIsTakenAsItIs) {
    deal(parsed(testbpdu::mst(0)));

    const tMstpPriorityVector& message = cist->msgPriority;
    EXPECT_EQ(testbpdu::bytesOf(message.rootId), ROOT);
    EXPECT_EQ(message.extRootPathCost, 200000U);
    EXPECT_EQ(testbpdu::bytesOf(message.rRootId), REGIONAL_ROOT);
    EXPECT_EQ(message.intRootPathCost, 20000U);
    EXPECT_EQ(testbpdu::bytesOf(message.designatedBridgeId), SENDER);
    EXPECT_THAT(testbpdu::bytesOf(message.designatedPortId), ElementsAre(0x81, 0x23));
    EXPECT_THAT(testbpdu::bytesOf(message.rcvPortId), ElementsAre(0x42, 0x01));
}

TEST_F(SetRcvdMsgs, TimesFromInsideComeWithTheirOwnHops) {
    deal(parsed(testbpdu::mst(0)));
    EXPECT_THAT(times(cist), ElementsAre(1, 20, 15, 2, 19));
    EXPECT_EQ(mstpFlagByte(cist->msgFlag), 0x7C);
}

TEST_F(SetRcvdMsgs, ReservedBytesOfTheTimesKeepWhatTheyHeld) {
    deal(parsed(testbpdu::mst(1)));
    EXPECT_THAT(cist->msgTimes.reserved, Each(0));
    EXPECT_THAT(msti1->msgTimes.reserved, Each(0));
}

TEST_F(SetRcvdMsgs, MstBpduWithoutMstiMessagesLeavesRcvdMstiMsgAlone) {
    deal(parsed(testbpdu::mst(0)));
    EXPECT_THAT(rcvdMsgs(), ElementsAre(1, 0, 0));
    EXPECT_THAT(portFlags(), ElementsAre(1, 1, 0));
    EXPECT_EQ(port->bpduType, MSTP_BPDU_RST);
}

// ---- MSTI messages

TEST_F(SetRcvdMsgs, EveryInstanceNamedGetsItsMessage) {
    deal(parsed(testbpdu::mst(2)));
    EXPECT_THAT(rcvdMsgs(), ElementsAre(1, 1, 1));
    EXPECT_THAT(portFlags(), ElementsAre(1, 1, 1));
    EXPECT_EQ(msti1->msgPriority.intRootPathCost, 0x00010107U);
    EXPECT_EQ(msti2->msgPriority.intRootPathCost, 0x00010207U);
}

TEST_F(SetRcvdMsgs, VectorOfAnMstiIsBuiltFromItsMessageAndItsSender) {
    deal(parsed(testbpdu::mst(1)));

    const Bytes regionalRoot = {0x40, 1, 0x02, 0, 0, 0, 0x10, 1};
    const tMstpPriorityVector& message = msti1->msgPriority;
    EXPECT_EQ(testbpdu::bytesOf(message.rootId), regionalRoot);
    EXPECT_EQ(message.extRootPathCost, 0U);
    EXPECT_EQ(testbpdu::bytesOf(message.rRootId), regionalRoot);
    EXPECT_EQ(message.intRootPathCost, 0x00010107U);
    EXPECT_THAT(testbpdu::bytesOf(message.designatedBridgeId),
                ElementsAre(0x60, 1, 0x02, 0, 0, 0, 0, 0x03));
    EXPECT_THAT(testbpdu::bytesOf(message.designatedPortId), ElementsAre(0x71, 0x23));
    EXPECT_THAT(testbpdu::bytesOf(message.rcvPortId), ElementsAre(0x52, 0x02));
}

TEST_F(SetRcvdMsgs, MstiHasTheFlagsOfItsOwnMessage) {
    deal(parsed(testbpdu::mst(1)));
    EXPECT_EQ(mstpFlagByte(msti1->msgFlag), 0x7E);
}

TEST_F(SetRcvdMsgs, MstiHasTheTimesOfTheCistAndItsOwnHops) {
    deal(parsed(testbpdu::mst(1)));
    EXPECT_THAT(times(msti1), ElementsAre(1, 20, 15, 2, 18));
}

TEST_F(SetRcvdMsgs, LowNibblesOfTheTwoPrioritiesAreIgnored) {
    deal(withEntry([](tMstiBpdu& entry) {
        entry.bridgePriority = 0x6F;
        entry.portPriority = 0x7F;
    }));
    EXPECT_EQ(testbpdu::bytesOf(msti1->msgPriority.designatedBridgeId)[0], 0x60);
    EXPECT_EQ(testbpdu::bytesOf(msti1->msgPriority.designatedPortId)[0], 0x71);
}

TEST_F(SetRcvdMsgs, InstanceNumberReplacesThatOfTheSendersIdentifier) {
    tMstpBpdu bpdu = parsed(testbpdu::mst(1));
    mstpBridgeIdSetExtension(&bpdu.bridgeId, 0xFFF);
    deal(bpdu);
    EXPECT_THAT(testbpdu::bytesOf(msti1->msgPriority.designatedBridgeId),
                ElementsAre(0x60, 1, 0x02, 0, 0, 0, 0, 0x03));
}

TEST_F(SetRcvdMsgs, LaterMessageForTheSameInstanceReplacesTheEarlierOne) {
    tMstpBpdu bpdu = parsed(testbpdu::mst(2));
    mstpBridgeIdSetExtension(&bpdu.mstiBpdus[1].regionalRootId, 1);
    deal(bpdu);
    EXPECT_EQ(msti1->msgPriority.intRootPathCost, 0x00010207U);
    EXPECT_THAT(rcvdMsgs(), ElementsAre(1, 1, 0));
}

TEST_F(SetRcvdMsgs, MessageLeftFromBeforeIsNotTakenBack) {
    msti2->rcvdMsg = 1;
    deal(parsed(testbpdu::mst(1)));
    EXPECT_EQ(msti2->rcvdMsg, 1);
}

// ---- MSTI messages that are skipped, though rcvdMstiMsg is set

TEST_F(SetRcvdMsgs, MessageThatNamesInstanceZeroIsSkipped) {
    deal(naming(0));
    EXPECT_THAT(rcvdMsgs(), ElementsAre(1, 0, 0));
    EXPECT_THAT(portFlags(), ElementsAre(1, 1, 1));
    EXPECT_EQ(testbpdu::bytesOf(cist->msgPriority.rootId), ROOT);
    EXPECT_EQ(cist->msgTimes.remainingHops, 19);
}

TEST_F(SetRcvdMsgs, MessageThatNamesAnInstanceAtTheLimitIsSkipped) {
    const uint8_t limit = gMstp.xstLimit;
    gMstp.xstLimit = 2;
    deal(naming(2));
    gMstp.xstLimit = limit;
    EXPECT_THAT(rcvdMsgs(), ElementsAre(1, 0, 0));
    EXPECT_THAT(portFlags(), ElementsAre(1, 1, 1));
}

TEST_F(SetRcvdMsgs, MessageThatNamesAnInstanceAboveTheLimitIsSkipped) {
    for (const uint32_t number : {9U, 255U, 4095U}) {
        clear();
        deal(naming(number));
        EXPECT_THAT(rcvdMsgs(), ElementsAre(1, 0, 0)) << number;
        EXPECT_THAT(portFlags(), ElementsAre(1, 1, 1)) << number;
    }
}

TEST_F(SetRcvdMsgs, InstanceNumberHasTwelveBits) {
    deal(naming(0x101));
    EXPECT_THAT(rcvdMsgs(), ElementsAre(1, 0, 0));
}

TEST_F(SetRcvdMsgs, MessageForTheLastInstanceBelowTheLimitIsTaken) {
    tMstpXstPort* last = addInstance(gMstp.xstLimit - 1U);
    deal(naming(gMstp.xstLimit - 1U));
    EXPECT_EQ(last->rcvdMsg, 1);
}

TEST_F(SetRcvdMsgs, MessageForAnInstanceNotInServiceOnTheBridgeIsSkipped) {
    for (const uint8_t rowStatus : {uint8_t{0}, uint8_t{MSTP_NOTINSERVICE}}) {
        clear();
        bridge.bridge->xsts[1].rowStatus = rowStatus;
        deal(parsed(testbpdu::mst(1)));
        EXPECT_THAT(rcvdMsgs(), ElementsAre(1, 0, 0)) << int{rowStatus};
        EXPECT_FALSE(hasMessage(msti1)) << int{rowStatus};
        EXPECT_THAT(portFlags(), ElementsAre(1, 1, 1)) << int{rowStatus};
    }
    bridge.bridge->xsts[1].rowStatus = MSTP_ACTIVE;
}

TEST_F(SetRcvdMsgs, MessageForAnInstanceNotInServiceOnThePortIsSkipped) {
    for (const uint8_t state : {uint8_t{MSTP_SLOT_FREE}, uint8_t{MSTP_SLOT_DISABLED}}) {
        clear();
        msti1->state = state;
        deal(parsed(testbpdu::mst(1)));
        EXPECT_THAT(rcvdMsgs(), ElementsAre(1, 0, 0)) << int{state};
        EXPECT_FALSE(hasMessage(msti1)) << int{state};
        EXPECT_THAT(portFlags(), ElementsAre(1, 1, 1)) << int{state};
    }
    msti1->state = MSTP_SLOT_IN_USE;
}

TEST_F(SetRcvdMsgs, MessageBehindASkippedOneIsTaken) {
    bridge.bridge->xsts[1].rowStatus = 0;
    deal(parsed(testbpdu::mst(2)));
    EXPECT_THAT(rcvdMsgs(), ElementsAre(1, 0, 1));
    bridge.bridge->xsts[1].rowStatus = MSTP_ACTIVE;
}

TEST_F(SetRcvdMsgs, MessageBehindTheCountIsNotRead) {
    tMstpBpdu bpdu = parsed(testbpdu::mst(2));
    bpdu.mstiCount = mstpBig16(1);
    deal(bpdu);
    EXPECT_THAT(rcvdMsgs(), ElementsAre(1, 1, 0));
}

TEST_F(SetRcvdMsgs, CountAboveTheRoomOfTheRecordReadsNoFurther) {
    tMstpBpdu bpdu = parsed(testbpdu::mst(1));
    bpdu.mstiCount = 0xFFFF;
    deal(bpdu);
    EXPECT_THAT(rcvdMsgs(), ElementsAre(1, 1, 0));
}

} // namespace
