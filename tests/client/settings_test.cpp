// The rows of the settings: every attribute of the daemon has a name, values are checked before
// they are sent, and what is read can be set again.

#include "settings.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

#include "mstp/management.h"

using testing::HasSubstr;

namespace {

struct Attributes {
    Object object;
    std::set<uint32_t> readable;
    std::set<uint32_t> settable;
};

std::set<uint32_t> range(uint32_t first, uint32_t last) {
    std::set<uint32_t> numbers;
    for (uint32_t number = first; number <= last; number++) {
        numbers.insert(number);
    }
    return numbers;
}

std::set<uint32_t> without(std::set<uint32_t> numbers, const std::set<uint32_t>& some) {
    for (const uint32_t number : some) {
        numbers.erase(number);
    }
    return numbers;
}

// The region's are bridge attributes too; here they are told apart by their object.
std::set<uint32_t> ofRows(std::set<Object> objects, bool (Setting::*offers)() const) {
    std::set<uint32_t> numbers;
    for (const Setting& setting : settings()) {
        if (objects.count(setting.object) != 0 && (setting.*offers)()) {
            numbers.insert(setting.attribute);
        }
    }
    return numbers;
}

std::string refusalOf(Object object, const std::string& name, const std::string& text) {
    try {
        parseValue(findSetting(object, name, Access::Write), text);
    } catch (const Refused& refused) {
        return refused.what();
    }
    return "";
}

} // namespace

TEST(Settings, EveryReadableAttributeOfTheBridgeHasAName) {
    const std::set<uint32_t> silent = {MSTP_GEN_SYNC, MSTP_GEN_FASTMAPSETVLANS,
                                       MSTP_GEN_FASTMAPSETXSTS, MSTP_GEN_FASTMAPENABLE,
                                       MSTP_GEN_SYNCXSTPORTSTATUS};

    EXPECT_EQ(ofRows({Object::Bridge, Object::Region}, &Setting::readable),
              without(range(MSTP_GEN_BRIDGEMAXAGE, MSTP_GEN_RCVTCFLUSHARP), silent));
}

TEST(Settings, EverySettableAttributeOfTheBridgeHasANameOrACommand) {
    const std::set<uint32_t> readOnly = {
        MSTP_GEN_MAXAGE,          MSTP_GEN_HELLOTIME,        MSTP_GEN_FORWARDDELAY,
        MSTP_GEN_REMAININGHOPS,   MSTP_GEN_CAPABLE,          MSTP_GEN_CFGIDDIGEST,
        MSTP_GEN_MAXMSTNUM,       MSTP_GEN_MAXMSTID,         MSTP_GEN_CURRENTMSTNUM,
        MSTP_GEN_CURRENTMAXMSTID, MSTP_GEN_SYNCXSTPORTSTATUS};
    // The commands mirror and map.
    const std::set<uint32_t> commands = {MSTP_GEN_SYNC, MSTP_GEN_FASTMAPSETVLANS,
                                         MSTP_GEN_FASTMAPSETXSTS, MSTP_GEN_FASTMAPENABLE};

    EXPECT_EQ(
        ofRows({Object::Bridge, Object::Region}, &Setting::settable),
        without(without(range(MSTP_GEN_BRIDGEMAXAGE, MSTP_GEN_RCVTCFLUSHARP), readOnly), commands));
}

TEST(Settings, EveryReadableAttributeOfAPortHasAName) {
    EXPECT_EQ(ofRows({Object::Port}, &Setting::readable),
              without(range(MSTP_PORT_INDEX, MSTP_PORT_BPDUFILTERING),
                      {MSTP_PORT_INDEX, MSTP_PORT_GUARDFORWARD}));
}

TEST(Settings, EverySettableAttributeOfAPortHasAName) {
    EXPECT_EQ(ofRows({Object::Port}, &Setting::settable),
              (std::set<uint32_t>{
                  MSTP_PORT_ADMINMACENABLE, MSTP_PORT_ADMINPATHCOST, MSTP_PORT_ADMINEDGE,
                  MSTP_PORT_ADMINPOINTTOPOINT, MSTP_PORT_ADMINNONSTP, MSTP_PORT_PROTOCOLMIGRATION,
                  MSTP_PORT_GUARDFORWARD, MSTP_PORT_BPDUSNOOPINGENABLE, MSTP_PORT_BPDUFILTERING}));
}

TEST(Settings, EveryReadableAttributeOfAnInstanceHasAName) {
    EXPECT_EQ(
        ofRows({Object::Instance}, &Setting::readable),
        without(range(MSTP_XST_ID, MSTP_XST_REMAININGHOPS), {MSTP_XST_ID, MSTP_XST_VLANLISTDEL}));
}

TEST(Settings, EverySettableAttributeOfAnInstanceHasAName) {
    // VLANs are removed under the name by which they are added.
    EXPECT_EQ(ofRows({Object::Instance}, &Setting::settable),
              (std::set<uint32_t>{MSTP_XST_BRIDGEPRIORITY, MSTP_XST_VLANLIST, MSTP_XST_ROWSTATUS,
                                  MSTP_XST_ROOTPROTECTION}));
}

