// Port Transmit: when a BPDU leaves, and of which kind.

#include "mstp_port_transmit_state_machine.h"

#include "machine_test.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const char* const BANNER = "mstp port port1  Port Transmit state machine";
const char* const INIT = "BEGIN || !portEnabled";
const char* const TO_INIT = "jump to TRANSMIT_INIT";
const char* const PERIODIC = "helloWhen == 0";
const char* const TO_PERIODIC = "jump to TRANSMIT_PERIODIC";
const char* const RSTP = "sendRSTP && (newInfo || (newInfoMsti && !mstiMasterPort)) && "
                         "(txCount < TxHoldCount) && (helloWhen !=0)";
const char* const TO_RSTP = "jump to TRANSMIT_RSTP";
const char* const TCN =
    "!sendRSTP && newInfo  && cistRootPort && (txCount < TxHoldCount) && (helloWhen != 0)";
const char* const TO_TCN = "jump to TRANSMIT_TCN";
const char* const CONFIG =
    "!sendRSTP && newInfo && cistDesignatedPort && (txCount < TxHoldCount) && (helloWhen != 0)";
const char* const TO_CONFIG = "jump to TRANSMIT_CONFIG";
const char* const IDLE = "IDLE";
const char* const TO_IDLE = "jump to TRANSMIT_IDLE";

constexpr uint8_t HELLO_TIME = 2;
constexpr uint8_t HOLD_COUNT = 6;
constexpr uint32_t BPDU_TYPE_AT = 17 + 3; // in a frame

class PortTransmit : public MachineTest {
  protected:
    // An enabled designated port, ready, with nothing to say and the hello time not yet over.
    PortTransmit() : msti(addInstance(1)) {
        settle(cist);
        settle(msti);
        bridge.bridge->txHoldCount = HOLD_COUNT;
        cist->designatedTimes.helloTime = HELLO_TIME;
        port->fsmState[MSTP_PORT_TRANSMIT_FSM] = MSTP_PORT_TRANSMIT_IDLE;
        port->sendRSTP = 1;
        port->newInfo = 0;
        port->newInfoMsti = 0;
        port->txCount = 0;
        port->helloWhen = 1;
        port->infoInternal = 1;
        setRoles(0, 1);
        port->mstiMasterPort = 0;
        bridge.sw.forget();
    }

    static void settle(tMstpXstPort* xstPort) {
        xstPort->role = MSTP_DISABLED_PORT;
        xstPort->selected = 1;
        xstPort->updtInfo = 0;
    }

    // The summary that the machine reads.
    void setRoles(uint8_t cistRootPort, uint8_t cistDesignatedPort) {
        port->cistRootPort = cistRootPort;
        port->cistDesignatedPort = cistDesignatedPort;
    }

    uint8_t state() const { return port->fsmState[MSTP_PORT_TRANSMIT_FSM]; }

    // The types of the BPDUs that left, in order.
    std::vector<int> sentTypes() const {
        std::vector<int> types;
        for (const sim::Frame& frame : bridge.sw.sent) {
            types.push_back(frame.bytes.at(BPDU_TYPE_AT));
        }
        return types;
    }

    std::vector<std::string> run() {
        return traced(MSTP_DEBUG_MACHINE, [&] { mstpPortTransmitFSM(port); });
    }

    tMstpXstPort* msti;
};

// ---- Entry actions

TEST_F(PortTransmit, InitMakesNewsForEverybodyAndClearsTheCount) {
    port->txCount = 4;

    mstpPortTransmitInit(port);

    EXPECT_EQ(port->newInfo, 1);
    EXPECT_EQ(port->newInfoMsti, 1);
    EXPECT_EQ(port->txCount, 0);
    EXPECT_EQ(state(), MSTP_PORT_TRANSMIT_INIT);
}

