// Walks over the management tables, and notifications.

#include "management_values.h"
#include "mstp/enums.h"
#include "mstp_io.h"
#include "mstp_nm.h"
#include "test_bridge.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using Key = std::pair<uint32_t, uint32_t>;

// ---- ports

class PortWalk : public testing::Test {
  protected:
    PortWalk() {
        for (const uint32_t unit : {12U, 3U, 7U}) {
            bridge.addUpPort(unit);
        }
    }

    /// The port after @p unit; 0 at the end.
    static uint32_t after(uint32_t unit) {
        uint32_t next = 0;
        return mstpPortGetNext(&unit, &next) == 0 ? next : 0;
    }

    TestBridge bridge;
};

TEST_F(PortWalk, BeginsWithTheLowestUnit) {
    uint32_t unit = 0;
    EXPECT_EQ(mstpPortGetFirst(&unit), 0);
    EXPECT_EQ(unit, 3U);
}

TEST_F(PortWalk, GoesFrom7To12AndEndsThere) {
    EXPECT_EQ(after(7), 12U);
    EXPECT_EQ(after(12), 0U);
}

TEST_F(PortWalk, GoesFrom5WhichIsNoPortTo7) {
    EXPECT_EQ(after(5), 7U);
}

TEST_F(PortWalk, LeavesTheAnswerAloneAtTheEnd) {
    uint32_t unit = 0xFFFFFFFF;
    uint32_t next = 77;
    EXPECT_EQ(mstpPortGetNext(&unit, &next), -1);
    EXPECT_EQ(next, 77U);
}

TEST_F(PortWalk, SkipsPortsWhoseStateIsFree) {
    bridge.port(3)->state = MSTP_SLOT_FREE;
    uint32_t unit = 0;
    mstpPortGetFirst(&unit);
    EXPECT_EQ(unit, 7U);
}

TEST_F(PortWalk, SkipsPortsWhoseStateIsFreeOnItsWay) {
    bridge.port(7)->state = MSTP_SLOT_FREE;
    EXPECT_EQ(after(3), 12U);
}

TEST_F(PortWalk, IncludesDisabledPorts) {
    mstpBridgePortDisable(bridge.port(7));
    EXPECT_EQ(after(3), 7U);
}

TEST(Walks, OfABridgeWithoutPortsEndAtOnce) {
    TestBridge bridge;
    uint32_t unit = 0;
    tMstpXstPortIndex index = {};
    EXPECT_EQ(mstpPortGetFirst(&unit), -1);
    EXPECT_EQ(mstpPortGetNext(&unit, &unit), -1);
    EXPECT_EQ(mstpXstPortGetFirst(&index), -1);
    EXPECT_EQ(mstpXstPortGetNext(&index, &index), -1);
}

TEST(Walks, WithoutBridge1AreRefused) {
    TestBridge bridge;
    bridge.addUpPort(3);
    mstpBridgeDelete(bridge.bridge);
    uint32_t key = 0;
    tMstpXstPortIndex index = {};
    EXPECT_EQ(mstpPortGetFirst(&key), -1);
    EXPECT_EQ(mstpPortGetNext(&key, &key), -1);
    EXPECT_EQ(mstpXstGetFirst(&key), -1);
    EXPECT_EQ(mstpXstGetNext(&key, &key), -1);
    EXPECT_EQ(mstpXstPortGetFirst(&index), -1);
    EXPECT_EQ(mstpXstPortGetNext(&index, &index), -1);
}

// ---- instances

class XstWalk : public testing::Test {
  protected:
    XstWalk() {
        bridge.addInstance(5);
        bridge.addInstance(2);
    }

    /// The instance after @p xstId; 99 at the end.
    static uint32_t after(uint32_t xstId) {
        uint32_t next = 0;
        return mstpXstGetNext(&xstId, &next) == 0 ? next : 99;
    }

    TestBridge bridge;
};

TEST_F(XstWalk, BeginsWithTheLowestNumber) {
    uint32_t xstId = 99;
    EXPECT_EQ(mstpXstGetFirst(&xstId), 0);
    EXPECT_EQ(xstId, 0U);
}

