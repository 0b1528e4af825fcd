// The checks must find what they look for: each is shown a network that breaks its promise.

#include "invariants.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "lab.h"
#include "platform/stg.h"

using testing::Contains;
using testing::Field;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

namespace {

constexpr uint64_t SECOND = 1'000'000;
constexpr uint32_t VLAN = 10;

void setState(sim::Network& network, uint32_t node, uint32_t unit, uint32_t state) {
    sim::Switch& sw = network.node(node).sw;
    sw.groups[sw.groupOfVlan[VLAN]].states[unit] = state;
}

} // namespace

class InvariantsOfRing : public testing::Test {
  protected:
    InvariantsOfRing() : m_invariants(m_lab.network, {VLAN}) { m_lab.ring(4); }

    void openRing() {
        for (uint32_t node = 0; node < 4; node++) {
            setState(m_lab.network, node, 1, STG_PORT_FORWARDING);
            setState(m_lab.network, node, 2, STG_PORT_FORWARDING);
        }
    }
    // The checker looks again when something has changed.
    void lookAgain() {
        m_invariants.linkChanged(m_lab.network.time(), 0, true);
        m_lab.network.run(SECOND);
    }

    Lab m_lab;
    sim::Invariants m_invariants;
};

TEST_F(InvariantsOfRing, HoldFromStartThroughCutAndRepair) {
    m_lab.settle();
    m_lab.network.setLink(0, false);
    m_lab.settle();
    m_lab.network.setLink(0, true);
    m_lab.settle();
    EXPECT_THAT(m_invariants.violations(), IsEmpty());
    EXPECT_THAT(m_invariants.settledViolations(), IsEmpty());
}

TEST_F(InvariantsOfRing, FindALoopOfForwardingPorts) {
    m_lab.settle();
    openRing();
    EXPECT_THAT(m_invariants.settledViolations(), Contains(HasSubstr("closes a loop")));
}

TEST_F(InvariantsOfRing, ReportALoopOnceHoweverLongItLasts) {
    m_lab.settle();
    openRing();
    lookAgain();
    lookAgain();
    const auto isLoop = Field(&sim::Violation::text, HasSubstr("has had a loop"));
    EXPECT_THAT(m_invariants.violations(), Contains(isLoop).Times(1));
}

TEST_F(InvariantsOfRing, TolerateALoopThatIsShortEnough) {
    m_lab.settle();
    m_invariants.allowLoopsFor(10 * SECOND);
    openRing();
    lookAgain();
    setState(m_lab.network, 2, 1, STG_PORT_BLOCKING);
    lookAgain();
    const auto isLoop = Field(&sim::Violation::text, HasSubstr("loop"));
    EXPECT_THAT(m_invariants.violations(), Not(Contains(isLoop)));
    EXPECT_GT(m_invariants.longestLoop(), 0U);
}

TEST_F(InvariantsOfRing, TolerateALoopForLongerWhileAPortWaitsForItsHoldCount) {
    m_lab.settle();
    m_invariants.allowLoopsFor(1);
    m_invariants.allowHeldLoopsFor(60 * SECOND);
    tMstpPort& port = m_lab.network.node(0).context.ports[0];
    port.bridge->txHoldCount = 0;
    m_lab.network.run(3 * SECOND);
    openRing();
    lookAgain();
    const auto isLoop = Field(&sim::Violation::text, HasSubstr("loop"));
    EXPECT_THAT(m_invariants.violations(), Not(Contains(isLoop)));
}

TEST_F(InvariantsOfRing, TolerateALoopForNoLongerWhereNoPortWaits) {
    m_lab.settle();
    m_invariants.allowLoopsFor(1);
    m_invariants.allowHeldLoopsFor(60 * SECOND);
    openRing();
    lookAgain();
    const auto isLoop = Field(&sim::Violation::text, HasSubstr("loop"));
    EXPECT_THAT(m_invariants.violations(), Contains(isLoop));
}

TEST_F(InvariantsOfRing, ExcuseALink) {
    m_lab.settle();
    openRing();
    sim::Excuses excuses;
    excuses.links = {0};
    m_invariants.setExcuses(excuses);
    EXPECT_THAT(m_invariants.settledViolations(), IsEmpty());
}

TEST_F(InvariantsOfRing, FindABridgeThatIsCutOff) {
    m_lab.settle();
    setState(m_lab.network, 2, 1, STG_PORT_BLOCKING);
    setState(m_lab.network, 2, 2, STG_PORT_BLOCKING);
    EXPECT_THAT(m_invariants.settledViolations(),
                testing::ElementsAre(HasSubstr("bridge 2 is cut off")));
}

TEST_F(InvariantsOfRing, FindAFrameThatGoesRound) {
    const uint32_t host = m_lab.host(0);
    m_lab.settle();
    openRing();
    m_lab.network.sendTestFrame(host, sim::EVERYBODY, VLAN);
    m_lab.network.run(10'000);
    EXPECT_THAT(m_invariants.violations(),
                Contains(Field(&sim::Violation::text, HasSubstr("goes round"))));
}

TEST_F(InvariantsOfRing, FindACounterWithoutItsTimer) {
    m_lab.settle();
    m_lab.network.node(0).context.ports[0].xstPorts[0].rrWhile = 5;
    EXPECT_THAT(sim::outOfBounds(m_lab.network, 0), Contains(HasSubstr("rrWhile is 5")));
}

TEST_F(InvariantsOfRing, FindACounterBeyondItsBound) {
    m_lab.settle();
    m_lab.network.node(0).context.ports[0].txCount = 11;
    EXPECT_THAT(sim::outOfBounds(m_lab.network, 0), Contains(HasSubstr("txCount is 11")));
}

TEST_F(InvariantsOfRing, FindAPortThatDoesNotForwardAsItIsAskedTo) {
    m_lab.settle();
    tMstpXstPort& port = m_lab.network.node(0).context.ports[0].xstPorts[0];
    port.forwarding = 1 - port.forward;
    EXPECT_THAT(sim::outOfBounds(m_lab.network, 0), Contains(HasSubstr("asked to ")));
}

TEST_F(InvariantsOfRing, FindHardwareThatDoesNotFollow) {
    m_lab.settle();
    m_lab.network.node(0).context.ports[0].xstPorts[0].hwState = MSTP_PORT_STATE_DISCARDING;
    EXPECT_THAT(sim::outOfBounds(m_lab.network, 0), Contains(HasSubstr("hardware state")));
}

TEST_F(InvariantsOfRing, FindMemoryThatIsAllocated) {
    m_lab.settle();
    m_lab.network.node(0).counters.allocations = 1;
    m_lab.network.run(SECOND);
    EXPECT_THAT(m_invariants.violations(),
                testing::ElementsAre(Field(&sim::Violation::text, HasSubstr("allocated"))));
}
