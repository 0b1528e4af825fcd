// Whole networks in virtual time, against the tree computed on paper: after start, after every
// single cut, and after every repair.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

#include "mstp_nm.h"
#include "simulation.h"

using testing::IsEmpty;

namespace {

/// When a network counts as settled.
struct Patience {
    uint32_t quiet; ///< longer than any timer that may still change something
    uint32_t limit; ///< for what never comes to rest
};

// Three hello times until information ages out, two of them for learning.
constexpr Patience RAPID = {10, 60};
// Old versions wait out listening and learning, and before that perhaps Max Age.
constexpr Patience MIXED = {45, 120};
// On a shared segment nobody agrees: how long a loop lasts when links go hangs on the moment at
// which they go, so that moment stays what it is.
constexpr Patience SHARED = {60, 60};

void expectSettled(Simulation& simulation, const std::string& when) {
    EXPECT_THAT(simulation.differences(), IsEmpty()) << simulation.topology().name << " " << when;
    EXPECT_THAT(simulation.brokenTrees(), IsEmpty()) << simulation.topology().name << " " << when;
    EXPECT_THAT(simulation.violations(), IsEmpty()) << simulation.topology().name << " " << when;
}

// In the end the network is left alone for long: what has settled must stay as it is.
void expectTreeThroughEveryCut(const Topology& topology, const Patience& patience) {
    Simulation simulation(topology);
    simulation.settle(patience.quiet, patience.limit);
    expectSettled(simulation, "after start");
    for (uint32_t link = 0; link < topology.segments(); link++) {
        simulation.cut(link);
        simulation.settle(patience.quiet, patience.limit);
        expectSettled(simulation, "without link " + std::to_string(link));
        simulation.mend(link);
        simulation.settle(patience.quiet, patience.limit);
        expectSettled(simulation, "with link " + std::to_string(link) + " again");
        if (testing::Test::HasFailure()) {
            return;
        }
    }
    simulation.runSeconds(patience.limit);
    expectSettled(simulation, "after a long rest");
}

} // namespace

class Chain : public testing::TestWithParam<uint32_t> {};

TEST_P(Chain, ReachesThePaperTreeThroughEveryCut) {
    Topology topology = chain(GetParam(), 1 + GetParam() % 4);
    shufflePriorities(topology, GetParam());
    expectTreeThroughEveryCut(topology, RAPID);
}

INSTANTIATE_TEST_SUITE_P(Sizes, Chain, testing::Values(2U, 3U, 7U, 16U));

class Ring : public testing::TestWithParam<uint32_t> {};

TEST_P(Ring, ReachesThePaperTreeThroughEveryCut) {
    Topology topology = ring(GetParam(), 1 + GetParam() % 4);
    shufflePriorities(topology, GetParam());
    expectTreeThroughEveryCut(topology, RAPID);
}

INSTANTIATE_TEST_SUITE_P(Sizes, Ring, testing::Values(3U, 4U, 8U, 16U));

class Mesh : public testing::TestWithParam<uint32_t> {};

TEST_P(Mesh, ReachesThePaperTreeThroughEveryCut) {
    Topology topology = mesh(GetParam(), 1 + GetParam() % 4);
    shufflePriorities(topology, GetParam());
    expectTreeThroughEveryCut(topology, RAPID);
}

INSTANTIATE_TEST_SUITE_P(Sizes, Mesh, testing::Values(3U, 4U, 6U));

class Random : public testing::TestWithParam<uint32_t> {};

TEST_P(Random, ReachesThePaperTreeThroughEveryCut) {
    const uint32_t seed = GetParam();
    expectTreeThroughEveryCut(randomGraph(4 + seed % 13, 2 + seed % 6, 1 + seed % 4, seed), RAPID);
}

INSTANTIATE_TEST_SUITE_P(Seeds, Random, testing::Range(1U, 61U));

class MixedVersions : public testing::TestWithParam<uint32_t> {};

TEST_P(MixedVersions, ReachThePaperTreeThroughEveryCut) {
    const uint32_t seed = GetParam();
    Topology topology = randomGraph(4 + seed % 7, 1 + seed % 4, 1 + seed % 4, seed);
    mixVersions(topology, seed);
    topology.name = "mixed " + topology.name;
    expectTreeThroughEveryCut(topology, MIXED);
}

