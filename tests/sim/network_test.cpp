// The engine itself: what links do to frames, what daemons live through, and that the same seed
// gives the same run.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "lab.h"
#include "mstp/management.h"
#include "platform/stg.h"

using testing::Each;
using testing::Gt;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

namespace {

constexpr uint64_t SECOND = 1'000'000;

uint32_t rootPorts(const sim::Network& network, uint32_t node) {
    uint32_t count = 0;
    for (const auto& [unit, plug] : network.node(node).plugs) {
        count += network.role(node, 0, unit) == MSTP_PORT_ROLE_ROOT ? 1 : 0;
    }
    return count;
}

std::vector<uint8_t> getForceVersion() {
    std::vector<uint8_t> message = {'A', 'D', 'R', '1'};
    message.insert(message.end(), {0, 0, 0, 1, 0, 0, 0, MSTP_GEN_GETAPI});       // request 1
    message.insert(message.end(), {0, 0, 0, 0, 0, 0, 0, MSTP_GEN_FORCEVERSION}); // no result yet
    message.insert(message.end(), {1, 0, 2, 0, 4, 0, 0, 0, 0});                  // no index
    message.insert(message.end(), {3, 2, 0, 4, 0, 0, 0, 0}); // room for the value
    return message;
}

std::string storyOf(uint64_t seed) {
    Lab lab(seed);
    lab.ring(4);
    sim::LinkOptions bad;
    bad.loss = 0.2;
    bad.duplication = 0.2;
    bad.jitter = 5000;
    bad.bandwidth = 1000;
    lab.network.impair(1, bad);
    const uint32_t from = lab.host(0);
    lab.host(2);
    Diary diary;
    lab.network.addObserver(&diary);
    lab.network.run(10 * SECOND);
    lab.network.setLink(0, false);
    lab.network.sendTestFrame(from, sim::EVERYBODY, 1);
    lab.network.run(10 * SECOND);
    return diary.text;
}

} // namespace

TEST(Network, SameSeedTellsTheSameStoryToTheByte) {
    EXPECT_EQ(storyOf(7), storyOf(7));
}

TEST(Network, AnotherSeedTellsAnotherStory) {
    EXPECT_NE(storyOf(7), storyOf(8));
}

TEST(Network, RolesAreToldAsTheyChange) {
    Lab lab;
    Diary diary;
    lab.network.addObserver(&diary);
    lab.ring(3);
    lab.settle();
    ASSERT_THAT(diary.roles, Not(IsEmpty()));
    std::map<std::pair<uint32_t, uint32_t>, uint32_t> last;
    for (const sim::RoleEvent& event : diary.roles) {
        const auto port = std::make_pair(event.node, event.unit);
        EXPECT_EQ(event.before, last[port]);
        last[port] = event.after;
    }
    for (const auto& [port, role] : last) {
        EXPECT_EQ(role, lab.network.role(port.first, 0, port.second));
    }
}

TEST(Network, StatesAreToldWithTheInstanceOfTheirGroup) {
    Lab lab;
    Diary diary;
    lab.network.addObserver(&diary);
    lab.ring(3);
    lab.settle();
    ASSERT_THAT(diary.states, Not(IsEmpty()));
    EXPECT_THAT(diary.states, Each(testing::Field(&sim::StateEvent::instance, 0)));
    EXPECT_EQ(diary.states.back().time, lab.network.lastChange());
}

TEST(Network, SettlesAsSoonAsItHasBeenQuietForLongEnough) {
    Lab lab;
    lab.ring(3);
    EXPECT_TRUE(lab.network.runUntilSettled(40 * SECOND, 300 * SECOND));
    EXPECT_EQ(lab.network.time(), lab.network.lastChange() + 40 * SECOND);
}

TEST(Network, DoesNotSettleWithinTooShortALimit) {
    Lab lab;
    lab.ring(3);
    EXPECT_FALSE(lab.network.runUntilSettled(40 * SECOND, 2 * SECOND));
    EXPECT_EQ(lab.network.time(), 2 * SECOND);
}

TEST(Network, DriverPassesFollowPostedWork) {
    Lab lab;
    Diary diary;
    lab.network.addObserver(&diary);
    lab.bridge();
    lab.network.run(SECOND);
    EXPECT_EQ(diary.passes.size(), lab.network.node(0).counters.passes);
    EXPECT_GT(lab.network.node(0).counters.posts, 0U);
}

TEST(Network, NoDaemonAllocatesAfterItsStart) {
    Lab lab;
    lab.ring(4);
    lab.settle();
    for (uint32_t node = 0; node < lab.network.nodes(); node++) {
        EXPECT_EQ(lab.network.node(node).counters.allocations, 0U);
    }
}

