// Whole networks in virtual time, against the tree computed on paper: after start, after every
// single cut, and after every repair.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "simulation.h"

using testing::IsEmpty;

namespace {

// Old versions wait out listening and learning, and a region's information ages by its hops.
constexpr uint32_t SETTLE_SECONDS = 60;
constexpr uint32_t MIXED_SETTLE_SECONDS = 120;

void expectSettled(Simulation& simulation, const std::string& when) {
    EXPECT_THAT(simulation.differences(), IsEmpty()) << simulation.topology().name << " " << when;
    EXPECT_THAT(simulation.brokenTrees(), IsEmpty()) << simulation.topology().name << " " << when;
}

void expectTreeThroughEveryCut(const Topology& topology, uint32_t settleSeconds) {
    Simulation simulation(topology);
    simulation.runSeconds(settleSeconds);
    expectSettled(simulation, "after start");
    for (uint32_t link = 0; link < topology.links.size(); link++) {
        simulation.cut(link);
        simulation.runSeconds(settleSeconds);
        expectSettled(simulation, "without link " + std::to_string(link));
        simulation.mend(link);
        simulation.runSeconds(settleSeconds);
        expectSettled(simulation, "with link " + std::to_string(link) + " again");
        if (testing::Test::HasFailure()) {
            return;
        }
    }
}

} // namespace

class Chain : public testing::TestWithParam<uint32_t> {};

TEST_P(Chain, ReachesThePaperTreeThroughEveryCut) {
    Topology topology = chain(GetParam(), 1 + GetParam() % 4);
    shufflePriorities(topology, GetParam());
    expectTreeThroughEveryCut(topology, SETTLE_SECONDS);
}

INSTANTIATE_TEST_SUITE_P(Sizes, Chain, testing::Values(2U, 3U, 7U, 16U));

class Ring : public testing::TestWithParam<uint32_t> {};

TEST_P(Ring, ReachesThePaperTreeThroughEveryCut) {
    Topology topology = ring(GetParam(), 1 + GetParam() % 4);
    shufflePriorities(topology, GetParam());
    expectTreeThroughEveryCut(topology, SETTLE_SECONDS);
}

INSTANTIATE_TEST_SUITE_P(Sizes, Ring, testing::Values(3U, 4U, 8U, 16U));

class Mesh : public testing::TestWithParam<uint32_t> {};

TEST_P(Mesh, ReachesThePaperTreeThroughEveryCut) {
    Topology topology = mesh(GetParam(), 1 + GetParam() % 4);
    shufflePriorities(topology, GetParam());
    expectTreeThroughEveryCut(topology, SETTLE_SECONDS);
}

INSTANTIATE_TEST_SUITE_P(Sizes, Mesh, testing::Values(3U, 4U, 6U));

class Random : public testing::TestWithParam<uint32_t> {};

TEST_P(Random, ReachesThePaperTreeThroughEveryCut) {
    const uint32_t seed = GetParam();
    expectTreeThroughEveryCut(randomGraph(4 + seed % 13, 2 + seed % 6, 1 + seed % 4, seed),
                              SETTLE_SECONDS);
}

INSTANTIATE_TEST_SUITE_P(Seeds, Random, testing::Range(1U, 61U));

class MixedVersions : public testing::TestWithParam<uint32_t> {};

TEST_P(MixedVersions, ReachThePaperTreeThroughEveryCut) {
    const uint32_t seed = GetParam();
    Topology topology = randomGraph(4 + seed % 7, 1 + seed % 4, 1 + seed % 4, seed);
    mixVersions(topology, seed);
    topology.name = "mixed " + topology.name;
    expectTreeThroughEveryCut(topology, MIXED_SETTLE_SECONDS);
}

INSTANTIATE_TEST_SUITE_P(Seeds, MixedVersions, testing::Range(1U, 61U));
