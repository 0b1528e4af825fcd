// Hardware groups follow their instances' VLANs, port states are programmed into them, and the
// adapters read the switch.

#include "mstp_io.h"
#include "platform/stg.h"
#include "test_bridge.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

namespace {

constexpr uint32_t EVERY_VLAN_BYTES = 512;

class HardwareGroup : public ::testing::Test {
  protected:
    explicit HardwareGroup(uint8_t xstLimit = 8)
        : bridge({.xstLimit = xstLimit, .withCist = false}) {}

    // An instance that has no group yet.
    tMstpXst* add(uint32_t xstId, std::initializer_list<uint32_t> vlans = {}) {
        tMstpXst* xst = mstpXstAdd(bridge.bridge, xstId);
        xst->rowStatus = MSTP_ACTIVE;
        for (const uint32_t vlan : vlans) {
            bitListSet(xst->vlanList, vlan - 1);
        }
        xst->vlanLen = bitListUsedBytes(xst->vlanList, MSTP_VLAN_LIST_SIZE);
        return xst;
    }

    // The CIST, running with its group.
    tMstpXst* addCist() {
        tMstpXst* cist = add(0);
        EXPECT_EQ(mstpStgAdd(cist), 0);
        bridge.sw.calls.clear();
        return cist;
    }

    static std::string vlans(const tMstpXst* xst) {
        return sim::vlanText(xst->vlanList, MSTP_VLAN_LIST_SIZE);
    }

    std::string groupVlans(uint32_t stgId) {
        return sim::vlanText(bridge.sw.groups[stgId].vlans.data(), MSTP_VLAN_LIST_SIZE);
    }

    // Runs mstpStgDel; what it prints on standard output goes to printed.
    int32_t del(tMstpXst* xst) {
        ::testing::internal::CaptureStdout();
        const int32_t result = mstpStgDel(xst);
        fflush(stdout);
        printed = ::testing::internal::GetCapturedStdout();
        return result;
    }

