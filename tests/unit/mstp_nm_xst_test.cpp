// Attributes of spanning tree instances.

#include <functional>

#include "management_values.h"
#include "mstp/enums.h"
#include "mstp_nm.h"
#include "test_bridge.h"

using testing::Each;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

namespace {

constexpr uint32_t CIST = 0;
constexpr uint32_t MSTI = 2;
constexpr uint32_t OTHER = 3;
constexpr uint32_t ABSENT = 5;
constexpr uint32_t IDLE = 0;

int32_t set(uint32_t xstId, uint32_t attribute, uint32_t value) {
    return mstpXstSetApi(xstId, attribute, &value);
}

uint32_t get(uint32_t xstId, uint32_t attribute) {
    uint32_t value = 0xDEADBEEF;
    EXPECT_EQ(mstpXstGetApi(xstId, attribute, &value), 0);
    return value;
}

/// A bridge with the CIST and two MSTIs, of which nothing is recorded yet.
class XstManagement : public testing::Test {
  protected:
    XstManagement() {
        bridge.addInstance(MSTI);
        bridge.addInstance(OTHER);
        settle();
    }

    void settle() {
        bridge.sw.forget();
        bridge.bridge->event = IDLE;
        gMstp.debug = MSTP_DEBUG_ACTIVITY;
    }

    bool wasReset(uint32_t xstId) const {
        return bridge.sw.traced("msti " + std::to_string(xstId) + " reset");
    }

