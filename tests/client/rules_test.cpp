// What the daemon would refuse, known before it is asked. Interfaces are named by their numbers, so
// that none need exist.

#include "rules.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "words.h"

using testing::HasSubstr;

namespace {

class Rules : public testing::Test {
  protected:
    Rules() {
        m_state.highestInstance = 7;
        m_state.times = {20, 2, 15};
    }

    static Command parsed(const std::string& line) { return parseCommand(splitWords(line)); }

    void take(const std::string& line) {
        EXPECT_EQ(refusal(line), "") << line;
        m_state.take(parsed(line));
    }

    std::string refusal(const std::string& line) const { return m_state.refusal(parsed(line)); }

    std::string vlans(uint32_t instance) const { return vlanWord(m_state.vlans.at(instance)); }

    Expected m_state;
};

} // namespace

TEST_F(Rules, AnInstanceThatDoesNotExistIsNamedWithTheCommandThatMakesIt) {
    EXPECT_EQ(refusal("set instance 3 priority 0"), "there is no instance 3 (mstp instance add 3)");
    EXPECT_THAT(refusal("set instance 0 priority 0"), HasSubstr("there is no CIST"));
    EXPECT_THAT(refusal("instance del 3"), HasSubstr("there is no instance 3"));
}

TEST_F(Rules, AnInstanceThatWasAddedCanBeSet) {
    take("instance add 3");
    take("set instance 3 priority 0");
}

TEST_F(Rules, APortThatIsNoneIsNamedWithTheCommandThatMakesIt) {
    EXPECT_EQ(refusal("set port 901 edge on"),
              "\"901\" is no port of the bridge (mstp port add 901)");
    take("instance add 0");
    EXPECT_THAT(refusal("set instance 0 port 901 cost 1"), HasSubstr("is no port"));
    EXPECT_THAT(refusal("mirror 901 0000"), HasSubstr("is no port"));
}

TEST_F(Rules, APortThatWasAddedCanBeSetUntilItIsRemoved) {
    take("port add 901");
    take("set port 901 edge on");
    take("port del 901");
    EXPECT_NE(refusal("set port 901 edge on"), "");
}

TEST_F(Rules, WithItsLastInstanceTheBridgeLosesItsPorts) {
    take("instance add 0");
    take("port add 901");
    take("instance del 0");

    EXPECT_NE(refusal("set port 901 edge on"), "");
}

TEST_F(Rules, AnInstanceBeyondTheDaemonsRoomIsRefusedWithTheRoom) {
    EXPECT_EQ(refusal("instance add 7"), "");
    EXPECT_THAT(refusal("instance add 8"), HasSubstr("room for the instances 0-7"));
    EXPECT_THAT(refusal("map instances 0-8 vlans 1"), HasSubstr("room for the instances 0-7"));
}

TEST_F(Rules, BelowVersionMstpThereIsOnlyTheCist) {
    take("instance add 0");
    take("instance add 1");
    take("set bridge version rstp");

    EXPECT_THAT(refusal("set instance 1 priority 0"), HasSubstr("only version mstp"));
    EXPECT_THAT(refusal("instance add 1"), HasSubstr("only version mstp"));
    EXPECT_THAT(refusal("map instances 0-1 vlans 1"), HasSubstr("only version mstp"));
    EXPECT_EQ(refusal("set instance 0 priority 0"), "");
}

TEST_F(Rules, AVersionBelowMstpEndsTheInstances) {
    take("instance add 1");
    take("set bridge version stp");
    take("set bridge version mstp");

    EXPECT_THAT(refusal("set instance 1 priority 0"), HasSubstr("there is no instance 1"));
}

TEST_F(Rules, MigrationNeedsVersionRstp) {
    take("port add 901");
    take("set port 901 migrate on");
    take("set bridge version stp");

    EXPECT_THAT(refusal("set port 901 migrate on"), HasSubstr("only the versions rstp and mstp"));
}

