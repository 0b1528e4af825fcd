// The standard's Port Timers machine: its two states, and which counters a tick lowers.

#include <vector>

#include "machine_test.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const char* const BANNER = "mstp port port1  port timer state machine";

class PortTimersMachine : public MachineTest {
  protected:
    PortTimersMachine() {
        bridge.bridge->begin = 0;
        port->tick = 0;
    }

    uint8_t state() const { return port->fsmState[MSTP_PORT_TIMER_FSM]; }
    void setState(uint8_t state) { port->fsmState[MSTP_PORT_TIMER_FSM] = state; }

    void setPortCounters(uint8_t value) {
        port->helloWhen = port->mdelayWhile = port->edgeDelayWhile = port->txCount = value;
    }

    std::vector<uint8_t> portCounters() const {
        return {port->helloWhen, port->mdelayWhile, port->edgeDelayWhile, port->txCount};
    }

    // Gives the five counters of the port's record of instance @p xstId 10, 20, 30, 40 and 50.
    void setCounters(uint32_t xstId) {
        tMstpXstPort& xstPort = port->xstPorts[xstId];
        xstPort.tcWhile = 10;
        xstPort.fdWhile = 20;
        xstPort.rcvdInfoWhile = 30;
        xstPort.rrWhile = 40;
        xstPort.rbWhile = 50;
    }

    std::vector<uint8_t> counters(uint32_t xstId) const {
        const tMstpXstPort& xstPort = port->xstPorts[xstId];
        return {xstPort.tcWhile, xstPort.fdWhile, xstPort.rcvdInfoWhile, xstPort.rrWhile,
                xstPort.rbWhile};
    }

    void expectTicked(uint32_t xstId) const {
        EXPECT_THAT(counters(xstId), ElementsAre(9, 19, 29, 39, 49)) << "instance " << xstId;
    }

    void expectSkipped(uint32_t xstId) const {
        EXPECT_THAT(counters(xstId), ElementsAre(10, 20, 30, 40, 50)) << "instance " << xstId;
    }
};

// ---- Entry actions

TEST_F(PortTimersMachine, OneSecondConsumesTheTick) {
    port->tick = 1;
    setState(MSTP_PORT_TIMER_TICK);
    mstpPortTimerOneSecond(port);
    EXPECT_EQ(port->tick, 0);
    EXPECT_EQ(state(), MSTP_PORT_TIMER_ONE_SECOND);
}

TEST_F(PortTimersMachine, OneSecondLowersNoCounter) {
    setPortCounters(3);
    setCounters(5);
    mstpPortTimerOneSecond(port);
    EXPECT_THAT(portCounters(), ElementsAre(3, 3, 3, 3));
    expectSkipped(5);
}

TEST_F(PortTimersMachine, TickStoresItsState) {
    mstpPortTimerTick(port);
    EXPECT_EQ(state(), MSTP_PORT_TIMER_TICK);
}

TEST_F(PortTimersMachine, TickLeavesTheTickToOneSecond) {
    port->tick = 1;
    mstpPortTimerTick(port);
    EXPECT_EQ(port->tick, 1);
}

TEST_F(PortTimersMachine, TickLowersThePortsFourCounters) {
    port->helloWhen = 1;
    port->mdelayWhile = 2;
    port->edgeDelayWhile = 3;
    port->txCount = 255;
    mstpPortTimerTick(port);
    EXPECT_THAT(portCounters(), ElementsAre(0, 1, 2, 254));
}

TEST_F(PortTimersMachine, TickLeavesPortCountersOfZeroAtZero) {
    setPortCounters(0);
    mstpPortTimerTick(port);
    EXPECT_THAT(portCounters(), ElementsAre(0, 0, 0, 0));
}

TEST_F(PortTimersMachine, TickLowersTheFiveCountersOfAnInstanceNotInUse) {
    setCounters(5);
    mstpPortTimerTick(port);
    expectTicked(5);
}

TEST_F(PortTimersMachine, TickLeavesInstanceCountersOfZeroAtZero) {
    mstpPortTimerTick(port);
    EXPECT_THAT(counters(5), ElementsAre(0, 0, 0, 0, 0));
}

TEST_F(PortTimersMachine, TickReachesTheFirstAndTheLastInstanceSlot) {
    bridge.bridge->xsts[0].rowStatus = 0;
    setCounters(0);
    setCounters(gMstp.xstLimit - 1U);
    mstpPortTimerTick(port);
    expectTicked(0);
    expectTicked(gMstp.xstLimit - 1U);
    bridge.bridge->xsts[0].rowStatus = MSTP_ACTIVE;
}