TEST_F(PortTransmit, PeriodicBringsTheSummaryOfRolesUpToDateFirst) {
    setRoles(1, 0);
    cist->role = MSTP_DESIGNATED_PORT;

    mstpPortTransmitPeriodic(port);

    EXPECT_EQ(port->cistRootPort, 0);
    EXPECT_EQ(port->cistDesignatedPort, 1);
    EXPECT_EQ(port->newInfo, 1);
    EXPECT_EQ(state(), MSTP_PORT_TRANSMIT_PERIODIC);
}

TEST_F(PortTransmit, PeriodicIsNoNewsForOtherRoles) {
    mstpPortTransmitPeriodic(port);
    EXPECT_EQ(port->newInfo, 0);
    EXPECT_EQ(port->newInfoMsti, 0);
}

TEST_F(PortTransmit, PeriodicKeepsNewsThatWaits) {
    port->newInfo = 1;
    port->newInfoMsti = 1;
    mstpPortTransmitPeriodic(port);
    EXPECT_EQ(port->newInfo, 1);
    EXPECT_EQ(port->newInfoMsti, 1);
}

TEST_F(PortTransmit, PeriodicIsNewsForARootPortThatSpreadsATopologyChange) {
    cist->role = MSTP_ROOT_PORT;
    cist->tcWhile = 1;
    mstpPortTransmitPeriodic(port);
    EXPECT_EQ(port->newInfo, 1);
}

TEST_F(PortTransmit, PeriodicIsNoNewsForARootPortWithoutATopologyChange) {
    cist->role = MSTP_ROOT_PORT;
    cist->tcWhile = 0;
    mstpPortTransmitPeriodic(port);
    EXPECT_EQ(port->newInfo, 0);
}

TEST_F(PortTransmit, PeriodicIsNoNewsForAnotherPortInATopologyChange) {
    cist->role = MSTP_ALTERNATE_PORT;
    cist->tcWhile = 1;
    mstpPortTransmitPeriodic(port);
    EXPECT_EQ(port->newInfo, 0);
}

TEST_F(PortTransmit, PeriodicIsNewsOfTheMstisForADesignatedPortOfOne) {
    msti->role = MSTP_DESIGNATED_PORT;
    mstpPortTransmitPeriodic(port);
    EXPECT_EQ(port->newInfo, 0);
    EXPECT_EQ(port->newInfoMsti, 1);
}

TEST_F(PortTransmit, ConfigSendsOneConfigurationBpdu) {
    port->newInfo = 1;
    port->newInfoMsti = 1;
    port->txCount = 2;
    cist->tcAck = 1;

    mstpPortTransmitConfig(port);

    EXPECT_THAT(sentTypes(), ElementsAre(MSTP_BPDU_CONFIG));
    EXPECT_EQ(port->newInfo, 0);
    EXPECT_EQ(port->newInfoMsti, 1);
    EXPECT_EQ(port->txCount, 3);
    EXPECT_EQ(state(), MSTP_PORT_TRANSMIT_CONFIG);
}

TEST_F(PortTransmit, ConfigAcknowledgesATopologyChangeOnce) {
    cist->tcAck = 1;

    mstpPortTransmitConfig(port);

    ASSERT_EQ(bridge.sw.sent.size(), 1U);
    EXPECT_EQ(bridge.sw.sent[0].bytes.at(BPDU_TYPE_AT + 1), MSTP_FLAG_TOPOLOGY_CHANGE_ACK);
    EXPECT_EQ(cist->tcAck, 0);
}

TEST_F(PortTransmit, TcnSendsOneTcnBpdu) {
    port->newInfo = 1;
    port->newInfoMsti = 1;
    port->txCount = 2;
    cist->tcAck = 1;

    mstpPortTransmitTcn(port);

    EXPECT_THAT(sentTypes(), ElementsAre(MSTP_BPDU_TCN));
    EXPECT_EQ(port->newInfo, 0);
    EXPECT_EQ(port->newInfoMsti, 1);
    EXPECT_EQ(port->txCount, 3);
    EXPECT_EQ(cist->tcAck, 1);
    EXPECT_EQ(state(), MSTP_PORT_TRANSMIT_TCN);
}