TEST_F(XstWalk, GoesFrom2To5AndEndsThere) {
    EXPECT_EQ(after(2), 5U);
    EXPECT_EQ(after(5), 99U);
}

TEST_F(XstWalk, GoesFromNumbersThatAreNotInUse) {
    EXPECT_EQ(after(1), 2U);
    EXPECT_EQ(after(3), 5U);
    EXPECT_EQ(after(0xFFFFFFFF), 99U);
}

TEST_F(XstWalk, IncludesInstancesOutOfService) {
    bridge.xst(2)->rowStatus = MSTP_NOTINSERVICE;
    EXPECT_EQ(after(0), 2U);
}

TEST_F(XstWalk, SkipsFreeSlotsAtItsBeginning) {
    mstpXstDisable(bridge.xst(0));
    mstpXstDelete(bridge.xst(0));
    uint32_t xstId = 99;
    EXPECT_EQ(mstpXstGetFirst(&xstId), 0);
    EXPECT_EQ(xstId, 2U);
}

TEST_F(XstWalk, SkipsFreeSlotsOnItsWay) {
    mstpXstDisable(bridge.xst(2));
    mstpXstDelete(bridge.xst(2));
    EXPECT_EQ(after(0), 5U);
}

// ---- instance ports

class XstPortWalk : public testing::Test {
  protected:
    XstPortWalk() {
        bridge.addInstance(2);
        bridge.addInstance(5);
        bridge.addUpPort(7);
        bridge.addUpPort(3);
    }

    static Key after(uint32_t xstId, uint32_t unit) {
        tMstpXstPortIndex index = {xstId, unit};
        tMstpXstPortIndex next = {};
        return mstpXstPortGetNext(&index, &next) == 0 ? Key(next.xstId, next.unit) : Key(99, 99);
    }

    TestBridge bridge;
};

TEST_F(XstPortWalk, BeginsWithTheLowestUnitOfTheLowestInstance) {
    tMstpXstPortIndex index = {99, 99};
    EXPECT_EQ(mstpXstPortGetFirst(&index), 0);
    EXPECT_EQ(Key(index.xstId, index.unit), Key(0, 3));
}

TEST_F(XstPortWalk, StaysInTheInstanceWhileItHasAHigherUnit) {
    EXPECT_EQ(after(2, 3), Key(2, 7));
    EXPECT_EQ(after(2, 0), Key(2, 3));
}

TEST_F(XstPortWalk, GoesFromTheLastUnitOfTheCistToTheFirstPortOfTheNextInstance) {
    EXPECT_EQ(after(0, 7), Key(2, 3));
}

TEST_F(XstPortWalk, EndsAfterTheLastUnitOfTheLastInstance) {
    EXPECT_EQ(after(5, 7), Key(99, 99));
    EXPECT_EQ(after(0xFFFFFFFF, 0), Key(99, 99));
}

TEST_F(XstPortWalk, GoesFromAnInstanceThatIsNotInUseToTheNext) {
    EXPECT_EQ(after(3, 7), Key(5, 3));
}

TEST_F(XstPortWalk, MayAnswerInPlace) {
    tMstpXstPortIndex index = {0, 3};
    EXPECT_EQ(mstpXstPortGetNext(&index, &index), 0);
    EXPECT_EQ(Key(index.xstId, index.unit), Key(0, 7));
}

TEST_F(XstPortWalk, SkipsInstancePortsWhoseStateIsFree) {
    bridge.xstPort(0, 3)->state = MSTP_SLOT_FREE;
    tMstpXstPortIndex index = {};
    mstpXstPortGetFirst(&index);
    EXPECT_EQ(Key(index.xstId, index.unit), Key(0, 7));
}

TEST_F(XstPortWalk, SkipsInstancePortsWhoseStateIsFreeOnItsWay) {
    bridge.xstPort(0, 7)->state = MSTP_SLOT_FREE;
    EXPECT_EQ(after(0, 3), Key(2, 3));
}

TEST_F(XstPortWalk, SkipsInstancesWithoutPortsOnItsWay) {
    mstpXstDisable(bridge.xst(2));
    bridge.xst(2)->rowStatus = MSTP_NOTINSERVICE;
    EXPECT_EQ(after(0, 7), Key(5, 3));
}

