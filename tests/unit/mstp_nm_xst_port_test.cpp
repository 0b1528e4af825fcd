// Attributes of instance ports.

#include <functional>

#include "management_values.h"
#include "mstp/enums.h"
#include "mstp_nm.h"
#include "mstp_port_timers_state_machine.h"
#include "test_bridge.h"

using testing::Each;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

namespace {

constexpr uint32_t MSTI = 2;
constexpr uint32_t UNIT = 5;

void arm(tTimerNode* timer) {
    mstpRestartTimer(
        timer, 1000, [](void*, void*, void*) {}, nullptr);
}

/// A bridge with the CIST, one MSTI and one port, of which nothing is recorded yet.
class XstPortManagement : public testing::Test {
  protected:
    XstPortManagement() {
        bridge.addInstance(MSTI);
        bridge.addUpPort(UNIT);
        xstPort = bridge.xstPort(MSTI, UNIT);
        bridge.sw.forget();
        gMstp.debug = MSTP_DEBUG_ACTIVITY;
    }

    int32_t set(uint32_t attribute, uint32_t value) {
        return mstpXstPortSetApi(&index, attribute, &value);
    }

    uint32_t get(uint32_t attribute) {
        uint32_t value = 0xDEADBEEF;
        EXPECT_EQ(mstpXstPortGetApi(&index, attribute, &value), 0);
        return value;
    }

    bool restarted() const { return bridge.sw.traced("msti 2 port port5 init"); }

    TestBridge bridge;
    tMstpXstPort* xstPort;
    tMstpXstPortIndex index = {MSTI, UNIT};
};

// ---- attributes that can be set

TEST_F(XstPortManagement, PriorityIsBits7To4OfTheValue) {
    EXPECT_EQ(set(MSTP_XSTPORT_PRIORITY, 0x1C7), 0);
    EXPECT_EQ(xstPort->portId.priority, 0xC);
    EXPECT_EQ(get(MSTP_XSTPORT_PRIORITY), 0xC0U);
}

TEST_F(XstPortManagement, PriorityReachesTheVectorOfTheRestartedPort) {
    set(MSTP_XSTPORT_PRIORITY, 32);
    EXPECT_THAT(bytesOf(xstPort->portPriority.designatedPortId), ElementsAre(0x20, UNIT));
}

TEST_F(XstPortManagement, AdminPathCostIsTheCostUntilItIsZero) {
    EXPECT_EQ(set(MSTP_XSTPORT_ADMINPATHCOST, 777), 0);
    EXPECT_EQ(xstPort->pathCost, 777U);
    EXPECT_EQ(get(MSTP_XSTPORT_ADMINPATHCOST), 777U);
    EXPECT_EQ(set(MSTP_XSTPORT_ADMINPATHCOST, 0), 0);
    EXPECT_EQ(xstPort->pathCost, xstPort->operPathCost);
}

TEST_F(XstPortManagement, ASetSelectsRolesAnew) {
    for (const uint32_t attribute : {MSTP_XSTPORT_PRIORITY, MSTP_XSTPORT_ADMINPATHCOST}) {
        bridge.bridge->event = 0;
        set(attribute, 64);
        EXPECT_NE(bridge.bridge->event & MSTP_EVENT_FSM, 0U);
    }
}

class XstPortSettable : public XstPortManagement, public testing::WithParamInterface<uint32_t> {
  protected:
    static std::string offer(const char* flag) {
        char text[96];
        snprintf(text, sizeof text,
                 "kelHwMstpXstPortSync xst=2 unit=5 attribute=0x%x value=48 flag=%s",
                 0x8d08000 + GetParam(), flag);
        return text;
    }