    TestBridge bridge;
    std::string printed;
};

class HardwareGroupOfTheOnlyInstance : public HardwareGroup {
  protected:
    HardwareGroupOfTheOnlyInstance() : HardwareGroup(1) {}
};

// ---- creation

TEST_F(HardwareGroup, CustomerBridgeAsksForKind4) {
    tMstpXst* cist = add(0);
    EXPECT_EQ(mstpStgAdd(cist), 0);
    EXPECT_EQ(bridge.sw.calls.at(0), "stgShrProtocolAdd kind=4");
    EXPECT_EQ(cist->stgId, 1u);
}

TEST_F(HardwareGroup, ProviderBridgeAsksForKind5) {
    bridge.bridge->type = MSTP_BRIDGE_PROVIDER;
    EXPECT_EQ(mstpStgAdd(add(0)), 0);
    EXPECT_EQ(bridge.sw.calls.at(0), "stgShrProtocolAdd kind=5");
}

TEST_F(HardwareGroup, WithoutAGroupNothingElseHappens) {
    tMstpXst* cist = add(0);
    bridge.sw.results["stgShrProtocolAdd"] = -1;
    EXPECT_EQ(mstpStgAdd(cist), -1);
    EXPECT_EQ(cist->stgId, 0u);
    EXPECT_EQ(vlans(cist), "");
    EXPECT_THAT(bridge.sw.calls, SizeIs(1));
}

TEST_F(HardwareGroup, OnlyTheGroupNumberTellsWhetherThereIsAGroup) {
    tMstpXst* cist = add(0);
    cist->stgId = 9;
    bridge.sw.results["stgShrProtocolAdd"] = -1;
    EXPECT_EQ(mstpStgAdd(cist), 0);
    EXPECT_EQ(groupVlans(9), "1-4094");
}

TEST_F(HardwareGroup, InstanceThatIsStartedAgainKeepsItsGroup) {
    tMstpXst* cist = addCist();
    const uint32_t before = cist->stgId;
    EXPECT_EQ(mstpStgAdd(cist), 0);
    EXPECT_EQ(cist->stgId, before);
    EXPECT_THAT(bridge.sw.groups, SizeIs(1));
}

TEST_F(HardwareGroup, CistTakesEveryVlanThatNoOtherInstanceHas) {
    add(1, {10, 11});
    add(7, {4094});
    tMstpXst* cist = add(0);
    EXPECT_EQ(mstpStgAdd(cist), 0);
    EXPECT_EQ(vlans(cist), "1-9,12-4093");
    EXPECT_EQ(groupVlans(cist->stgId), "1-9,12-4093");
}

TEST_F(HardwareGroup, InstanceInAnyRowStateKeepsItsVlansFromTheCist) {
    add(3, {100})->rowStatus = MSTP_NOTINSERVICE;
    tMstpXst* cist = add(0);
    EXPECT_EQ(mstpStgAdd(cist), 0);
    EXPECT_EQ(vlans(cist), "1-99,101-4094");
}

TEST_F(HardwareGroup, VlansOfAFreeInstanceSlotAreTheCists) {
    add(3, {100})->rowStatus = 0;
    tMstpXst* cist = add(0);
    EXPECT_EQ(mstpStgAdd(cist), 0);
    EXPECT_EQ(vlans(cist), "1-4094");
}

TEST_F(HardwareGroup, VlanOfAnotherInstanceStaysInTheCistsListWhereItAlreadyWas) {
    add(1, {10});
    tMstpXst* cist = add(0, {10});
    EXPECT_EQ(mstpStgAdd(cist), 0);
    EXPECT_EQ(vlans(cist), "1-4094");
    EXPECT_EQ(groupVlans(cist->stgId), "1-9,11-4094");
}

TEST_F(HardwareGroup, CistsLengthEndsWithItsLastVlan) {
    tMstpXst* msti = add(1);
    for (uint32_t vlan = 17; vlan <= MSTP_VLAN_ID_MAX; vlan++) {
        bitListSet(msti->vlanList, vlan - 1);
    }
    tMstpXst* cist = add(0);
    EXPECT_EQ(mstpStgAdd(cist), 0);
    EXPECT_EQ(cist->vlanLen, 2u);
    EXPECT_EQ(bridge.sw.calls.at(1), "stgShrProtocolVlanAdd stg=1 vlans=1-16 length=2");
}

TEST_F(HardwareGroup, CistWithoutVlansHasLength0) {
    tMstpXst* msti = add(1);
    memset(msti->vlanList, 0xFF, MSTP_VLAN_LIST_SIZE);
    tMstpXst* cist = add(0);
    EXPECT_EQ(mstpStgAdd(cist), 0);
    EXPECT_EQ(cist->vlanLen, 0u);
    EXPECT_EQ(bridge.sw.calls.at(1), "stgShrProtocolVlanAdd stg=1 vlans= length=0");
}

TEST_F(HardwareGroup, VlanThatDoesNotExistIsInTheCistsListButNotInItsGroup) {
    bridge.sw.missingVlans = {5, 4094};
    tMstpXst* cist = add(0);
    EXPECT_EQ(mstpStgAdd(cist), 0);
    EXPECT_EQ(vlans(cist), "1-4094");
    EXPECT_EQ(cist->vlanLen, EVERY_VLAN_BYTES);
    EXPECT_EQ(groupVlans(cist->stgId), "1-4,6-4093");
}

TEST_F(HardwareGroup, CistSucceedsThoughTheServiceRefusesItsVlans) {
    bridge.sw.results["stgShrProtocolVlanAdd"] = -1;
    EXPECT_EQ(mstpStgAdd(add(0)), 0);
}

TEST_F(HardwareGroupOfTheOnlyInstance, CistGetsEveryVlan) {
    tMstpXst* cist = add(0);
    EXPECT_EQ(mstpStgAdd(cist), 0);
    EXPECT_EQ(vlans(cist), "1-4094");
    EXPECT_EQ(cist->vlanLen, EVERY_VLAN_BYTES);
    EXPECT_EQ(bridge.sw.calls.at(1), "stgShrProtocolVlanAdd stg=1 vlans=1-4094 length=512");
}

TEST_F(HardwareGroup, RecordsBeyondTheInstanceLimitAreNotLookedAt) {
    add(1, {100});
    add(2, {200});
    tMstpXst* cist = add(0);
    gMstp.xstLimit = 2;
    EXPECT_EQ(mstpStgAdd(cist), 0);
    EXPECT_EQ(vlans(cist), "1-99,101-4094");
    gMstp.xstLimit = 8;
}

TEST_F(HardwareGroup, LastInstanceThatTheLimitAllowsKeepsItsVlans) {
    add(7, {100});
    tMstpXst* cist = add(0);
    EXPECT_EQ(mstpStgAdd(cist), 0);
    EXPECT_EQ(vlans(cist), "1-99,101-4094");
}

TEST_F(HardwareGroup, MstiTakesItsVlansFromTheCistInListAndGroup) {
    tMstpXst* cist = addCist();
    tMstpXst* msti = add(1, {10, 20});
    EXPECT_EQ(mstpStgAdd(msti), 0);
    EXPECT_EQ(vlans(cist), "1-9,11-19,21-4094");
    EXPECT_EQ(vlans(msti), "10,20");
    EXPECT_EQ(groupVlans(cist->stgId), "1-9,11-19,21-4094");
    EXPECT_EQ(groupVlans(msti->stgId), "10,20");
    EXPECT_THAT(bridge.sw.calls, ElementsAre("stgShrProtocolAdd kind=4",
                                             "stgShrProtocolVlanDel stg=1 vlans=10,20 length=3",
                                             "stgShrProtocolVlanAdd stg=2 vlans=10,20 length=3"));
}

TEST_F(HardwareGroup, VlanOfAnMstiThatDoesNotExistIsInItsListButNotInItsGroup) {
    tMstpXst* cist = addCist();
    bridge.sw.missingVlans = {20};
    tMstpXst* msti = add(1, {10, 20});
    EXPECT_EQ(mstpStgAdd(msti), 0);
    EXPECT_EQ(vlans(msti), "10,20");
    EXPECT_EQ(vlans(cist), "1-9,11-19,21-4094");
    EXPECT_THAT(bridge.sw.calls, ElementsAre("stgShrProtocolAdd kind=4",
                                             "stgShrProtocolVlanDel stg=1 vlans=10 length=3",
                                             "stgShrProtocolVlanAdd stg=2 vlans=10 length=3"));
}

TEST_F(HardwareGroup, Vlan4095NeverComesIntoAGroup) {
    addCist();
    tMstpXst* msti = add(1, {4094, 4095});
    EXPECT_EQ(mstpStgAdd(msti), 0);
    EXPECT_EQ(groupVlans(msti->stgId), "4094");
}

TEST_F(HardwareGroup, FirstVlanOfAnMstiComesIntoItsGroup) {
    addCist();
    tMstpXst* msti = add(1, {1});
    EXPECT_EQ(mstpStgAdd(msti), 0);
    EXPECT_EQ(groupVlans(msti->stgId), "1");
}

TEST_F(HardwareGroup, MstiWithoutAGroupLeavesTheCistItsVlans) {
    tMstpXst* cist = addCist();
    bridge.sw.results["stgShrProtocolAdd"] = -1;
    EXPECT_EQ(mstpStgAdd(add(1, {10})), -1);
    EXPECT_EQ(vlans(cist), "1-4094");
}

TEST_F(HardwareGroup, MstiSucceedsThoughTheServiceRefusesItsVlans) {
    addCist();
    bridge.sw.results["stgShrProtocolVlanDel"] = -1;
    bridge.sw.results["stgShrProtocolVlanAdd"] = -1;
    EXPECT_EQ(mstpStgAdd(add(1, {10})), 0);
}

// ---- deletion

TEST_F(HardwareGroup, DeletingAnInstanceWithoutAGroupPrintsAndFails) {
    tMstpXst* msti = add(3, {10});
    EXPECT_EQ(del(msti), -1);
    EXPECT_EQ(printed, "mstpStgDel MSTI 3  del stg failed,stgId is 0\r\n\r\n");
    EXPECT_THAT(bridge.sw.calls, IsEmpty());
}

TEST_F(HardwareGroup, DeletingTheCistEmptiesItsGroupAndReleasesIt) {
    tMstpXst* cist = addCist();
    EXPECT_EQ(del(cist), 0);
    EXPECT_EQ(printed, "");
    EXPECT_EQ(cist->stgId, 0u);
    EXPECT_EQ(vlans(cist), "1-4094");
    EXPECT_THAT(bridge.sw.calls, ElementsAre("stgShrProtocolVlanDel stg=1 vlans=1-4094 length=512",
                                             "stgShrProtocolDel stg=1"));
}

TEST_F(HardwareGroup, DeletingAnMstiGivesItsVlansBackToTheCist) {
    tMstpXst* cist = addCist();
    tMstpXst* msti = add(1, {10, 4094});
    EXPECT_EQ(mstpStgAdd(msti), 0);
    bridge.sw.calls.clear();
    EXPECT_EQ(del(msti), 0);
    EXPECT_EQ(msti->stgId, 0u);
    EXPECT_EQ(vlans(cist), "1-4094");
    EXPECT_EQ(cist->vlanLen, EVERY_VLAN_BYTES);
    EXPECT_EQ(vlans(msti), "10,4094");
    EXPECT_THAT(bridge.sw.calls, ElementsAre("stgShrProtocolVlanAdd stg=1 vlans=10,4094 length=512",
                                             "stgShrProtocolVlanDel stg=2 vlans=10,4094 length=512",
                                             "stgShrProtocolDel stg=2"));
}

TEST_F(HardwareGroup, CistGetsBackInItsListAlsoVlansThatDoNotExist) {
    tMstpXst* cist = addCist();
    tMstpXst* msti = add(1, {10, 20});
    EXPECT_EQ(mstpStgAdd(msti), 0);
    bridge.sw.missingVlans = {20};
    bridge.sw.calls.clear();
    EXPECT_EQ(del(msti), 0);
    EXPECT_EQ(vlans(cist), "1-4094");
    EXPECT_THAT(bridge.sw.calls, ElementsAre("stgShrProtocolVlanAdd stg=1 vlans=10 length=3",
                                             "stgShrProtocolVlanDel stg=2 vlans=10 length=3",
                                             "stgShrProtocolDel stg=2"));
}

TEST_F(HardwareGroup, RefusalToGiveVlansBackChangesNothing) {
    tMstpXst* cist = addCist();
    tMstpXst* msti = add(1, {10});
    EXPECT_EQ(mstpStgAdd(msti), 0);
    bridge.sw.results["stgShrProtocolVlanAdd"] = -1;
    EXPECT_EQ(del(msti), 0);
    EXPECT_EQ(printed, "");
    EXPECT_EQ(vlans(cist), "1-4094");
    EXPECT_EQ(msti->stgId, 0u);
}

TEST_F(HardwareGroup, RefusalToEmptyAGroupPrintsAndKeepsIt) {
    addCist();
    tMstpXst* msti = add(1, {10});
    EXPECT_EQ(mstpStgAdd(msti), 0);
    bridge.sw.results["stgShrProtocolVlanDel"] = -1;
    bridge.sw.calls.clear();
    EXPECT_EQ(del(msti), -1);
    EXPECT_EQ(printed, "mstpStgDel MSTI 1 stgId 2 stgShrProtocolVlanDel failed\r\n\r\n");
    EXPECT_EQ(msti->stgId, 2u);
    EXPECT_EQ(bridge.sw.count("stgShrProtocolDel stg=2"), 0u);
}

TEST_F(HardwareGroup, RefusalToReleaseAGroupPrintsAndKeepsIt) {
    tMstpXst* cist = addCist();
    bridge.sw.results["stgShrProtocolDel"] = 1;
    EXPECT_EQ(del(cist), -1);
    EXPECT_EQ(printed, "mstpStgDel MSTI 0 stgId 1 stgShrProtocolDel failed\r\n\r\n");
    EXPECT_EQ(cist->stgId, 1u);
}

// ---- port states

class PortState : public HardwareGroup {
  protected:
    void SetUp() override {
        cist = addCist();
        bridge.sw.add(7);
        mstpBridgePortAdd(bridge.bridge, 7);
        xstPort = bridge.xstPort(0, 7);
        bridge.sw.forget();
    }