TEST(Settings, EveryReadableAttributeOfAnInstancePortHasAName) {
    EXPECT_EQ(ofRows({Object::InstancePort}, &Setting::readable),
              range(MSTP_XSTPORT_STATE, MSTP_XSTPORT_FROMSAMEREGION));
}

TEST(Settings, EverySettableAttributeOfAnInstancePortHasAName) {
    EXPECT_EQ(ofRows({Object::InstancePort}, &Setting::settable),
              (std::set<uint32_t>{MSTP_XSTPORT_PRIORITY, MSTP_XSTPORT_ADMINPATHCOST}));
}

TEST(Settings, NoNameStandsForTwoAttributesOfAnObject) {
    std::set<std::pair<Object, std::string>> seen;
    for (const Setting& setting : settings()) {
        EXPECT_TRUE(seen.insert({setting.object, setting.name}).second) << setting.name;
    }
}

TEST(Settings, ThePartsOfAFreshDaemonsValuesCanBeSetAgain) {
    for (const Setting& setting : settings()) {
        if (setting.initial && setting.kind != Kind::Word) {
            const std::string text = formatValue(setting, *setting.initial);
            EXPECT_EQ(parseValue(setting, text), Value(*setting.initial)) << setting.name;
        }
    }
}

// ---- values

TEST(SettingValue, SecondsTravelInHundredths) {
    const Setting& delay = findSetting(Object::Bridge, "forward-delay", Access::Write);

    EXPECT_EQ(parseValue(delay, "21"), Value(2100U));
    EXPECT_EQ(formatValue(delay, 2100U), "21");
}

TEST(SettingValue, OnTravelsAsOneAndOffAsTwo) {
    const Setting& guard = findSetting(Object::Bridge, "bpdu-guard", Access::Write);

    EXPECT_EQ(parseValue(guard, "on"), Value(1U));
    EXPECT_EQ(parseValue(guard, "off"), Value(2U));
}

TEST(SettingValue, ANumberBeyondItsRangeIsRefusedWithTheRange) {
    EXPECT_EQ(refusalOf(Object::Bridge, "max-age", "41"), "max-age takes 6-40 seconds, not \"41\"");
    EXPECT_EQ(refusalOf(Object::Bridge, "max-age", "5"), "max-age takes 6-40 seconds, not \"5\"");
}

TEST(SettingValue, ANumberBetweenTwoStepsIsRefusedWithTheSteps) {
    EXPECT_EQ(refusalOf(Object::InstancePort, "priority", "100"),
              "priority takes 0-240 in steps of 16, not \"100\"");
}

TEST(SettingValue, WhatIsNoNumberIsRefused) {
    for (const char* text : {"", "-1", "4294967296", "1e3", "ten", " 7"}) {
        EXPECT_NE(refusalOf(Object::Bridge, "debug", text), "") << text;
    }
}

TEST(SettingValue, AWordThatIsNoneOfTheChoiceIsRefusedWithTheChoice) {
    EXPECT_THAT(refusalOf(Object::Bridge, "version", "pvst"), HasSubstr("none|stp|rstp|mstp"));
}

TEST(SettingValue, AStateThatOnlyTheDaemonSetsIsRefused) {
    EXPECT_THAT(refusalOf(Object::Instance, "row-status", "not-ready"),
                HasSubstr("active|create|wait|destroy"));
}

TEST(SettingValue, ANameMayHaveThirtyTwoBytesAndNoMore) {
    EXPECT_EQ(refusalOf(Object::Region, "name", std::string(32, 'x')), "");
    EXPECT_THAT(refusalOf(Object::Region, "name", std::string(33, 'x')),
                HasSubstr("up to 32 characters"));
}

TEST(SettingValue, AMacAddressTravelsAsSixBytes) {
    const Setting& mac = findSetting(Object::Bridge, "mac", Access::Write);

    EXPECT_EQ(parseValue(mac, "00:1b:C3:04:05:06"),
              Value(std::vector<uint8_t>{0, 0x1B, 0xC3, 4, 5, 6}));
}

TEST(SettingValue, WhatIsNoMacAddressOfAStationIsRefused) {
    for (const char* text : {"", "00:11:22:33:44", "00:11:22:33:44:55:66", "00-11-22-33-44-55",
                             "0:11:22:33:44:555", "01:80:c2:00:00:00", "00:11:22:33:44:5g"}) {
        EXPECT_THAT(refusalOf(Object::Bridge, "mac", text), HasSubstr("of a station")) << text;
    }
}

TEST(SettingValue, ARefusalOfAReadOnlyNameSaysSo) {
    EXPECT_THAT([] { findSetting(Object::Bridge, "instance-count", Access::Write); },
                testing::ThrowsMessage<Refused>(HasSubstr("instance-count can only be read")));
}
