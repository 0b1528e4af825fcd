// The MST region: the configuration digest and the fast VLAN map.

#include <cstdio>

#include "platform/digest.h"
#include "test_objects.h"

namespace {

using objects::setVlans;
using objects::vlansOf;
using objects::xstIdsOf;
using testing::ElementsAre;
using testing::IsEmpty;

std::string digestOf(tMstpBridge* bridge) {
    mstpBridgeDigest(bridge);
    std::string text;
    for (const uint8_t byte : bridge->cfgIdDigest) {
        char digits[3];
        snprintf(digits, sizeof digits, "%02X", byte);
        text += digits;
    }
    return text;
}

constexpr char NO_VLAN_MAPPED[] = "AC36177F50283CD4B83821D8AB26DE62";

// ---- Digest

TEST(ConfigurationDigest, OfAnAllZeroTableWhenOnlyTheCistExists) {
    TestBridge bridge;

    EXPECT_EQ(digestOf(bridge.bridge), NO_VLAN_MAPPED);
}

TEST(ConfigurationDigest, OfAnAllZeroTableWithoutAnyInstance) {
    TestBridge bridge({.withCist = false});

    EXPECT_EQ(digestOf(bridge.bridge), NO_VLAN_MAPPED);
}

TEST(ConfigurationDigest, OfEveryVlanInInstanceOne) {
    TestBridge bridge;
    tMstpXst* xst = bridge.addInstance(1);
    for (uint32_t vlan = 1; vlan <= 4094; vlan++) {
        bitListSet(xst->vlanList, vlan - 1);
    }
    xst->vlanLen = 512;

    EXPECT_EQ(digestOf(bridge.bridge), "E13A80F11ED0856ACD4EE3476941C73B");
}

TEST(ConfigurationDigest, OfVlansDealtOverInstancesOneToThirtyTwo) {
    TestBridge bridge({.xstLimit = 33});
    for (uint32_t id = 1; id <= 32; id++) {
        tMstpXst* xst = mstpXstAdd(bridge.bridge, id);
        xst->rowStatus = MSTP_ACTIVE;
        xst->vlanLen = 512;
    }
    for (uint32_t vlan = 1; vlan <= 4094; vlan++) {
        bitListSet(bridge.xst(vlan % 32 + 1)->vlanList, vlan - 1);
    }

    EXPECT_EQ(digestOf(bridge.bridge), "9D145C267DBE9FB5D893441BE3BA08CE");
}

// The table is hashed here by another road: straight from the numbers that it should hold.
std::string digestOfTable(const std::vector<std::pair<uint32_t, uint8_t>>& entries) {
    std::vector<uint8_t> table(8192);
    for (const auto& [vlan, id] : entries) {
        table[vlan * 2 + 1] = id;
    }
    const uint8_t key[16] = {0x13, 0xAC, 0x06, 0xA6, 0x2E, 0x47, 0xFD, 0x51,
                             0xF9, 0x5D, 0x2B, 0xA2, 0x43, 0xCD, 0x03, 0x46};
    uint8_t digest[16];
    hmac_md5(table.data(), static_cast<uint32_t>(table.size()), key, sizeof key, digest);
    std::string text;
    for (const uint8_t byte : digest) {
        char digits[3];
        snprintf(digits, sizeof digits, "%02X", byte);
        text += digits;
    }
    return text;
}

TEST(ConfigurationDigest, TableHoldsTheInstanceOfEachMappedVlanAndZeroElsewhere) {
    TestBridge bridge;
    setVlans(bridge.addInstance(1), {10});
    setVlans(bridge.addInstance(3), {20});

    EXPECT_EQ(digestOf(bridge.bridge), digestOfTable({{10, 1}, {20, 3}}));
}

TEST(ConfigurationDigest, VlanInTwoInstancesCountsForTheLater) {
    TestBridge bridge;
    setVlans(bridge.addInstance(3), {10});
    setVlans(bridge.addInstance(1), {10});

    EXPECT_EQ(digestOf(bridge.bridge), digestOfTable({{10, 3}}));
}

TEST(ConfigurationDigest, BytesBeyondTheListsLengthDoNotCount) {
    TestBridge bridge;
    tMstpXst* xst = bridge.addInstance(1);
    setVlans(xst, {1, 9});
    xst->vlanLen = 1;

    EXPECT_EQ(digestOf(bridge.bridge), digestOfTable({{1, 1}}));
}

TEST(ConfigurationDigest, LastEntryOfTheTableIsVlan4095) {
    TestBridge bridge;
    tMstpXst* xst = bridge.addInstance(1);
    setVlans(xst, {4095});

    EXPECT_EQ(digestOf(bridge.bridge), digestOfTable({{4095, 1}}));
}

TEST(ConfigurationDigest, LastBitOfAListHasNoEntry) {
    TestBridge bridge;
    setVlans(bridge.addInstance(1), {4096});

    EXPECT_EQ(digestOf(bridge.bridge), NO_VLAN_MAPPED);
}

TEST(ConfigurationDigest, DoesNotChangeBeforeItIsAskedFor) {
    TestBridge bridge;
    mstpBridgeDigest(bridge.bridge);
    uint8_t before[16];
    memcpy(before, bridge.bridge->cfgIdDigest, sizeof before);

    setVlans(bridge.addInstance(1), {10});

    EXPECT_EQ(memcmp(before, bridge.bridge->cfgIdDigest, sizeof before), 0);
}

// ---- Fast VLAN map

struct FastMapBridge : TestBridge {
    explicit FastMapBridge(TestBridgeOptions options = {}) : TestBridge(options) {}

