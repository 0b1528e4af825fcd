// The trees on paper, for networks small enough to be worked out by hand.

#include "oracle.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "topology.h"

using oracle::Role;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

Role roleIn(const oracle::Trees& trees, uint32_t bridge, uint32_t unit, uint32_t instance = 0) {
    return trees.roles.at({bridge, instance, unit});
}

} // namespace

TEST(Oracle, LowestAddressBecomesRootOfARing) {
    const oracle::Trees trees = oracle::compute(ring(3, 0).network);
    EXPECT_EQ(roleIn(trees, 0, 1), Role::Designated);
    EXPECT_EQ(roleIn(trees, 0, 2), Role::Designated);
    EXPECT_EQ(roleIn(trees, 1, 1), Role::Root);
    EXPECT_EQ(roleIn(trees, 1, 2), Role::Designated);
    EXPECT_EQ(roleIn(trees, 2, 1), Role::Alternate);
    EXPECT_EQ(roleIn(trees, 2, 2), Role::Root);
}

TEST(Oracle, LowerPriorityBeatsLowerAddress) {
    Topology topology = chain(2, 0);
    topology.network.bridges[1].priorities[0] = 4;
    EXPECT_EQ(roleIn(oracle::compute(topology.network), 0, 1), Role::Root);
}

TEST(Oracle, CheaperWayRoundBeatsFewerHops) {
    Topology topology = ring(4, 0);
    topology.network.bridges[3].ports[2].instances[0].cost = 100'000;
    const oracle::Trees trees = oracle::compute(topology.network);
    EXPECT_EQ(roleIn(trees, 3, 1), Role::Root);
    EXPECT_EQ(roleIn(trees, 3, 2), Role::Alternate);
}

TEST(Oracle, SendersPortPriorityDecidesBetweenParallelLinks) {
    Topology topology = chain(2, 0);
    join(topology, {0, 1});
    topology.network.bridges[0].ports[2].instances[0].priority = 2;
    const oracle::Trees trees = oracle::compute(topology.network);
    EXPECT_EQ(roleIn(trees, 1, 1), Role::Alternate);
    EXPECT_EQ(roleIn(trees, 1, 2), Role::Root);
}

TEST(Oracle, SecondPortOfOneBridgeOnAHubIsBackup) {
    Topology topology = chain(2, 0);
    join(topology, {1, 1});
    const oracle::Trees trees = oracle::compute(topology.network);
    EXPECT_EQ(roleIn(trees, 1, 2), Role::Designated);
    EXPECT_EQ(roleIn(trees, 1, 3), Role::Backup);
}

TEST(Oracle, EndOfACutSegmentIsDisabled) {
    Topology topology = ring(3, 0);
    topology.network.segments[0].up = false;
    const oracle::Trees trees = oracle::compute(topology.network);
    EXPECT_EQ(roleIn(trees, 0, 1), Role::Disabled);
    EXPECT_EQ(roleIn(trees, 1, 2), Role::Root);
}

TEST(Oracle, PortAloneOnItsSegmentIsDesignated) {
    Topology topology = chain(1, 0);
    join(topology, {0});
    EXPECT_EQ(roleIn(oracle::compute(topology.network), 0, 1), Role::Designated);
}

TEST(Oracle, RestrictedPortNeverBecomesRoot) {
    Topology topology = chain(2, 0);
    topology.network.bridges[1].ports[1].restrictedRole = true;
    EXPECT_EQ(roleIn(oracle::compute(topology.network), 1, 1), Role::Alternate);
}

TEST(Oracle, InstanceHasARootOfItsOwn) {
    Topology topology = chain(2, 1);
    topology.network.bridges[1].priorities[1] = 0;
    const oracle::Trees trees = oracle::compute(topology.network);
    EXPECT_EQ(roleIn(trees, 0, 1, 0), Role::Designated);
    EXPECT_EQ(roleIn(trees, 0, 1, 1), Role::Root);
}

TEST(Oracle, BoundaryRootPortIsMasterPortOfTheInstances) {
    Topology topology = chain(2, 1);
    topology.network.bridges[1].region = "another";
    const oracle::Trees trees = oracle::compute(topology.network);
    EXPECT_EQ(roleIn(trees, 1, 1, 0), Role::Root);
    EXPECT_EQ(roleIn(trees, 1, 1, 1), Role::Master);
    EXPECT_EQ(roleIn(trees, 0, 1, 1), Role::Designated);
}

TEST(Oracle, RegionLooksLikeOneBridgeToTheOutside) {
    Topology topology = chain(4, 0);
    topology.network.bridges[0].region = "first";
    topology.network.bridges[3].region = "last";
    const oracle::Trees trees = oracle::compute(topology.network);
    EXPECT_EQ(trees.knowledge.at({2, 0}).externalCost, 20'000U);
    EXPECT_EQ(trees.knowledge.at({2, 0}).internalCost, 20'000U);
    EXPECT_EQ(trees.knowledge.at({3, 0}).externalCost, 40'000U);
}

TEST(Oracle, OldBridgeRunsNoInstances) {
    Topology topology = chain(2, 1);
    topology.network.bridges[1].version = 2;
    const oracle::Trees trees = oracle::compute(topology.network);
    EXPECT_EQ(trees.roles.count({1, 1, 1}), 0U);
    EXPECT_EQ(roleIn(trees, 0, 1, 1), Role::Designated);
}

TEST(Oracle, BridgeBeyondTheHopsIsTooFar) {
    Topology topology = chain(5, 0);
    topology.network.bridges[0].maxHops = 3;
    EXPECT_THAT(oracle::compute(topology.network).tooFar, ElementsAre(3));
}

TEST(Oracle, BridgeBeyondTheMaximumAgeIsTooFar) {
    Topology topology = chain(9, 0);
    for (oracle::Bridge& bridge : topology.network.bridges) {
        bridge.version = 2;
        bridge.maxAge = 6;
    }
    EXPECT_THAT(oracle::compute(topology.network).tooFar, ElementsAre(7));
}

TEST(Oracle, NothingIsContestedInsideARegion) {
    const oracle::Trees trees = oracle::compute(randomGraph(12, 8, 3, 5).network);
    EXPECT_THAT(trees.contested, IsEmpty());
    EXPECT_THAT(trees.yielding, IsEmpty());
    EXPECT_THAT(trees.tooFar, IsEmpty());
}

TEST(Oracle, CostFollowsTheSpeed) {
    EXPECT_EQ(oracle::costOfSpeed(1000, false), 20'000U);
    EXPECT_EQ(oracle::costOfSpeed(2500, false), 8'000U);
    EXPECT_EQ(oracle::costOfSpeed(2500, true), 20'000U);
    EXPECT_EQ(oracle::costOfSpeed(100'000'000, false), 1U);
    EXPECT_EQ(oracle::costOfSpeed(0, false), 20'000'000U);
}

TEST(Oracle, RegionsDifferWhereAVlanIsMappedElsewhere) {
    const std::vector<uint8_t> vlan1 = {0x80};
    EXPECT_EQ(oracle::regionOf("a", 1, 0, {{1, vlan1}}),
              oracle::regionOf("a", 1, 0, {{1, {0x80, 0x00}}}));
    EXPECT_NE(oracle::regionOf("a", 1, 0, {{1, vlan1}}), oracle::regionOf("a", 1, 0, {{2, vlan1}}));
    EXPECT_NE(oracle::regionOf("a", 1, 0, {}), oracle::regionOf("a", 2, 0, {}));
}
