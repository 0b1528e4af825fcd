// Scenario files: what they mean, and what is told of errors.

#include "parse.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "yaml_reader.h"

using namespace simtool;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

std::string complaintsOf(const std::string& text) {
    try {
        parseScenario(text, "net.yaml");
    } catch (const BadInput& error) {
        return error.what();
    }
    return "";
}

struct Wrong {
    const char* name;
    const char* text;
    const char* place;
    const char* complaint;
};

void PrintTo(const Wrong& wrong, std::ostream* out) {
    *out << wrong.name;
}

constexpr const char* TWO = "bridges: {a: , b: }\nlinks: [a-b]\n";

} // namespace

class WrongFile : public testing::TestWithParam<Wrong> {};

TEST_P(WrongFile, IsToldWithLineAndColumn) {
    const std::string text = complaintsOf(GetParam().text);
    EXPECT_THAT(text, StartsWith(std::string("net.yaml:") + GetParam().place + ": "));
    EXPECT_THAT(text, HasSubstr(GetParam().complaint));
}

static const Wrong WRONG[] = {
    {"NoYaml", "bridges: {a: [}\n", "1:15", ""},
    {"NoMapping", "- a\n", "1:1", "mapping"},
    {"NoBridges", "name: empty\n", "1:1", "bridges"},
    {"UnknownKey", "evnts: []\nbridges: {a: }\n", "1:1", "did you mean \"events\"?"},
    {"KeyTwice", "bridges: {a: , a: }\n", "1:16", "twice"},
    {"BridgeKey", "bridges:\n  a: {prioritty: 0}\n", "2:7", "did you mean \"priority\"?"},
    {"BridgeKeysAreListed", "bridges:\n  a: {xyzzy: 0}\n", "2:7", "max-age"},
    {"BridgeName", "bridges: {a-b: }\n", "1:11", "letters, digits and _"},
    {"Priority", "bridges:\n  a: {priority: 5}\n", "2:17", "0-61440 in steps of 4096"},
    {"Version", "bridges:\n  a: {version: x}\n", "2:16", "none|stp|rstp|mstp"},
    {"Address", "bridges:\n  a: {address: 1}\n", "2:16", "02:00:00:00:00:01"},
    {"SameAddress",
     "bridges:\n  a: {address: \"02:00:00:00:00:09\"}\n  b: {address: \"02:00:00:00:00:09\"}\n",
     "3:3", "the same address"},
    {"Times", "bridges:\n  a: {max-age: 40}\n", "2:3", "2 x (forward-delay - 1)"},
    {"Region", "bridges:\n  a: {region: {nam: x}}\n", "2:16", "did you mean \"name\"?"},
    {"Instance", "bridges:\n  a: {instances: {64: 1}}\n", "2:19", "0-63"},
    {"Vlans", "bridges:\n  a: {instances: {1: 5000}}\n", "2:22", "1-4094"},
    {"CistVlans", "bridges:\n  a: {instances: {0: 5}}\n", "2:22", "no other has"},
    {"VlanTwice", "bridges:\n  a: {instances: {1: 5, 2: 5}}\n", "2:3", "another has too"},
    {"PortNumber", "bridges:\n  a: {ports: {0: {}}}\n", "2:15", "1-1024"},
    {"PortKey", "bridges:\n  a: {ports: {1: {cots: 5}}}\nhosts: {h: a}\n", "2:19",
     "did you mean \"cost\"?"},
    {"PortWithoutLink", "bridges:\n  a: {ports: {1: {cost: 5}}}\n", "2:3", "no link"},
    {"LinkForm", "bridges: {a: , b: }\nlinks: [a]\n", "2:9", "sw1-sw2"},
    {"LinkBridge", "bridges: {one: , two: }\nlinks: [one-twoo]\n", "2:9", "did you mean \"two\"?"},
    {"LinkPort", "bridges: {a: , b: }\nlinks: [a.0-b]\n", "2:9", "1-1024"},
    {"LinkTwice", "bridges: {a: , b: , c: }\nlinks: [a.1-b, a.1-c]\n", "2:16", "a.1 has two links"},
    {"LinkKey", "bridges: {a: , b: }\nlinks: [{between: a-b, los: 1%}]\n", "2:24",
     "did you mean \"loss\"?"},
    {"LinkDelay", "bridges: {a: , b: }\nlinks: [{between: a-b, delay: x}]\n", "2:31", "1.5ms"},
    {"LinkLoss", "bridges: {a: , b: }\nlinks: [{between: a-b, loss: 101%}]\n", "2:30", "1%"},
    {"LinkSpeed", "bridges: {a: , b: }\nlinks: [{between: a-b, speed: 1X}]\n", "2:31", "100M"},
    {"HostName", "bridges: {a: }\nhosts: {a: a}\n", "2:9", "already"},
    {"GeneratorKind", "generate: {kind: torus}\n", "1:18", "chain, ring"},
    {"GeneratorSize", "generate: {kind: grid, rows: 4096, columns: 4096}\n", "1:11", "1-4096"},
    {"GeneratorKey", "generate: {kind: ring, bridge: 4}\n", "1:24", "did you mean \"bridges\"?"},
    {"DefaultKeyIsToldOnce", "defaults: {bridge: {x: 1}}\nbridges: {a: , b: }\n", "1:21",
     "not known"},
    {"EventTime", "bridges: {a: }\nevents:\n  - {at: soon, crash: a}\n", "3:10", "30s"},
    {"EventWithoutTime", "bridges: {a: }\nevents:\n  - {crash: a}\n", "3:5", "at: 30s"},
    {"EventWithoutAction", "bridges: {a: }\nevents:\n  - {at: 1s}\n", "3:5", "cut, mend"},
    {"EventKey", "bridges: {a: }\nevents:\n  - {at: 1s, crush: a}\n", "3:5", "one of"},
    {"EventLink", "bridges: {a: , b: }\nlinks: [a-b]\nevents:\n  - {at: 1s, cut: a-c}\n", "4:19",
     "no link \"a-c\""},
    {"EventAmbiguousLink",
     "bridges: {a: , b: }\nlinks: [a-b, a-b]\nevents:\n  - {at: 1s, cut: a-b}\n", "4:19",
     "a.1-b.1, a.2-b.2"},
    {"EventEnd", "bridges: {a: , b: }\nlinks: [a-b]\nevents:\n  - {at: 1s, mute: a}\n", "4:20",
     "sw1.2"},
    {"EventBridge", "bridges: {a: }\nevents:\n  - {at: 1s, crash: c}\n", "3:21", "no bridge"},
    {"EventAfterEnd", "duration: 1s\nbridges: {a: }\nevents:\n  - {at: 2s, crash: a}\n", "4:21",
     "after the end"},
    {"SetForm", "bridges: {a: }\nevents:\n  - {at: 1s, set: a bridge}\n", "3:19", "the forms are"},
    {"SetName", "bridges: {a: }\nevents:\n  - {at: 1s, set: a bridge x 1}\n", "3:19", "max-age"},
    {"SetPort", "bridges: {a: }\nevents:\n  - {at: 1s, set: a port eth0 cost 1}\n", "3:19",
     "1-1024"},
    {"Command", "bridges: {a: }\nevents:\n  - {at: 1s, mstp: a show}\n", "3:20", "set, port"},
    {"SendHost", "bridges: {a: }\nevents:\n  - {at: 1s, send: {from: h}}\n", "3:27", "no host"},
    {"SendRepeat",
     "bridges: {a: }\nhosts: {h: a}\nevents:\n  - {at: 1s, send: {from: h, every: 1s}}\n", "4:20",
     "belong together"},
    {"InjectField",
     "bridges: {a: }\nhosts: {h: a}\nevents:\n  - {at: 1s, inject: {from: h, rot: 1}}\n", "4:32",
     "did you mean \"root\"?"},
    {"InjectValue",
     "bridges: {a: }\nhosts: {h: a}\nevents:\n  - {at: 1s, inject: {from: h, version: 256}}\n",
     "4:41", "fits the field"},
    {"InjectRaw",
     "bridges: {a: }\nhosts: {h: a}\nevents:\n  - {at: 1s, inject: {from: h, raw: xyz}}\n", "4:37",
     "hexadecimal"},
    {"ExpectKind", "bridges: {a: }\nexpect: [{colour: red}]\n", "2:10", "port, root, settled"},
    {"ExpectRole", "bridges: {a: }\nhosts: {h: a}\nexpect: [{port: a.1, role: boss}]\n", "3:28",
     "alternate"},
    {"ExpectPort", "bridges: {a: }\nexpect: [{port: a, role: root}]\n", "2:17", "sw1.2"},
    {"ExpectNoPort", "bridges: {a: , b: }\nlinks: [a-b]\nexpect: [{port: a.7, role: root}]\n",
     "3:17", "a has no port 7"},
    {"ExpectGetNoPort",
     "bridges: {a: , b: }\nlinks: [a-b]\nexpect: [{get: a port 7 cost, is: 1}]\n", "3:16",
     "a has no port 7"},
    {"BridgeTwice", "bridges: [a, b, a]\n", "1:17", "twice"},
    {"TabBeforeAWord", "bridges:\n\ta:\n", "2:1", "not with tabs"},
    {"ExpectGet", "bridges: {a: }\nexpect: [{get: a bridge x, is: 1}]\n", "2:16", "max-age"},
    {"ExpectFrame", "bridges: {a: }\nexpect: [{frame: {type: rst}}]\n", "2:18", "on: sw1-sw2"},
    {"ExpectCount", "bridges: {a: }\nexpect: [{lost: some}]\n", "2:17", "number"},
};