    tMstpXst* cist = nullptr;
    tMstpXstPort* xstPort = nullptr;
};

TEST_F(PortState, DiscardingIsProgrammedAsBlocking) {
    bridge.trace(MSTP_DEBUG_ACTIVITY);
    xstPort->hwState = MSTP_PORT_STATE_DISCARDING;
    EXPECT_EQ(mstpStgPortSet(xstPort), 0);
    EXPECT_THAT(bridge.sw.calls, ElementsAre("stgShrProtocolPortStateSet stg=1 unit=7 state=2"));
    EXPECT_THAT(bridge.sw.traces, ElementsAre("msti 0 port port7 set port state blocking"));
}

TEST_F(PortState, LearningIsProgrammedAsLearning) {
    bridge.trace(MSTP_DEBUG_ACTIVITY);
    xstPort->hwState = MSTP_PORT_STATE_LEARNING;
    EXPECT_EQ(mstpStgPortSet(xstPort), 0);
    EXPECT_THAT(bridge.sw.calls, ElementsAre("stgShrProtocolPortStateSet stg=1 unit=7 state=4"));
    EXPECT_THAT(bridge.sw.traces, ElementsAre("msti 0 port port7 set port state learning"));
}

TEST_F(PortState, DisabledIsProgrammedAsForwarding) {
    bridge.trace(MSTP_DEBUG_ACTIVITY);
    xstPort->hwState = MSTP_PORT_STATE_DISABLED;
    EXPECT_EQ(mstpStgPortSet(xstPort), 0);
    EXPECT_THAT(bridge.sw.calls, ElementsAre("stgShrProtocolPortStateSet stg=1 unit=7 state=5"));
    EXPECT_THAT(bridge.sw.traces, ElementsAre("msti 0 port port7 set port state forwarding"));
}

TEST_F(PortState, EveryOtherStateIsProgrammedAsForwarding) {
    for (const int state : {MSTP_PORT_STATE_FORWARDING, MSTP_PORT_STATE_UNKNOWN}) {
        bridge.trace(MSTP_DEBUG_ACTIVITY);
        bridge.sw.calls.clear();
        xstPort->hwState = static_cast<uint8_t>(state);
        EXPECT_EQ(mstpStgPortSet(xstPort), 0);
        EXPECT_THAT(bridge.sw.calls,
                    ElementsAre("stgShrProtocolPortStateSet stg=1 unit=7 state=5"));
        EXPECT_THAT(bridge.sw.traces, ElementsAre("msti 0 port port7 set port state forwarding"));
    }
}

TEST_F(PortState, StatesAreTracedUnderTheirBitOnly) {
    bridge.trace(~MSTP_DEBUG_ACTIVITY);
    for (uint8_t state = 0; state < 5; state++) {
        xstPort->hwState = state;
        EXPECT_EQ(mstpStgPortSet(xstPort), 0);
    }
    EXPECT_THAT(bridge.sw.traces, IsEmpty());
}

TEST_F(PortState, EveryChangeIsNotifiedWhileTrapIsOnBeforeItIsProgrammed) {
    gMstp.trap = 1;
    xstPort->hwState = MSTP_PORT_STATE_LEARNING;
    EXPECT_EQ(mstpStgPortSet(xstPort), 0);
    EXPECT_THAT(bridge.sw.calls, ElementsAre("sendStpTopoChgTrap xst=0 unit=7 state=2",
                                             "stgShrProtocolPortStateSet stg=1 unit=7 state=4"));
}

TEST_F(PortState, WithoutAGroupItIsNotifiedAndFailsSilently) {
    gMstp.trap = 1;
    cist->stgId = 0;
    bridge.trace(MSTP_DEBUG_REFUSAL);
    EXPECT_EQ(mstpStgPortSet(xstPort), -1);
    EXPECT_THAT(bridge.sw.calls, ElementsAre("sendStpTopoChgTrap xst=0 unit=7 state=0"));
    EXPECT_THAT(bridge.sw.traces, IsEmpty());
}

TEST_F(PortState, ServicesResultIsPassedBack) {
    bridge.sw.results["stgShrProtocolPortStateSet"] = -77;
    EXPECT_EQ(mstpStgPortSet(xstPort), -77);
}

// ---- delivery of BPDUs

class Adapter : public ::testing::Test {
  protected:
    void SetUp() override {
        interface = &bridge.sw.add(7);
        port = mstpBridgePortAdd(bridge.bridge, 7);
        bridge.sw.forget();
    }