TEST_F(PortTimersMachine, TickStopsAtTheInstanceLimit) {
    const uint8_t limit = gMstp.xstLimit;
    setCounters(limit - 1U);
    gMstp.xstLimit = limit - 1;
    mstpPortTimerTick(port);
    gMstp.xstLimit = limit;
    expectSkipped(limit - 1U);
}

TEST_F(PortTimersMachine, TickNeverLowersTheCountersOfALiveInstance) {
    addInstance(3);
    setCounters(0);
    setCounters(3);
    mstpPortTimerTick(port);
    expectSkipped(0);
    expectSkipped(3);
}

TEST_F(PortTimersMachine, TickSkipsAnInstanceThatIsNotInService) {
    bridge.bridge->xsts[5].rowStatus = MSTP_NOTINSERVICE;
    setCounters(5);
    mstpPortTimerTick(port);
    expectSkipped(5);
    bridge.bridge->xsts[5].rowStatus = 0;
}

TEST_F(PortTimersMachine, TickGoesOnBehindALiveInstance) {
    addInstance(3);
    setCounters(2);
    setCounters(4);
    mstpPortTimerTick(port);
    expectTicked(2);
    expectTicked(4);
}

TEST_F(PortTimersMachine, TickLeavesOtherPortsAlone) {
    tMstpPort* other = addPort(2);
    other->txCount = 3;
    other->xstPorts[5].fdWhile = 3;
    mstpPortTimerTick(port);
    EXPECT_EQ(other->txCount, 3);
    EXPECT_EQ(other->xstPorts[5].fdWhile, 3);
}

TEST_F(PortTimersMachine, WithAnInstanceLimitOfZeroTheTickTouchesOnlyThePortWideCounters) {
    const uint8_t limit = gMstp.xstLimit;
    gMstp.xstLimit = 0;
    setPortCounters(3);
    setCounters(5);
    mstpPortTimerTick(port);
    gMstp.xstLimit = limit;

    EXPECT_THAT(portCounters(), ElementsAre(2, 2, 2, 2));
    expectSkipped(5);
    EXPECT_EQ(state(), MSTP_PORT_TIMER_TICK);
}

// ---- The machine

TEST_F(PortTimersMachine, BeginEntersOneSecondAndForgetsTheTick) {
    bridge.bridge->begin = 1;
    port->tick = 1;
    setState(MSTP_PORT_TIMER_TICK);
    setPortCounters(3);
    mstpPortTimerFSM(port);
    EXPECT_EQ(state(), MSTP_PORT_TIMER_ONE_SECOND);
    EXPECT_EQ(port->tick, 0);
    EXPECT_THAT(portCounters(), ElementsAre(3, 3, 3, 3));
}

TEST_F(PortTimersMachine, TickEntersTickAndAtOnceOneSecondAgain) {
    port->tick = 1;
    setPortCounters(3);
    setCounters(5);
    mstpPortTimerFSM(port);
    EXPECT_THAT(portCounters(), ElementsAre(2, 2, 2, 2));
    expectTicked(5);
    EXPECT_EQ(port->tick, 0);
    EXPECT_EQ(state(), MSTP_PORT_TIMER_ONE_SECOND);
}

TEST_F(PortTimersMachine, WithoutATickNothingHappens) {
    setState(MSTP_PORT_TIMER_TICK);
    setPortCounters(3);
    setCounters(5);
    const std::string before = bytesOf(*port);
    mstpPortTimerFSM(port);
    EXPECT_EQ(bytesOf(*port), before);
    expectSkipped(5);
}

TEST_F(PortTimersMachine, TickIsOneAndNothingElse) {
    port->tick = 2;
    setPortCounters(3);
    mstpPortTimerFSM(port);
    EXPECT_EQ(port->tick, 2);
    EXPECT_THAT(portCounters(), ElementsAre(3, 3, 3, 3));
}

// ---- Traces

TEST_F(PortTimersMachine, RunTracesItsBannerAndNothingElse) {
    port->tick = 1;
    bridge.bridge->begin = 1;
    EXPECT_THAT(traced(0xFFFFFFFF, [&] { mstpPortTimerFSM(port); }), ElementsAre(BANNER));
    bridge.bridge->begin = 0;
    port->tick = 1;
    EXPECT_THAT(traced(MSTP_DEBUG_MACHINE, [&] { mstpPortTimerFSM(port); }), ElementsAre(BANNER));
}

TEST_F(PortTimersMachine, BannerNeedsTheMachinesDebugBit) {
    EXPECT_THAT(traced(~uint32_t{MSTP_DEBUG_MACHINE}, [&] { mstpPortTimerFSM(port); }), IsEmpty());
}

} // namespace
