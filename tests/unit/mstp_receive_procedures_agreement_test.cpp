// Receive procedures: agreements, disputes and the master's mark.

#include "mstp_state_machine_procedures.h"
#include "receive_record_test.h"
#include "receive_test.h"

using testing::Each;
using testing::ElementsAre;

namespace {

// ---- Agreement of the CIST

class RecordAgreement : public ReceiveRecordTest {
  protected:
    RecordAgreement() {
        setAll(&tMstpXstPort::agreed, 0);
        setAll(&tMstpXstPort::proposing, 1);
        hear(cist, MSTP_FLAG_AGREEMENT);
        hear(msti1, MSTP_FLAG_AGREEMENT);
        hear(msti2, MSTP_FLAG_AGREEMENT);
        // The CIST's message names the root that the bridge follows.
        tMstpPriorityVector& root = bridge.xst(0)->rootPriority;
        root.rootId = idFromBytes<tMstpBridgeId>({0x20, 0, 1, 2, 3, 4, 5, 6});
        root.extRootPathCost = 200000;
        root.rRootId = idFromBytes<tMstpBridgeId>({0x50, 0, 1, 2, 3, 4, 5, 7});
        cist->msgPriority = root;
    }

    // agreed of the three records, provided that proposing is always the opposite.
    std::vector<int> agreed() const {
        const std::vector<int> agreed = all(&tMstpXstPort::agreed);
        const std::vector<int> proposing = all(&tMstpXstPort::proposing);
        for (size_t i = 0; i < agreed.size(); i++) {
            EXPECT_NE(agreed[i], proposing[i]) << i;
        }
        return agreed;
    }
};

TEST_F(RecordAgreement, CistsAgreementFromOutsideHoldsForEveryMstiOfThePort) {
    recordAgreement(cist);
    EXPECT_THAT(agreed(), ElementsAre(1, 1, 1));
    EXPECT_THAT(allOfOther(&tMstpXstPort::agreed), Each(0));
    EXPECT_THAT(allOfOther(&tMstpXstPort::proposing), Each(1));
}

TEST_F(RecordAgreement, CistsAgreementFromInsideHoldsForTheCistAlone) {
    port->rcvdInternal = 1;
    recordAgreement(cist);
    EXPECT_THAT(agreed(), ElementsAre(1, 0, 0));
}

TEST_F(RecordAgreement, CistNeedsRstp) {
    port->rstpVersion = 0;
    recordAgreement(cist);
    EXPECT_THAT(agreed(), Each(0));
}

TEST_F(RecordAgreement, CistNeedsAPointToPointLink) {
    port->operPointToPointMAC = 0;
    port->adminPointToPointMAC = 1;
    recordAgreement(cist);
    EXPECT_THAT(agreed(), Each(0));
}

TEST_F(RecordAgreement, CistNeedsTheAgreementFlag) {
    hear(cist, static_cast<uint8_t>(~MSTP_FLAG_AGREEMENT));
    recordAgreement(cist);
    EXPECT_THAT(agreed(), Each(0));
}

TEST_F(RecordAgreement, CistAgreesWhateverRootItNames) {
    cist->msgPriority.rootId.mac[5]++;
    recordAgreement(cist);
    EXPECT_THAT(agreed(), Each(1));
}

TEST_F(RecordAgreement, AgreedIsNeverCleared) {
    setAll(&tMstpXstPort::agreed, 1);
    setAll(&tMstpXstPort::proposing, 1);
    for (tMstpXstPort* each : {cist, msti1, msti2}) {
        hear(each, 0);
        recordAgreement(each);
    }
    EXPECT_THAT(all(&tMstpXstPort::agreed), Each(1));
    EXPECT_THAT(all(&tMstpXstPort::proposing), Each(1));
    port->operPointToPointMAC = 0;
    recordAgreement(cist);
    recordAgreement(msti1);
    EXPECT_THAT(all(&tMstpXstPort::agreed), Each(1));
    EXPECT_THAT(all(&tMstpXstPort::proposing), Each(1));
}

// ---- Agreement of an MSTI

TEST_F(RecordAgreement, AgreementOfAnMstiHoldsForItAlone) {
    recordAgreement(msti1);
    EXPECT_THAT(agreed(), ElementsAre(0, 1, 0));
}

TEST_F(RecordAgreement, MstiAgreesFromInsideToo) {
    port->rcvdInternal = 1;
    recordAgreement(msti1);
    EXPECT_THAT(agreed(), ElementsAre(0, 1, 0));
}

TEST_F(RecordAgreement, MstiAgreesWithoutRstp) {
    port->rstpVersion = 0;
    recordAgreement(msti1);
    EXPECT_THAT(agreed(), ElementsAre(0, 1, 0));
}

TEST_F(RecordAgreement, MstiNeedsAPointToPointLink) {
    port->operPointToPointMAC = 0;
    recordAgreement(msti1);
    EXPECT_THAT(agreed(), Each(0));
}

TEST_F(RecordAgreement, MstiNeedsItsOwnAgreementFlag) {
    hear(msti1, static_cast<uint8_t>(~MSTP_FLAG_AGREEMENT));
    recordAgreement(msti1);
    EXPECT_THAT(agreed(), Each(0));
}

TEST_F(RecordAgreement, MstiNeedsTheBridgesRootInTheCistsMessage) {
    for (const size_t at : {0U, 7U}) {
        reinterpret_cast<uint8_t*>(&cist->msgPriority.rootId)[at] ^= 1;
        recordAgreement(msti1);
        EXPECT_THAT(agreed(), Each(0)) << at;
        reinterpret_cast<uint8_t*>(&cist->msgPriority.rootId)[at] ^= 1;
    }
}

TEST_F(RecordAgreement, MstiNeedsTheBridgesExternalCostInTheCistsMessage) {
    cist->msgPriority.extRootPathCost++;
    recordAgreement(msti1);
    EXPECT_THAT(agreed(), Each(0));
}

TEST_F(RecordAgreement, MstiNeedsTheBridgesRegionalRootInTheCistsMessage) {
    for (const size_t at : {0U, 7U}) {
        reinterpret_cast<uint8_t*>(&cist->msgPriority.rRootId)[at] ^= 1;
        recordAgreement(msti1);
        EXPECT_THAT(agreed(), Each(0)) << at;
        reinterpret_cast<uint8_t*>(&cist->msgPriority.rRootId)[at] ^= 1;
    }
}

TEST_F(RecordAgreement, MstiNeedsNoMoreOfTheCistsMessage) {
    cist->msgPriority.intRootPathCost ^= 1;
    cist->msgPriority.designatedBridgeId.mac[0] ^= 1;
    cist->msgPriority.designatedPortId.portNumberL ^= 1;
    cist->msgPriority.rcvPortId.portNumberL ^= 1;
    hear(cist, 0);
    msti1->msgPriority.rootId.mac[0] ^= 1;
    recordAgreement(msti1);
    EXPECT_THAT(agreed(), ElementsAre(0, 1, 0));
}

TEST_F(RecordAgreement, MstiComparesWithTheRootOfTheCistAndNotWithItsOwn) {
    bridge.xst(1)->rootPriority = {};
    recordAgreement(msti1);
    EXPECT_THAT(agreed(), ElementsAre(0, 1, 0));
}

// ---- Dispute

class RecordDispute : public ReceiveRecordTest {
  protected:
    RecordDispute() {
        setAll(&tMstpXstPort::agreed, 1);
        setAll(&tMstpXstPort::disputed, 0);
    }