TEST_F(PortTransmit, RstpSendsOneMstBpduForAllNews) {
    port->newInfo = 1;
    port->newInfoMsti = 1;
    port->txCount = 2;
    cist->tcAck = 1;

    mstpPortTransmitRstp(port);

    EXPECT_THAT(sentTypes(), ElementsAre(MSTP_BPDU_RST));
    EXPECT_EQ(port->newInfo, 0);
    EXPECT_EQ(port->newInfoMsti, 0);
    EXPECT_EQ(port->txCount, 3);
    EXPECT_EQ(cist->tcAck, 0);
    EXPECT_EQ(state(), MSTP_PORT_TRANSMIT_RSTP);
}

TEST_F(PortTransmit, ABpduCountsAsSentEvenIfItIsNot) {
    port->newInfo = 1;
    port->filtering = 1;

    mstpPortTransmitRstp(port);

    EXPECT_THAT(bridge.sw.sent, IsEmpty());
    EXPECT_EQ(port->newInfo, 0);
    EXPECT_EQ(port->txCount, 1);
}

TEST_F(PortTransmit, IdleRestartsTheHelloTime) {
    EXPECT_THAT(traced(MSTP_DEBUG_MACHINE, [&] { mstpPortTransmitIdle(port); }),
                ElementsAre(IDLE, TO_IDLE));
    EXPECT_EQ(state(), MSTP_PORT_TRANSMIT_IDLE);
    expectLoaded(bridge, port->helloWhen, port->helloWhenTimer, HELLO_TIME, MSTP_EVENT_TICK);
}

TEST_F(PortTransmit, TheHelloTimeIsThatOfTheCist) {
    msti->designatedTimes.helloTime = 9;
    cist->portTimes.helloTime = 8;
    mstpPortTransmitIdle(port);
    EXPECT_EQ(port->helloWhen, HELLO_TIME);
}

// ---- The machine: who may transmit

TEST_F(PortTransmit, APortWithoutACistRecordNeverTransmitsAndSaysSo) {
    cist->state = MSTP_SLOT_FREE;
    port->newInfo = 1;
    port->helloWhen = 0;
    const std::string before = bytesOf(*port);

    EXPECT_THAT(traced(MSTP_DEBUG_REFUSAL | MSTP_DEBUG_MACHINE, [&] { mstpPortTransmitFSM(port); }),
                ElementsAre("mstp port port1  Port Instance0 NULL"));
    EXPECT_THAT(bridge.sw.sent, IsEmpty());
    EXPECT_EQ(bytesOf(*port), before);
}

TEST_F(PortTransmit, AMissingCistRecordIsReportedUnderTheRefusalBitOnly) {
    cist->state = MSTP_SLOT_FREE;
    EXPECT_THAT(
        traced(~static_cast<uint32_t>(MSTP_DEBUG_REFUSAL), [&] { mstpPortTransmitFSM(port); }),
        IsEmpty());
}

TEST_F(PortTransmit, ADisabledCistRecordIsARecord) {
    cist->state = MSTP_SLOT_DISABLED;
    EXPECT_THAT(run(), ElementsAre(BANNER));
}

TEST_F(PortTransmit, BeginMakesNewsAndClearsTheCountOnEveryCall) {
    bridge.bridge->begin = 1;
    cist->selected = 0; // nothing is sent, so that INIT's own work is seen
    for (int call = 0; call < 2; call++) {
        port->txCount = HOLD_COUNT;
        port->newInfo = 0;
        port->newInfoMsti = 0;

        EXPECT_THAT(run(), ElementsAre(BANNER, INIT, TO_INIT, IDLE, TO_IDLE));
        EXPECT_EQ(port->txCount, 0);
        EXPECT_EQ(port->newInfo, 1);
        EXPECT_EQ(port->newInfoMsti, 1);
        EXPECT_EQ(state(), MSTP_PORT_TRANSMIT_IDLE);
    }
}

