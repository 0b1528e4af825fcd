// Test frames through simulated switches: flooding, learning, flushing, loops.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "lab.h"
#include "platform/interfaces.h"
#include "platform/stg.h"

using testing::Contains;
using testing::Field;
using testing::SizeIs;

namespace {

constexpr uint64_t SECOND = 1'000'000;
constexpr uint32_t VLAN = 10;

sim::TestFrame fateOf(Lab& lab, uint32_t from, uint32_t to) {
    Diary diary;
    lab.network.addObserver(&diary);
    lab.network.sendTestFrame(from, to, VLAN);
    lab.network.run(SECOND);
    lab.network.removeObserver(&diary);
    EXPECT_THAT(diary.finished, SizeIs(1));
    return diary.finished.empty() ? sim::TestFrame{} : diary.finished[0];
}

uint32_t framesFor(Lab& lab, uint32_t from, uint32_t to) {
    Diary diary;
    lab.network.addObserver(&diary);
    lab.network.sendTestFrame(from, to, VLAN);
    lab.network.run(10'000);
    lab.network.removeObserver(&diary);
    return diary.sent;
}

// Forwarding everywhere, whatever the daemons say.
void openAllPorts(sim::Network& network) {
    for (uint32_t n = 0; n < network.nodes(); n++) {
        for (auto& [number, group] : network.node(n).sw.groups) {
            for (auto& [unit, state] : group.states) {
                state = STG_PORT_FORWARDING;
            }
        }
    }
}

} // namespace

class Traffic : public testing::Test {
  protected:
    Traffic() {
        m_lab.ring(3);
        for (uint32_t bridge = 0; bridge < 3; bridge++) {
            m_lab.host(bridge);
        }
        m_lab.settle();
    }
    Lab m_lab;
};

TEST_F(Traffic, BroadcastReachesEveryHostOnce) {
    const sim::TestFrame frame = fateOf(m_lab, 0, sim::EVERYBODY);
    EXPECT_THAT(frame.deliveries, testing::ElementsAre(0, 1, 1));
    EXPECT_EQ(frame.looped, 0U);
}

TEST_F(Traffic, UnicastReachesItsHostOnly) {
    const sim::TestFrame frame = fateOf(m_lab, 0, 2);
    EXPECT_THAT(frame.deliveries, testing::ElementsAre(0, 0, 1));
    EXPECT_EQ(frame.missed(), 0U);
}

TEST_F(Traffic, KnownAddressIsNotFlooded) {
    const uint32_t flooded = framesFor(m_lab, 0, 1);
    framesFor(m_lab, 1, 0);
    EXPECT_LT(framesFor(m_lab, 0, 1), flooded);
}

TEST_F(Traffic, AddressIsForgottenAfterTheAgeingTime) {
    const uint32_t flooded = framesFor(m_lab, 0, 1);
    framesFor(m_lab, 1, 0);
    m_lab.network.run(301 * SECOND);
    EXPECT_EQ(framesFor(m_lab, 0, 1), flooded);
}

TEST_F(Traffic, TopologyChangeFlushesAddresses) {
    fateOf(m_lab, 1, sim::EVERYBODY);
    Diary diary;
    m_lab.network.addObserver(&diary);
    m_lab.network.setLink(0, false);
    m_lab.network.run(5 * SECOND);
    EXPECT_THAT(diary.flushes, Contains(Field(&sim::FlushEvent::forgotten, testing::Gt(0U))));
}

TEST_F(Traffic, FrameOverACutLinkIsMissed) {
    m_lab.network.setLink(4, false); // host 1's own
    EXPECT_EQ(fateOf(m_lab, 0, 1).missed(), 1U);
}

TEST_F(Traffic, FrameInAClosedRingLoopsAndEnds) {
    openAllPorts(m_lab.network);
    const sim::TestFrame frame = fateOf(m_lab, 0, sim::EVERYBODY);
    EXPECT_GT(frame.looped, 0U);
    EXPECT_GT(frame.duplicated(), 0U);
}

TEST_F(Traffic, CrashedBridgeStillForwards) {
    m_lab.network.crash(1);
    EXPECT_EQ(fateOf(m_lab, 0, 1).missed(), 0U);
}
