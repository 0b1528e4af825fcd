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

// The same, round the circle.
Failure circle(Microseconds time, const std::string& rule = "loop") {
    Failure failure = broken(rule, time);
    failure.vlan = 10;
    failure.circle = {{0, 1, 2}, {0, 1, 2}};
    return failure;
}

// The same, where only the last two links are part of it.
Failure elsewhere(Microseconds time) {
    Failure failure = circle(time);
    failure.circle = {{1, 2}, {1, 2}};
    return failure;
}

Signs oldRootUntil(Microseconds end) {
    Signs signs;
    signs.oldRoot = [end](Microseconds time, Microseconds before) { return time <= end + before; };
    return signs;
}

constexpr const char* ALIKE = "[sw1, sw2, sw3]";
constexpr const char* TWO_REGIONS =
    "{sw1: {region: other, instances: {1: 10}}, sw2: {instances: {1: 10}}, sw3: }";
constexpr const char* SET = "events: [{at: 30s, set: sw1 instance 0 priority 0}]\n";

} // namespace

TEST(Known, BridgesThatAreAlikeLoopNoLongerThanFramesAreUnderWay) {
    EXPECT_EQ(toleratedLoop(ringOf(ALIKE), 10), 300U);
}

TEST(Known, PrioritiesMakeNoDifferenceBetweenBridges) {
    EXPECT_EQ(toleratedLoop(ringOf("{sw1: {priority: 0}, sw2: , sw3: }"), 10), 300U);
}

TEST(Known, MstiMayLoopForSecondsWhereThereIsAnotherRegion) {
    EXPECT_GT(toleratedLoop(ringOf(TWO_REGIONS), 10), SECOND);
}

TEST(Known, CistMayNotLoopForSecondsWhereThereIsAnotherRegion) {
    EXPECT_EQ(toleratedLoop(ringOf(TWO_REGIONS), 1), 300U);
}

TEST(Known, MstiMayLoopForSecondsWhereThereIsAnotherVersion) {
    EXPECT_GT(toleratedLoop(ringOf("{sw1: {version: stp}, sw2: {instances: {1: 10}}, sw3: }"), 10),
              SECOND);
}

TEST(Known, NothingElseIsKnownWhereNothingFails) {
    const Scenario scenario = ringOf(ALIKE, "events: [{at: 30s, cut: sw1-sw2}]\n");
    for (const char* rule : {"loop", "frame goes round", "tree", "connected", "role", "bounds",
                             "expected: settled", "expected: lost"}) {
        EXPECT_EQ(knownResult(scenario, circle(40 * SECOND, rule), oldRootUntil(90 * SECOND)), "")
            << rule;
    }
}

TEST(Known, MstiRoleIsKnownWhereABridgeLeavesItsRegion) {
    Failure role = broken("role");
    role.expected = "sw1.1 is designated in MSTI 1";
    for (const char* left : {"bridge version rstp", "region name other"}) {
        const std::string set = std::string("events: [{at: 30s, set: sw1 ") + left + "}]\n";
        EXPECT_NE(knownResult(ringOf(ALIKE, set), role), "") << left;
    }
    EXPECT_EQ(knownResult(ringOf(ALIKE, SET), role), "");
}

TEST(Known, CistRoleIsNotKnownWhereABridgeLeavesItsRegion) {
    Failure role = broken("role");
    role.expected = "sw1.1 is designated in the CIST";
    EXPECT_EQ(knownResult(ringOf(ALIKE, "events: [{at: 30s, set: sw1 region name other}]\n"), role),
              "");
}

TEST(Known, MstiMayLoopForSecondsWhileABridgeSpeaksAnotherVersion) {
    const char* set = "events: [{at: 30s, set: sw1 bridge version stp}]\n";
    EXPECT_GT(toleratedLoop(ringOf("{sw1: {instances: {1: 10}}, sw2: {instances: {1: 10}}, sw3: "
                                   "{instances: {1: 10}}}",
                                   set),
                            10),
              SECOND);
}

TEST(Known, LoopThroughADaemonThatHangsIsKnownWhileItDoes) {
    const Scenario scenario = ringOf(ALIKE, "events: [{at: 30s, hang: {bridge: sw1, for: 12s}}]\n");
    EXPECT_NE(knownResult(scenario, circle(40 * SECOND)), "");
    EXPECT_EQ(knownResult(scenario, circle(31 * SECOND)), "");
    EXPECT_EQ(knownResult(scenario, circle(60 * SECOND)), "");
    EXPECT_EQ(knownResult(scenario, circle(40 * SECOND, "tree")), "");
}

TEST(Known, LoopElsewhereIsNotADaemonsThatHangs) {
    const Scenario scenario = ringOf(ALIKE, "events: [{at: 30s, hang: {bridge: sw1, for: 12s}}]\n");
    EXPECT_EQ(knownResult(scenario, elsewhere(40 * SECOND)), "");
}