    int32_t sync(uint32_t value) { return mstpXstPortSyncApi(&index, GetParam(), &value); }
};

TEST_P(XstPortSettable, SetIsOfferedFirstWithFlag3) {
    set(GetParam(), 48);
    EXPECT_EQ(bridge.sw.calls.at(0), offer("0x3"));
}

TEST_P(XstPortSettable, SyncIsOfferedFirstWithFlag1) {
    sync(48);
    EXPECT_EQ(bridge.sw.calls.at(0), offer("0x1"));
}

TEST_P(XstPortSettable, SyncIsStoredLikeASet) {
    EXPECT_EQ(sync(48), 0);
    EXPECT_EQ(get(GetParam()), 48U);
    EXPECT_TRUE(restarted());
}

TEST_P(XstPortSettable, PlatformRefusalIsPassedBackAndTheValueStays) {
    bridge.sw.results["kelHwMstpXstPortSync"] = 23;
    const uint32_t before = get(GetParam());
    EXPECT_EQ(set(GetParam(), 48), 23);
    EXPECT_EQ(get(GetParam()), before);
}

TEST_P(XstPortSettable, PlatformRefusalRestartsTheInstancePortAllTheSame) {
    bridge.sw.results["kelHwMstpXstPortSync"] = 23;
    set(GetParam(), 48);
    EXPECT_TRUE(restarted());
}

TEST_P(XstPortSettable, SetRestartsTheInstancePort) {
    set(GetParam(), 48);
    EXPECT_TRUE(restarted());
}

TEST_P(XstPortSettable, SetWithoutAValueIsRefusedUnofferedAndRestarts) {
    EXPECT_EQ(mstpXstPortSetApi(&index, GetParam(), nullptr), -1);
    EXPECT_THAT(bridge.sw.calls, Each(Not(StartsWith("kelHwMstpXstPortSync"))));
    EXPECT_TRUE(restarted());
}

INSTANTIATE_TEST_SUITE_P(Attributes, XstPortSettable,
                         testing::Values(MSTP_XSTPORT_PRIORITY, MSTP_XSTPORT_ADMINPATHCOST));

// ---- attributes that can only be read

class XstPortReadOnly : public XstPortManagement, public testing::WithParamInterface<uint32_t> {};

TEST_P(XstPortReadOnly, SetIsRefusedUnofferedAndStillRestartsTheInstancePort) {
    Octets octets = Octets::room(8);
    EXPECT_EQ(mstpXstPortSetApi(&index, GetParam(), octets.value()), -1);
    EXPECT_THAT(bridge.sw.calls, Each(Not(StartsWith("kelHwMstpXstPortSync"))));
    EXPECT_TRUE(restarted());
}

TEST_P(XstPortReadOnly, SyncIsRefusedUnofferedAndStillRestartsTheInstancePort) {
    Octets octets = Octets::room(8);
    EXPECT_EQ(mstpXstPortSyncApi(&index, GetParam(), octets.value()), -1);
    EXPECT_THAT(bridge.sw.calls, Each(Not(StartsWith("kelHwMstpXstPortSync"))));
    EXPECT_TRUE(restarted());
}

INSTANTIATE_TEST_SUITE_P(Numbers, XstPortReadOnly,
                         testing::Values(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 13, 14, 15, 16,
                                         0xFFFFFFFF));

struct NumberRow {
    const char* name;
    uint32_t attribute;
    std::function<void(tMstpXstPort*)> prepare;
    uint32_t expected;
};

const NumberRow NUMBERS[] = {
    {"State", MSTP_XSTPORT_STATE, [](auto* xp) { xp->hwState = 3; }, 3},
    {"Role", MSTP_XSTPORT_ROLE, [](auto* xp) { xp->role = MSTP_PORT_ROLE_BACKUP; }, 3},
    {"ExternalRootCost", MSTP_XSTPORT_EXTERNALROOTCOST,
     [](auto* xp) { xp->portPriority.extRootPathCost = 2000; }, 2000},
    {"InternalRootCost", MSTP_XSTPORT_INTERALROOTCOST,
     [](auto* xp) { xp->portPriority.intRootPathCost = 200; }, 200},
    {"OperPathCost", MSTP_XSTPORT_OPERPATHCOST,
     [](auto* xp) {
         xp->host->operPathCost = 111;
         xp->adminPathCost = 222;
         xp->pathCost = 333;
         xp->operPathCost = 444;
     },
     444},
    {"ProtectionNone", MSTP_XSTPORT_PROTECTION, [](auto*) {}, 0},
    {"ProtectionGuard", MSTP_XSTPORT_PROTECTION, [](auto* xp) { arm(&xp->host->bpduGuardTimer); },
     1},
    {"ProtectionRoot", MSTP_XSTPORT_PROTECTION, [](auto* xp) { arm(&xp->rootHoldoffTimer); }, 2},
    {"ProtectionLoop", MSTP_XSTPORT_PROTECTION, [](auto* xp) { arm(&xp->loopHoldTimer); }, 4},
    {"ProtectionTc", MSTP_XSTPORT_PROTECTION, [](auto* xp) { arm(&xp->tcHoldoffTimer); }, 8},
    {"ProtectionAll", MSTP_XSTPORT_PROTECTION,
     [](auto* xp) {
         arm(&xp->host->bpduGuardTimer);
         arm(&xp->rootHoldoffTimer);
         arm(&xp->loopHoldTimer);
         arm(&xp->tcHoldoffTimer);
     },
     15},
    {"FromAnotherRegion", MSTP_XSTPORT_FROMSAMEREGION, [](auto* xp) { xp->host->rcvdInternal = 0; },
     0},
    {"FromSameRegion", MSTP_XSTPORT_FROMSAMEREGION, [](auto* xp) { xp->host->rcvdInternal = 1; },
     1},
};

class XstPortNumber : public XstPortManagement, public testing::WithParamInterface<NumberRow> {};

TEST_P(XstPortNumber, IsRead) {
    GetParam().prepare(xstPort);
    EXPECT_EQ(get(GetParam().attribute), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(Attributes, XstPortNumber, testing::ValuesIn(NUMBERS), RowName());

struct OctetsRow {
    const char* name;
    uint32_t attribute;
    std::function<std::vector<uint8_t>(const tMstpPriorityVector&)> field;
};

const OctetsRow OCTETS[] = {
    {"DesignatedRoot", MSTP_XSTPORT_DESIGNATEDROOT, [](auto& v) { return bytesOf(v.rootId); }},
    {"RegionalRoot", MSTP_XSTPORT_REGIONALROOT, [](auto& v) { return bytesOf(v.rRootId); }},
    {"DesignatedBridge", MSTP_XSTPORT_DESIGNATEDBRIDGE,
     [](auto& v) { return bytesOf(v.designatedBridgeId); }},
    {"DesignatedPort", MSTP_XSTPORT_DESIGNATEDPORT,
     [](auto& v) { return bytesOf(v.designatedPortId); }},
};

class XstPortOctets : public XstPortManagement, public testing::WithParamInterface<OctetsRow> {
  protected:
    // Every byte of the vector another, so that no field can be taken for its neighbour.
    XstPortOctets() {
        auto* bytes = reinterpret_cast<uint8_t*>(&xstPort->portPriority);
        for (uint8_t i = 0; i < sizeof(tMstpPriorityVector); i++) {
            bytes[i] = static_cast<uint8_t>(0x40 + i);
        }
        expected = GetParam().field(xstPort->portPriority);
    }
    std::vector<uint8_t> expected;
};

TEST_P(XstPortOctets, AreRead) {
    Octets octets = Octets::room(16);
    EXPECT_EQ(mstpXstPortGetApi(&index, GetParam().attribute, octets.value()), 0);
    EXPECT_THAT(octets.bytes(), ElementsAreArray(expected));
}

INSTANTIATE_TEST_SUITE_P(Attributes, XstPortOctets, testing::ValuesIn(OCTETS), RowName());

TEST_F(XstPortManagement, GetOfTheKeysAndOfUnknownAttributesIsRefused) {
    uint32_t value = 1;
    for (const uint32_t attribute : {0U, 1U, 2U, 16U, 0xFFFFFFFFU}) {
        EXPECT_EQ(mstpXstPortGetApi(&index, attribute, &value), -1);
    }
    EXPECT_EQ(mstpXstPortGetApi(&index, MSTP_XSTPORT_ROLE, nullptr), -1);
}

TEST_F(XstPortManagement, IdentifiersAreOctets) {
    std::vector<uint32_t> octets;
    for (uint32_t attribute = 0; attribute < 20; attribute++) {
        if (mstpXstPortIsOctets(attribute)) {
            octets.push_back(attribute);
        }
    }
    EXPECT_THAT(octets, ElementsAre(5, 7, 9, 10));
}

// ---- keys

class XstPortKey : public XstPortManagement,
                   public testing::WithParamInterface<tMstpXstPortIndex> {};

TEST_P(XstPortKey, ThatNamesNothingIsRefusedAndDisturbsNothing) {
    tMstpXstPortIndex key = GetParam();
    uint32_t value = 16;
    EXPECT_EQ(mstpXstPortGetApi(&key, MSTP_XSTPORT_PRIORITY, &value), -1);
    EXPECT_EQ(mstpXstPortSetApi(&key, MSTP_XSTPORT_PRIORITY, &value), -1);
    EXPECT_EQ(mstpXstPortSyncApi(&key, MSTP_XSTPORT_XSTID, &value), -1);
    EXPECT_THAT(bridge.sw.calls, IsEmpty());
    EXPECT_THAT(bridge.sw.traces, IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Keys, XstPortKey,
                         testing::Values(tMstpXstPortIndex{3, UNIT}, tMstpXstPortIndex{MSTI, 6},
                                         tMstpXstPortIndex{8, UNIT},
                                         tMstpXstPortIndex{256 + MSTI, UNIT}));

TEST_F(XstPortManagement, MstiIsRefusedBelowMstpAndNotRestarted) {
    bridge.bridge->forceVersion = MSTP_FORCE_DOT1W;
    uint32_t value = 16;
    EXPECT_EQ(mstpXstPortGetApi(&index, MSTP_XSTPORT_PRIORITY, &value), -1);
    EXPECT_EQ(set(MSTP_XSTPORT_PRIORITY, 16), -1);
    EXPECT_THAT(bridge.sw.calls, IsEmpty());
    EXPECT_FALSE(restarted());
}

TEST_F(XstPortManagement, CistIsServedBelowMstp) {
    bridge.bridge->forceVersion = MSTP_FORCE_DOT1W;
    index.xstId = 0;
    EXPECT_EQ(set(MSTP_XSTPORT_PRIORITY, 16), 0);
}

TEST_F(XstPortManagement, WithoutBridge1OrAKeyEveryEntryIsRefused) {
    uint32_t value = 16;
    EXPECT_EQ(mstpXstPortGetApi(nullptr, MSTP_XSTPORT_PRIORITY, &value), -1);
    mstpBridgeDelete(bridge.bridge);
    EXPECT_EQ(mstpXstPortGetApi(&index, MSTP_XSTPORT_PRIORITY, &value), -1);
    EXPECT_EQ(mstpXstPortSetApi(&index, MSTP_XSTPORT_PRIORITY, &value), -1);
}

} // namespace
