// What must always hold, checked beside a scenario's own expectations.

#include "verify.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "parse.h"
#include "trial.h"

using namespace simtool;
using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;

static std::vector<std::string> verified(const std::string& text) {
    const Scenario scenario = parseScenario(text, "verified.yaml");
    Lab lab(scenario);
    Verifier verifier(lab);
    lab.run();
    verifier.finish();
    std::vector<std::string> lines;
    for (const Failure& failure : lab.failures()) {
        lines.push_back(failure.expected + "; found: " + failure.found);
    }
    return lines;
}

TEST(Verifier, AcceptsTheTreesThatWereComputed) {
    EXPECT_THAT(verified("defaults: {bridge: {region: lab, instances: {1: 10, 2: 20}}}\n"
                         "generate: {kind: random, bridges: 8, degree: 4}\n"
                         "bridges: {sw5: {instances: {1: {priority: 0}}}}\n"),
                IsEmpty());
}

TEST(Verifier, KnowsWhatEventsHaveSet) {
    EXPECT_THAT(verified("generate: {kind: ring, bridges: 5}\n"
                         "events:\n"
                         "  - {at: 20s, set: sw4 instance 0 priority 4096}\n"
                         "  - {at: 25s, set: sw1 port 1 cost 1}\n"
                         "  - {at: 30s, cut: sw2-sw3}\n"),
                IsEmpty());
}

TEST(Verifier, AcceptsRegionsAndOlderVersions) {
    EXPECT_THAT(verified("generate: {kind: regions, regions: 3, bridges: 3}\n"
                         "duration: 150s\n"
                         "bridges: {old: {version: stp}, newer: {version: rstp, priority: 0}}\n"
                         "links: [old-r1_sw1, newer-r2_sw2]\n"),
                IsEmpty());
}

// sw3, the root of both trees, leaves the region for a while, and its MSTI for good.
TEST(Verifier, NamesAKnownResultOnce) {
    const std::vector<std::string> lines =
        verified("duration: 80s\n"
                 "defaults: {bridge: {region: lab, instances: {1: 10}}}\n"
                 "bridges: {sw1: , sw2: , sw3: {instances: {0: {priority: 28672}, 1: {priority: "
                 "4096}}}}\n"
                 "links: [sw2-sw3, sw2-sw1]\n"
                 "events:\n"
                 "  - {at: 20s, set: sw3 bridge version stp}\n"
                 "  - {at: 31s, set: sw3 bridge version mstp}\n");
    ASSERT_FALSE(lines.empty());
    for (const std::string& line : lines) {
        EXPECT_EQ(line.find("(known: root that left its region)"), line.rfind("(known: ")) << line;
    }
}

// The root steps down while one link is slow.
static std::string slowLink(const std::string& delay, uint32_t holdCount) {
    return "defaults: {bridge: {version: rstp, hold-count: " + std::to_string(holdCount) +
           "}}\n"
           "bridges: {sw1: {priority: 12288}, sw2: {priority: 8192}, sw3: {priority: 4096}}\n"
           "hosts: {h1: sw2}\n"
           "duration: 60s\n"
           "links:\n"
           "  - {between: sw1-sw2, name: link1}\n"
           "  - {between: sw2-sw3, name: link2}\n"
           "  - {between: sw3-sw1, name: link3, delay: " +
           delay +
           "}\n"
           "  - {between: sw2-sw3, name: link4}\n"
           "events:\n"
           "  - {at: 40s, set: sw3 instance 0 priority 61440}\n"
           "  - {at: 40s, send: {from: h1, every: 10ms, for: 5s}}\n";
}

TEST(Verifier, KnowsALoopForAsLongAsFramesAreUnderWay) {
    EXPECT_THAT(verified(slowLink("100ms", 6)), IsEmpty());
}

TEST(Verifier, KnowsALoopThatWaitsForAHoldCount) {
    EXPECT_THAT(verified(slowLink("200ms", 6)), IsEmpty());
}

TEST(Verifier, TellsOfBridgesThatNoFramesReach) {
    EXPECT_THAT(verified("defaults: {bridge: {max-hops: 6}}\n"
                         "generate: {kind: chain, bridges: 10}\n"),
                Contains(HasSubstr("sw7 is cut off in VLAN 1")));
}
