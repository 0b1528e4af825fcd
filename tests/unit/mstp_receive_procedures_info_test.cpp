// Receive procedures: what a message means to the port that heard it.

#include "machine_test.h"
#include "mstp_state_machine_procedures.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr uint8_t DESIGNATED = MSTP_FLAG_ROLE_DESIGNATED;
constexpr uint8_t ROOT = MSTP_FLAG_ROLE_ROOT;
constexpr uint8_t ALTERNATE = MSTP_FLAG_ROLE_ALTERNATE_BACKUP;
constexpr uint8_t UNKNOWN = 0;
// Every flag but the role.
constexpr uint8_t OTHER_FLAGS = static_cast<uint8_t>(~MSTP_FLAG_ROLE);

// How the message's vector compares with the port's.
enum Order { BETTER, EQUAL, WORSE };

class RcvInfo : public MachineTest {
  protected:
    RcvInfo() {
        msti = addInstance(5);
        set(cist);
        set(msti);
    }

    static void set(tMstpXstPort* xstPort) {
        xstPort->portTimes = {1, 20, 15, 2, 19, {0, 0, 0}};
        xstPort->infoIs = MSTP_RECEIVED;
    }

    // Classifies a message of @p bpduType on the CIST's record.
    uint8_t info(uint8_t bpduType, uint8_t flags, Order order, bool sameTimes = true) {
        return info(cist, bpduType, flags, order, sameTimes);
    }

    uint8_t info(tMstpXstPort* xstPort, uint8_t bpduType, uint8_t flags, Order order,
                 bool sameTimes) {
        port->bpduType = bpduType;
        xstPort->msgFlag = mstpFlagFromByte(flags);
        xstPort->portPriority.extRootPathCost = 1000;
        xstPort->msgPriority = xstPort->portPriority;
        xstPort->msgPriority.extRootPathCost = order == BETTER ? 999 : order == EQUAL ? 1000 : 1001;
        xstPort->msgTimes = xstPort->portTimes;
        xstPort->msgTimes.messageAge = sameTimes ? 1 : 2;
        return rcvInfo(xstPort);
    }

    // What the classification traces.
    std::vector<std::string> tracedInfo(tMstpXstPort* xstPort, uint8_t bpduType, uint8_t flags,
                                        Order order) {
        return traced(MSTP_DEBUG_ACTIVITY, [&] { info(xstPort, bpduType, flags, order, true); });
    }

    tMstpXstPort* msti;
};

// ---- Superior

TEST_F(RcvInfo, BetterVectorOfADesignatedPortIsSuperior) {
    EXPECT_EQ(info(MSTP_BPDU_RST, DESIGNATED, BETTER), MSTP_SUPERIOR_DESIGNATED_INFO);
    EXPECT_EQ(info(MSTP_BPDU_RST, DESIGNATED, BETTER, false), MSTP_SUPERIOR_DESIGNATED_INFO);
}

TEST_F(RcvInfo, SameVectorWithOtherTimesIsSuperior) {
    EXPECT_EQ(info(MSTP_BPDU_RST, DESIGNATED, EQUAL, false), MSTP_SUPERIOR_DESIGNATED_INFO);
}

TEST_F(RcvInfo, WorseVectorWithOtherTimesIsNotSuperior) {
    EXPECT_EQ(info(MSTP_BPDU_RST, DESIGNATED, WORSE, false), MSTP_INFERIOR_DESIGNATED_INFO);
}

TEST_F(RcvInfo, AllEightBytesOfTheTimesCount) {
    for (size_t at = 0; at < sizeof(tMstpTime); at++) {
        info(MSTP_BPDU_RST, DESIGNATED, EQUAL);
        reinterpret_cast<uint8_t*>(&cist->msgTimes)[at] ^= 1;
        EXPECT_EQ(rcvInfo(cist), MSTP_SUPERIOR_DESIGNATED_INFO) << at;
    }
}

TEST_F(RcvInfo, ReceivingPortTakesPartInTheComparison) {
    info(MSTP_BPDU_RST, DESIGNATED, EQUAL);
    cist->portPriority.rcvPortId.portNumberL = 5;
    cist->msgPriority.rcvPortId.portNumberL = 4;
    EXPECT_EQ(rcvInfo(cist), MSTP_SUPERIOR_DESIGNATED_INFO);
    cist->msgPriority.rcvPortId.portNumberL = 6;
    EXPECT_EQ(rcvInfo(cist), MSTP_INFERIOR_DESIGNATED_INFO);
}

TEST_F(RcvInfo, MessageIsSuperiorWhateverTheSourceOfThePortsInformation) {
    for (const uint8_t infoIs : {uint8_t{MSTP_DISABLED}, uint8_t{MSTP_MINE}, uint8_t{MSTP_AGED}}) {
        cist->infoIs = infoIs;
        EXPECT_EQ(info(MSTP_BPDU_RST, DESIGNATED, BETTER), MSTP_SUPERIOR_DESIGNATED_INFO);
    }
}