TEST_P(MixedVersions, ReachThePaperTreeThroughEveryCutInEveryShape) {
    const uint32_t seed = GetParam();
    const uint32_t instances = 1 + seed / 4 % 4;
    const uint32_t bridges = 2 + seed % 15;
    Topology topology = seed % 4 == 0   ? chain(bridges, instances)
                        : seed % 4 == 1 ? ring(2 + bridges % 15, instances)
                        : seed % 4 == 2 ? mesh(2 + bridges % 6, instances)
                                        : randomGraph(bridges, 2, instances, seed);
    shufflePriorities(topology, seed);
    mixVersions(topology, seed);
    topology.name = "mixed " + topology.name;
    expectTreeThroughEveryCut(topology, MIXED);
}

INSTANTIATE_TEST_SUITE_P(Seeds, MixedVersions, testing::Range(1U, 61U));

class Ports : public testing::TestWithParam<uint32_t> {};

TEST_P(Ports, OfOtherPrioritiesAndCostsReachThePaperTreeThroughEveryCut) {
    const uint32_t seed = GetParam();
    Topology topology = randomGraph(3 + seed % 6, 2 + seed % 6, 1 + seed % 3, seed);
    shufflePorts(topology, seed);
    expectTreeThroughEveryCut(topology, RAPID);
}

INSTANTIATE_TEST_SUITE_P(Seeds, Ports, testing::Range(1U, 21U));

class Regions : public testing::TestWithParam<uint32_t> {};

TEST_P(Regions, ReachThePaperTreeThroughEveryCut) {
    const uint32_t seed = GetParam();
    Topology topology = randomGraph(4 + seed % 9, 1 + seed % 5, 1 + seed % 3, seed);
    mixRegions(topology, seed, 2 + seed % 3);
    expectTreeThroughEveryCut(topology, MIXED);
}

INSTANTIATE_TEST_SUITE_P(Seeds, Regions, testing::Range(1U, 21U));

class Hubs : public testing::TestWithParam<uint32_t> {};

TEST_P(Hubs, ReachThePaperTreeThroughEveryCut) {
    const uint32_t seed = GetParam();
    Topology topology = randomGraph(3 + seed % 6, seed % 3, 1 + seed % 3, seed);
    addHubs(topology, 1 + seed % 3, seed);
    expectTreeThroughEveryCut(topology, SHARED);
}

INSTANTIATE_TEST_SUITE_P(Seeds, Hubs, testing::Range(1U, 21U));

/// Two bridges of one region, joined twice by links that speak the pre-standard form; each is the
/// root of an MSTI.
class SnoopingLinks : public testing::Test {
  protected:
    SnoopingLinks() {
        topology.name = "snooping";
        topology.network.bridges[0].priorities = {{0, 4}, {1, 2}, {2, 9}};
        topology.network.bridges[1].priorities = {{0, 8}, {1, 9}, {2, 2}};
        join(topology, {0, 1});
        topology.snooping = true;
    }
    Topology topology = chain(2, 2);
};

TEST_F(SnoopingLinks, ReachThePaperTreeOfOneRegionThroughEveryCut) {
    expectTreeThroughEveryCut(topology, RAPID);
}

TEST_F(SnoopingLinks, CarryThePreStandardFormAlone) {
    Simulation simulation(topology);
    simulation.settle(RAPID.quiet, RAPID.limit);
    std::set<size_t> sizes;
    for (uint32_t bridge = 0; bridge < 2; bridge++) {
        auto& onSend = simulation.network().node(bridge).sw.onSend;
        onSend = [&sizes, carry = onSend](const sim::Frame& frame) {
            sizes.insert(frame.bytes.size());
            carry(frame);
        };
    }
    simulation.settle(RAPID.quiet, RAPID.limit);
    // Header, CIST part and a record for each of the two MSTIs.
    EXPECT_THAT(sizes, testing::ElementsAre(17U + 103U + 2U * 26U));
}

TEST_F(SnoopingLinks, BringInformationFromTheSameRegion) {
    Simulation simulation(topology);
    simulation.settle(RAPID.quiet, RAPID.limit);
    // Each bridge is designated somewhere, so both hear the other on every link.
    for (const uint32_t bridge : {0U, 1U}) {
        for (const uint32_t unit : {1U, 2U}) {
            simulation.network().on(bridge, [unit] {
                tMstpXstPortIndex index = {0, unit};
                uint32_t same = 0;
                EXPECT_EQ(mstpXstPortGetApi(&index, MSTP_XSTPORT_FROMSAMEREGION, &same), 0);
                EXPECT_EQ(same, 1U);
            });
        }
    }
}