INSTANTIATE_TEST_SUITE_P(All, WrongFile, testing::ValuesIn(WRONG),
                         [](const auto& test) { return test.param.name; });

TEST(ScenarioFile, TellsAllErrorsAtOnceInTheirOrder) {
    const std::string text =
        complaintsOf("bridges: {a: {x: 1}, b: {y: 1}}\nlinks: [a-c]\nduration: long\n");
    EXPECT_THAT(text, testing::MatchesRegex("net.yaml:1:.*\nnet.yaml:1:.*\nnet.yaml:2:.*\n"
                                            "net.yaml:3:.*\n"));
}

TEST(ScenarioFile, LinksTakeTheLowestFreePortsAndHostsTheNext) {
    const Scenario scenario =
        parseScenario("bridges: {a: , b: }\nhosts: {h: a}\nlinks: [a-b, a.1-b, a-b]\n", "x");
    EXPECT_EQ(scenario.links[0].ends[0].port, 2U);
    EXPECT_EQ(scenario.links[2].ends[0].port, 3U);
    EXPECT_EQ(scenario.links[3].ends[0].port, 4U);
}

TEST(ScenarioFile, LinksAreNamedByTheirBridgesUnlessThereAreSeveral) {
    const Scenario scenario =
        parseScenario("bridges: {a: , b: , c: }\nlinks: [a-b, b-c, c-b]\n", "x");
    EXPECT_EQ(scenario.links[0].name, "a-b");
    EXPECT_EQ(scenario.links[2].name, "c.2-b.3");
}