    // disputed of the three records, provided that agreed is always the opposite.
    std::vector<int> disputed() const {
        const std::vector<int> disputed = all(&tMstpXstPort::disputed);
        const std::vector<int> agreed = all(&tMstpXstPort::agreed);
        for (size_t i = 0; i < agreed.size(); i++) {
            EXPECT_NE(agreed[i], disputed[i]) << i;
        }
        return disputed;
    }
};

TEST_F(RecordDispute, CistsDisputeFromOutsideHoldsForEveryMstiOfThePort) {
    hear(cist, MSTP_FLAG_LEARNING);
    recordDispute(cist);
    EXPECT_THAT(disputed(), ElementsAre(1, 1, 1));
    EXPECT_THAT(allOfOther(&tMstpXstPort::disputed), Each(0));
    EXPECT_THAT(allOfOther(&tMstpXstPort::agreed), Each(1));
}

TEST_F(RecordDispute, CistsDisputeFromInsideHoldsForTheCistAlone) {
    port->rcvdInternal = 1;
    hear(cist, MSTP_FLAG_LEARNING);
    recordDispute(cist);
    EXPECT_THAT(disputed(), ElementsAre(1, 0, 0));
}

TEST_F(RecordDispute, DisputeOfAnMstiHoldsForItAlone) {
    hear(msti1, MSTP_FLAG_LEARNING);
    recordDispute(msti1);
    EXPECT_THAT(disputed(), ElementsAre(0, 1, 0));
    port->rcvdInternal = 1;
    hear(msti2, MSTP_FLAG_LEARNING);
    recordDispute(msti2);
    EXPECT_THAT(disputed(), ElementsAre(0, 1, 1));
}

TEST_F(RecordDispute, SenderThatDoesNotLearnDisputesNothing) {
    for (tMstpXstPort* each : {cist, msti1}) {
        hear(each, static_cast<uint8_t>(~MSTP_FLAG_LEARNING));
        recordDispute(each);
    }
    EXPECT_THAT(disputed(), Each(0));
}

TEST_F(RecordDispute, EarlierDisputeStaysWithoutANewOne) {
    setAll(&tMstpXstPort::disputed, 1);
    hear(cist, 0);
    recordDispute(cist);
    EXPECT_THAT(all(&tMstpXstPort::disputed), Each(1));
    EXPECT_THAT(all(&tMstpXstPort::agreed), Each(1));
}

// ---- Master's mark

class RecordMastered : public ReceiveRecordTest {};

TEST_F(RecordMastered, MstiTakesTheMastersMarkOfAPointToPointLink) {
    hear(msti1, MSTP_FLAG_MASTER);
    recordMastered(msti1);
    EXPECT_THAT(all(&tMstpXstPort::mastered), ElementsAre(0, 1, 0));
}

TEST_F(RecordMastered, MstiLosesTheMarkWithoutTheFlag) {
    msti1->mastered = 1;
    hear(msti1, static_cast<uint8_t>(~MSTP_FLAG_MASTER));
    recordMastered(msti1);
    EXPECT_EQ(msti1->mastered, 0);
}

TEST_F(RecordMastered, MstiLosesTheMarkOnASharedLink) {
    msti1->mastered = 1;
    port->operPointToPointMAC = 0;
    hear(msti1, MSTP_FLAG_MASTER);
    recordMastered(msti1);
    EXPECT_EQ(msti1->mastered, 0);
}

TEST_F(RecordMastered, CistsMessageFromOutsideTakesTheMarkFromEveryMstiOfThePort) {
    setAll(&tMstpXstPort::mastered, 1);
    recordMastered(cist);
    EXPECT_THAT(all(&tMstpXstPort::mastered), ElementsAre(1, 0, 0));
    EXPECT_THAT(allOfOther(&tMstpXstPort::mastered), Each(1));
}

TEST_F(RecordMastered, CistsMessageFromInsideLeavesEveryMark) {
    port->rcvdInternal = 1;
    setAll(&tMstpXstPort::mastered, 1);
    hear(cist, 0);
    recordMastered(cist);
    EXPECT_THAT(all(&tMstpXstPort::mastered), Each(1));
}

TEST_F(RecordMastered, CistIsNeverMarkedItself) {
    hear(cist, MSTP_FLAG_MASTER);
    recordMastered(cist);
    EXPECT_THAT(all(&tMstpXstPort::mastered), Each(0));
}

} // namespace
