// Events do what they say, and expectations that are not met are told.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "rules.h"
#include "trial.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

struct Case {
    const char* name;
    const char* rest;
};

void PrintTo(const Case& one, std::ostream* out) {
    *out << one.name;
}

} // namespace

class Events : public testing::TestWithParam<Case> {};

TEST_P(Events, DoWhatTheySay) {
    EXPECT_THAT(Trial(twoBridges(GetParam().rest)).failures(), IsEmpty());
}

static const Case EVENTS[] = {
    {"NothingFormsTheTree", R"(
expect:
  - {root: sw1}
  - {root: sw1, instance: 1}
  - {port: sw1.1, role: designated, state: forwarding}
  - {port: sw2.1, instance: 1, role: root, state: forwarding}
  - {path: [h1, h2], vlan: 10}
)"},
    {"CutTakesALinkDown", R"(
events: [{at: 30s, cut: sw1-sw2}]
expect:
  - {port: sw2.1, role: disabled, state: discarding}
  - {root: sw2, seen-by: sw2}
  - {path: [h1, h2], there: no}
)"},
    {"MendBringsItBack", R"(
events: [{at: 30s, cut: sw1-sw2}, {at: 40s, mend: sw1-sw2}]
expect: [{path: [h1, h2]}, {at: 41s, settled: 1s}]
)"},
    {"UnplugTakesOneEndDown", R"(
events: [{at: 30s, unplug: sw2.1}]
expect:
  - {at: 31s, port: sw2.1, role: disabled}
  - {at: 31s, port: sw1.1, role: designated}
)"},
    {"PlugBringsItBack", R"(
events: [{at: 30s, unplug: sw2.1}, {at: 35s, plug: sw2.1}]
expect: [{at: 59s, port: sw2.1, role: root}]
)"},
    {"MuteLosesOneDirection", R"(
events: [{at: 30s, mute: sw1.1}]
expect: [{at: 40s, root: sw2, seen-by: sw2}, {at: 40s, port: sw1.1, role: designated}]
)"},
    {"UnmuteRestoresIt", R"(
events: [{at: 30s, mute: sw1.1}, {at: 40s, unmute: sw1.1}]
expect: [{root: sw1}]
)"},
    {"ImpairLosesFrames", R"(
events: [{at: 30s, impair: {link: sw1-sw2, loss: 100%}}]
expect: [{at: 40s, root: sw2, seen-by: sw2}]
)"},
    {"CrashEndsADaemon", R"(
events: [{at: 30s, crash: sw1}]
expect: [{root: sw2}, {port: sw1.1, role: none}]
)"},
    {"StartBringsItBack", R"(
events: [{at: 30s, crash: sw1}, {at: 35s, start: sw1}]
expect: [{root: sw1}, {root: sw1, instance: 1}, {at: 36s, get: sw1 bridge max-age, is: 20}]
)"},
    {"RestartForgetsWhatWasSetAtRunTime", R"(
events:
  - {at: 20s, set: sw1 instance 0 priority 61440}
  - {at: 25s, expect: {root: sw2}}
  - {at: 30s, restart: sw1}
expect: [{root: sw1}]
)"},
    {"HangStopsTheLoop", R"(
events: [{at: 30s, hang: {bridge: sw1, for: 20s}}]
expect: [{at: 45s, root: sw2, seen-by: sw2}, {at: 59s, root: sw1}]
)"},
    {"SetTakesTheClientsNames", R"(
events:
  - {at: 20s, set: sw1 bridge hello-time 1}
  - {at: 20s, set: [sw2 instance 1 priority 0, sw1 instance 1 priority 4096]}
  - {at: 20s, set: sw2 instance 1 port 1 cost 77}
expect:
  - {root: sw2, instance: 1}
  - {get: sw1 bridge hello-time, is: 1}
  - {get: sw2 instance 1 port 1 cost, is: 77}
)"},
    {"CommandsAddAndRemove", R"(
events:
  - {at: 20s, mstp: sw1 instance add 5}
  - {at: 21s, set: sw1 instance 5 vlans +50}
  - {at: 30s, mstp: sw2 port del 1}
expect: [{get: sw1 instance 5 vlans, is: 50}, {port: sw2.1, role: none}]
)"},
    {"SendCountsDeliveries", R"(
events: [{at: 30s, send: {from: h1, to: h2, vlan: 10, every: 100ms, for: 1s}}]
expect: [{delivered: {at-least: 10, at-most: 10}, since: 30s}, {lost: 0}, {looped: 0}]
)"},
    {"SendCountsLosses", R"(
events:
  - {at: 20s, cut: sw1-sw2}
  - {at: 30s, send: {from: h1, to: h2}}
expect: [{lost: {at-least: 1, at-most: 1}}]
)"},
    {"SendToEverybodyIsTheDefault", R"(
events: [{at: 30s, send: {from: h1}}]
expect: [{delivered: {at-least: 1}, since: 30s}]
)"},
    {"InjectedBpdusAreHeard", R"(
events: [{at: 30s, inject: {from: h1, type: rst}}]
expect: [{at: 31s, get: sw1 instance 0 root, is-not: sw1}, {get: sw1 port 2 received-rst, is: 1}]
)"},
    {"InjectedBytesAreSentAsTheyAre", R"(
events: [{at: 30s, inject: {from: h1, raw: "0180c2000000020000000099 0007 424203 00000080"}}]
expect: [{get: sw1 port 2 received-tcn, is: 1}]
)"},
    {"InjectRepeats", R"(
events: [{at: 30s, inject: {from: h1, type: tcn, every: 1s, for: 5s}}]
expect: [{get: sw1 port 2 received-tcn, is: 5}]
)"},
    {"FramesAreSeenWithTheirFields", R"(
expect:
  - {frame: {on: sw1-sw2, from: sw1.1, type: mst, root: sw1, msti: {1: {role: designated}}}, since: 10s}
  - {frame: {from: sw2.1, type: config}, at-most: 0, since: 0s}
)"},
};