TEST(ScenarioFile, DefaultsHoldUnlessABridgeSaysOtherwise) {
    const Scenario scenario = parseScenario("defaults: {bridge: {hello-time: 1, version: rstp}}\n"
                                            "bridges: {a: , b: {version: stp}}\n",
                                            "x");
    EXPECT_EQ(scenario.bridges[0].version, 2U);
    EXPECT_EQ(scenario.bridges[1].version, 1U);
    EXPECT_EQ(scenario.bridges[1].settings.size(), scenario.bridges[0].settings.size());
}

TEST(ScenarioFile, RelativeTimesCountFromTheEventBefore) {
    const Scenario scenario = parseScenario(
        std::string(TWO) + "events: [{at: 10s, cut: a-b}, {at: +500ms, mend: a-b}]\n", "x");
    EXPECT_EQ(scenario.events[1].at, 10'500'000U);
}

TEST(ScenarioFile, EventsHappenInTheOrderOfTheirTimes) {
    const Scenario scenario = parseScenario(
        std::string(TWO) + "events: [{at: 20s, mend: a-b}, {at: 10s, cut: a-b}]\n", "x");
    EXPECT_EQ(scenario.events[0].text, "cut a-b");
}

TEST(ScenarioFile, RunsAMinuteBeyondItsLastEvent) {
    const Scenario scenario =
        parseScenario(std::string(TWO) + "events: [{at: 20s, cut: a-b}]\n", "x");
    EXPECT_EQ(scenario.duration, 80 * SECOND);
}

TEST(ScenarioFile, ThatCannotBeReadIsAnError) {
    EXPECT_THROW(readScenario("/nonexistent/net.yaml"), BadInput);
}

struct TimeText {
    const char* text;
    std::optional<Microseconds> time;
};

class Times : public testing::TestWithParam<TimeText> {};

TEST_P(Times, AreReadWithTheirUnits) {
    EXPECT_EQ(parseTime(GetParam().text), GetParam().time) << GetParam().text;
}

INSTANTIATE_TEST_SUITE_P(
    All, Times,
    testing::Values(TimeText{"30s", 30 * SECOND}, TimeText{"30", 30 * SECOND},
                    TimeText{"1.5ms", 1500}, TimeText{"10us", 10}, TimeText{"2min", 120 * SECOND},
                    TimeText{"1h", 3600 * SECOND}, TimeText{"2 s", 2 * SECOND},
                    TimeText{"", std::nullopt}, TimeText{"s", std::nullopt},
                    TimeText{"1.2.3s", std::nullopt}, TimeText{"-1s", std::nullopt},
                    TimeText{"1e9s", std::nullopt}, TimeText{"999999999999h", std::nullopt}));