TEST_F(RcvInfo, ConfigurationBpduCountsAsDesignatedWhenItIsBetter) {
    EXPECT_EQ(info(MSTP_BPDU_CONFIG, UNKNOWN, BETTER), MSTP_SUPERIOR_DESIGNATED_INFO);
    EXPECT_EQ(info(MSTP_BPDU_CONFIG, UNKNOWN, EQUAL, false), MSTP_SUPERIOR_DESIGNATED_INFO);
}

TEST_F(RcvInfo, ConfigurationBpduIsTakenWhateverRoleItsFlagsSpell) {
    EXPECT_EQ(info(MSTP_BPDU_CONFIG, ROOT, BETTER), MSTP_SUPERIOR_DESIGNATED_INFO);
    EXPECT_EQ(info(MSTP_BPDU_CONFIG, ALTERNATE, BETTER), MSTP_SUPERIOR_DESIGNATED_INFO);
    EXPECT_EQ(info(MSTP_BPDU_CONFIG, DESIGNATED, WORSE), MSTP_INFERIOR_DESIGNATED_INFO);
}

// ---- Repeated

TEST_F(RcvInfo, SameVectorAndTimesAreRepeatedWherePortHoldsReceivedInformation) {
    EXPECT_EQ(info(MSTP_BPDU_RST, DESIGNATED, EQUAL), MSTP_REPEATED_DESIGNATED_INFO);
    EXPECT_EQ(info(MSTP_BPDU_CONFIG, UNKNOWN, EQUAL), MSTP_REPEATED_DESIGNATED_INFO);
}

TEST_F(RcvInfo, SameVectorAndTimesAreNotRepeatedWherePortHoldsOtherInformation) {
    for (const uint8_t infoIs : {uint8_t{MSTP_DISABLED}, uint8_t{MSTP_MINE}, uint8_t{MSTP_AGED}}) {
        cist->infoIs = infoIs;
        EXPECT_EQ(info(MSTP_BPDU_RST, DESIGNATED, EQUAL), MSTP_INFERIOR_DESIGNATED_INFO);
        EXPECT_EQ(info(MSTP_BPDU_CONFIG, UNKNOWN, EQUAL), MSTP_INFERIOR_ROOT_ALTERNATE_INFO);
    }
}

// ---- Inferior

TEST_F(RcvInfo, WorseVectorOfADesignatedPortIsInferior) {
    EXPECT_EQ(info(MSTP_BPDU_RST, DESIGNATED, WORSE), MSTP_INFERIOR_DESIGNATED_INFO);
}

TEST_F(RcvInfo, RootPortThatIsNotBetterIsInferiorRootAlternate) {
    EXPECT_EQ(info(MSTP_BPDU_RST, ROOT, EQUAL), MSTP_INFERIOR_ROOT_ALTERNATE_INFO);
    EXPECT_EQ(info(MSTP_BPDU_RST, ROOT, EQUAL, false), MSTP_INFERIOR_ROOT_ALTERNATE_INFO);
    EXPECT_EQ(info(MSTP_BPDU_RST, ROOT, WORSE), MSTP_INFERIOR_ROOT_ALTERNATE_INFO);
}

TEST_F(RcvInfo, AlternateOrBackupPortThatIsNotBetterIsInferiorRootAlternate) {
    EXPECT_EQ(info(MSTP_BPDU_RST, ALTERNATE, EQUAL), MSTP_INFERIOR_ROOT_ALTERNATE_INFO);
    EXPECT_EQ(info(MSTP_BPDU_RST, ALTERNATE, WORSE), MSTP_INFERIOR_ROOT_ALTERNATE_INFO);
}

TEST_F(RcvInfo, InferiorConfigurationBpduIsInferiorRootAlternate) {
    EXPECT_EQ(info(MSTP_BPDU_CONFIG, UNKNOWN, WORSE), MSTP_INFERIOR_ROOT_ALTERNATE_INFO);
}

// ---- Other

TEST_F(RcvInfo, BetterVectorOfARootOrAlternatePortIsOther) {
    EXPECT_EQ(info(MSTP_BPDU_RST, ROOT, BETTER), MSTP_OTHER_INFO);
    EXPECT_EQ(info(MSTP_BPDU_RST, ALTERNATE, BETTER), MSTP_OTHER_INFO);
}

TEST_F(RcvInfo, PortOfUnknownRoleIsOther) {
    EXPECT_EQ(info(MSTP_BPDU_RST, UNKNOWN, BETTER), MSTP_OTHER_INFO);
    EXPECT_EQ(info(MSTP_BPDU_RST, UNKNOWN, EQUAL), MSTP_OTHER_INFO);
    EXPECT_EQ(info(MSTP_BPDU_RST, UNKNOWN, WORSE), MSTP_OTHER_INFO);
}

TEST_F(RcvInfo, FlagsBesideTheRoleDoNotMatter) {
    EXPECT_EQ(info(MSTP_BPDU_RST, DESIGNATED | OTHER_FLAGS, BETTER), MSTP_SUPERIOR_DESIGNATED_INFO);
    EXPECT_EQ(info(MSTP_BPDU_RST, ROOT | OTHER_FLAGS, WORSE), MSTP_INFERIOR_ROOT_ALTERNATE_INFO);
    EXPECT_EQ(info(MSTP_BPDU_RST, UNKNOWN | OTHER_FLAGS, WORSE), MSTP_OTHER_INFO);
}