// ---- VLANs

TEST_F(Rules, AVlanOfAnotherInstanceIsNamedWithTheInstance) {
    take("instance add 1");
    take("instance add 2");
    take("set instance 1 vlans 10-19");

    EXPECT_EQ(refusal("set instance 2 vlans +15-30"),
              "VLAN 15-19 belongs to another instance, 1 (mstp set instance 1 vlans -15-19)");
}

TEST_F(Rules, AVlanThatWasGivenUpCanBeTaken) {
    take("instance add 1");
    take("instance add 2");
    take("set instance 1 vlans 10-19");
    take("set instance 1 vlans -15-19");
    take("set instance 2 vlans +15-19");
}

TEST_F(Rules, TheCistHasTheVlansThatAreFree) {
    take("instance add 0");
    take("instance add 1");
    take("set instance 1 vlans 1-4000");
    EXPECT_EQ(vlans(0), "4001-4094");
    take("set instance 1 vlans 1-10");
    EXPECT_EQ(vlans(0), "11-4094");
    take("instance del 1");
    EXPECT_EQ(vlans(0), "1-4094");
}

TEST_F(Rules, NoVlanCanBeTakenFromTheCistBySetting) {
    take("instance add 0");

    EXPECT_THAT(refusal("set instance 0 vlans -5"), HasSubstr("VLANs leave the CIST"));
    EXPECT_THAT(refusal("set instance 0 vlans 1-10"), HasSubstr("VLANs leave the CIST"));
}

TEST_F(Rules, AMapDealsTheVlansOutInTurn) {
    take("instance add 5");
    take("port add 901");
    take("map instances 1-3 vlans 1-7");

    EXPECT_EQ(vlans(1), "1,4,7");
    EXPECT_EQ(vlans(2), "2,5");
    EXPECT_EQ(vlans(3), "3,6");
    EXPECT_NE(refusal("set instance 5 priority 0"), "");
    EXPECT_NE(refusal("set port 901 edge on"), "");
}

TEST(VlanDifference, AReplacementTakesAndGivesOnlyWhatDiffers) {
    const auto command =
        std::get<VlansCommand>(parseCommand({"set", "instance", "1", "vlans", "15-24"}));

    const VlanDifference difference = vlanDifference(command, *parseVlans("10-19"));

    EXPECT_EQ(vlanWord(difference.remove), "10-14");
    EXPECT_EQ(vlanWord(difference.add), "20-24");
}

TEST(VlanDifference, TheDaemonsShortListIsALongOne) {
    const auto command =
        std::get<VlansCommand>(parseCommand({"set", "instance", "1", "vlans", "4094"}));

    EXPECT_EQ(vlanWord(vlanDifference(command, {0x80}).remove), "1");
}

// ---- times

TEST(BridgeTimes, TheDefaultsKeepTheRules) {
    EXPECT_EQ((BridgeTimes{20, 2, 15}.brokenRule()), "");
}

TEST(BridgeTimes, TheBoundsThemselvesAreAllowed) {
    EXPECT_EQ((BridgeTimes{28, 13, 15}.brokenRule()), "");
}

TEST(BridgeTimes, AMaximumAgeBeyondTheForwardDelayBreaksTheRule) {
    EXPECT_EQ((BridgeTimes{29, 2, 15}.brokenRule()),
              "2 x (forward-delay - 1) must not be less than max-age, but 2 x (15 - 1) is less "
              "than 29");
}

TEST(BridgeTimes, AHelloTimeTooLongForTheMaximumAgeBreaksTheRule) {
    EXPECT_EQ((BridgeTimes{20, 10, 15}.brokenRule()),
              "max-age must not be less than 2 x (hello-time + 1), but 20 is less than 2 x (10 + "
              "1)");
}

TEST(BridgeTimes, NoForwardDelayAtAllBreaksTheRule) {
    EXPECT_NE((BridgeTimes{6, 2, 0}.brokenRule()), "");
}
