// Generated networks: their size and shape, and that their scenarios can be read again.

#include "generate.h"

#include <gtest/gtest.h>

#include <set>

#include "parse.h"

using namespace simtool;

namespace {

struct Expected {
    const char* name;
    Shape shape;
    size_t bridges;
    size_t links;
};

void PrintTo(const Expected& expected, std::ostream* out) {
    *out << expected.name;
}

Shape shapeOf(const std::string& kind, uint32_t bridges) {
    Shape shape;
    shape.kind = kind;
    shape.bridges = bridges;
    return shape;
}

Shape gridOf(uint32_t rows, uint32_t columns) {
    Shape shape;
    shape.kind = "grid";
    shape.rows = rows;
    shape.columns = columns;
    return shape;
}

bool connected(const GeneratedNetwork& network) {
    std::set<uint32_t> reached = {0};
    for (size_t before = 0; before != reached.size();) {
        before = reached.size();
        for (const auto& [a, b] : network.links) {
            if (reached.count(a) != 0 || reached.count(b) != 0) {
                reached.insert({a, b});
            }
        }
    }
    return reached.size() == network.bridges.size();
}

} // namespace

class Shapes : public testing::TestWithParam<Expected> {};

TEST_P(Shapes, HaveTheirBridgesAndLinks) {
    const GeneratedNetwork network = generate(GetParam().shape);
    EXPECT_EQ(network.bridges.size(), GetParam().bridges);
    EXPECT_EQ(network.links.size(), GetParam().links);
}

TEST_P(Shapes, HangTogether) {
    EXPECT_TRUE(connected(generate(GetParam().shape)));
}

TEST_P(Shapes, CanBeReadAgainAsScenarios) {
    const Scenario scenario = parseScenario(scenarioText(GetParam().shape), "generated.yaml");
    EXPECT_EQ(scenario.bridges.size(), GetParam().bridges);
    EXPECT_EQ(scenario.links.size(), GetParam().links);
}

INSTANTIATE_TEST_SUITE_P(All, Shapes,
                         testing::Values(Expected{"OneBridge", shapeOf("chain", 1), 1, 0},
                                         Expected{"Chain", shapeOf("chain", 5), 5, 4},
                                         Expected{"Ring", shapeOf("ring", 5), 5, 5},
                                         Expected{"RingOfTwo", shapeOf("ring", 2), 2, 1},
                                         Expected{"Mesh", shapeOf("mesh", 5), 5, 10},
                                         Expected{"Grid", gridOf(3, 4), 12, 17},
                                         Expected{"FatTree", shapeOf("fat-tree", 1), 20, 32},
                                         Expected{"Random", shapeOf("random", 10), 10, 15},
                                         Expected{"Regions", shapeOf("regions", 4), 12, 15}),
                         [](const auto& test) { return test.param.name; });

TEST(RandomShape, IsTheSameForTheSameSeed) {
    Shape shape = shapeOf("random", 30);
    const auto first = generate(shape).links;
    EXPECT_EQ(generate(shape).links, first);
    shape.seed = 2;
    EXPECT_NE(generate(shape).links, first);
}

TEST(RandomShape, NeverAsksForMoreLinksThanThereAre) {
    Shape shape = shapeOf("random", 4);
    shape.degree = 64;
    EXPECT_EQ(generate(shape).links.size(), 6U);
}

TEST(Shape, OfTooManyBridgesIsRefused) {
    EXPECT_NE(checkShape(gridOf(100, 100)), "");
    EXPECT_EQ(checkShape(gridOf(64, 64)), "");
}

TEST(FatTree, WithAnOddNumberOfPodsIsRefused) {
    Shape shape = shapeOf("fat-tree", 1);
    shape.pods = 3;
    EXPECT_NE(checkShape(shape), "");
}

TEST(Regions, GiveEachRegionItsName) {
    const GeneratedNetwork network = generate(shapeOf("regions", 2));
    EXPECT_EQ(network.bridges.front().region, "r1");
    EXPECT_EQ(network.bridges.back().region, "r3");
}