TEST(Known, LoopThroughADaemonThatIsGoneIsKnownUntilItIsBack) {
    const Scenario scenario =
        ringOf(ALIKE, "events: [{at: 30s, crash: sw1}, {at: 50s, start: sw1}]\n");
    EXPECT_NE(knownResult(scenario, circle(40 * SECOND)), "");
    EXPECT_EQ(knownResult(scenario, circle(55 * SECOND)), "");
}

TEST(Known, ShortHangExplainsNothing) {
    const Scenario scenario = ringOf(ALIKE, "events: [{at: 38s, hang: {bridge: sw1, for: 3s}}]\n");
    EXPECT_EQ(knownResult(scenario, circle(41 * SECOND)), "");
}

TEST(Known, LoopOverALinkThatLosesFramesIsKnownWhileItDoes) {
    const Scenario scenario = ringOf(ALIKE, "events:\n"
                                            "  - {at: 30s, impair: {link: sw1-sw2, loss: 50%}}\n"
                                            "  - {at: 50s, impair: {link: sw1-sw2}}\n");
    EXPECT_NE(knownResult(scenario, circle(40 * SECOND)), "");
    EXPECT_EQ(knownResult(scenario, circle(29 * SECOND)), "");
    EXPECT_EQ(knownResult(scenario, circle(60 * SECOND)), "");
    EXPECT_EQ(knownResult(scenario, elsewhere(40 * SECOND)), "");
}

TEST(Known, LoopOverALinkThatIsSilentInOneDirectionIsKnownWhileItIs) {
    const Scenario scenario =
        ringOf(ALIKE, "events: [{at: 30s, mute: sw1.1}, {at: 50s, unmute: sw1.1}]\n");
    EXPECT_NE(knownResult(scenario, circle(40 * SECOND)), "");
    EXPECT_EQ(knownResult(scenario, circle(60 * SECOND)), "");
    EXPECT_EQ(knownResult(scenario, elsewhere(40 * SECOND)), "");
}

TEST(Known, RefusedRootExplainsTheTreesOfItsInstanceButNoLoop) {
    const Scenario scenario = ringOf("{sw1: {instances: {1: 10}}, sw2: {instances: {1: 10}}, "
                                     "sw3: {instances: {1: 10}}}");
    Signs signs;
    signs.refusing = {1};
    EXPECT_NE(knownResult(scenario, circle(40 * SECOND, "connected"), signs), "");
    EXPECT_EQ(knownResult(scenario, circle(40 * SECOND), signs), "");
    signs.refusing = {0};
    EXPECT_EQ(knownResult(scenario, circle(40 * SECOND, "connected"), signs), "");
}

TEST(Known, OldRootBetweenRegionsExplainsALoopOfAnMstiWhileItIsFollowed) {
    const Scenario scenario = ringOf(TWO_REGIONS, SET);
    EXPECT_NE(knownResult(scenario, circle(50 * SECOND), oldRootUntil(45 * SECOND)), "");
    EXPECT_EQ(knownResult(scenario, circle(70 * SECOND), oldRootUntil(45 * SECOND)), "");
}

TEST(Known, OldRootExplainsNoLoopOfTheCist) {
    Failure failure = circle(50 * SECOND);
    failure.vlan = 1;
    EXPECT_EQ(knownResult(ringOf(TWO_REGIONS, SET), failure, oldRootUntil(45 * SECOND)), "");
}

TEST(Known, OldRootBetweenRegionsExplainsThatNothingSettles) {
    const Scenario scenario = ringOf(TWO_REGIONS, SET);
    const Failure failure = broken("expected: settled", 80 * SECOND);
    EXPECT_NE(knownResult(scenario, failure, oldRootUntil(75 * SECOND)), "");
    EXPECT_EQ(knownResult(scenario, failure, oldRootUntil(60 * SECOND)), "");
}

TEST(Known, OldRootIsForgottenWhenHopsAndAgesAreUsedUp) {
    const Scenario scenario =
        ringOf("{sw1: {region: other, max-hops: 6, max-age: 6}, sw2: {max-hops: "
               "6, max-age: 6}, sw3: {max-hops: 6, max-age: 6}}",
               SET);
    EXPECT_EQ(
        knownResult(scenario, broken("expected: settled", 80 * SECOND), oldRootUntil(90 * SECOND)),
        "");
}

TEST(Known, HubExplainsALoopThatGoesOverIt) {
    const Scenario scenario = parseScenario("duration: 90s\n"
                                            "bridges: [sw1, sw2, sw3]\n"
                                            "links: [{hub: [sw1, sw2, sw3]}, sw1-sw2, sw1-sw2]\n",
                                            "hub.yaml");
    EXPECT_EQ(knownResult(scenario, circle(40 * SECOND)), "shared segment");
    EXPECT_EQ(knownResult(scenario, elsewhere(40 * SECOND)), "");
}

TEST(Known, CountersOutOfBoundsAreNeverKnown) {
    const Scenario scenario = ringOf("{sw1: {region: other}, sw2: {version: stp}, sw3: }",
                                     "events: [{at: 30s, hang: {bridge: sw1, for: 12s}}]\n");
    EXPECT_EQ(knownResult(scenario, circle(40 * SECOND, "bounds"), oldRootUntil(90 * SECOND)), "");
}