    TestBridge bridge;
};

// ---- numbers that can be set

TEST_F(XstManagement, BridgePriorityIsBits15To12OfTheValue) {
    EXPECT_EQ(set(MSTI, MSTP_XST_BRIDGEPRIORITY, 0x3B123), 0);
    EXPECT_EQ(bridge.xst(MSTI)->bridgeId.priority, 0xB);
    EXPECT_EQ(get(MSTI, MSTP_XST_BRIDGEPRIORITY), 0xB000U);
}

TEST_F(XstManagement, BridgePriorityKeepsTheSystemIdExtension) {
    set(MSTI, MSTP_XST_BRIDGEPRIORITY, 4096);
    EXPECT_THAT(bytesOf(bridge.xst(MSTI)->bridgeId),
                ElementsAre(0x10, MSTI, 0x00, 0x11, 0x22, 0x33, 0x44, 0x55));
}

TEST_F(XstManagement, BridgePriorityResetsTheInstance) {
    set(MSTI, MSTP_XST_BRIDGEPRIORITY, 4096);
    EXPECT_TRUE(wasReset(MSTI));
    EXPECT_EQ(bridge.xst(MSTI)->rootPriority.rootId.priority, 1);
    EXPECT_FALSE(wasReset(CIST));
}

TEST_F(XstManagement, RootProtectionIsATruthValueAndResetsTheInstance) {
    EXPECT_EQ(get(MSTI, MSTP_XST_ROOTPROTECTION), MSTP_FALSE);
    EXPECT_EQ(set(MSTI, MSTP_XST_ROOTPROTECTION, MSTP_TRUE), 0);
    EXPECT_EQ(get(MSTI, MSTP_XST_ROOTPROTECTION), MSTP_TRUE);
    EXPECT_TRUE(wasReset(MSTI));
    set(MSTI, MSTP_XST_ROOTPROTECTION, 3);
    EXPECT_EQ(bridge.xst(MSTI)->rootProtection, 0);
}

TEST_F(XstManagement, AnInstanceThatIsNotActiveIsSetWithoutAReset) {
    bridge.xst(MSTI)->rowStatus = MSTP_NOTINSERVICE;
    EXPECT_EQ(set(MSTI, MSTP_XST_BRIDGEPRIORITY, 4096), 0);
    EXPECT_FALSE(wasReset(MSTI));
}

TEST_F(XstManagement, RootProtectionIsSyncedLikeItIsSet) {
    uint32_t value = MSTP_TRUE;
    EXPECT_EQ(mstpXstSyncApi(MSTI, MSTP_XST_ROOTPROTECTION, &value), 0);
    EXPECT_EQ(bridge.xst(MSTI)->rootProtection, 1);
    EXPECT_TRUE(wasReset(MSTI));
}

class XstOffer : public XstManagement, public testing::WithParamInterface<uint32_t> {
  protected:
    uint32_t countOffers(const char* flag) const {
        char text[96];
        snprintf(text, sizeof text, "kelHwMstpXstSync xst=2 attribute=0x%x value=1 flag=%s",
                 0x6dcc000 + GetParam(), flag);
        return bridge.sw.count(text);
    }
    uint32_t value = 1;
};

TEST_P(XstOffer, OfASetCarriesFlag3) {
    mstpXstSetApi(MSTI, GetParam(), &value);
    EXPECT_EQ(countOffers("0x3"), 1U);
}

TEST_P(XstOffer, OfASyncCarriesFlag1) {
    mstpXstSyncApi(MSTI, GetParam(), &value);
    EXPECT_EQ(countOffers("0x1"), 1U);
}

INSTANTIATE_TEST_SUITE_P(Attributes, XstOffer,
                         testing::Values(MSTP_XST_BRIDGEPRIORITY, MSTP_XST_ROWSTATUS,
                                         MSTP_XST_ROOTPROTECTION));

TEST_F(XstManagement, VlanListsAreOfferedAsOctets) {
    Octets list({0x80});
    mstpXstSetApi(MSTI, MSTP_XST_VLANLIST, list.value());
    mstpXstSyncApi(MSTI, MSTP_XST_VLANLISTDEL, list.value());
    EXPECT_EQ(
        bridge.sw.count("kelHwMstpXstSync xst=2 attribute=0x6dcc00f value=80 flag=0x80000003"), 1U);
    EXPECT_EQ(
        bridge.sw.count("kelHwMstpXstSync xst=2 attribute=0x6dcc010 value=80 flag=0x80000001"), 1U);
}

class XstRefusal : public XstManagement, public testing::WithParamInterface<uint32_t> {};

TEST_P(XstRefusal, OfPriorityOrRootProtectionByThePlatformIsPassedBackAndResetsNothing) {
    const std::vector<uint8_t> before = bytesOf(*bridge.xst(MSTI));
    bridge.sw.results["kelHwMstpXstSync"] = 31;
    EXPECT_EQ(set(MSTI, GetParam(), 1), 31);
    EXPECT_EQ(bytesOf(*bridge.xst(MSTI)), before);
    EXPECT_FALSE(wasReset(MSTI));
}

INSTANTIATE_TEST_SUITE_P(Attributes, XstRefusal,
                         testing::Values(MSTP_XST_BRIDGEPRIORITY, MSTP_XST_ROOTPROTECTION));

// ---- attributes that can only be read

struct NumberRow {
    const char* name;
    uint32_t attribute;
    std::function<void(tMstpXst*)> prepare;
    uint32_t expected;
};

const NumberRow NUMBERS[] = {
    {"ExternalRootCost", MSTP_XST_EXTERNALROOTCOST,
     [](auto* x) { x->rootPriority.extRootPathCost = 200000; }, 200000},
    {"InternalRootCost", MSTP_XST_INTERNALROOTCOST,
     [](auto* x) { x->rootPriority.intRootPathCost = 20000; }, 20000},
    {"TimeSinceTopologyChange", MSTP_XST_TIMESINCETOPOLOGYCHANGE,
     [](auto* x) { x->timeSinceTopologyChange = 1234; }, 1234},
    {"TopologyChangesCount", MSTP_XST_TOPOLOGYCHANGESCOUNT,
     [](auto* x) { x->topologyChangesCount = 42; }, 42},
    {"TopologyChangeFlagSet", MSTP_XST_TOPOLOGYCHANGEFLAG, [](auto* x) { x->topologyChange = 1; },
     1},
    {"TopologyChangeFlagClear", MSTP_XST_TOPOLOGYCHANGEFLAG, [](auto* x) { x->topologyChange = 0; },
     0},
    {"RemainingHops", MSTP_XST_REMAININGHOPS, [](auto* x) { x->rootTimes.remainingHops = 13; }, 13},
    {"RowStatusActive", MSTP_XST_ROWSTATUS, [](auto*) {}, MSTP_ACTIVE},
    {"RowStatusOutOfService", MSTP_XST_ROWSTATUS, [](auto* x) { x->rowStatus = MSTP_NOTINSERVICE; },
     MSTP_NOTINSERVICE},
};

class XstNumber : public XstManagement, public testing::WithParamInterface<NumberRow> {};

TEST_P(XstNumber, IsRead) {
    GetParam().prepare(bridge.xst(MSTI));
    EXPECT_EQ(get(MSTI, GetParam().attribute), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(Attributes, XstNumber, testing::ValuesIn(NUMBERS), RowName());

struct OctetsRow {
    const char* name;
    uint32_t attribute;
    std::function<std::vector<uint8_t>(const tMstpXst*)> field;
};

const OctetsRow OCTETS[] = {
    {"BridgeId", MSTP_XST_BRIDGEID, [](auto* x) { return bytesOf(x->bridgeId); }},
    {"DesignatedRoot", MSTP_XST_DESIGNATEDROOT,
     [](auto* x) { return bytesOf(x->rootPriority.rootId); }},
    {"RegionalRoot", MSTP_XST_REGIONALROOT,
     [](auto* x) { return bytesOf(x->rootPriority.rRootId); }},
    {"MasterPort", MSTP_XST_MASTERPORT, [](auto* x) { return bytesOf(x->masterPortId); }},
    {"DesignatedBridge", MSTP_XST_DESIGNATEDBRIDGE,
     [](auto* x) { return bytesOf(x->rootPriority.designatedBridgeId); }},
    {"DesignatedPort", MSTP_XST_DESIGNATEDPORT,
     [](auto* x) { return bytesOf(x->rootPriority.designatedPortId); }},
};

class XstOctets : public XstManagement, public testing::WithParamInterface<OctetsRow> {
  protected:
    // Every byte of the vector another, so that no field can be taken for its neighbour.
    XstOctets() {
        auto* bytes = reinterpret_cast<uint8_t*>(&bridge.xst(MSTI)->rootPriority);
        for (uint8_t i = 0; i < sizeof(tMstpPriorityVector); i++) {
            bytes[i] = static_cast<uint8_t>(0x40 + i);
        }
        bridge.xst(MSTI)->masterPortId.portNumberL = 0x77;
        expected = GetParam().field(bridge.xst(MSTI));
    }
    std::vector<uint8_t> expected;
};

TEST_P(XstOctets, AreRead) {
    Octets octets = Octets::room(16);
    EXPECT_EQ(mstpXstGetApi(MSTI, GetParam().attribute, octets.value()), 0);
    EXPECT_THAT(octets.bytes(), ElementsAreArray(expected));
}

TEST_P(XstOctets, AreReadInRoomThatJustSuffices) {
    Octets octets = Octets::room(static_cast<uint32_t>(expected.size()));
    EXPECT_EQ(mstpXstGetApi(MSTI, GetParam().attribute, octets.value()), 0);
}

INSTANTIATE_TEST_SUITE_P(Attributes, XstOctets, testing::ValuesIn(OCTETS), RowName());

class XstReadOnly : public XstManagement, public testing::WithParamInterface<uint32_t> {};

TEST_P(XstReadOnly, SetIsRefusedUnofferedAndStillResetsTheInstance) {
    Octets octets = Octets::room(8);
    EXPECT_EQ(mstpXstSetApi(MSTI, GetParam(), octets.value()), -1);
    EXPECT_TRUE(wasReset(MSTI));
    EXPECT_THAT(bridge.sw.calls, Each(Not(StartsWith("kelHwMstpXstSync"))));
}

TEST_P(XstReadOnly, SetOnAnInstanceThatIsNotActiveResetsNothing) {
    bridge.xst(MSTI)->rowStatus = MSTP_NOTINSERVICE;
    Octets octets = Octets::room(8);
    EXPECT_EQ(mstpXstSetApi(MSTI, GetParam(), octets.value()), -1);
    EXPECT_FALSE(wasReset(MSTI));
}

INSTANTIATE_TEST_SUITE_P(Numbers, XstReadOnly,
                         testing::Values(0, 1, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 19, 20,
                                         0xFFFFFFFF));

TEST_F(XstManagement, GetOfTheNumberOfTheRemovalAndOfUnknownAttributesIsRefused) {
    Octets octets = Octets::room(512);
    for (const uint32_t attribute : {0U, 1U, 16U, 20U, 0xFFFFFFFFU}) {
        EXPECT_EQ(mstpXstGetApi(MSTI, attribute, octets.value()), -1);
    }
    EXPECT_THAT(octets.buffer(), Each(0xEE));
}

TEST_F(XstManagement, IdentifiersAndVlanListsAreOctets) {
    std::vector<uint32_t> octets;
    for (uint32_t attribute = 0; attribute < 25; attribute++) {
        if (mstpXstIsOctets(attribute)) {
            octets.push_back(attribute);
        }
    }
    EXPECT_THAT(octets, ElementsAre(3, 4, 6, 9, 10, 11, 15, 16));
}

// ---- root port

TEST_F(XstManagement, RootPortIsTheInterfaceIndexOfTheFirstRootPort) {
    bridge.addUpPort(3);
    bridge.addUpPort(6);
    bridge.addUpPort(7);
    bridge.xstPort(MSTI, 6)->role = MSTP_PORT_ROLE_ROOT;
    bridge.xstPort(MSTI, 7)->role = MSTP_PORT_ROLE_ROOT;
    EXPECT_EQ(get(MSTI, MSTP_XST_ROOTPORT), 6U);
}

TEST_F(XstManagement, WithoutARootPortTheValueStaysAsItCame) {
    bridge.addUpPort(3);
    EXPECT_EQ(get(MSTI, MSTP_XST_ROOTPORT), 0xDEADBEEFU);
}

TEST_F(XstManagement, RootPortThatThePlatformCannotTranslateIsRefused) {
    bridge.addUpPort(3);
    bridge.xstPort(MSTI, 3)->role = MSTP_PORT_ROLE_ROOT;
    bridge.sw.results["sysIndexTrans"] = -3;
    uint32_t value = 0;
    EXPECT_EQ(mstpXstGetApi(MSTI, MSTP_XST_ROOTPORT, &value), -1);
}

// ---- keys

TEST_F(XstManagement, UnknownInstanceIsRefusedUnoffered) {
    uint32_t value = 1;
    for (const uint32_t xstId : {ABSENT, 8U, 256U + MSTI, 0xFFFFFFFFU}) {
        EXPECT_EQ(mstpXstGetApi(xstId, MSTP_XST_ROWSTATUS, &value), -1);
        EXPECT_EQ(mstpXstSetApi(xstId, MSTP_XST_BRIDGEPRIORITY, &value), -1);
        EXPECT_EQ(mstpXstSetApi(xstId, MSTP_XST_ID, &value), -1);
    }
    EXPECT_THAT(bridge.sw.calls, IsEmpty());
}

TEST_F(XstManagement, EveryEntryOfAnMstiIsRefusedBelowMstp) {
    bridge.bridge->forceVersion = MSTP_FORCE_DOT1W;
    uint32_t value = 1;
    EXPECT_EQ(mstpXstGetApi(MSTI, MSTP_XST_ROWSTATUS, &value), -1);
    EXPECT_EQ(mstpXstSetApi(MSTI, MSTP_XST_BRIDGEPRIORITY, &value), -1);
    EXPECT_EQ(mstpXstSyncApi(MSTI, MSTP_XST_ROWSTATUS, &value), -1);
    EXPECT_EQ(mstpXstSetApi(MSTI, MSTP_XST_ID, &value), -1);
    EXPECT_THAT(bridge.sw.calls, IsEmpty());
    EXPECT_FALSE(wasReset(MSTI));
}

TEST_F(XstManagement, TheCistIsServedBelowMstp) {
    bridge.bridge->forceVersion = MSTP_FORCE_DOT1W;
    EXPECT_EQ(set(CIST, MSTP_XST_BRIDGEPRIORITY, 4096), 0);
    EXPECT_EQ(get(CIST, MSTP_XST_BRIDGEPRIORITY), 4096U);
}

TEST_F(XstManagement, WithoutBridge1EveryEntryIsRefused) {
    mstpBridgeDelete(bridge.bridge);
    bridge.sw.forget();
    uint32_t value = MSTP_CREATEANDGO;
    EXPECT_EQ(mstpXstGetApi(CIST, MSTP_XST_ROWSTATUS, &value), -1);
    EXPECT_EQ(mstpXstSetApi(CIST, MSTP_XST_ROWSTATUS, &value), -1);
    EXPECT_EQ(mstpXstSyncApi(CIST, MSTP_XST_ROWSTATUS, &value), -1);
    EXPECT_THAT(bridge.sw.calls, IsEmpty());
}

TEST_F(XstManagement, SetWithoutAValueIsRefusedUnoffered) {
    for (const uint32_t attribute : {2U, 15U, 16U, 17U, 18U}) {
        EXPECT_EQ(mstpXstSetApi(MSTI, attribute, nullptr), -1);
    }
    EXPECT_EQ(mstpXstGetApi(MSTI, MSTP_XST_ROWSTATUS, nullptr), -1);
    EXPECT_THAT(bridge.sw.calls, IsEmpty());
}

} // namespace