TEST_F(PortTransmit, ADisabledPortMakesNewsAndClearsTheCountOnEveryCall) {
    port->portEnabled = 0;
    cist->selected = 0;
    for (int call = 0; call < 2; call++) {
        port->txCount = HOLD_COUNT;
        port->newInfo = 0;
        port->newInfoMsti = 0;

        EXPECT_THAT(run(), ElementsAre(BANNER, INIT, TO_INIT, IDLE, TO_IDLE));
        EXPECT_EQ(port->txCount, 0);
        EXPECT_EQ(port->newInfo, 1);
        EXPECT_EQ(port->newInfoMsti, 1);
    }
}

TEST_F(PortTransmit, BeginDoesNotHoldTheMachine) {
    bridge.bridge->begin = 1;

    EXPECT_THAT(run(),
                ElementsAre(BANNER, INIT, TO_INIT, IDLE, TO_IDLE, RSTP, TO_RSTP, IDLE, TO_IDLE));
}

TEST_F(PortTransmit, ADisabledPortDoesNotHoldTheMachine) {
    port->portEnabled = 0;

    EXPECT_THAT(run(),
                ElementsAre(BANNER, INIT, TO_INIT, IDLE, TO_IDLE, RSTP, TO_RSTP, IDLE, TO_IDLE));
}

TEST_F(PortTransmit, APortWithNothingToSayIsSilent) {
    EXPECT_THAT(run(), ElementsAre(BANNER));
    EXPECT_THAT(bridge.sw.sent, IsEmpty());
}

TEST_F(PortTransmit, NothingIsSentWhileRolesOfAnInstanceAreNotSelected) {
    port->newInfo = 1;
    port->helloWhen = 0;
    msti->selected = 0;

    EXPECT_THAT(run(), ElementsAre(BANNER));
    EXPECT_THAT(bridge.sw.sent, IsEmpty());
}

TEST_F(PortTransmit, ReadinessIsLookedAtInEveryCall) {
    port->newInfo = 1;
    port->allTransmitReady = 0;

    EXPECT_THAT(run(), ElementsAre(BANNER, RSTP, TO_RSTP, IDLE, TO_IDLE));
}

// ---- The machine: PERIODIC

TEST_F(PortTransmit, AHelloTimeThatIsOverMakesADesignatedPortSendInTheSamePass) {
    port->helloWhen = 0;
    cist->role = MSTP_DESIGNATED_PORT;

    EXPECT_THAT(run(), ElementsAre(BANNER, PERIODIC, TO_PERIODIC, IDLE, TO_IDLE, RSTP, TO_RSTP,
                                   IDLE, TO_IDLE));
    EXPECT_EQ(port->helloWhen, HELLO_TIME);
    EXPECT_THAT(sentTypes(), ElementsAre(MSTP_BPDU_RST));
}

TEST_F(PortTransmit, WithHelloTimeZeroEveryPassIsPeriodicAndNothingIsSent) {
    port->helloWhen = 0;
    cist->role = MSTP_DESIGNATED_PORT;
    cist->designatedTimes.helloTime = 0;
    std::vector<std::string> expected = {BANNER};
    for (int pass = 0; pass < 5; pass++) {
        expected.insert(expected.end(), {PERIODIC, TO_PERIODIC, IDLE, TO_IDLE});
    }

    EXPECT_EQ(run(), expected);
    EXPECT_EQ(port->newInfo, 1);
    EXPECT_EQ(port->helloWhen, 0);
    EXPECT_THAT(bridge.sw.sent, IsEmpty());
}

TEST_F(PortTransmit, WithHelloTimeZeroAnStpPortSendsNothingEither) {
    port->sendRSTP = 0;
    port->helloWhen = 0;
    cist->designatedTimes.helloTime = 0;
    for (uint8_t role : {MSTP_ROOT_PORT, MSTP_DESIGNATED_PORT}) {
        cist->role = role;
        port->newInfo = 1;
        run();
        EXPECT_THAT(bridge.sw.sent, IsEmpty()) << +role;
    }
}