    void request(std::initializer_list<uint32_t> xstIds, std::initializer_list<uint32_t> vlans) {
        for (const uint32_t id : xstIds) {
            bitListSet(bridge->fastXsts, id);
        }
        for (const uint32_t vlan : vlans) {
            bitListSet(bridge->fastVlans, vlan - 1);
        }
    }
};

TEST(FastVlanMap, DealsVlansRoundRobinLowestToLowest) {
    FastMapBridge bridge;
    bridge.request({0, 1, 2}, {1, 2, 3, 4, 5, 6});

    mstpBridgeFastMapVlan(bridge.bridge);

    EXPECT_EQ(vlansOf(bridge.xst(0)), "1,4");
    EXPECT_EQ(vlansOf(bridge.xst(1)), "2,5");
    EXPECT_EQ(vlansOf(bridge.xst(2)), "3,6");
}

TEST(FastVlanMap, CountsOnlyTheVlansThatAreSet) {
    FastMapBridge bridge;
    bridge.request({0, 1}, {100, 200, 300});

    mstpBridgeFastMapVlan(bridge.bridge);

    EXPECT_EQ(vlansOf(bridge.xst(0)), "100,300");
    EXPECT_EQ(vlansOf(bridge.xst(1)), "200");
}

TEST(FastVlanMap, GoesByPositionAndNotByInstanceNumber) {
    FastMapBridge bridge;
    bridge.request({2, 5, 7}, {10, 11, 12});

    mstpBridgeFastMapVlan(bridge.bridge);

    EXPECT_EQ(vlansOf(bridge.xst(2)), "10");
    EXPECT_EQ(vlansOf(bridge.xst(5)), "11");
    EXPECT_EQ(vlansOf(bridge.xst(7)), "12");
}

TEST(FastVlanMap, ListWithOnlyReservedVlansDealsNone) {
    FastMapBridge bridge;
    bridge.request({0, 1}, {4095, 4096});

    mstpBridgeFastMapVlan(bridge.bridge);

    EXPECT_EQ(vlansOf(bridge.xst(0)), "");
    EXPECT_EQ(vlansOf(bridge.xst(1)), "");
}

TEST(FastVlanMap, DealsTheLastVlanAndLeavesOutTheReservedOnes) {
    FastMapBridge bridge;
    bridge.request({0}, {4094, 4095, 4096});

    mstpBridgeFastMapVlan(bridge.bridge);

    EXPECT_EQ(vlansOf(bridge.xst(0)), "4094");
}

TEST(FastVlanMap, LengthReachesTheByteOfTheHighestVlan) {
    FastMapBridge bridge;
    bridge.request({0, 1}, {1, 100});

    mstpBridgeFastMapVlan(bridge.bridge);

    EXPECT_EQ(bridge.xst(0)->vlanLen, 1U);
    EXPECT_EQ(bridge.xst(1)->vlanLen, 13U);
}

TEST(FastVlanMap, InstanceWithoutVlanHasLengthZero) {
    FastMapBridge bridge;
    bridge.request({0, 1}, {7});

    mstpBridgeFastMapVlan(bridge.bridge);

    EXPECT_EQ(bridge.xst(1)->vlanLen, 0U);
}

TEST(FastVlanMap, LeavesEveryNewInstanceActive) {
    FastMapBridge bridge;
    bridge.request({0, 1}, {7});

    mstpBridgeFastMapVlan(bridge.bridge);

    EXPECT_EQ(bridge.xst(0)->rowStatus, MSTP_ACTIVE);
    EXPECT_EQ(bridge.xst(1)->rowStatus, MSTP_ACTIVE);
}

TEST(FastVlanMap, ReplacesEveryInstanceThatWasThere) {
    FastMapBridge bridge;
    bridge.addInstance(3);
    bridge.addInstance(4);
    bridge.request({0, 1}, {});

    mstpBridgeFastMapVlan(bridge.bridge);

    EXPECT_THAT(xstIdsOf(bridge.bridge), ElementsAre(0, 1));
    EXPECT_EQ(bridge.xst(3), nullptr);
}

TEST(FastVlanMap, ForgetsTheVlansThatAnInstanceHadBefore) {
    FastMapBridge bridge;
    setVlans(bridge.addInstance(1), {50});
    bridge.request({0, 1}, {1, 2});

    mstpBridgeFastMapVlan(bridge.bridge);

    EXPECT_EQ(vlansOf(bridge.xst(1)), "2");
}

TEST(FastVlanMap, ReleasesTheHardwareGroupsOfTheOldInstances) {
    FastMapBridge bridge;
    const uint32_t cistGroup = bridge.xst(0)->stgId;
    const uint32_t mstiGroup = bridge.addInstance(1)->stgId;
    bridge.request({0}, {});

    mstpBridgeFastMapVlan(bridge.bridge);

    EXPECT_EQ(bridge.sw.count("stgShrProtocolDel stg=" + std::to_string(cistGroup)), 1U);
    EXPECT_EQ(bridge.sw.count("stgShrProtocolDel stg=" + std::to_string(mstiGroup)), 1U);
}

TEST(FastVlanMap, InstanceBeyondTheLimitIsNotCounted) {
    FastMapBridge bridge({.xstLimit = 4});
    bridge.request({0, 1, 4, 63}, {1, 2, 3, 4});

    mstpBridgeFastMapVlan(bridge.bridge);

    EXPECT_THAT(xstIdsOf(bridge.bridge), ElementsAre(0, 1));
    EXPECT_EQ(vlansOf(bridge.xst(0)), "1,3");
    EXPECT_EQ(vlansOf(bridge.xst(1)), "2,4");
}

TEST(FastVlanMap, WithoutInstancesDealsNothing) {
    FastMapBridge bridge;
    bridge.request({}, {1, 2, 3});

    mstpBridgeFastMapVlan(bridge.bridge);

    EXPECT_THAT(xstIdsOf(bridge.bridge), IsEmpty());
}

TEST(FastVlanMap, WithoutInstanceZeroTheBridgeHasNoCist) {
    FastMapBridge bridge;
    bridge.request({1, 2}, {1, 2});

    mstpBridgeFastMapVlan(bridge.bridge);

    EXPECT_EQ(bridge.xst(0), nullptr);
}

TEST(FastVlanMap, HighestInstanceOfTheListIsReached) {
    FastMapBridge bridge({.xstLimit = 64});
    bridge.request({0, 63}, {1, 2});

    mstpBridgeFastMapVlan(bridge.bridge);

    EXPECT_THAT(xstIdsOf(bridge.bridge), ElementsAre(0, 63));
}

TEST(FastVlanMap, MainLoopFinishesItWithTheInstancesRunning) {
    FastMapBridge bridge;
    bridge.request({0, 1}, {1, 2});
    bridge.trace(0);
    bridge.bridge->isFastMapVlan = 1;
    bridge.bridge->event = MSTP_EVENT_FASTMAP_DONE;
    mstpSendMsg(MSTP_MSG_NULL);

    bridge.advance(1);

    EXPECT_EQ(bridge.bridge->inited, 1);
    EXPECT_EQ(bridge.bridge->isFastMapVlan, 0);
    EXPECT_TRUE(bridge.sw.traced("Vlan fastMap finished!"));
    EXPECT_NE(bridge.xst(1)->stgId, 0U);
}

} // namespace
