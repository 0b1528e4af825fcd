// Frames that wait for the daemon: whose turn it is, and who is dropped.

#include "packet_queue.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <vector>

namespace {

using testing::ElementsAre;

class PacketQueue : public testing::Test {
  protected:
    void TearDown() override { platform::clearFrames(); }

    static void arrive(uint32_t port, uint16_t length = 60) {
        platform::QueuedFrame* frame = platform::freeFrame();
        ASSERT_NE(frame, nullptr);
        frame->length = length;
        frame->source.sll_ifindex = static_cast<int>(port);
        platform::keepFrame(port);
    }

    static void flood(uint32_t port) {
        for (int i = 0; i < 100; i++) {
            arrive(port);
        }
    }

    // The ports of the frames that wait, in the order in which they are handed over.
    static std::vector<uint32_t> takeAll() {
        std::vector<uint32_t> ports;
        for (const platform::QueuedFrame* frame = platform::takeFrame(); frame != nullptr;
             frame = platform::takeFrame()) {
            ports.push_back(static_cast<uint32_t>(frame->source.sll_ifindex));
        }
        return ports;
    }
};

TEST_F(PacketQueue, ServesPortsInTurn) {
    for (const uint32_t port : {1U, 1U, 1U, 2U, 3U, 2U}) {
        arrive(port);
    }
    EXPECT_THAT(takeAll(), ElementsAre(1U, 2U, 3U, 1U, 2U, 1U));
    EXPECT_FALSE(platform::framesWait());
}

TEST_F(PacketQueue, KeepsTheOrderOfAPort) {
    for (uint16_t length = 60; length <= 62; length++) {
        arrive(7, length);
    }
    for (uint16_t length = 60; length <= 62; length++) {
        EXPECT_EQ(platform::takeFrame()->length, length);
    }
}

TEST_F(PacketQueue, PortThatWasServedEndsBehindThoseThatCameMeanwhile) {
    arrive(1);
    arrive(1);
    arrive(2);
    EXPECT_EQ(platform::takeFrame()->source.sll_ifindex, 1);
    arrive(3);
    EXPECT_THAT(takeAll(), ElementsAre(2U, 1U, 3U));
}

TEST_F(PacketQueue, PortKeepsNoMoreThanItsShare) {
    flood(5);
    EXPECT_EQ(takeAll().size(), platform::QUEUED_PER_PORT_MAX);
}

TEST_F(PacketQueue, EveryPortOfTheLargestBridgeFindsRoomWhenAllAreFlooded) {
    constexpr uint32_t kPorts = 1024;
    for (uint32_t port = 1; port <= kPorts; port++) {
        flood(port);
    }
    std::map<uint32_t, uint32_t> taken;
    for (const uint32_t port : takeAll()) {
        taken[port]++;
    }
    EXPECT_EQ(taken.size(), kPorts);
}

TEST_F(PacketQueue, FramesAreUsedAgain) {
    for (int i = 0; i < 1000; i++) {
        flood(1);
        takeAll();
    }
    arrive(1);
    EXPECT_THAT(takeAll(), ElementsAre(1U));
}

} // namespace