// ---- The machine: RSTP

TEST_F(PortTransmit, NewsOfTheCistIsSent) {
    port->newInfo = 1;

    EXPECT_THAT(run(), ElementsAre(BANNER, RSTP, TO_RSTP, IDLE, TO_IDLE));
    EXPECT_THAT(sentTypes(), ElementsAre(MSTP_BPDU_RST));
    EXPECT_EQ(port->helloWhen, HELLO_TIME);
    EXPECT_EQ(state(), MSTP_PORT_TRANSMIT_IDLE);
}

TEST_F(PortTransmit, NewsOfTheMstisIsSent) {
    port->newInfoMsti = 1;

    EXPECT_THAT(run(), ElementsAre(BANNER, RSTP, TO_RSTP, IDLE, TO_IDLE));
}

TEST_F(PortTransmit, NewsOfTheMstisAloneIsNotSentOnAMasterPort) {
    port->newInfoMsti = 1;
    port->mstiMasterPort = 1;

    EXPECT_THAT(run(), ElementsAre(BANNER));
    EXPECT_EQ(port->newInfoMsti, 1);
}

TEST_F(PortTransmit, NewsOfTheMstisLeavesAMasterPortWithNewsOfTheCist) {
    port->newInfo = 1;
    port->newInfoMsti = 1;
    port->mstiMasterPort = 1;

    EXPECT_THAT(run(), ElementsAre(BANNER, RSTP, TO_RSTP, IDLE, TO_IDLE));
    EXPECT_EQ(port->newInfoMsti, 0);
}

TEST_F(PortTransmit, NothingIsSentAtTheHoldCountUntilItIsCountedDown) {
    port->newInfo = 1;
    port->txCount = HOLD_COUNT;
    EXPECT_THAT(run(), ElementsAre(BANNER));
    EXPECT_EQ(port->newInfo, 1);

    port->txCount = HOLD_COUNT - 1;
    EXPECT_THAT(run(), ElementsAre(BANNER, RSTP, TO_RSTP, IDLE, TO_IDLE));
    EXPECT_EQ(port->txCount, HOLD_COUNT);
}

TEST_F(PortTransmit, PeriodicStepsMakeNewsAtTheHoldCountToo) {
    port->txCount = HOLD_COUNT;
    port->helloWhen = 0;
    cist->role = MSTP_DESIGNATED_PORT;

    EXPECT_THAT(run(), ElementsAre(BANNER, PERIODIC, TO_PERIODIC, IDLE, TO_IDLE));
    EXPECT_EQ(port->newInfo, 1);
    EXPECT_THAT(bridge.sw.sent, IsEmpty());
}

TEST_F(PortTransmit, TheHoldCountIsComparedUnsigned) {
    port->newInfo = 1;
    port->txCount = 100;
    bridge.bridge->txHoldCount = 200;

    EXPECT_THAT(run(), ElementsAre(BANNER, RSTP, TO_RSTP, IDLE, TO_IDLE));
}

// ---- The machine: TCN and CONFIG

class PortTransmitStp : public PortTransmit {
  protected:
    PortTransmitStp() {
        port->sendRSTP = 0;
        port->newInfo = 1;
    }
};

TEST_F(PortTransmitStp, ARootPortSendsATcn) {
    setRoles(1, 0);

    EXPECT_THAT(run(), ElementsAre(BANNER, TCN, TO_TCN, IDLE, TO_IDLE));
    EXPECT_THAT(sentTypes(), ElementsAre(MSTP_BPDU_TCN));
    EXPECT_EQ(port->helloWhen, HELLO_TIME);
}

TEST_F(PortTransmitStp, ADesignatedPortSendsAConfigurationBpdu) {
    EXPECT_THAT(run(), ElementsAre(BANNER, CONFIG, TO_CONFIG, IDLE, TO_IDLE));
    EXPECT_THAT(sentTypes(), ElementsAre(MSTP_BPDU_CONFIG));
    EXPECT_EQ(port->helloWhen, HELLO_TIME);
}

