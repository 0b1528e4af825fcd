// Spanning tree instances: their life, their VLAN lists.

#include "mstp_port_timers_state_machine.h"
#include "test_objects.h"

namespace {

using objects::armed;
using objects::Bytes;
using objects::bytesOf;
using objects::unitsOf;
using objects::vlansOf;
using objects::xstIdsOf;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

// ---- mstpXstAdd, mstpXstGet

TEST(XstAdd, InstanceZeroIsTheCist) {
    TestBridge bridge({.withCist = false});

    EXPECT_EQ(mstpXstAdd(bridge.bridge, 0)->cist, 1);
    EXPECT_EQ(mstpXstAdd(bridge.bridge, 1)->cist, 0);
}

TEST(XstAdd, TakesTheElementOfItsNumberFromTheBridgesSlice) {
    TestBridge bridge;

    const tMstpXst* xst = mstpXstAdd(bridge.bridge, 5);

    EXPECT_EQ(xst, bridge.bridge->xsts + 5);
    EXPECT_EQ(xst->xstId, 5);
    EXPECT_EQ(xst->bridge, bridge.bridge);
}

TEST(XstAdd, IdentifierHasPriority32768TheInstanceAndTheBridgesAddress) {
    TestBridge bridge;

    EXPECT_EQ(bytesOf(mstpXstAdd(bridge.bridge, 5)->bridgeId),
              (Bytes{0x80, 0x05, 0x00, 0x11, 0x22, 0x33, 0x44, 0x55}));
}

TEST(XstAdd, LeavesTheRowFree) {
    TestBridge bridge;

    EXPECT_EQ(mstpXstAdd(bridge.bridge, 1)->rowStatus, 0);
}

TEST(XstAdd, StartsWithoutVlansAndPorts) {
    TestBridge bridge;

    tMstpXst* xst = mstpXstAdd(bridge.bridge, 1);

    EXPECT_EQ(vlansOf(xst), "");
    EXPECT_EQ(xst->vlanLen, 0U);
    EXPECT_TRUE(listEmpty(&xst->xstPortList));
    EXPECT_EQ(xst->stgId, 0U);
}

TEST(XstAdd, CountsTheInstance) {
    TestBridge bridge;
    mstpXstAdd(bridge.bridge, 1);
    mstpXstAdd(bridge.bridge, 2);

    EXPECT_EQ(bridge.bridge->xstCount, 3);
}

TEST(XstAdd, ListIsAscendingWhateverTheOrderOfAdding) {
    TestBridge bridge({.withCist = false});
    for (const uint32_t id : {4U, 1U, 7U, 0U, 3U}) {
        mstpXstAdd(bridge.bridge, id);
    }

    EXPECT_THAT(xstIdsOf(bridge.bridge), ElementsAre(0, 1, 3, 4, 7));
}

// Deliberately not the highest instance number.
TEST(XstAdd, HighestNumberIsTheThirdByteOfTheBridgesAddress) {
    TestBridge bridge({.withCist = false});

    mstpXstAdd(bridge.bridge, 6);

    EXPECT_EQ(bridge.bridge->xstIdMax, 0x22);
}

TEST(XstAdd, RefusesANumberAtTheLimit) {
    TestBridge bridge({.xstLimit = 4});

    EXPECT_EQ(mstpXstAdd(bridge.bridge, 4), nullptr);
    EXPECT_EQ(bridge.bridge->xstCount, 1);
}

TEST(XstAdd, TakesTheLastNumberBelowTheLimit) {
    TestBridge bridge({.xstLimit = 4});

    EXPECT_NE(mstpXstAdd(bridge.bridge, 3), nullptr);
}

TEST(XstAdd, IsTraced) {
    TestBridge bridge;
    bridge.trace(MSTP_DEBUG_OBJECT);

    mstpXstAdd(bridge.bridge, 3);

    EXPECT_THAT(bridge.sw.traces, ElementsAre("bridge 1 add msti 3"));
}

TEST(XstAdd, RefusalIsTracedLikeAnyOtherAndAddsNoMessage) {
    TestBridge bridge;
    bridge.trace(0xFFFFFFFF);

    mstpXstAdd(bridge.bridge, 200);

    EXPECT_THAT(bridge.sw.traces, ElementsAre("bridge 1 add msti 200"));
}

TEST(XstAdd, InstanceAddedAgainStandsInTheListOnce) {
    TestBridge bridge;
    mstpXstAdd(bridge.bridge, 1);
    mstpXstAdd(bridge.bridge, 2);

    mstpXstAdd(bridge.bridge, 1);

    EXPECT_THAT(xstIdsOf(bridge.bridge), ElementsAre(0, 1, 2));
    EXPECT_EQ(bridge.bridge->xstCount, 3);
}

TEST(XstAdd, InstanceAddedAgainTakesItsPortsInAnew) {
    TestBridge bridge;
    bridge.addUpPort(1);
    bridge.addUpPort(2);

    tMstpXst* again = bridge.addInstance(0);

    EXPECT_THAT(unitsOf(again), ElementsAre(1, 2));
    EXPECT_THAT(xstIdsOf(bridge.port(1)), ElementsAre(0));
}

TEST(XstAdd, InstanceAddedAgainIsOutOfReachOfItsOldPorts) {
    TestBridge bridge;
    tMstpPort* port = bridge.addUpPort(1);
    bridge.addUpPort(2);

    tMstpXst* again = mstpXstAdd(bridge.bridge, 0);
    mstpBridgePortDelete(bridge.bridge, port);

    EXPECT_THAT(unitsOf(again), IsEmpty());
}

TEST(XstGet, FindsAnInstanceByItsNumber) {
    TestBridge bridge;
    tMstpXst* xst = bridge.addInstance(3);

    EXPECT_EQ(mstpXstGet(bridge.bridge, 3), xst);
}

TEST(XstGet, GivesNoneAtTheLimit) {
    TestBridge bridge({.xstLimit = 4});

    EXPECT_EQ(mstpXstGet(bridge.bridge, 4), nullptr);
}

TEST(XstGet, GivesNoneForAFreeSlot) {
    TestBridge bridge;

    EXPECT_EQ(mstpXstGet(bridge.bridge, 3), nullptr);
}

TEST(XstGet, GivesNoneForAnInstanceWhoseRowWasLeftFree) {
    TestBridge bridge;
    mstpXstAdd(bridge.bridge, 3);

    EXPECT_EQ(mstpXstGet(bridge.bridge, 3), nullptr);
}

// ---- mstpXstDelete

TEST(XstDelete, FreesTheSlotAndLeavesTheList) {
    TestBridge bridge;
    tMstpXst* xst = bridge.addInstance(1);
    mstpXstDisable(xst);

    EXPECT_EQ(mstpXstDelete(xst), 0);

    EXPECT_EQ(mstpXstGet(bridge.bridge, 1), nullptr);
    EXPECT_THAT(xstIdsOf(bridge.bridge), ElementsAre(0));
    EXPECT_EQ(bridge.bridge->xstCount, 1);
    EXPECT_EQ(xst->xstId, 0);
    EXPECT_EQ(xst->bridge, nullptr);
}

TEST(XstDelete, RefusesAFreeSlot) {
    TestBridge bridge;
    tMstpXst* xst = mstpXstAdd(bridge.bridge, 1);

    EXPECT_EQ(mstpXstDelete(xst), -1);

    EXPECT_THAT(xstIdsOf(bridge.bridge), ElementsAre(0, 1));
    EXPECT_EQ(bridge.bridge->xstCount, 2);
}

TEST(XstDelete, IsTracedWithTheNumberThatItHad) {
    TestBridge bridge;
    tMstpXst* xst = bridge.addInstance(3);
    mstpXstDisable(xst);
    bridge.trace(MSTP_DEBUG_OBJECT);

    mstpXstDelete(xst);

    EXPECT_THAT(bridge.sw.traces, ElementsAre("bridge 1 del msti 3"));
}

TEST(XstDelete, RefusalIsNotTraced) {
    TestBridge bridge;
    tMstpXst* xst = mstpXstAdd(bridge.bridge, 1);
    bridge.trace(0xFFFFFFFF);

    mstpXstDelete(xst);

    EXPECT_THAT(bridge.sw.traces, IsEmpty());
}

TEST(XstDelete, LastInstanceTakesAllPortsWithIt) {
    TestBridge bridge;
    tMstpPort* first = bridge.addUpPort(1);
    tMstpPort* second = bridge.addDownPort(2);
    mstpXstDisable(bridge.xst(0));

    mstpXstDelete(bridge.xst(0));

    EXPECT_THAT(unitsOf(bridge.bridge), IsEmpty());
    EXPECT_EQ(bridge.bridge->portCount, 0);
    EXPECT_EQ(first->state, MSTP_SLOT_FREE);
    EXPECT_EQ(second->state, MSTP_SLOT_FREE);
    EXPECT_EQ(bridge.bridge->xstIdMax, 0);
}

TEST(XstDelete, LastInstanceDisablesEachPortBeforeDeletingIt) {
    TestBridge bridge;
    bridge.addUpPort(1);
    mstpXstDisable(bridge.xst(0));
    bridge.trace(MSTP_DEBUG_OBJECT | MSTP_DEBUG_ACTIVITY);

    mstpXstDelete(bridge.xst(0));

    EXPECT_THAT(bridge.sw.traces, ElementsAre("bridge 1 del msti 0", "mstp port port1 disable",
                                              "bridge 1 del port port1"));
}

TEST(XstDelete, AnyOtherInstanceLeavesThePortsAlone) {
    TestBridge bridge;
    tMstpXst* xst = bridge.addInstance(1);
    bridge.addUpPort(1);
    mstpXstDisable(xst);
    bridge.bridge->xstIdMax = 0;

    mstpXstDelete(xst);

    EXPECT_THAT(unitsOf(bridge.bridge), ElementsAre(1));
    EXPECT_EQ(bridge.bridge->xstIdMax, 0x22);
}

// ---- mstpXstInit

TEST(XstInit, RefusesAnInstanceWhoseRowWasLeftFree) {
    TestBridge bridge;
    tMstpXst* xst = mstpXstAdd(bridge.bridge, 1);

    EXPECT_EQ(mstpXstInit(xst), -1);

    EXPECT_EQ(xst->stgId, 0U);
    EXPECT_EQ(gMstp.xstCount, 1);
}

TEST(XstInit, RefusesAnInstanceThatIsNotInService) {
    TestBridge bridge;
    tMstpXst* xst = mstpXstAdd(bridge.bridge, 1);
    xst->rowStatus = MSTP_NOTINSERVICE;

    EXPECT_EQ(mstpXstInit(xst), -1);
}

TEST(XstInit, IsTraced) {
    TestBridge bridge;
    tMstpXst* xst = mstpXstAdd(bridge.bridge, 3);
    xst->rowStatus = MSTP_ACTIVE;
    bridge.trace(MSTP_DEBUG_ACTIVITY);

    EXPECT_EQ(mstpXstInit(xst), 0);

    EXPECT_THAT(bridge.sw.traces, ElementsAre("msti 3 init"));
}

TEST(XstInit, TakesTheBridgesPresentAddress) {
    TestBridge bridge;
    tMstpXst* xst = mstpXstAdd(bridge.bridge, 1);
    xst->rowStatus = MSTP_ACTIVE;
    bridge.bridge->bridgeMac[5] = 0x99;

    mstpXstInit(xst);

    EXPECT_EQ(xst->bridgeId.mac[5], 0x99);
}

TEST(XstInit, BridgePriorityIsTheBridgeItselfAtNoCost) {
    TestBridge bridge;
    const tMstpXst* xst = bridge.addInstance(1);

    EXPECT_EQ(bytesOf(xst->bridgePriority.rootId), bytesOf(xst->bridgeId));
    EXPECT_EQ(bytesOf(xst->bridgePriority.rRootId), bytesOf(xst->bridgeId));
    EXPECT_EQ(bytesOf(xst->bridgePriority.designatedBridgeId), bytesOf(xst->bridgeId));
    EXPECT_EQ(xst->bridgePriority.extRootPathCost, 0U);
    EXPECT_EQ(xst->bridgePriority.intRootPathCost, 0U);
    EXPECT_EQ(bytesOf(xst->bridgePriority.designatedPortId), (Bytes{0, 0}));
    EXPECT_EQ(bytesOf(xst->bridgePriority.rcvPortId), (Bytes{0, 0}));
}

TEST(XstInit, BridgeTimesAreThoseOfTheBridge) {
    TestBridge bridge;
    bridge.bridge->bridgeMaxAge = 21;
    bridge.bridge->bridgeForwardDelay = 16;
    bridge.bridge->bridgeHelloTime = 3;
    bridge.bridge->bridgeMaxHops = 19;

    EXPECT_EQ(bytesOf(bridge.addInstance(1)->bridgeTimes), (Bytes{0, 21, 16, 3, 19, 0, 0, 0}));
}

TEST(XstInit, BridgeStartsAsTheRoot) {
    TestBridge bridge;
    tMstpXst* xst = mstpXstAdd(bridge.bridge, 1);
    xst->rowStatus = MSTP_ACTIVE;
    memset(&xst->rootPortId, 0xFF, sizeof xst->rootPortId);
    memset(&xst->masterPortId, 0xFF, sizeof xst->masterPortId);

    mstpXstInit(xst);

    EXPECT_EQ(bytesOf(xst->rootPriority), bytesOf(xst->bridgePriority));
    EXPECT_EQ(bytesOf(xst->rootTimes), bytesOf(xst->bridgeTimes));
    EXPECT_EQ(bytesOf(xst->rootPortId), (Bytes{0, 0}));
    EXPECT_EQ(bytesOf(xst->masterPortId), (Bytes{0, 0}));
}

TEST(XstInit, BindsAHardwareGroup) {
    TestBridge bridge;

    EXPECT_NE(bridge.addInstance(1)->stgId, 0U);
}

TEST(XstInit, TakesInEveryPortOfTheBridge) {
    TestBridge bridge;
    bridge.addUpPort(2);
    bridge.addDownPort(1);

    tMstpXst* xst = bridge.addInstance(1);

    EXPECT_THAT(unitsOf(xst), ElementsAre(1, 2));
}

TEST(XstInit, InitialisesEachPortRightAfterAddingIt) {
    TestBridge bridge;
    bridge.addUpPort(1);
    bridge.addUpPort(2);
    tMstpXst* xst = mstpXstAdd(bridge.bridge, 1);
    xst->rowStatus = MSTP_ACTIVE;
    bridge.trace(MSTP_DEBUG_OBJECT | MSTP_DEBUG_ACTIVITY);

    mstpXstInit(xst);

    std::vector<std::string> steps;
    for (const std::string& line : bridge.sw.traces) {
        if (line.find("add port") != std::string::npos || line.find(" init") != std::string::npos) {
            steps.push_back(line);
        }
    }
    EXPECT_THAT(steps, ElementsAre("msti 1 init", "msti 1 add port port1", "msti 1 port port1 init",
                                   "msti 1 add port port2", "msti 1 port port2 init"));
}

TEST(XstInit, PortThatCannotBeTakenInIsTraced) {
    TestBridge bridge;
    bridge.addUpPort(1);
    tMstpXst* xst = mstpXstAdd(bridge.bridge, 3);
    xst->rowStatus = MSTP_ACTIVE;
    gMstp.xstLimit = 3;
    bridge.trace(MSTP_DEBUG_REFUSAL);

    mstpXstInit(xst);

    EXPECT_THAT(bridge.sw.traces, ElementsAre("msti 3 add port port1 failed"));
    EXPECT_THAT(unitsOf(xst), IsEmpty());
}

TEST(XstInit, ClearsTheTopologyChangeRecord) {
    TestBridge bridge;
    tMstpXst* xst = mstpXstAdd(bridge.bridge, 1);
    xst->rowStatus = MSTP_ACTIVE;
    xst->topologyChange = 1;
    xst->topologyChangesCount = 7;
    xst->timeSinceTopologyChange = 9;

    mstpXstInit(xst);

    EXPECT_EQ(xst->topologyChange, 0);
    EXPECT_EQ(xst->topologyChangesCount, 0U);
    EXPECT_EQ(xst->timeSinceTopologyChange, 0U);
}

TEST(XstInit, CountsAmongTheInitialisedInstances) {
    TestBridge bridge;
    ASSERT_EQ(gMstp.xstCount, 1);

    bridge.addInstance(1);

    EXPECT_EQ(gMstp.xstCount, 2);
}

TEST(XstInit, AsksForAPassOfTheMachines) {
    TestBridge bridge;
    bridge.bridge->event = 0;
    timerStop(&gMstp.timerList, &gMstp.msgTimer);

    bridge.addInstance(1);

    EXPECT_EQ(bridge.bridge->event, uint32_t{MSTP_EVENT_FSM});
    EXPECT_TRUE(armed(gMstp.msgTimer));
}

// ---- mstpXstReset

TEST(XstReset, RefusesAnInstanceThatIsNotActive) {
    TestBridge bridge;
    tMstpXst* xst = bridge.addInstance(1);
    mstpXstDisable(xst);

    EXPECT_EQ(mstpXstReset(xst), -1);
}

TEST(XstReset, IsTracedAndInitialisesThePortsThatItHas) {
    TestBridge bridge;
    bridge.addUpPort(1);
    bridge.trace(MSTP_DEBUG_ACTIVITY);

    EXPECT_EQ(mstpXstReset(bridge.xst(0)), 0);

    EXPECT_EQ(bridge.sw.traces.front(), "msti 0 reset");
    EXPECT_TRUE(bridge.sw.traced("msti 0 port port1 init"));
}

TEST(XstReset, AddsNoPorts) {
    TestBridge bridge;
    bridge.addUpPort(1);
    bridge.addUpPort(2);
    mstpXstPortDelete(bridge.xstPort(0, 2));

    mstpXstReset(bridge.xst(0));

    EXPECT_THAT(unitsOf(bridge.xst(0)), ElementsAre(1));
}

TEST(XstReset, BridgeIsTheRootAgain) {
    TestBridge bridge;
    tMstpXst* xst = bridge.xst(0);
    xst->rootPriority.extRootPathCost = 5;
    xst->rootTimes.messageAge = 3;
    memset(&xst->rootPortId, 0xFF, sizeof xst->rootPortId);
    memset(&xst->masterPortId, 0xFF, sizeof xst->masterPortId);

    mstpXstReset(xst);

    EXPECT_EQ(bytesOf(xst->rootPriority), bytesOf(xst->bridgePriority));
    EXPECT_EQ(bytesOf(xst->rootTimes), bytesOf(xst->bridgeTimes));
    EXPECT_EQ(bytesOf(xst->rootPortId), (Bytes{0, 0}));
    EXPECT_EQ(bytesOf(xst->masterPortId), (Bytes{0, 0}));
}

TEST(XstReset, TakesTheBridgesPresentTimes) {
    TestBridge bridge;
    bridge.bridge->bridgeMaxAge = 33;

    mstpXstReset(bridge.xst(0));

    EXPECT_EQ(bridge.xst(0)->bridgeTimes.maxAge, 33);
}

TEST(XstReset, TakesTheInstancesPresentPriority) {
    TestBridge bridge;
    bridge.xst(0)->bridgeId.priority = 1;

    mstpXstReset(bridge.xst(0));

    EXPECT_EQ(bridge.xst(0)->bridgePriority.rootId.priority, 1);
}

TEST(XstReset, DoesNotRefreshTheAddress) {
    TestBridge bridge;
    bridge.bridge->bridgeMac[5] = 0x99;

    mstpXstReset(bridge.xst(0));

    EXPECT_EQ(bridge.xst(0)->bridgeId.mac[5], 0x55);
}

TEST(XstReset, KeepsTheTopologyChangeRecord) {
    TestBridge bridge;
    tMstpXst* xst = bridge.xst(0);
    xst->topologyChange = 1;
    xst->topologyChangesCount = 7;
    xst->timeSinceTopologyChange = 9;

    mstpXstReset(xst);

    EXPECT_EQ(xst->topologyChange, 1);
    EXPECT_EQ(xst->topologyChangesCount, 7U);
    EXPECT_EQ(xst->timeSinceTopologyChange, 9U);
}

TEST(XstReset, KeepsGroupAndCount) {
    TestBridge bridge;
    const uint32_t group = bridge.xst(0)->stgId;

    mstpXstReset(bridge.xst(0));

    EXPECT_EQ(bridge.xst(0)->stgId, group);
    EXPECT_EQ(gMstp.xstCount, 1);
}

TEST(XstReset, AsksForAPassOfTheMachines) {
    TestBridge bridge;
    bridge.bridge->event = 0;
    timerStop(&gMstp.timerList, &gMstp.msgTimer);

    mstpXstReset(bridge.xst(0));

    EXPECT_EQ(bridge.bridge->event, uint32_t{MSTP_EVENT_FSM});
    EXPECT_TRUE(armed(gMstp.msgTimer));
}

// ---- mstpXstDisable

TEST(XstDisable, RefusesAnInstanceThatIsNotActive) {
    TestBridge bridge;
    mstpXstDisable(bridge.xst(0));

    EXPECT_EQ(mstpXstDisable(bridge.xst(0)), -1);

    EXPECT_EQ(gMstp.xstCount, 0);
}

TEST(XstDisable, RemovesEveryPort) {
    TestBridge bridge;
    bridge.addUpPort(1);
    bridge.addUpPort(2);
    tMstpXst* xst = bridge.xst(0);

    EXPECT_EQ(mstpXstDisable(xst), 0);

    EXPECT_THAT(unitsOf(xst), IsEmpty());
    EXPECT_THAT(xstIdsOf(bridge.port(1)), IsEmpty());
}

TEST(XstDisable, DisablesEachPortBeforeItRemovesIt) {
    TestBridge bridge;
    bridge.addUpPort(1);
    bridge.addUpPort(2);
    bridge.trace(MSTP_DEBUG_OBJECT | MSTP_DEBUG_ACTIVITY);

    mstpXstDisable(bridge.xst(0));

    std::vector<std::string> steps;
    for (const std::string& line : bridge.sw.traces) {
        if (line.find("del port") != std::string::npos ||
            line.find(" disable") == line.size() - strlen(" disable")) {
            steps.push_back(line);
        }
    }
    EXPECT_THAT(steps,
                ElementsAre("msti 0 disable", "msti 0 port port1 disable", "msti 0 del port port1",
                            "msti 0 port port2 disable", "msti 0 del port port2"));
}

TEST(XstDisable, ReleasesTheGroup) {
    TestBridge bridge;
    tMstpXst* xst = bridge.addInstance(1);
    const std::string release = "stgShrProtocolDel stg=" + std::to_string(xst->stgId);

    mstpXstDisable(xst);

    EXPECT_THAT(bridge.sw.calls, Contains(release));
    EXPECT_EQ(xst->stgId, 0U);
}

TEST(XstDisable, TakesTheInstanceOutOfServiceAndCountsItOut) {
    TestBridge bridge;
    tMstpXst* xst = bridge.addInstance(1);

    mstpXstDisable(xst);

    EXPECT_EQ(xst->rowStatus, MSTP_NOTINSERVICE);
    EXPECT_EQ(gMstp.xstCount, 1);
}

TEST(XstDisable, InstanceStaysInItsBridgesList) {
    TestBridge bridge;
    mstpXstDisable(bridge.addInstance(1));

    EXPECT_THAT(xstIdsOf(bridge.bridge), ElementsAre(0, 1));
}

TEST(XstDisable, LeavesThePortsForwarding) {
    TestBridge bridge;
    bridge.addUpPort(1);
    const uint32_t group = bridge.xst(0)->stgId;

    mstpXstDisable(bridge.xst(0));

    const std::string forwarding =
        "stgShrProtocolPortStateSet stg=" + std::to_string(group) + " unit=1 state=5";
    EXPECT_THAT(bridge.sw.calls, Contains(forwarding));
}

// ---- VLAN lists

struct VlanInstance : TestBridge {
    VlanInstance() { xst = mstpXstAdd(bridge, 1); }