    void updtIndex(uint32_t unit, uint32_t slot, uint32_t number) {
        interface->positionUnit = unit;
        interface->slot = slot;
        interface->positionPort = number;
        mstpUpdtPortIndex(port);
    }

    TestBridge bridge;
    sim::Interface* interface = nullptr;
    tMstpPort* port = nullptr;
};

TEST_F(Adapter, CustomerBridgeAttachesWithKind4) {
    EXPECT_EQ(mstpAttach(port), 0);
    EXPECT_THAT(bridge.sw.calls, ElementsAre("kelIfSetApi:305 unit=7 kind=4"));
}

TEST_F(Adapter, ProviderBridgeAttachesAndDetachesWithKind5) {
    bridge.bridge->type = MSTP_BRIDGE_PROVIDER;
    EXPECT_EQ(mstpAttach(port), 0);
    EXPECT_EQ(mstpDetach(port), 0);
    EXPECT_THAT(bridge.sw.calls,
                ElementsAre("kelIfSetApi:305 unit=7 kind=5", "kelIfSetApi:306 unit=7 kind=5"));
}

TEST_F(Adapter, FailedAttachIsReportedWhateverTheMask) {
    bridge.trace(0);
    bridge.sw.results["kelIfSetApi:305"] = -5;
    EXPECT_EQ(mstpAttach(port), -5);
    EXPECT_THAT(bridge.sw.traces, ElementsAre("\r\n if port7 bind filter for stp cpu error"));
}

TEST_F(Adapter, AttachThatSucceedsIsNotReported) {
    bridge.trace(0xFFFFFFFF);
    EXPECT_EQ(mstpAttach(port), 0);
    EXPECT_THAT(bridge.sw.traces, IsEmpty());
}

TEST_F(Adapter, DetachForgetsTheCookieAndUsesKind4) {
    port->cookie = port;
    EXPECT_EQ(mstpDetach(port), 0);
    EXPECT_EQ(port->cookie, nullptr);
    EXPECT_THAT(bridge.sw.calls, ElementsAre("kelIfSetApi:306 unit=7 kind=4"));
}

TEST_F(Adapter, DetachsResultIsPassedBackUntraced) {
    bridge.trace(0xFFFFFFFF);
    bridge.sw.results["kelIfSetApi:306"] = -6;
    EXPECT_EQ(mstpDetach(port), -6);
    EXPECT_THAT(bridge.sw.traces, IsEmpty());
}

// ---- speed, link, address

TEST_F(Adapter, SpeedIsReadFromTheInterface) {
    interface->speed = 2500;
    mstpUpdtPortSpeed(port);
    EXPECT_EQ(port->speed, 2500u);
}

TEST_F(Adapter, SpeedIs100WhenItCannotBeRead) {
    port->speed = 2500;
    bridge.sw.results["kelIfGetApi:15"] = -1;
    mstpUpdtPortSpeed(port);
    EXPECT_EQ(port->speed, 100u);
}

TEST_F(Adapter, LinkThatIsUpIsUp) {
    port->operState = MSTP_PORT_OPERATE_DOWN;
    mstpUpdtPortOperState(port);
    EXPECT_EQ(port->operState, MSTP_PORT_OPERATE_UP);
}

TEST_F(Adapter, LinkThatIsDownIsDown) {
    port->operState = MSTP_PORT_OPERATE_UP;
    interface->up = false;
    mstpUpdtPortOperState(port);
    EXPECT_EQ(port->operState, MSTP_PORT_OPERATE_DOWN);
}

TEST_F(Adapter, LinkIsDownWhenItCannotBeRead) {
    port->operState = MSTP_PORT_OPERATE_UP;
    bridge.sw.results["kelIfGetApi:31"] = -1;
    mstpUpdtPortOperState(port);
    EXPECT_EQ(port->operState, MSTP_PORT_OPERATE_DOWN);
}

TEST_F(Adapter, BridgeTakesTheSystemsAddress) {
    bridge.sw.systemMac = {2, 4, 6, 8, 10, 12};
    ::testing::internal::CaptureStdout();
    mstpUpdtBridgeMac(bridge.bridge);
    fflush(stdout);
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
    EXPECT_THAT(bridge.bridge->bridgeMac, ElementsAre(2, 4, 6, 8, 10, 12));
}

TEST_F(Adapter, SystemAddressThatCannotBeReadIsPrinted) {
    bridge.sw.results["kelScalarGetApi:11"] = -1;
    ::testing::internal::CaptureStdout();
    mstpUpdtBridgeMac(bridge.bridge);
    fflush(stdout);
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "\r\n get sys mac failed");
    EXPECT_THAT(bridge.bridge->bridgeMac, ElementsAre(0x00, 0x11, 0x22, 0x33, 0x44, 0x55));
}