TEST_F(XstPortWalk, IncludesDisabledInstancePorts) {
    mstpXstPortDisable(bridge.xstPort(0, 3));
    tMstpXstPortIndex index = {};
    mstpXstPortGetFirst(&index);
    EXPECT_EQ(Key(index.xstId, index.unit), Key(0, 3));
}

TEST_F(XstPortWalk, VisitsEveryPairOnce) {
    std::vector<Key> visited;
    tMstpXstPortIndex index = {};
    for (int32_t found = mstpXstPortGetFirst(&index); found == 0;
         found = mstpXstPortGetNext(&index, &index)) {
        visited.emplace_back(index.xstId, index.unit);
    }
    EXPECT_THAT(visited,
                ElementsAre(Key(0, 3), Key(0, 7), Key(2, 3), Key(2, 7), Key(5, 3), Key(5, 7)));
}

// ---- notifications

class Notifications : public testing::Test {
  protected:
    Notifications() {
        bridge.addInstance(2);
        bridge.addUpPort(3);
        bridge.sw.forget();
    }
    TestBridge bridge;
};

TEST_F(Notifications, NewRootCarriesTheInstanceAndItsRootIdentifier) {
    mstpTrapNewRoot(bridge.xst(2));
    EXPECT_THAT(bridge.sw.calls, ElementsAre("sendStpNewRootTrap xst=2 root=8002001122334455"));
}

TEST_F(Notifications, NewRootPortCarriesInstanceAndUnit) {
    mstpTrapNewRootPort(bridge.xstPort(2, 3));
    EXPECT_THAT(bridge.sw.calls, ElementsAre("sendStpNewRootPortTrap xst=2 unit=3"));
}

TEST_F(Notifications, TopologyChangeCarriesTheNewState) {
    bridge.xstPort(2, 3)->hwState = MSTP_PORT_STATE_LEARNING;
    mstpTrapTopologyChange(bridge.xst(2), bridge.xstPort(2, 3));
    EXPECT_THAT(bridge.sw.calls, ElementsAre("sendStpTopoChgTrap xst=2 unit=3 state=2"));
}

// An RST BPDU from a neighbour that is a better root than this bridge.
const uint8_t BETTER_ROOT[] = {0,  0, 2, 2, 0x3C,                         // flags: designated
                               0,  0, 2, 2, 2,    2, 2, 2,                // root
                               0,  0, 0, 0,                               // cost
                               0,  0, 2, 2, 2,    2, 2, 2, 0x80, 1, 0, 0, // designated
                               20, 0, 2, 0, 15,   0, 0};

/// Sends the bridge through the change to another root. @return the notifications on the way
std::vector<std::string> followBetterRoot(bool trap) {
    TestBridge bridge;
    bridge.addUpPort(3);
    uint32_t on = MSTP_TRUE;
    mstpGeneralSetApi(0, MSTP_GEN_TRAP, &on);
    uint32_t value = trap ? MSTP_TRUE : MSTP_FALSE;
    mstpGeneralSetApi(0, MSTP_GEN_TRAP, &value);
    bridge.advance(10);
    bridge.sw.forget();
    EXPECT_EQ(mstpInput(bridge.port(3), BETTER_ROOT, sizeof BETTER_ROOT), 0);
    bridge.advance(100);
    EXPECT_EQ(bridge.xstPort(0, 3)->role, MSTP_PORT_ROLE_ROOT);
    std::vector<std::string> names;
    for (const std::string& call : bridge.sw.calls) {
        if (call.compare(0, 7, "sendStp") == 0) {
            names.push_back(call.substr(0, call.find(' ')));
        }
    }
    return names;
}

TEST(NotificationSwitch, OnLetsAllThreeThrough) {
    EXPECT_THAT(followBetterRoot(true),
                testing::IsSupersetOf(
                    {"sendStpNewRootTrap", "sendStpNewRootPortTrap", "sendStpTopoChgTrap"}));
}

TEST(NotificationSwitch, OffStopsAllThree) {
    EXPECT_THAT(followBetterRoot(false), IsEmpty());
}

} // namespace