TEST(NetworkLink, LosesAllFramesAtProbabilityOne) {
    Lab lab;
    sim::LinkOptions options;
    options.loss = 1;
    lab.bridge();
    lab.bridge();
    lab.join(0, 1, options);
    Diary diary;
    lab.network.addObserver(&diary);
    lab.network.run(10 * SECOND);
    EXPECT_EQ(diary.delivered, 0U);
    EXPECT_THAT(diary.losses, SizeIs(diary.sent));
    EXPECT_THAT(diary.losses, Each(sim::Loss::Impairment));
}

TEST(NetworkLink, DuplicatesAllFramesAtProbabilityOne) {
    Lab lab;
    sim::LinkOptions options;
    options.duplication = 1;
    lab.bridge();
    lab.bridge();
    lab.join(0, 1, options);
    lab.network.run(SECOND);
    Diary diary;
    lab.network.addObserver(&diary);
    lab.network.run(10 * SECOND);
    EXPECT_EQ(diary.duplicated, diary.sent);
    EXPECT_EQ(diary.delivered, 2 * diary.sent);
}

TEST(NetworkLink, SilentDirectionLosesOnlyThatDirection) {
    Lab lab;
    lab.bridge();
    lab.bridge();
    const uint32_t link = lab.join(0, 1);
    lab.network.setSending(link, 0, false);
    lab.network.run(10 * SECOND);
    EXPECT_EQ(lab.network.node(1).counters.framesReceived, 0U);
    EXPECT_GT(lab.network.node(0).counters.framesReceived, 0U);
}