INSTANTIATE_TEST_SUITE_P(All, Events, testing::ValuesIn(EVENTS),
                         [](const auto& test) { return test.param.name; });

class Unmet : public testing::TestWithParam<Case> {};

TEST_P(Unmet, ExpectationIsTold) {
    EXPECT_EQ(Trial(twoBridges(GetParam().rest)).failures().size(), 1U);
}

static const Case UNMET[] = {
    {"Role", "expect: [{port: sw1.1, role: root}]"},
    {"State", "expect: [{port: sw1.1, state: discarding}]"},
    {"Root", "expect: [{root: sw2}]"},
    {"Settled", "expect: [{at: 30s, settled: 1ms}]"},
    {"Value", "expect: [{get: sw1 bridge max-age, is: 21}]"},
    {"ValueRange", "expect: [{get: sw1 bridge max-age, at-least: 21}]"},
    {"ValueOther", "expect: [{get: sw1 bridge max-age, is-not: 20}]"},
    {"Frame", "expect: [{frame: {from: sw1.1, type: tcn}, since: 0s}]"},
    {"NoFrame", "expect: [{frame: {from: sw1.1}, at-most: 0, since: 0s}]"},
    {"Path", "expect: [{path: [h1, h2], there: no}]"},
    {"Count", "expect: [{bpdus: 0}]"},
    {"RootOfAnInstanceThatNobodyRuns", "expect: [{root: sw1, instance: 7}]"},
    {"Looped", "expect: [{looped: {at-least: 1}}]"},
};

INSTANTIATE_TEST_SUITE_P(All, Unmet, testing::ValuesIn(UNMET),
                         [](const auto& test) { return test.param.name; });

TEST(Lab, TellsWhatWasFoundInstead) {
    EXPECT_THAT(Trial(twoBridges("expect: [{port: sw1.1, role: root}]")).failures(),
                ElementsAre("{port: sw1.1, role: root}; found: designated forwarding"));
}

TEST(Lab, TellsOfASettingThatADaemonRefuses) {
    const Trial run(twoBridges("events: [{at: 30s, set: sw1 instance 7 priority 0}]"));
    EXPECT_THAT(run.failures(),
                ElementsAre("sw1 takes: set instance 7 priority 0; found: there is no instance 7 "
                            "(mstp instance add 7)"));
}

// Every host has an interface "lo"; it may as well have one that is called "1".
TEST(Lab, KnowsPortsByTheScenarioAlone) {
    const Trial run(twoBridges(""));
    EXPECT_THROW(unitOf("lo"), Refused);
    EXPECT_EQ(unitOf("1"), 1U);
}

TEST(Lab, AsksForTheRootOfAnInstanceThatWasAdded) {
    const Trial run(twoBridges("events: [{at: 20s, mstp: sw1 instance add 3}]\n"
                               "expect: [{root: sw1, instance: 3}]"));
    EXPECT_THAT(run.failures(), IsEmpty());
}

TEST(Lab, LetsACommandWaitForADaemonThatIsHung) {
    const Trial run(twoBridges("events:\n"
                               "  - {at: 30s, hang: {bridge: sw2, for: 5s}}\n"
                               "  - {at: 31s, set: sw2 bridge hello-time 1}\n"
                               "  - {at: 34s, expect: {get: sw2 bridge hello-time, is: 2}}\n"
                               "  - {at: 36s, expect: {get: sw2 bridge hello-time, is: 1}}\n"));
    EXPECT_THAT(run.failures(), IsEmpty());
}

TEST(Lab, RefusesACommandToADaemonThatIsGone) {
    const Trial run(
        twoBridges("events: [{at: 30s, crash: sw2}, {at: 31s, set: sw2 bridge hello-time 1}]"));
    EXPECT_THAT(run.failures(), ElementsAre("sw2 takes: set bridge hello-time 1; found: no daemon "
                                            "runs there"));
}

TEST(Lab, StartsABridgeLate) {
    const Trial run(
        "duration: 40s\nbridges: {a: {start: 20s, priority: 0}, b: , c: {start: never}}\n"
        "links: [a-b, b-c]\n"
        "expect: [{at: 19s, root: b}, {root: a}, {port: c.1, role: none}]\n");
    EXPECT_THAT(run.failures(), IsEmpty());
}

TEST(Lab, CountsForEachEventFromItsMomentOn) {
    const Trial run(twoBridges("events: [{at: 30s, cut: sw1-sw2}]"));
    ASSERT_EQ(run.lab.recorder().periods().size(), 2U);
    EXPECT_EQ(run.lab.recorder().periods()[1].text, "cut sw1-sw2");
    EXPECT_LT(run.lab.recorder().periods()[1].settled(), 100'000U);
    EXPECT_GT(run.lab.recorder().periods()[1].roles, 0U);
}
