// VLANs and life of spanning tree instances, as management changes them.

#include "management_values.h"
#include "mstp/enums.h"
#include "mstp_nm.h"
#include "test_bridge.h"

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

namespace {

constexpr uint32_t CIST = 0;
constexpr uint32_t MSTI = 2;
constexpr uint32_t OTHER = 3;
constexpr uint32_t ABSENT = 5;

class XstVlanManagement : public testing::Test {
  protected:
    XstVlanManagement() {
        bridge.addInstance(MSTI);
        bridge.addInstance(OTHER);
        bridge.sw.forget();
        gMstp.debug = MSTP_DEBUG_ACTIVITY;
    }

    int32_t add(uint32_t xstId, Octets list) {
        return mstpXstSetApi(xstId, MSTP_XST_VLANLIST, list.value());
    }
    int32_t remove(uint32_t xstId, Octets list) {
        return mstpXstSetApi(xstId, MSTP_XST_VLANLISTDEL, list.value());
    }
    int32_t setRow(uint32_t xstId, uint32_t value) {
        return mstpXstSetApi(xstId, MSTP_XST_ROWSTATUS, &value);
    }

    bool did(const std::string& what) const { return bridge.sw.traced(what); }

    std::string vlans(uint32_t xstId) {
        const tMstpXst* xst = bridge.xst(xstId);
        return sim::vlanText(xst->vlanList, xst->vlanLen);
    }
    std::string group(uint32_t xstId) {
        return sim::vlanText(bridge.sw.groups[bridge.xst(xstId)->stgId].vlans.data(), 512);
    }
    std::vector<uint8_t> digest() { return bytesOf(bridge.bridge->cfgIdDigest); }

