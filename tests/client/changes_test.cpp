// What watch finds between two looks, and how it tells it.

#include "changes.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <nlohmann/json.hpp>

#include "mstp/enums.h"
#include "sample_snapshot.h"

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

static const TimePoint WHEN = TimePoint(std::chrono::milliseconds(1700000000123));

static std::vector<std::string> texts(const Snapshot& before, const Snapshot& now) {
    std::vector<std::string> texts;
    for (const Change& change : changesBetween(before, now)) {
        const std::string text = changeText(change, WHEN, true);
        EXPECT_EQ(text.substr(0, 16), "1700000000.123  ");
        texts.push_back(text.substr(16));
    }
    return texts;
}

static nlohmann::json onlyJson(const Snapshot& before, const Snapshot& now) {
    const std::vector<Change> changes = changesBetween(before, now);
    EXPECT_EQ(changes.size(), 1U);
    const std::string text = changeJson(changes.at(0), WHEN);
    EXPECT_EQ(text.find('\n'), std::string::npos);
    return nlohmann::json::parse(text);
}

TEST(Changes, ThereAreNoneBetweenTwoEqualLooks) {
    EXPECT_THAT(texts(sampleSnapshot(), sampleSnapshot()), IsEmpty());
}

TEST(Changes, TheFirstLookTellsEverything) {
    const auto told = texts(Snapshot(), sampleSnapshot());

    EXPECT_EQ(told.size(), 4U + 2U + 8U);
    EXPECT_THAT(told, Contains("eth1  link up"));
    EXPECT_THAT(told, Contains("eth4  link down"));
    EXPECT_THAT(told, Contains("instance 0  root 4096.0200-0000-0009"));
    EXPECT_THAT(told, Contains("instance 1  root this bridge"));
    EXPECT_THAT(told, Contains("eth2  instance 0  alternate discarding"));
}

TEST(Changes, ARoleComesWithTheOneBefore) {
    Snapshot now = sampleSnapshot();
    now.instancePorts[1].role = MSTP_PORT_ROLE_ROOT;
    now.instancePorts[1].state = MSTP_PORT_STATE_FORWARDING;

    EXPECT_THAT(texts(sampleSnapshot(), now),
                ElementsAre("eth2  instance 0  root forwarding  (was alternate discarding)"));
    const nlohmann::json json = onlyJson(sampleSnapshot(), now);
    EXPECT_EQ(json, nlohmann::json::parse(
                        R"({"time": 1700000000.123, "event": "role", "port": "eth2", "instance": 0,
        "role": "root", "state": "forwarding", "oldRole": "alternate", "oldState": "discarding"})"));
}

TEST(Changes, ALinkThatGoesDownIsToldOfItsPort) {
    Snapshot now = sampleSnapshot();
    now.ports[0].upTime = 0;

    EXPECT_THAT(texts(sampleSnapshot(), now), ElementsAre("eth1  link down"));
    EXPECT_EQ(onlyJson(sampleSnapshot(), now),
              nlohmann::json::parse(
                  R"({"time": 1700000000.123, "event": "link", "port": "eth1", "linkUp": false})"));
}

TEST(Changes, ANewRootComesWithTheOneBefore) {
    Snapshot now = sampleSnapshot();
    now.instances[0].designatedRoot = now.instances[0].bridgeId;

    EXPECT_THAT(texts(sampleSnapshot(), now),
                ElementsAre("instance 0  root this bridge  (was 4096.0200-0000-0009)"));
    EXPECT_EQ(onlyJson(sampleSnapshot(), now),
              nlohmann::json::parse(
                  R"({"time": 1700000000.123, "event": "root", "instance": 0, "isRoot": true,
                      "root": "32768.0200-0000-0001", "oldRoot": "4096.0200-0000-0009"})"));
}

TEST(Changes, ATopologyChangeIsToldWithItsNumber) {
    Snapshot now = sampleSnapshot();
    now.instances[1].topologyChanges = 2;

    EXPECT_THAT(texts(sampleSnapshot(), now), ElementsAre("instance 1  topology change, number 2"));
    EXPECT_EQ(onlyJson(sampleSnapshot(), now),
              nlohmann::json::parse(R"({"time": 1700000000.123, "event": "topology-change",
                                        "instance": 1, "topologyChanges": 2})"));
}

TEST(Changes, ACountOfTopologyChangesThatFellIsNone) {
    Snapshot now = sampleSnapshot();
    now.instances[0].topologyChanges = 0;

    EXPECT_THAT(texts(sampleSnapshot(), now), IsEmpty());
}

TEST(Changes, APortThatLeavesTheBridgeIsGoneEverywhere) {
    Snapshot now = sampleSnapshot();
    now.ports.erase(now.ports.begin() + 1);
    now.instancePorts.erase(now.instancePorts.begin() + 5);
    now.instancePorts.erase(now.instancePorts.begin() + 1);

    EXPECT_THAT(texts(sampleSnapshot(), now),
                ElementsAre("eth2  gone", "eth2  instance 0  gone", "eth2  instance 1  gone"));
}

TEST(Changes, AnInstanceThatIsRemovedIsGone) {
    Snapshot now = sampleSnapshot();
    now.instances.pop_back();
    now.instancePorts.resize(4);

    EXPECT_THAT(texts(sampleSnapshot(), now), Contains("instance 1  gone"));
}

TEST(Changes, TheTimeOfDayIsLocalWithMilliseconds) {
    setenv("TZ", "UTC", 1);
    tzset();
    Change change;
    change.kind = ChangeKind::DaemonGone;

    EXPECT_EQ(changeText(change, WHEN, false), "22:13:20.123  daemon gone");
}

TEST(Changes, ADaemonThatIsBackHasNoPortAndNoInstance) {
    Change change;
    change.kind = ChangeKind::DaemonBack;

    EXPECT_EQ(changeJson(change, WHEN), R"({"time":1700000000.123,"event":"daemon-back"})");
}