TEST_F(RcvInfo, ClassificationChangesNoRecord) {
    info(MSTP_BPDU_RST, DESIGNATED, BETTER);
    const std::string before = bytesOf(*cist) + bytesOf(*port);
    rcvInfo(cist);
    EXPECT_EQ(bytesOf(*cist) + bytesOf(*port), before);
}

TEST_F(RcvInfo, EachInstanceComparesWithItsOwnInformation) {
    info(MSTP_BPDU_RST, DESIGNATED, WORSE);
    EXPECT_EQ(info(msti, MSTP_BPDU_RST, DESIGNATED, BETTER, true), MSTP_SUPERIOR_DESIGNATED_INFO);
    EXPECT_EQ(rcvInfo(cist), MSTP_INFERIOR_DESIGNATED_INFO);
}

// ---- Topology change notification

TEST_F(RcvInfo, TcnIsOtherWhateverTheVectorsSay) {
    EXPECT_EQ(info(MSTP_BPDU_TCN, DESIGNATED, BETTER), MSTP_OTHER_INFO);
    EXPECT_EQ(info(MSTP_BPDU_TCN, ROOT, WORSE), MSTP_OTHER_INFO);
}

TEST_F(RcvInfo, TcnIsATopologyChangeInEveryInstanceOfThePort) {
    tMstpXstPort* other = addPort(2)->xstPorts;
    port->arpFlush = 0;
    info(MSTP_BPDU_TCN, UNKNOWN, EQUAL);
    EXPECT_EQ(cist->rcvdTc, 1);
    EXPECT_EQ(msti->rcvdTc, 1);
    EXPECT_EQ(port->arpFlush, 1);
    EXPECT_EQ(other->rcvdTc, 0);
    EXPECT_EQ(other->host->arpFlush, 0);
}

TEST_F(RcvInfo, TcnIsANotificationToTheCistOnly) {
    info(MSTP_BPDU_TCN, UNKNOWN, EQUAL);
    EXPECT_EQ(cist->rcvdTcn, 1);
    EXPECT_EQ(msti->rcvdTcn, 0);
}

TEST_F(RcvInfo, OtherBpdusAreNoTopologyChange) {
    info(MSTP_BPDU_RST, DESIGNATED, BETTER);
    info(MSTP_BPDU_CONFIG, UNKNOWN, WORSE);
    EXPECT_EQ(cist->rcvdTc, 0);
    EXPECT_EQ(cist->rcvdTcn, 0);
}

// ---- Traces

TEST_F(RcvInfo, TcnIsTracedWithTheInstanceThatWasAsked) {
    EXPECT_THAT(tracedInfo(cist, MSTP_BPDU_TCN, UNKNOWN, EQUAL),
                ElementsAre("msti 0 port port1 recv tcn info"));
    EXPECT_THAT(tracedInfo(msti, MSTP_BPDU_TCN, UNKNOWN, EQUAL),
                ElementsAre("msti 5 port port1 recv tcn info"));
}

TEST_F(RcvInfo, SuperiorInformationIsTraced) {
    EXPECT_THAT(tracedInfo(msti, MSTP_BPDU_RST, DESIGNATED, BETTER),
                ElementsAre("msti 5 port port1 superior designated info"));
}

TEST_F(RcvInfo, RepeatedInformationIsTraced) {
    EXPECT_THAT(tracedInfo(msti, MSTP_BPDU_RST, DESIGNATED, EQUAL),
                ElementsAre("msti 5 port port1 repeat designated info"));
}

TEST_F(RcvInfo, InferiorInformationIsTraced) {
    EXPECT_THAT(tracedInfo(msti, MSTP_BPDU_RST, DESIGNATED, WORSE),
                ElementsAre("msti 5 port port1 inferior designated info"));
}

TEST_F(RcvInfo, InferiorRootOrAlternateInformationIsTraced) {
    EXPECT_THAT(tracedInfo(msti, MSTP_BPDU_RST, ROOT, WORSE),
                ElementsAre("msti 5 port port1 inferior root alternate info"));
}

TEST_F(RcvInfo, OtherInformationIsTraced) {
    EXPECT_THAT(tracedInfo(msti, MSTP_BPDU_RST, UNKNOWN, WORSE),
                ElementsAre("msti 5 port port1 other info"));
}

TEST_F(RcvInfo, TracesNeedTheirDebugBit) {
    EXPECT_THAT(traced(~uint32_t{MSTP_DEBUG_ACTIVITY},
                       [&] {
                           info(MSTP_BPDU_TCN, UNKNOWN, EQUAL);
                           info(MSTP_BPDU_RST, DESIGNATED, BETTER);
                           info(MSTP_BPDU_RST, DESIGNATED, EQUAL);
                           info(MSTP_BPDU_RST, DESIGNATED, WORSE);
                           info(MSTP_BPDU_RST, ROOT, WORSE);
                           info(MSTP_BPDU_RST, UNKNOWN, WORSE);
                       }),
                IsEmpty());
}

} // namespace
