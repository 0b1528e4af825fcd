// What counts as a known result, and above all what does not.

#include "known.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "parse.h"

using namespace simtool;

namespace {

Scenario ringOf(const std::string& bridges, const std::string& rest = "") {
    return parseScenario("duration: 90s\n"
                         "bridges: " +
                             bridges +
                             "\n"
                             "links: [sw1-sw2, sw2-sw3, sw3-sw1]\n" +
                             rest,
                         "known.yaml");
}

Failure broken(const std::string& rule, Microseconds time = 40 * SECOND) {
    return {time, {}, "", "", rule};
}

constexpr const char* ALIKE = "[sw1, sw2, sw3]";

} // namespace

TEST(Known, BridgesThatAreAlikeLoopNoLongerThanFramesAreUnderWay) {
    EXPECT_EQ(toleratedLoop(ringOf(ALIKE)), 300U);
}

TEST(Known, PrioritiesMakeNoDifferenceBetweenBridges) {
    EXPECT_EQ(toleratedLoop(ringOf("{sw1: {priority: 0}, sw2: , sw3: }")), 300U);
}

TEST(Known, AnotherRegionMayLoopForSeconds) {
    EXPECT_GT(toleratedLoop(ringOf("{sw1: {region: other}, sw2: , sw3: }")), SECOND);
}

TEST(Known, AnotherVersionMayLoopForSeconds) {
    EXPECT_GT(toleratedLoop(ringOf("{sw1: {version: stp}, sw2: , sw3: }")), SECOND);
}

TEST(Known, NothingElseIsKnownWhereNothingFails) {
    const Scenario scenario = ringOf(ALIKE, "events: [{at: 30s, cut: sw1-sw2}]\n");
    for (const char* rule : {"loop", "frame goes round", "tree", "connected", "role", "bounds"}) {
        EXPECT_EQ(knownResult(scenario, broken(rule)), "") << rule;
    }
}

TEST(Known, LoopOfADaemonThatHangsIsKnownWhileItDoes) {
    const Scenario scenario = ringOf(ALIKE, "events: [{at: 30s, hang: {bridge: sw1, for: 12s}}]\n");
    EXPECT_NE(knownResult(scenario, broken("loop", 40 * SECOND)), "");
    EXPECT_EQ(knownResult(scenario, broken("loop", 32 * SECOND)), "");
    EXPECT_EQ(knownResult(scenario, broken("loop", 60 * SECOND)), "");
    EXPECT_EQ(knownResult(scenario, broken("tree", 40 * SECOND)), "");
}

TEST(Known, ShortHangExplainsNothing) {
    const Scenario scenario = ringOf(ALIKE, "events: [{at: 38s, hang: {bridge: sw1, for: 3s}}]\n");
    EXPECT_EQ(knownResult(scenario, broken("loop", 43 * SECOND)), "");
}

TEST(Known, LoopIsKnownWhileFramesAreLost) {
    const Scenario scenario = ringOf(ALIKE, "events:\n"
                                            "  - {at: 30s, impair: {link: sw1-sw2, loss: 50%}}\n"
                                            "  - {at: 50s, impair: {link: sw1-sw2}}\n");
    EXPECT_NE(knownResult(scenario, broken("loop", 40 * SECOND)), "");
    EXPECT_EQ(knownResult(scenario, broken("loop", 29 * SECOND)), "");
    EXPECT_EQ(knownResult(scenario, broken("loop", 60 * SECOND)), "");
}

TEST(Known, RefusedRootExplainsTheTreeButNoLoop) {
    const Scenario scenario =
        ringOf("{sw1: {instances: {0: {root-protection: on}}}, sw2: , sw3: }");
    EXPECT_NE(knownResult(scenario, broken("connected")), "");
    EXPECT_EQ(knownResult(scenario, broken("loop")), "");
}

TEST(Known, CountersOutOfBoundsAreNeverKnown) {
    const Scenario scenario = ringOf("{sw1: {region: other}, sw2: {version: stp}, sw3: }",
                                     "events: [{at: 30s, hang: {bridge: sw1, for: 12s}}]\n");
    EXPECT_EQ(knownResult(scenario, broken("bounds")), "");
}