    TestBridge bridge;
};

// ---- adding

TEST_F(XstVlanManagement, AddedVlansMoveFromTheCistInListsAndGroups) {
    EXPECT_EQ(add(MSTI, Octets::vlans({10, 11, 12})), 0);
    EXPECT_EQ(vlans(MSTI), "10-12");
    EXPECT_EQ(vlans(CIST), "1-9,13-4094");
    EXPECT_EQ(group(MSTI), "10-12");
    EXPECT_EQ(group(CIST), "1-9,13-4094");
}

TEST_F(XstVlanManagement, GroupsChangeInTheOrderCistThenInstance) {
    add(MSTI, Octets::vlans({10}, 2));
    EXPECT_THAT(bridge.sw.calls,
                ElementsAre("kelHwMstpXstSync xst=2 attribute=0x6dcc00f value=0040 flag=0x80000003",
                            "stgShrProtocolVlanDel stg=1 vlans=10 length=2",
                            "stgShrProtocolVlanAdd stg=2 vlans=10 length=2"));
}

TEST_F(XstVlanManagement, AddingRecomputesTheDigestAndResetsTheInstance) {
    const std::vector<uint8_t> before = digest();
    add(MSTI, Octets::vlans({10}));
    EXPECT_NE(digest(), before);
    EXPECT_TRUE(did("msti 2 reset"));
    EXPECT_FALSE(did("msti 0 reset"));
}

TEST_F(XstVlanManagement, AddingKeepsTheVlansThatTheInstanceHas) {
    add(MSTI, Octets::vlans({10}));
    EXPECT_EQ(add(MSTI, Octets::vlans({10, 20})), 0);
    EXPECT_EQ(vlans(MSTI), "10,20");
}

TEST_F(XstVlanManagement, VlanHeldByAnotherMstiIsRefused) {
    add(OTHER, Octets::vlans({20}));
    EXPECT_EQ(add(MSTI, Octets::vlans({20})), -1);
    EXPECT_EQ(vlans(OTHER), "20");
    EXPECT_EQ(vlans(MSTI), "");
}

TEST_F(XstVlanManagement, RefusalForAVlanHeldElsewhereResetsNothing) {
    add(OTHER, Octets::vlans({20}));
    bridge.sw.forget();
    add(MSTI, Octets::vlans({20}));
    EXPECT_FALSE(did("msti 2 reset"));
    EXPECT_EQ(bridge.sw.calls.size(), 1U); // the offer
}

TEST_F(XstVlanManagement, VlansBeforeTheOneHeldElsewhereStayTakenFromTheCist) {
    add(OTHER, Octets::vlans({20}));
    const std::vector<uint8_t> before = digest();
    EXPECT_EQ(add(MSTI, Octets::vlans({10, 20, 30})), -1);
    EXPECT_EQ(vlans(CIST), "1-9,11-19,21-4094");
    EXPECT_EQ(vlans(MSTI), "");
    EXPECT_EQ(digest(), before);
}

TEST_F(XstVlanManagement, VlanHeldByAnInstanceOutOfServiceIsRefusedToo) {
    add(OTHER, Octets::vlans({20}));
    bridge.xst(OTHER)->rowStatus = MSTP_NOTINSERVICE;
    EXPECT_EQ(add(MSTI, Octets::vlans({20})), -1);
}

TEST_F(XstVlanManagement, VlanThatTheSwitchLacksIsListedButNotPutIntoGroups) {
    bridge.sw.missingVlans.insert(11);
    add(MSTI, Octets::vlans({10, 11}));
    EXPECT_EQ(vlans(MSTI), "10-11");
    EXPECT_EQ(group(MSTI), "10");
    EXPECT_EQ(vlans(CIST), "1-9,12-4094");
}

TEST_F(XstVlanManagement, VlanBitsBeyond4094AreKeptInTheListOnly) {
    EXPECT_EQ(add(MSTI, Octets::vlans({4095, 4096})), 0);
    EXPECT_EQ(vlans(MSTI), "4095-4096");
    EXPECT_EQ(group(MSTI), "");
}

TEST_F(XstVlanManagement, LengthOfTheCistsListFollowsWhatIsTaken) {
    std::vector<uint8_t> upper(512, 0xFF);
    upper[0] = 0;
    EXPECT_EQ(add(MSTI, Octets(upper)), 0);
    EXPECT_EQ(bridge.xst(CIST)->vlanLen, 1U);
    EXPECT_EQ(vlans(CIST), "1-8");
}

TEST_F(XstVlanManagement, InstanceWithoutAGroupIsGivenItsVlansAllTheSame) {
    bridge.xst(MSTI)->stgId = 0;
    EXPECT_EQ(add(MSTI, Octets::vlans({10}, 2)), 0);
    EXPECT_EQ(vlans(MSTI), "10");
    EXPECT_EQ(bridge.sw.count("stgShrProtocolVlanDel stg=1 vlans=10 length=2"), 1U);
    EXPECT_EQ(bridge.sw.calls.size(), 2U);
}

TEST_F(XstVlanManagement, VlansLeaveACistWithoutAGroupInItsListOnly) {
    bridge.xst(CIST)->stgId = 0;
    EXPECT_EQ(add(MSTI, Octets::vlans({10}, 2)), 0);
    EXPECT_EQ(vlans(CIST), "1-9,11-4094");
    EXPECT_EQ(bridge.sw.count("stgShrProtocolVlanAdd stg=2 vlans=10 length=2"), 1U);
    EXPECT_EQ(bridge.sw.calls.size(), 2U); // the offer and that
}

TEST_F(XstVlanManagement, VlansAddedToTheCistStayThereInListAndGroup) {
    EXPECT_EQ(add(CIST, Octets::vlans({10}, 2)), 0);
    EXPECT_THAT(bridge.sw.calls,
                ElementsAre("kelHwMstpXstSync xst=0 attribute=0x6dcc00f value=0040 flag=0x80000003",
                            "stgShrProtocolVlanDel stg=1 vlans=10 length=2",
                            "stgShrProtocolVlanAdd stg=1 vlans=10 length=2"));
    EXPECT_EQ(vlans(CIST), "1-4094");
    EXPECT_EQ(group(CIST), "1-4094");
    EXPECT_TRUE(did("msti 0 reset"));
}

TEST_F(XstVlanManagement, VlanOfAnMstiCannotBeAddedToTheCist) {
    add(MSTI, Octets::vlans({10}));
    EXPECT_EQ(add(CIST, Octets::vlans({10})), -1);
    EXPECT_EQ(vlans(MSTI), "10");
}

/// A bridge with one MSTI and no CIST.
class XstVlansWithoutCist : public testing::Test {
  protected:
    XstVlansWithoutCist() {
        bridge.addInstance(MSTI);
        bridge.sw.forget();
    }
    TestBridge bridge{TestBridgeOptions{.withCist = false}};
};

TEST_F(XstVlansWithoutCist, AreAddedToTheInstanceAlone) {
    EXPECT_EQ(mstpXstSetApi(MSTI, MSTP_XST_VLANLIST, Octets::vlans({10}, 2).value()), 0);
    EXPECT_EQ(bitListTst(bridge.xst(MSTI)->vlanList, 9), true);
    EXPECT_THAT(bridge.sw.calls,
                ElementsAre("kelHwMstpXstSync xst=2 attribute=0x6dcc00f value=0040 flag=0x80000003",
                            "stgShrProtocolVlanAdd stg=1 vlans=10 length=2"));
}

TEST_F(XstVlansWithoutCist, AreRemovedFromTheInstanceAlone) {
    mstpXstSetApi(MSTI, MSTP_XST_VLANLIST, Octets::vlans({10, 11}, 2).value());
    bridge.sw.forget();
    EXPECT_EQ(mstpXstSetApi(MSTI, MSTP_XST_VLANLISTDEL, Octets::vlans({10}, 2).value()), 0);
    EXPECT_EQ(sim::vlanText(bridge.xst(MSTI)->vlanList, 512), "11");
    EXPECT_THAT(bridge.sw.calls,
                ElementsAre("kelHwMstpXstSync xst=2 attribute=0x6dcc010 value=0040 flag=0x80000003",
                            "stgShrProtocolVlanDel stg=1 vlans=10 length=2"));
}

TEST_F(XstVlanManagement, AddingThroughTheSyncEntryMovesTheVlansToo) {
    Octets list = Octets::vlans({10});
    EXPECT_EQ(mstpXstSyncApi(MSTI, MSTP_XST_VLANLIST, list.value()), 0);
    EXPECT_EQ(vlans(MSTI), "10");
    EXPECT_EQ(vlans(CIST), "1-9,11-4094");
    EXPECT_TRUE(did("msti 2 reset"));
}

TEST_F(XstVlanManagement, AddingIsOfferedThenRefusedBelowMstp) {
    bridge.bridge->forceVersion = MSTP_FORCE_DOT1W;
    EXPECT_EQ(add(CIST, Octets::vlans({10}, 2)), -1);
    EXPECT_EQ(bridge.sw.calls.size(), 1U);
    EXPECT_FALSE(did("msti 0 reset"));
}

TEST_F(XstVlanManagement, PlatformRefusalOfAddingIsPassedBackAndResetsTheInstance) {
    bridge.sw.results["kelHwMstpXstSync"] = 55;
    EXPECT_EQ(add(MSTI, Octets::vlans({10})), 55);
    EXPECT_TRUE(did("msti 2 reset"));
    EXPECT_EQ(vlans(MSTI), "");
    EXPECT_EQ(vlans(CIST), "1-4094");
}

TEST_F(XstVlanManagement, ListLongerThan512BytesIsRefusedUnoffered) {
    EXPECT_EQ(add(MSTI, Octets::room(513)), -1);
    EXPECT_EQ(remove(MSTI, Octets::room(513)), -1);
    EXPECT_THAT(bridge.sw.calls, IsEmpty());
    EXPECT_FALSE(did("msti 2 reset"));
}

TEST_F(XstVlanManagement, ListIsReadWithItsUsedLength) {
    add(MSTI, Octets::vlans({100}));
    Octets octets = Octets::room(512);
    EXPECT_EQ(mstpXstGetApi(MSTI, MSTP_XST_VLANLIST, octets.value()), 0);
    EXPECT_EQ(octets.length(), 13U);
    EXPECT_EQ(octets.bytes()[12], 0x10);
}

// ---- removing

TEST_F(XstVlanManagement, RemovedVlansReturnToTheCist) {
    add(MSTI, Octets::vlans({10, 11, 12}));
    EXPECT_EQ(remove(MSTI, Octets::vlans({11})), 0);
    EXPECT_EQ(vlans(MSTI), "10,12");
    EXPECT_EQ(vlans(CIST), "1-9,11,13-4094");
    EXPECT_EQ(group(MSTI), "10,12");
}

TEST_F(XstVlanManagement, RemovingRecomputesTheDigestAndResetsTheInstance) {
    add(MSTI, Octets::vlans({10}));
    const std::vector<uint8_t> before = digest();
    bridge.sw.forget();
    remove(MSTI, Octets::vlans({10}));
    EXPECT_NE(digest(), before);
    EXPECT_TRUE(did("msti 2 reset"));
}

TEST_F(XstVlanManagement, VlansThatTheInstanceLacksAreClearedFromTheCallersList) {
    add(MSTI, Octets::vlans({10}));
    Octets list = Octets::vlans({9, 10, 11}, 2);
    EXPECT_EQ(mstpXstSetApi(MSTI, MSTP_XST_VLANLISTDEL, list.value()), 0);
    EXPECT_THAT(list.bytes(), ElementsAreArray(Octets::vlans({10}, 2).bytes()));
}

TEST_F(XstVlanManagement, VlansOfOtherMstisAreNotTakenByARemoval) {
    add(MSTI, Octets::vlans({10}));
    add(OTHER, Octets::vlans({20}));
    remove(MSTI, Octets::vlans({10, 20}));
    EXPECT_EQ(vlans(OTHER), "20");
    EXPECT_EQ(vlans(CIST), "1-19,21-4094");
}

TEST_F(XstVlanManagement, CistsGroupTakesEveryVlanOfTheRangeAndTheInstancesGivesUpItsOwn) {
    bridge.sw.missingVlans.insert(3);
    add(MSTI, Octets::vlans({10, 11}));
    bridge.sw.forget();
    remove(MSTI, Octets::vlans({9, 10}, 2));
    EXPECT_THAT(bridge.sw.calls,
                ElementsAre("kelHwMstpXstSync xst=2 attribute=0x6dcc010 value=00c0 flag=0x80000003",
                            "stgShrProtocolVlanAdd stg=1 vlans=1-2,4-16 length=2",
                            "stgShrProtocolVlanDel stg=2 vlans=10 length=2"));
}

TEST_F(XstVlanManagement, PlatformRefusalOfRemovingIsPassedBackAndResetsTheInstance) {
    add(MSTI, Octets::vlans({10}));
    bridge.sw.forget();
    bridge.sw.results["kelHwMstpXstSync"] = 56;
    EXPECT_EQ(remove(MSTI, Octets::vlans({10})), 56);
    EXPECT_TRUE(did("msti 2 reset"));
    EXPECT_EQ(vlans(MSTI), "10");
}

TEST_F(XstVlanManagement, RefusedRemovalLeavesTheCallersListWhole) {
    add(MSTI, Octets::vlans({10}));
    bridge.sw.results["kelHwMstpXstSync"] = 56;
    Octets list = Octets::vlans({9, 10, 11}, 2);
    mstpXstSetApi(MSTI, MSTP_XST_VLANLISTDEL, list.value());
    EXPECT_THAT(list.bytes(), ElementsAreArray(Octets::vlans({9, 10, 11}, 2).bytes()));
}

TEST_F(XstVlanManagement, RemovingThroughTheSyncEntryReturnsTheVlansToo) {
    add(MSTI, Octets::vlans({10, 11}));
    Octets list = Octets::vlans({10});
    EXPECT_EQ(mstpXstSyncApi(MSTI, MSTP_XST_VLANLISTDEL, list.value()), 0);
    EXPECT_EQ(vlans(MSTI), "11");
    EXPECT_EQ(vlans(CIST), "1-10,12-4094");
}

TEST_F(XstVlanManagement, VlansOfAnInstanceWithoutAGroupReturnToTheCistsGroup) {
    add(MSTI, Octets::vlans({10}, 2));
    bridge.xst(MSTI)->stgId = 0;
    bridge.sw.forget();
    EXPECT_EQ(remove(MSTI, Octets::vlans({10}, 2)), 0);
    EXPECT_THAT(bridge.sw.calls,
                ElementsAre("kelHwMstpXstSync xst=2 attribute=0x6dcc010 value=0040 flag=0x80000003",
                            "stgShrProtocolVlanAdd stg=1 vlans=1-16 length=2"));
    EXPECT_EQ(vlans(CIST), "1-4094");
}

// The list keeps them, for what leaves an instance comes to the CIST; the group gives them up last.
TEST_F(XstVlanManagement, VlansRemovedFromTheCistStayInItsListAndLeaveItsGroup) {
    EXPECT_EQ(remove(CIST, Octets::vlans({10}, 2)), 0);
    EXPECT_THAT(bridge.sw.calls,
                ElementsAre("kelHwMstpXstSync xst=0 attribute=0x6dcc010 value=0040 flag=0x80000003",
                            "stgShrProtocolVlanAdd stg=1 vlans=1-16 length=2",
                            "stgShrProtocolVlanDel stg=1 vlans=10 length=2"));
    EXPECT_EQ(vlans(CIST), "1-4094");
    EXPECT_TRUE(did("msti 0 reset"));
}

TEST_F(XstVlanManagement, PlatformRefusalResetsNoInstanceThatIsNotActive) {
    bridge.xst(MSTI)->rowStatus = MSTP_NOTINSERVICE;
    bridge.sw.results["kelHwMstpXstSync"] = 58;
    EXPECT_EQ(add(MSTI, Octets::vlans({10})), 58);
    EXPECT_EQ(remove(MSTI, Octets::vlans({10})), 58);
    EXPECT_EQ(setRow(MSTI, MSTP_ACTIVE), 58);
    EXPECT_EQ(bridge.xst(MSTI)->rowStatus, MSTP_NOTINSERVICE);
    EXPECT_FALSE(did("msti 2 reset"));
}

// ---- life

TEST_F(XstVlanManagement, CreatedInstanceIsActiveAndHasThePortsAndAGroup) {
    bridge.addUpPort(4);
    for (const uint32_t how : {MSTP_CREATEANDGO, MSTP_CREATEANDWAIT}) {
        const uint32_t xstId = ABSENT + (how - MSTP_CREATEANDGO);
        EXPECT_EQ(setRow(xstId, how), 0);
        ASSERT_NE(bridge.xst(xstId), nullptr);
        EXPECT_EQ(bridge.xst(xstId)->rowStatus, MSTP_ACTIVE);
        EXPECT_NE(bridge.xst(xstId)->stgId, 0U);
        EXPECT_NE(bridge.xstPort(xstId, 4), nullptr);
    }
}

TEST_F(XstVlanManagement, CreatingIsOfferedFirst) {
    bridge.sw.results["kelHwMstpXstSync"] = 8;
    EXPECT_EQ(setRow(ABSENT, MSTP_CREATEANDGO), 8);
    EXPECT_EQ(bridge.xst(ABSENT), nullptr);
    EXPECT_THAT(bridge.sw.calls,
                ElementsAre("kelHwMstpXstSync xst=5 attribute=0x6dcc011 value=4 flag=0x3"));
}

TEST_F(XstVlanManagement, CreatingBeyondTheLimitIsOfferedThenRefused) {
    EXPECT_EQ(setRow(8, MSTP_CREATEANDGO), -1);
    EXPECT_EQ(setRow(256, MSTP_CREATEANDGO), -1);
    EXPECT_THAT(bridge.sw.calls,
                ElementsAre("kelHwMstpXstSync xst=8 attribute=0x6dcc011 value=4 flag=0x3",
                            "kelHwMstpXstSync xst=256 attribute=0x6dcc011 value=4 flag=0x3"));
}

TEST_F(XstVlanManagement, CreatingThroughTheSyncEntryMakesTheInstanceToo) {
    uint32_t value = MSTP_CREATEANDGO;
    EXPECT_EQ(mstpXstSyncApi(ABSENT, MSTP_XST_ROWSTATUS, &value), 0);
    ASSERT_NE(bridge.xst(ABSENT), nullptr);
    EXPECT_EQ(bridge.xst(ABSENT)->rowStatus, MSTP_ACTIVE);
}

TEST_F(XstVlanManagement, DestroyingThroughTheSyncEntryRemovesTheInstanceToo) {
    uint32_t value = MSTP_DESTORY;
    EXPECT_EQ(mstpXstSyncApi(MSTI, MSTP_XST_ROWSTATUS, &value), 0);
    EXPECT_EQ(bridge.xst(MSTI), nullptr);
}

TEST_F(XstVlanManagement, LifeBeginsWithoutAReset) {
    setRow(ABSENT, MSTP_CREATEANDGO);
    bridge.xst(MSTI)->rowStatus = MSTP_NOTINSERVICE;
    setRow(MSTI, MSTP_ACTIVE);
    EXPECT_TRUE(did("msti 5 init"));
    EXPECT_TRUE(did("msti 2 init"));
    EXPECT_FALSE(did("msti 5 reset"));
    EXPECT_FALSE(did("msti 2 reset"));
}

TEST_F(XstVlanManagement, CreatingAnMstiIsRefusedUnofferedBelowMstp) {
    bridge.bridge->forceVersion = MSTP_FORCE_DOT1W;
    EXPECT_EQ(setRow(ABSENT, MSTP_CREATEANDGO), -1);
    EXPECT_THAT(bridge.sw.calls, IsEmpty());
}

TEST_F(XstVlanManagement, CreatingAnActiveInstanceInitialisesItAgainWithoutLinkingAPortTwice) {
    bridge.addUpPort(4);
    bridge.sw.forget();
    EXPECT_EQ(setRow(MSTI, MSTP_CREATEANDGO), 0);
    EXPECT_TRUE(did("msti 2 init"));
    uint32_t members = 0;
    for ([[maybe_unused]] tMstpXstPort* each : xstPortsOf(bridge.xst(MSTI))) {
        members++;
    }
    EXPECT_EQ(members, 1U);
}

TEST_F(XstVlanManagement, ActivatingAnInstanceOutOfServiceInitialisesIt) {
    bridge.xst(MSTI)->rowStatus = MSTP_NOTINSERVICE;
    EXPECT_EQ(setRow(MSTI, MSTP_ACTIVE), 0);
    EXPECT_EQ(bridge.xst(MSTI)->rowStatus, MSTP_ACTIVE);
    EXPECT_TRUE(did("msti 2 init"));
}

TEST_F(XstVlanManagement, ActivatingAnActiveInstanceDoesNothing) {
    EXPECT_EQ(setRow(MSTI, MSTP_ACTIVE), 0);
    EXPECT_FALSE(did("msti 2 init"));
    EXPECT_FALSE(did("msti 2 reset"));
}

TEST_F(XstVlanManagement, ActivatingOrDestroyingAnAbsentInstanceIsRefused) {
    EXPECT_EQ(setRow(ABSENT, MSTP_ACTIVE), -1);
    EXPECT_EQ(setRow(ABSENT, MSTP_DESTORY), -1);
    EXPECT_EQ(bridge.sw.calls.size(), 2U); // both were offered
}

TEST_F(XstVlanManagement, DestroyedInstanceGivesItsVlansBackAndLeavesTheDigest) {
    const std::vector<uint8_t> empty = [this] {
        mstpBridgeDigest(bridge.bridge);
        return digest();
    }();
    add(MSTI, Octets::vlans({10}));
    EXPECT_EQ(setRow(MSTI, MSTP_DESTORY), 0);
    EXPECT_EQ(bridge.xst(MSTI), nullptr);
    EXPECT_EQ(vlans(CIST), "1-4094");
    EXPECT_EQ(digest(), empty);
}

TEST_F(XstVlanManagement, DestroyingReleasesPortsAndGroup) {
    bridge.addUpPort(4);
    setRow(MSTI, MSTP_DESTORY);
    EXPECT_EQ(bridge.port(4)->xstPorts[MSTI].state, MSTP_SLOT_FREE);
    EXPECT_EQ(bridge.sw.groups.count(2), 0U);
}

TEST_F(XstVlanManagement, DestroyingTheLastInstanceTakesThePorts) {
    bridge.addUpPort(4);
    for (const uint32_t xstId : {MSTI, OTHER, CIST}) {
        EXPECT_EQ(setRow(xstId, MSTP_DESTORY), 0);
    }
    EXPECT_EQ(bridge.bridge->portCount, 0);
}

TEST_F(XstVlanManagement, OtherRowStatesAreAcceptedAndIgnored) {
    for (const uint32_t value : {0U, 2U, 3U, 7U, 0xFFFFFFFFU}) {
        EXPECT_EQ(setRow(MSTI, value), 0);
        EXPECT_EQ(setRow(ABSENT, value), 0);
    }
    EXPECT_EQ(bridge.xst(MSTI)->rowStatus, MSTP_ACTIVE);
    EXPECT_EQ(bridge.xst(ABSENT), nullptr);
    EXPECT_FALSE(did("msti 2 reset"));
}

TEST_F(XstVlanManagement, PlatformRefusalOfARowStateIsPassedBackAndResetsTheInstance) {
    bridge.sw.results["kelHwMstpXstSync"] = 57;
    EXPECT_EQ(setRow(MSTI, MSTP_DESTORY), 57);
    EXPECT_NE(bridge.xst(MSTI), nullptr);
    EXPECT_TRUE(did("msti 2 reset"));
}

} // namespace