// ---- port number

TEST_F(Adapter, PortNumberWithoutASlotIsThePlatforms) {
    interface->number = 0x123;
    updtIndex(3, 0, 5);
    EXPECT_EQ(port->index, 0x123);
}

TEST_F(Adapter, PortNumberOfThePlatformKeepsItsLow12Bits) {
    interface->number = 0x1FFF;
    updtIndex(0, 0, 0);
    EXPECT_EQ(port->index, 0xFFF);
}

TEST_F(Adapter, PortNumberInASlotJoinsUnitSlotAndPort) {
    interface->number = 0x123;
    updtIndex(2, 3, 5);
    EXPECT_EQ(port->index, 0x800 + 0xC0 + 5);
}

TEST_F(Adapter, CoordinatesOfAPortNumberKeepTheirOwnBits) {
    updtIndex(0, 1, 0);
    EXPECT_EQ(port->index, 0x040);
    updtIndex(3, 15, 63);
    EXPECT_EQ(port->index, 0xFFF);
    updtIndex(4, 16, 64);
    EXPECT_EQ(port->index, 0x000);
    updtIndex(1, 16 + 2, 64 + 1);
    EXPECT_EQ(port->index, 0x481);
}

TEST_F(Adapter, PortNumberIs0WhenThePositionIsUnknown) {
    port->index = 9;
    bridge.sw.results["sysIndexTrans"] = -1;
    mstpUpdtPortIndex(port);
    EXPECT_EQ(port->index, 0);
}

} // namespace