    int32_t add(std::initializer_list<uint32_t> vlans, uint32_t len) {
        fill(vlans);
        return mstpXstVlanAdd(xst, list, len);
    }

    int32_t remove(std::initializer_list<uint32_t> vlans, uint32_t len) {
        fill(vlans);
        return mstpXstVlanDelete(xst, list, len);
    }

    tMstpXst* xst;

  private:
    void fill(std::initializer_list<uint32_t> vlans) {
        memset(list, 0, sizeof list);
        for (const uint32_t vlan : vlans) {
            bitListSet(list, vlan - 1);
        }
    }

    uint8_t list[MSTP_VLAN_LIST_SIZE];
};

TEST(XstVlans, AddingTheFirstEightGivesLengthOne) {
    VlanInstance instance;

    EXPECT_EQ(instance.add({1, 2, 3, 4, 5, 6, 7, 8}, 1), 0);

    EXPECT_EQ(vlansOf(instance.xst), "1-8");
    EXPECT_EQ(instance.xst->vlanLen, 1U);
}

TEST(XstVlans, DeletingThemAgainGivesLengthZero) {
    VlanInstance instance;
    instance.add({1, 2, 3, 4, 5, 6, 7, 8}, 1);

    EXPECT_EQ(instance.remove({1, 2, 3, 4, 5, 6, 7, 8}, 1), 0);

    EXPECT_EQ(vlansOf(instance.xst), "");
    EXPECT_EQ(instance.xst->vlanLen, 0U);
}

TEST(XstVlans, AddingOnlyVlan100GivesLengthThirteen) {
    VlanInstance instance;

    instance.add({100}, 512);

    EXPECT_EQ(instance.xst->vlanLen, 13U);
}

TEST(XstVlans, AddingKeepsTheVlansThatAreThere) {
    VlanInstance instance;
    instance.add({100}, 512);

    instance.add({1}, 1);

    EXPECT_EQ(vlansOf(instance.xst), "1,100");
    EXPECT_EQ(instance.xst->vlanLen, 13U);
}

TEST(XstVlans, DeletingKeepsTheVlansThatAreNotGiven) {
    VlanInstance instance;
    instance.add({1, 2, 100}, 512);

    instance.remove({2}, 1);

    EXPECT_EQ(vlansOf(instance.xst), "1,100");
}

TEST(XstVlans, DeletingTheHighestShortensTheList) {
    VlanInstance instance;
    instance.add({1, 100}, 512);

    instance.remove({100}, 13);

    EXPECT_EQ(instance.xst->vlanLen, 1U);
}

TEST(XstVlans, BytesBeyondTheGivenLengthDoNotCount) {
    VlanInstance instance;

    instance.add({1, 100}, 1);

    EXPECT_EQ(vlansOf(instance.xst), "1");
}

TEST(XstVlans, DeletingWhatIsNotThereChangesNothing) {
    VlanInstance instance;
    instance.add({5}, 1);

    instance.remove({9, 4096}, 512);

    EXPECT_EQ(vlansOf(instance.xst), "5");
    EXPECT_EQ(instance.xst->vlanLen, 1U);
}

TEST(XstVlans, LastBitOfTheListIsReached) {
    VlanInstance instance;

    instance.add({4096}, 512);

    EXPECT_EQ(instance.xst->vlanLen, 512U);
}

TEST(XstVlans, LengthIsBoundedByTheListsSize) {
    VlanInstance instance;
    const std::vector<uint8_t> longer(600, 0xFF);

    mstpXstVlanAdd(instance.xst, longer.data(), 600);
    EXPECT_EQ(instance.xst->vlanLen, 512U);
    mstpXstVlanDelete(instance.xst, longer.data(), 600);

    EXPECT_EQ(instance.xst->vlanLen, 0U);
}

TEST(XstVlans, EmptyListLeavesTheInstanceAsItIs) {
    VlanInstance instance;
    instance.add({5}, 1);

    instance.add({}, 0);
    instance.remove({}, 0);

    EXPECT_EQ(vlansOf(instance.xst), "5");
    EXPECT_EQ(instance.xst->vlanLen, 1U);
}

TEST(XstVlans, NeitherCallTouchesHardwareOrDigest) {
    VlanInstance instance;
    uint8_t digest[16];
    memcpy(digest, instance.bridge->cfgIdDigest, sizeof digest);

    instance.add({5}, 1);
    instance.remove({5}, 1);

    EXPECT_THAT(instance.sw.calls, IsEmpty());
    EXPECT_EQ(memcmp(digest, instance.bridge->cfgIdDigest, sizeof digest), 0);
}

} // namespace
