// What each form shows of one snapshot, as text and as JSON.

#include "show.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <sstream>

#include "golden.h"
#include "json_writer.h"
#include "sample_snapshot.h"
#include "text_writer.h"

using testing::HasSubstr;
using testing::Not;

using Tell = void (*)(Writer&, const Snapshot&);

static std::string text(Tell tell, bool full, const Snapshot& snapshot = sampleSnapshot(),
                        bool colour = false) {
    std::ostringstream out;
    TextWriter writer(out, full, colour);
    tell(writer, snapshot);
    return out.str();
}

static std::string json(Tell tell, const Snapshot& snapshot = sampleSnapshot()) {
    JsonWriter writer;
    tell(writer, snapshot);
    std::ostringstream out;
    writer.print(out);
    return out.str();
}

static nlohmann::json parsed(Tell tell, const Snapshot& snapshot = sampleSnapshot()) {
    return nlohmann::json::parse(json(tell, snapshot));
}

static void firstPort(Writer& writer, const Snapshot& snapshot) {
    showPort(writer, snapshot, snapshot.ports[0]);
}

TEST(Show, OverviewIsAsAgreed) {
    expectGolden("overview.txt", text(showAll, false));
}

TEST(Show, BridgeIsAsAgreed) {
    expectGolden("bridge.txt", text(showBridge, true));
}

TEST(Show, RegionIsAsAgreed) {
    expectGolden("region.txt", text(showRegion, true));
}

TEST(Show, InstancesAreAsAgreed) {
    expectGolden("instances.txt", text(showInstances, true));
}

TEST(Show, PortsAreAsAgreed) {
    expectGolden("ports.txt", text(showPorts, true));
}

TEST(Show, OnePortIsAsAgreed) {
    expectGolden("port.txt", text(firstPort, true));
}

TEST(Show, CountersAreAsAgreed) {
    expectGolden("counters.txt", text(showCounters, true));
}

TEST(Show, JsonIsAsAgreed) {
    expectGolden("all.json", json(showAll));
}

TEST(Show, NoFormIsWiderThanAScreen) {
    for (const Tell tell : {showAll, showBridge, showInstances, showPorts, firstPort}) {
        std::istringstream lines(text(tell, true));
        for (std::string line; std::getline(lines, line);) {
            EXPECT_LE(textWidth(line), TEXT_WIDTH) << line;
        }
    }
}

TEST(Show, AFormsJsonIsItsPartOfTheWhole) {
    const nlohmann::json all = parsed(showAll);

    EXPECT_EQ(parsed(showBridge)["bridge"], all["bridge"]);
    EXPECT_EQ(parsed(showRegion)["region"], all["region"]);
    EXPECT_EQ(parsed(showInstances)["instances"], all["instances"]);
    EXPECT_EQ(parsed(showPorts)["ports"], all["ports"]);
}

TEST(Show, OnePortsJsonIsAListOfThatPort) {
    EXPECT_EQ(parsed(firstPort)["ports"], nlohmann::json::array({parsed(showPorts)["ports"][0]}));
}

TEST(Show, ALinkThatIsDownHasNoTimeInJson) {
    EXPECT_TRUE(parsed(showPorts)["ports"][3]["upSeconds"].is_null());
}

TEST(Show, AnInstanceThatNeverChangedHasNoTimeInJson) {
    EXPECT_TRUE(parsed(showInstances)["instances"][1]["sinceTopologyChange"].is_null());
}

TEST(Show, TheStateInJsonIsTheHardwaresAlsoWhenTheLinkIsDown) {
    EXPECT_EQ(parsed(showPorts)["ports"][3]["instances"][0]["state"], "discarding");
}

TEST(Show, AFreshDaemonIsToldHowToGoOn) {
    const std::string shown = text(showAll, false, Snapshot());

    EXPECT_THAT(shown, HasSubstr("none; \"mstp instance add 0\" creates the common tree"));
    EXPECT_THAT(shown, HasSubstr("none; \"mstp port add IFACE\" makes an interface a port"));
}

TEST(Show, AFreshDaemonsListsAreEmptyInJson) {
    EXPECT_EQ(parsed(showAll, Snapshot())["instances"], nlohmann::json::array());
    EXPECT_EQ(parsed(showAll, Snapshot())["ports"], nlohmann::json::array());
}

TEST(Show, APortIsShownAlsoWithoutAnInstance) {
    Snapshot snapshot = sampleSnapshot();
    snapshot.instances.clear();
    snapshot.instancePorts.clear();

    EXPECT_THAT(text(showAll, false, snapshot), HasSubstr("\nPorts\n  port\n  eth1\n"));
}

TEST(Show, AnInstanceThatTheVersionDoesNotRunSaysSo) {
    Snapshot snapshot = sampleSnapshot();
    snapshot.instances[1] = InstanceView();
    snapshot.instances[1].id = 1;
    snapshot.instances[1].running = false;

    EXPECT_THAT(text(showInstances, true, snapshot), HasSubstr("1  not run by this version"));
    EXPECT_TRUE(parsed(showInstances, snapshot)["instances"][1]["root"].is_null());
}

TEST(Show, ARegionsNameCannotSteerTheTerminal) {
    Snapshot snapshot = sampleSnapshot();
    snapshot.region.name = "a\x1b[2Jb\xC3\xA4\xFF";

    EXPECT_THAT(text(showRegion, true, snapshot), HasSubstr("\"a\\x1b[2Jb\xC3\xA4\\xff\""));
}

TEST(Show, ARegionsNameOfAnyBytesIsValidJson) {
    Snapshot snapshot = sampleSnapshot();
    snapshot.region.name = "a\x1b\xFF\"";

    EXPECT_EQ(parsed(showRegion, snapshot)["region"]["name"], "a\x1b\xEF\xBF\xBD\"");
}

TEST(Show, ForwardingIsGreenWaitingYellowHeldRed) {
    const std::string shown = text(showPorts, true, sampleSnapshot(), true);

    EXPECT_THAT(shown, HasSubstr("root        \x1b[32mforwarding\x1b[0m"));
    EXPECT_THAT(shown, HasSubstr("alternate   \x1b[33mdiscarding\x1b[0m"));
    EXPECT_THAT(shown, HasSubstr("designated  \x1b[31mdiscarding\x1b[0m"));
    EXPECT_THAT(shown, HasSubstr("disabled    down"));
}

TEST(Show, ColoursLeaveTheColumnsWhereTheyAre) {
    std::string shown = text(showAll, true, sampleSnapshot(), true);
    for (size_t at = 0; (at = shown.find('\x1b', at)) != std::string::npos;) {
        shown.erase(at, shown.find('m', at) - at + 1);
    }

    EXPECT_EQ(shown, text(showAll, true));
}

TEST(Show, WithoutColourNothingIsEscaped) {
    EXPECT_THAT(text(showAll, true), Not(HasSubstr("\x1b")));
}