TEST(NetworkLink, SlowLinkMakesFramesWaitForEachOther) {
    Lab lab;
    const uint32_t a = lab.network.addHost("a");
    const uint32_t b = lab.network.addHost("b");
    sim::LinkOptions options;
    options.delay = 0;
    options.bandwidth = 8; // 1 byte a millisecond
    const uint32_t link = lab.network.addLink({sim::HOST + a, 0}, {sim::HOST + b, 0}, options);
    Diary diary;
    lab.network.addObserver(&diary);
    lab.network.inject(link, 0, std::vector<uint8_t>(76));
    lab.network.inject(link, 0, std::vector<uint8_t>(76));
    lab.network.run(100'000);
    EXPECT_EQ(diary.delivered, 1U);
    lab.network.run(100'000);
    EXPECT_EQ(diary.delivered, 2U);
}

TEST(NetworkLink, FullTransmitQueueLosesFrames) {
    Lab lab;
    const uint32_t a = lab.network.addHost("a");
    const uint32_t b = lab.network.addHost("b");
    sim::LinkOptions options;
    options.bandwidth = 8;
    options.queueBytes = 150;
    const uint32_t link = lab.network.addLink({sim::HOST + a, 0}, {sim::HOST + b, 0}, options);
    Diary diary;
    lab.network.addObserver(&diary);
    for (uint32_t i = 0; i < 3; i++) {
        lab.network.inject(link, 0, std::vector<uint8_t>(76));
    }
    EXPECT_THAT(diary.losses, testing::ElementsAre(sim::Loss::TransmitQueue));
}

TEST(NetworkLink, FramesUnderWayAreLostWhenItIsCut) {
    Lab lab;
    const uint32_t a = lab.network.addHost("a");
    const uint32_t b = lab.network.addHost("b");
    const uint32_t link = lab.network.addLink({sim::HOST + a, 0}, {sim::HOST + b, 0});
    Diary diary;
    lab.network.addObserver(&diary);
    lab.network.inject(link, 0, std::vector<uint8_t>(60));
    lab.network.setLink(link, false);
    lab.network.setLink(link, true);
    lab.network.run(SECOND);
    EXPECT_THAT(diary.losses, testing::ElementsAre(sim::Loss::LinkDown));
}

TEST(NetworkLink, JitterLetsFramesOvertake) {
    Lab lab(3);
    const uint32_t a = lab.network.addHost("a");
    const uint32_t b = lab.network.addHost("b");
    sim::LinkOptions options;
    options.jitter = 1000;
    const uint32_t link = lab.network.addLink({sim::HOST + a, 0}, {sim::HOST + b, 0}, options);
    struct : sim::Observer {
        void frameDelivered(const sim::FrameEvent& event) override {
            overtaken = overtaken || event.transmission < last;
            last = event.transmission;
        }
        uint64_t last = 0;
        bool overtaken = false;
    } order;
    lab.network.addObserver(&order);
    for (uint32_t i = 0; i < 20; i++) {
        lab.network.inject(link, 0, std::vector<uint8_t>(60));
    }
    lab.network.run(SECOND);
    EXPECT_TRUE(order.overtaken);
}

TEST(NetworkHub, EachOtherEndHearsAFrameOnce) {
    Lab lab;
    for (uint32_t i = 0; i < 3; i++) {
        lab.network.addHost("h");
    }
    const uint32_t hub =
        lab.network.addHub({{sim::HOST + 0, 0}, {sim::HOST + 1, 0}, {sim::HOST + 2, 0}});
    Diary diary;
    lab.network.addObserver(&diary);
    lab.network.inject(hub, 1, std::vector<uint8_t>(60));
    lab.network.run(SECOND);
    EXPECT_EQ(diary.sent, 1U);
    EXPECT_EQ(diary.delivered, 2U);
}

TEST(NetworkHub, BridgesOnItElectOneDesignatedPort) {
    Lab lab;
    for (uint32_t i = 0; i < 3; i++) {
        lab.bridge({i == 0 ? 0U : 8U, 3, {}, 256});
    }
    lab.hub({0, 1, 2});
    lab.settle();
    EXPECT_EQ(lab.network.role(0, 0, 1), MSTP_PORT_ROLE_DESIGNATED);
    EXPECT_EQ(lab.network.role(1, 0, 1), MSTP_PORT_ROLE_ROOT);
    EXPECT_EQ(lab.network.role(2, 0, 1), MSTP_PORT_ROLE_ROOT);
}

TEST(NetworkHub, OnlyTheUnpluggedEndLearnsOfIt) {
    Lab lab;
    for (uint32_t i = 0; i < 3; i++) {
        lab.bridge({i == 0 ? 0U : 8U, 3, {}, 256});
    }
    const uint32_t hub = lab.hub({0, 1, 2});
    lab.settle();
    lab.network.setEnd(hub, 2, false);
    lab.network.run(SECOND);
    EXPECT_EQ(lab.network.role(1, 0, 1), MSTP_PORT_ROLE_ROOT);
    EXPECT_EQ(lab.network.role(2, 0, 1), MSTP_PORT_ROLE_DISABLED);
}

TEST(NetworkNode, DeclaredOneDiscardsUntilItStarts) {
    Lab lab;
    lab.lateBridge();
    lab.bridge();
    lab.join(0, 1);
    lab.settle();
    EXPECT_FALSE(lab.network.forwards(0, 1, 1));
    lab.network.start(0);
    lab.settle();
    EXPECT_TRUE(lab.network.forwards(0, 1, 1));
}

TEST(NetworkNode, CrashedOneKeepsItsPortsAndItsLinks) {
    Lab lab;
    lab.ring(3);
    lab.settle();
    ASSERT_TRUE(lab.network.forwards(0, 1, 1));
    lab.network.crash(0);
    lab.network.run(SECOND);
    EXPECT_TRUE(lab.network.forwards(0, 1, 1));
    EXPECT_TRUE(lab.network.link(0).up);
}

TEST(NetworkNode, NeighboursAgeOutACrashedRoot) {
    Lab lab;
    lab.ring(3);
    lab.settle();
    lab.network.crash(0);
    lab.settle();
    EXPECT_EQ(rootPorts(lab.network, 1) + rootPorts(lab.network, 2), 1U);
}

TEST(NetworkNode, RestartedOneIsConfiguredAnewAndTakesItsPlace) {
    Lab lab;
    lab.ring(3);
    lab.settle();
    lab.network.restart(0);
    lab.settle();
    EXPECT_EQ(rootPorts(lab.network, 0), 0U);
    EXPECT_EQ(rootPorts(lab.network, 1), 1U);
    EXPECT_EQ(rootPorts(lab.network, 2), 1U);
}

TEST(NetworkNode, HungOneQueuesFramesUpToItsBufferAndResumes) {
    Lab lab;
    lab.bridge({0, 3, {}, 256});
    lab.bridge({8, 3, {}, 2});
    lab.join(0, 1);
    lab.settle();
    Diary diary;
    lab.network.addObserver(&diary);
    lab.network.hang(1, 15 * SECOND);
    lab.network.run(14 * SECOND);
    EXPECT_THAT(lab.network.node(1).sw.received, SizeIs(2));
    EXPECT_THAT(diary.losses, Each(sim::Loss::ReceiveQueue));
    EXPECT_THAT(diary.losses, Not(IsEmpty()));
    lab.network.run(5 * SECOND);
    EXPECT_THAT(lab.network.node(1).sw.received, IsEmpty());
}

TEST(NetworkNode, RequestGoesThroughTheCommandSocket) {
    Lab lab;
    lab.bridge();
    std::vector<std::vector<uint8_t>> replies;
    lab.network.request(0, getForceVersion(), [&](const auto& reply) { replies.push_back(reply); });
    EXPECT_THAT(replies, IsEmpty());
    lab.network.run(SECOND);
    ASSERT_THAT(replies, SizeIs(1));
    EXPECT_EQ(replies[0].back(), MSTP_FORCE_ATUODOT1S);
}

TEST(NetworkNode, LaterWorkDiesWithTheDaemon) {
    Lab lab;
    lab.bridge();
    bool done = false;
    lab.network.later(0, SECOND, [&] { done = true; });
    lab.network.crash(0);
    lab.network.start(0);
    lab.network.run(2 * SECOND);
    EXPECT_FALSE(done);
}