TEST_F(PortTransmitStp, APortThatIsSummedUpAsBothSendsATcn) {
    setRoles(1, 1);
    EXPECT_THAT(run(), ElementsAre(BANNER, TCN, TO_TCN, IDLE, TO_IDLE));
}

TEST_F(PortTransmitStp, APortOfAnotherRoleSendsNothing) {
    setRoles(0, 0);
    EXPECT_THAT(run(), ElementsAre(BANNER));
    EXPECT_EQ(port->newInfo, 1);
}

TEST_F(PortTransmitStp, APortWithoutNewsSendsNothing) {
    port->newInfo = 0;
    port->newInfoMsti = 1;
    EXPECT_THAT(run(), ElementsAre(BANNER));
    setRoles(1, 0);
    EXPECT_THAT(run(), ElementsAre(BANNER));
}

TEST_F(PortTransmitStp, ARootPortSendsNoTcnAtTheHoldCount) {
    setRoles(1, 0);
    port->txCount = HOLD_COUNT;
    EXPECT_THAT(run(), ElementsAre(BANNER));
    EXPECT_EQ(port->newInfo, 1);

    port->txCount = HOLD_COUNT - 1;
    EXPECT_THAT(run(), ElementsAre(BANNER, TCN, TO_TCN, IDLE, TO_IDLE));
}

TEST_F(PortTransmitStp, ADesignatedPortSendsNoConfigurationBpduAtTheHoldCount) {
    port->txCount = HOLD_COUNT;
    EXPECT_THAT(run(), ElementsAre(BANNER));
    EXPECT_EQ(port->newInfo, 1);

    port->txCount = HOLD_COUNT - 1;
    EXPECT_THAT(run(), ElementsAre(BANNER, CONFIG, TO_CONFIG, IDLE, TO_IDLE));
}

TEST_F(PortTransmitStp, AHelloTimeThatIsOverMakesADesignatedPortSendInTheSamePass) {
    port->newInfo = 0;
    port->helloWhen = 0;
    cist->role = MSTP_DESIGNATED_PORT;

    EXPECT_THAT(run(), ElementsAre(BANNER, PERIODIC, TO_PERIODIC, IDLE, TO_IDLE, CONFIG, TO_CONFIG,
                                   IDLE, TO_IDLE));
}

// With HelloTime 0 the step after a BPDU is periodic, so the run shows whether it went on.
TEST_F(PortTransmit, APassThatSentABpduIsFollowedByAnother) {
    cist->designatedTimes.helloTime = 0;
    port->newInfo = 1;
    const std::vector<std::string> lines = run();
    ASSERT_GT(lines.size(), 6U);
    EXPECT_EQ(lines[1], RSTP);
    EXPECT_EQ(lines[5], PERIODIC);
    EXPECT_EQ(lines.size(), 1U + 4 * 5);
}

TEST_F(PortTransmitStp, APassThatSentABpduIsFollowedByAnother) {
    cist->designatedTimes.helloTime = 0;
    for (const char* condition : {TCN, CONFIG}) {
        port->helloWhen = 1;
        port->newInfo = 1;
        setRoles(condition == TCN, condition == CONFIG);
        const std::vector<std::string> lines = run();
        ASSERT_GT(lines.size(), 6U);
        EXPECT_EQ(lines[1], condition);
        EXPECT_EQ(lines[5], PERIODIC);
        EXPECT_EQ(lines.size(), 1U + 4 * 5);
    }
}

TEST_F(PortTransmit, TheMachineTracesUnderItsBitOnly) {
    port->helloWhen = 0;
    cist->role = MSTP_DESIGNATED_PORT;
    const uint32_t others = MSTP_DEBUG_MACHINE | MSTP_DEBUG_ACTIVITY | MSTP_DEBUG_SEND;

    EXPECT_THAT(traced(~others, [&] { mstpPortTransmitFSM(port); }), IsEmpty());
}

} // namespace
