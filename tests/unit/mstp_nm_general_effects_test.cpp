// Attributes of the bridge: octets, and what a set brings about besides its field.

#include "management_values.h"
#include "mstp/enums.h"
#include "mstp_nm.h"
#include "mstp_port_timers_state_machine.h"
#include "platform/hardware.h"
#include "test_bridge.h"
#include "test_objects.h"

using testing::Each;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

namespace {

constexpr uint32_t IDLE = 0;

int32_t set(uint32_t attribute, uint32_t value) {
    return mstpGeneralSetApi(0, attribute, &value);
}

int32_t set(uint32_t attribute, Octets octets) {
    return mstpGeneralSetApi(0, attribute, octets.value());
}

int32_t sync(uint32_t attribute, Octets octets) {
    return mstpGeneralSyncApi(0, attribute, octets.value());
}

bool willReset(const TestBridge& bridge) {
    return (bridge.bridge->event & MSTP_EVENT_REINIT) != 0;
}

void arm(tTimerNode* timer) {
    mstpRestartTimer(
        timer, 1000, [](void*, void*, void*) {}, nullptr);
}

// ---- hello time and version

TEST(General, HelloTimeOf250HundredthsIsStoredAsTwoSecondsAndReadAs200) {
    TestBridge bridge;
    EXPECT_EQ(set(MSTP_GEN_BRIDGEHELLOTIME, 250), 0);
    EXPECT_EQ(bridge.bridge->bridgeHelloTime, 2);
    uint32_t read = 0;
    mstpGeneralGetApi(0, MSTP_GEN_BRIDGEHELLOTIME, &read);
    EXPECT_EQ(read, 200U);
}

TEST(General, ForceVersionSetToItsCurrentValueDoesNothing) {
    TestBridge bridge;
    bridge.bridge->inited = 1;
    bridge.bridge->event = IDLE;
    EXPECT_EQ(set(MSTP_GEN_FORCEVERSION, MSTP_FORCE_ATUODOT1S), 0);
    EXPECT_EQ(bridge.bridge->event, IDLE);
    EXPECT_EQ(bridge.bridge->inited, 1);
}

TEST(General, UnchangedForceVersionIsOfferedAllTheSame) {
    TestBridge bridge;
    bridge.sw.results["kelHwScalarSync"] = 9;
    EXPECT_EQ(set(MSTP_GEN_FORCEVERSION, MSTP_FORCE_ATUODOT1S), 9);
}

TEST(General, AnotherForceVersionInitialisesTheWholeBridge) {
    TestBridge bridge;
    bridge.addInstance(2);
    bridge.bridge->inited = 1;
    EXPECT_EQ(set(MSTP_GEN_FORCEVERSION, MSTP_FORCE_DOT1W), 0);
    EXPECT_EQ(bridge.bridge->inited, 0);
    bridge.advance(2);
    EXPECT_EQ(bridge.bridge->inited, 1);
    EXPECT_EQ(bridge.xst(2), nullptr);
}

// ---- type

TEST(General, AnotherBridgeTypeMovesEveryPortToTheOtherBpdus) {
    TestBridge bridge;
    bridge.addUpPort(3);
    bridge.addUpPort(5);
    bridge.sw.forget();
    EXPECT_EQ(set(MSTP_GEN_BRIDGETYPE, MSTP_BRIDGE_PROVIDER), 0);
    EXPECT_THAT(bridge.sw.calls,
                ElementsAre("kelHwScalarSync index=0 attribute=0x50016 value=1 flag=0x3",
                            "kelIfSetApi:306 unit=3 kind=4", "kelIfSetApi:306 unit=5 kind=4",
                            "kelIfSetApi:305 unit=3 kind=5", "kelIfSetApi:305 unit=5 kind=5"));
    EXPECT_TRUE(willReset(bridge));
}

TEST(General, UnchangedBridgeTypeIsOfferedAndNothingElse) {
    TestBridge bridge;
    bridge.addUpPort(3);
    bridge.sw.forget();
    bridge.bridge->event = IDLE;
    EXPECT_EQ(set(MSTP_GEN_BRIDGETYPE, MSTP_BRIDGE_CUSTOMER), 0);
    EXPECT_THAT(bridge.sw.calls,
                ElementsAre("kelHwScalarSync index=0 attribute=0x50016 value=0 flag=0x3"));
    EXPECT_EQ(bridge.bridge->event, IDLE);
}

TEST(General, BridgeTypeIsReadAsTheNumberItIs) {
    TestBridge bridge;
    for (const uint8_t type : {MSTP_BRIDGE_CUSTOMER, MSTP_BRIDGE_PROVIDER}) {
        bridge.bridge->type = type;
        uint32_t read = 0xDEADBEEF;
        EXPECT_EQ(mstpGeneralGetApi(0, MSTP_GEN_BRIDGETYPE, &read), 0);
        EXPECT_EQ(read, type);
    }
}

// ---- debug mask and flushing

TEST(General, DebugMaskIsReadAndSetWithoutThePlatform) {
    TestBridge bridge;
    bridge.sw.results["kelHwScalarSync"] = 5;
    EXPECT_EQ(set(MSTP_GEN_DEBUG, 0x80000041), 0);
    EXPECT_EQ(gMstp.debug, 0x80000041U);
    EXPECT_THAT(bridge.sw.calls, IsEmpty());
    uint32_t read = 0;
    EXPECT_EQ(mstpGeneralGetApi(0, MSTP_GEN_DEBUG, &read), 0);
    EXPECT_EQ(read, 0x80000041U);
}

TEST(General, DebugMaskIsSetWithoutAReset) {
    TestBridge bridge;
    bridge.bridge->event = IDLE;
    set(MSTP_GEN_DEBUG, 0x40);
    EXPECT_EQ(bridge.bridge->event, IDLE);
}

TEST(General, DebugMaskIsSyncedWithoutThePlatformToo) {
    TestBridge bridge;
    bridge.sw.results["kelHwScalarSync"] = 5;
    uint32_t mask = 0x12;
    EXPECT_EQ(mstpGeneralSyncApi(0, MSTP_GEN_DEBUG, &mask), 0);
    EXPECT_EQ(gMstp.debug, 0x12U);
    EXPECT_THAT(bridge.sw.calls, IsEmpty());
}

TEST(General, EveryValueButTrueSwitchesAProtectionOff) {
    TestBridge bridge;
    for (const uint32_t value : {0U, 2U, 3U, 257U, 0xFFFFFFFFU}) {
        bridge.bridge->tcProtection = 1;
        EXPECT_EQ(set(MSTP_GEN_TCPROTECTON, value), 0);
        EXPECT_EQ(bridge.bridge->tcProtection, 0) << value;
    }
}

TEST(General, FlushingArpOnTopologyChangesIsOnUnlessOnlyAddressesAreFlushed) {
    TestBridge bridge;
    uint32_t read = 0;
    mstpGeneralGetApi(0, MSTP_GEN_RCVTCFLUSHARP, &read);
    EXPECT_EQ(read, MSTP_TRUE);
    set(MSTP_GEN_RCVTCFLUSHARP, 7);
    EXPECT_EQ(gMstp.onlyFlushMac, 1);
    set(MSTP_GEN_RCVTCFLUSHARP, MSTP_TRUE);
    EXPECT_EQ(gMstp.onlyFlushMac, 0);
}

// ---- protections switched off

TEST(General, BpduGuardSwitchedOffReleasesEveryGuardedPort) {
    TestBridge bridge;
    bridge.bridge->bpduGuard = 1;
    for (const uint32_t unit : {3U, 4U, 6U}) {
        arm(&bridge.addUpPort(unit)->bpduGuardTimer);
    }
    EXPECT_EQ(set(MSTP_GEN_BPDUGUARD, MSTP_FALSE), 0);
    for (const uint32_t unit : {3U, 4U, 6U}) {
        EXPECT_EQ(timerRemain(&bridge.port(unit)->bpduGuardTimer), 0) << unit;
        EXPECT_EQ(bridge.xstPort(0, unit)->hwState, MSTP_PORT_STATE_FORWARDING) << unit;
    }
}

TEST(General, BpduGuardReleasesAPortInEveryInstance) {
    TestBridge bridge;
    bridge.addInstance(2);
    arm(&bridge.addUpPort(3)->bpduGuardTimer);
    set(MSTP_GEN_BPDUGUARD, MSTP_FALSE);
    EXPECT_EQ(bridge.xstPort(0, 3)->hwState, MSTP_PORT_STATE_FORWARDING);
    EXPECT_EQ(bridge.xstPort(2, 3)->hwState, MSTP_PORT_STATE_FORWARDING);
}

TEST(General, BpduGuardThatThePlatformKeepsOnHoldsItsPorts) {
    TestBridge bridge;
    tMstpPort* guarded = bridge.addUpPort(3);
    bridge.bridge->bpduGuard = 1;
    arm(&guarded->bpduGuardTimer);
    bridge.sw.results["kelHwScalarSync"] = 19;
    EXPECT_EQ(set(MSTP_GEN_BPDUGUARD, MSTP_FALSE), 19);
    EXPECT_EQ(bridge.bridge->bpduGuard, 1);
    EXPECT_EQ(timerRemain(&guarded->bpduGuardTimer), 1000);
    EXPECT_EQ(bridge.xstPort(0, 3)->hwState, MSTP_PORT_STATE_DISCARDING);
}

TEST(General, BpduGuardSwitchedOffLeavesUnguardedPortsAlone) {
    TestBridge bridge;
    bridge.addUpPort(3);
    bridge.bridge->bpduGuard = 1;
    set(MSTP_GEN_BPDUGUARD, MSTP_FALSE);
    EXPECT_EQ(bridge.xstPort(0, 3)->hwState, MSTP_PORT_STATE_DISCARDING);
}

TEST(General, BpduGuardSwitchedOnKeepsRunningHolds) {
    TestBridge bridge;
    tMstpPort* guarded = bridge.addUpPort(3);
    arm(&guarded->bpduGuardTimer);
    set(MSTP_GEN_BPDUGUARD, MSTP_TRUE);
    EXPECT_EQ(timerRemain(&guarded->bpduGuardTimer), 1000);
}

TEST(General, LoopProtectionSwitchedOffReleasesEveryHeldInstancePort) {
    TestBridge bridge;
    bridge.addInstance(2);
    bridge.bridge->loopProtection = 1;
    bridge.addUpPort(3);
    bridge.addUpPort(6);
    const std::vector<tMstpXstPort*> held = {bridge.xstPort(2, 3), bridge.xstPort(0, 6),
                                             bridge.xstPort(2, 6)};
    for (tMstpXstPort* xstPort : held) {
        arm(&xstPort->loopHoldTimer);
    }
    EXPECT_EQ(set(MSTP_GEN_LOOPPROTECTION, MSTP_FALSE), 0);
    for (tMstpXstPort* xstPort : held) {
        EXPECT_EQ(timerRemain(&xstPort->loopHoldTimer), 0);
        EXPECT_EQ(xstPort->hwState, MSTP_PORT_STATE_FORWARDING);
    }
}

TEST(General, LoopProtectionSwitchedOffLeavesInstancePortsThatAreNotHeldAlone) {
    TestBridge bridge;
    bridge.addInstance(2);
    bridge.addUpPort(3);
    bridge.bridge->loopProtection = 1;
    arm(&bridge.xstPort(2, 3)->loopHoldTimer);
    set(MSTP_GEN_LOOPPROTECTION, MSTP_FALSE);
    EXPECT_EQ(bridge.xstPort(0, 3)->hwState, MSTP_PORT_STATE_DISCARDING);
}

TEST(General, LoopProtectionThatThePlatformKeepsOnHoldsItsInstancePorts) {
    TestBridge bridge;
    bridge.addUpPort(3);
    bridge.bridge->loopProtection = 1;
    arm(&bridge.xstPort(0, 3)->loopHoldTimer);
    bridge.sw.results["kelHwScalarSync"] = 20;
    EXPECT_EQ(set(MSTP_GEN_LOOPPROTECTION, MSTP_FALSE), 20);
    EXPECT_EQ(bridge.bridge->loopProtection, 1);
    EXPECT_EQ(timerRemain(&bridge.xstPort(0, 3)->loopHoldTimer), 1000);
    EXPECT_EQ(bridge.xstPort(0, 3)->hwState, MSTP_PORT_STATE_DISCARDING);
}

TEST(General, LoopProtectionSwitchedOnKeepsRunningHolds) {
    TestBridge bridge;
    bridge.addUpPort(3);
    arm(&bridge.xstPort(0, 3)->loopHoldTimer);
    set(MSTP_GEN_LOOPPROTECTION, MSTP_TRUE);
    EXPECT_EQ(timerRemain(&bridge.xstPort(0, 3)->loopHoldTimer), 1000);
}

// ---- octets

TEST(General, NameReplacesTheWholeOldName) {
    TestBridge bridge(TestBridgeOptions{.name = "a-long-old-name"});
    EXPECT_EQ(set(MSTP_GEN_CFGIDNAME, Octets::text("new")), 0);
    std::vector<uint8_t> expected(32);
    memcpy(expected.data(), "new", 3);
    EXPECT_THAT(bytesOf(bridge.bridge->cfgIdName), ElementsAreArray(expected));
    EXPECT_EQ(bridge.bridge->nameLen, 3);
    EXPECT_TRUE(willReset(bridge));
}

TEST(General, NameIsReadWithItsLength) {
    TestBridge bridge(TestBridgeOptions{.name = "sw-7"});
    Octets octets = Octets::room(32);
    EXPECT_EQ(mstpGeneralGetApi(0, MSTP_GEN_CFGIDNAME, octets.value()), 0);
    EXPECT_THAT(octets.bytes(), ElementsAre('s', 'w', '-', '7'));
}

TEST(General, NameMayBeEmpty) {
    TestBridge bridge;
    octetstring nothing = {nullptr, 0};
    EXPECT_EQ(mstpGeneralSetApi(0, MSTP_GEN_CFGIDNAME, &nothing), 0);
    EXPECT_EQ(bridge.bridge->nameLen, 0);
    EXPECT_THAT(bridge.bridge->cfgIdName, Each(0));
}

TEST(General, NameOf32CharactersIsTakenAndOf33IsRefusedUnoffered) {
    TestBridge bridge;
    EXPECT_EQ(set(MSTP_GEN_CFGIDNAME, Octets::text(std::string(32, 'x'))), 0);
    bridge.sw.forget();
    EXPECT_EQ(set(MSTP_GEN_CFGIDNAME, Octets::text(std::string(33, 'y'))), -1);
    EXPECT_THAT(bridge.bridge->cfgIdName, Each('x'));
    EXPECT_THAT(bridge.sw.calls, IsEmpty());
}

std::string octetsOffer(uint32_t attribute, const std::string& value, const std::string& flag) {
    char text[64];
    snprintf(text, sizeof text,
             "kelHwScalarSync index=0 attribute=0x%x value=", 0x50000 + attribute);
    return text + value + " flag=" + flag;
}

class GeneralOctets : public testing::TestWithParam<uint32_t> {};

TEST_P(GeneralOctets, PlatformRefusalIsPassedBackAndNothingChanges) {
    TestBridge bridge;
    const std::vector<uint8_t> before = bytesOf(*bridge.bridge);
    bridge.sw.results["kelHwScalarSync"] = 42;
    EXPECT_EQ(set(GetParam(), Octets({1, 2, 3})), 42);
    EXPECT_EQ(bytesOf(*bridge.bridge), before);
}

TEST_P(GeneralOctets, SetWithoutAValueIsRefusedUnoffered) {
    TestBridge bridge;
    EXPECT_EQ(mstpGeneralSetApi(0, GetParam(), nullptr), -1);
    EXPECT_THAT(bridge.sw.calls, IsEmpty());
}

TEST_P(GeneralOctets, SetIsOfferedWithTheTopBitOfTheFlag) {
    TestBridge bridge;
    set(GetParam(), Octets({0xAB, 0x01}));
    EXPECT_EQ(bridge.sw.calls.at(0), octetsOffer(GetParam(), "ab01", "0x80000003"));
}

TEST_P(GeneralOctets, SyncIsOfferedWithTheTopBitOfItsFlag) {
    TestBridge bridge;
    sync(GetParam(), Octets({0xAB, 0x01}));
    EXPECT_EQ(bridge.sw.calls.at(0), octetsOffer(GetParam(), "ab01", "0x80000001"));
}

TEST_P(GeneralOctets, ResetFollowsOnlyForNameAndAddress) {
    TestBridge bridge;
    bridge.bridge->event = IDLE;
    set(GetParam(), Octets({0xAB, 0x01}));
    const bool identifies = GetParam() == MSTP_GEN_CFGIDNAME || GetParam() == MSTP_GEN_BRIDGEMAC;
    EXPECT_EQ(bridge.bridge->event, identifies ? MSTP_EVENT_REINIT : IDLE);
}

INSTANTIATE_TEST_SUITE_P(Attributes, GeneralOctets, testing::Values(15, 23, 33, 34, 35));

TEST(General, SyncOfNameAndAddressIsStoredLikeASet) {
    TestBridge bridge;
    EXPECT_EQ(sync(MSTP_GEN_CFGIDNAME, Octets::text("peer")), 0);
    EXPECT_EQ(memcmp(bridge.bridge->cfgIdName, "peer", 5), 0);
    EXPECT_EQ(bridge.bridge->nameLen, 4);
    EXPECT_EQ(sync(MSTP_GEN_BRIDGEMAC, Octets({2, 4, 6, 8, 10, 12})), 0);
    EXPECT_THAT(bridge.bridge->bridgeMac, ElementsAre(2, 4, 6, 8, 10, 12));
}

TEST(General, SyncOfTheFastMapListsIsStoredLikeASet) {
    TestBridge bridge;
    EXPECT_EQ(sync(MSTP_GEN_FASTMAPSETVLANS, Octets({0x12, 0x34})), 0);
    EXPECT_EQ(sync(MSTP_GEN_FASTMAPSETXSTS, Octets({0xE0})), 0);
    EXPECT_EQ(bridge.bridge->fastVlans[1], 0x34);
    EXPECT_EQ(bridge.bridge->fastXsts[0], 0xE0);
}

TEST(General, DigestIsRead) {
    TestBridge bridge;
    for (uint8_t i = 0; i < 16; i++) {
        bridge.bridge->cfgIdDigest[i] = i;
    }
    Octets octets = Octets::room(16);
    EXPECT_EQ(mstpGeneralGetApi(0, MSTP_GEN_CFGIDDIGEST, octets.value()), 0);
    EXPECT_THAT(octets.bytes(), ElementsAreArray(bytesOf(bridge.bridge->cfgIdDigest)));
}

TEST(General, DigestIsReadOnly) {
    TestBridge bridge;
    EXPECT_EQ(set(MSTP_GEN_CFGIDDIGEST, Octets::room(16)), -1);
    EXPECT_THAT(bridge.sw.calls, IsEmpty());
}

TEST(General, GetOfOctetsSetsTheLengthWhateverItWas) {
    TestBridge bridge;
    Octets octets = Octets::room(16);
    octets.value()->len = 0;
    EXPECT_EQ(mstpGeneralGetApi(0, MSTP_GEN_CFGIDDIGEST, octets.value()), 0);
    EXPECT_THAT(octets.bytes(), ElementsAreArray(bridge.bridge->cfgIdDigest));
}

TEST(General, BridgeAddressIsReadAndSet) {
    TestBridge bridge;
    EXPECT_EQ(set(MSTP_GEN_BRIDGEMAC, Octets({2, 4, 6, 8, 10, 12})), 0);
    EXPECT_THAT(bridge.bridge->bridgeMac, ElementsAre(2, 4, 6, 8, 10, 12));
    EXPECT_TRUE(willReset(bridge));
    Octets octets = Octets::room(20);
    EXPECT_EQ(mstpGeneralGetApi(0, MSTP_GEN_BRIDGEMAC, octets.value()), 0);
    EXPECT_THAT(octets.bytes(), ElementsAre(2, 4, 6, 8, 10, 12));
}

TEST(General, ShortBridgeAddressReplacesOnlyItsBytes) {
    TestBridge bridge;
    EXPECT_EQ(set(MSTP_GEN_BRIDGEMAC, Octets({0xAA, 0xBB})), 0);
    EXPECT_THAT(bridge.bridge->bridgeMac, ElementsAre(0xAA, 0xBB, 0x22, 0x33, 0x44, 0x55));
}

TEST(General, LongBridgeAddressCountsWithItsFirstSixBytes) {
    TestBridge bridge;
    EXPECT_EQ(set(MSTP_GEN_BRIDGEMAC, Octets({1, 2, 3, 4, 5, 6, 7, 8})), 0);
    EXPECT_THAT(bridge.bridge->bridgeMac, ElementsAre(1, 2, 3, 4, 5, 6));
}

// ---- standby unit

TEST(General, MirroredBpduIsOfferedThenTakenIn) {
    TestBridge bridge;
    EXPECT_EQ(set(MSTP_GEN_SYNC, Octets::room(11)), -1);
    EXPECT_EQ(bridge.sw.calls.size(), 1U);
    bridge.sw.results["kelHwScalarSync"] = 3;
    EXPECT_EQ(set(MSTP_GEN_SYNC, Octets::room(11)), 3);
}

/// Bridge 1 whose port 3 filters BPDUs, which leaves a trace of every one that arrives there.
class MirroredBpdu : public testing::Test {
  protected:
    MirroredBpdu() {
        bridge.addUpPort(3)->filtering = 1;
        bridge.sw.forget();
        bridge.bridge->event = IDLE;
    }

    /// A topology change notification for port 3 of bridge 1.
    static Octets notification() {
        return Octets({0, 0, 0, 1, 0, 0, 0, 3, 0, 0, 0, 0, 0, 0, 0, 0x80});
    }
    bool arrived() const { return bridge.sw.traced("port port3 is bpdu filtering,drop any bpdu"); }

    TestBridge bridge;
};

TEST_F(MirroredBpdu, ReachesItsPort) {
    EXPECT_EQ(set(MSTP_GEN_SYNC, notification()), 0);
    EXPECT_TRUE(arrived());
}

TEST_F(MirroredBpdu, ReachesItsPortThroughTheSyncEntryToo) {
    EXPECT_EQ(sync(MSTP_GEN_SYNC, notification()), 0);
    EXPECT_TRUE(arrived());
}

TEST_F(MirroredBpdu, ThatThePlatformRefusesDoesNotReachItsPort) {
    bridge.sw.results["kelHwScalarSync"] = 3;
    EXPECT_EQ(set(MSTP_GEN_SYNC, notification()), 3);
    EXPECT_FALSE(arrived());
}

TEST_F(MirroredBpdu, ResetsNothing) {
    set(MSTP_GEN_SYNC, notification());
    EXPECT_EQ(bridge.bridge->event, IDLE);
}

// ---- fast VLAN map

TEST(General, FastMapListsReplaceTheOldOnesWhole) {
    TestBridge bridge;
    memset(bridge.bridge->fastVlans, 0xFF, sizeof bridge.bridge->fastVlans);
    memset(bridge.bridge->fastXsts, 0xFF, sizeof bridge.bridge->fastXsts);
    EXPECT_EQ(set(MSTP_GEN_FASTMAPSETVLANS, Octets({0x12, 0x34})), 0);
    EXPECT_EQ(set(MSTP_GEN_FASTMAPSETXSTS, Octets({0xE0})), 0);
    EXPECT_EQ(bitListUsedBytes(bridge.bridge->fastVlans, 512), 2U);
    EXPECT_EQ(bridge.bridge->fastVlans[1], 0x34);
    EXPECT_THAT(bridge.bridge->fastXsts, ElementsAre(0xE0, 0, 0, 0, 0, 0, 0, 0));
}

TEST(General, FastMapListsLongerThanTheirFieldsAreRefusedUnoffered) {
    TestBridge bridge;
    EXPECT_EQ(set(MSTP_GEN_FASTMAPSETVLANS, Octets::room(513)), -1);
    EXPECT_EQ(set(MSTP_GEN_FASTMAPSETXSTS, Octets::room(9)), -1);
    EXPECT_THAT(bridge.sw.calls, IsEmpty());
    EXPECT_EQ(set(MSTP_GEN_FASTMAPSETVLANS, Octets::room(512)), 0);
    EXPECT_EQ(set(MSTP_GEN_FASTMAPSETXSTS, Octets::room(8)), 0);
}

TEST(General, FastMapRemovesEveryPortAndLeavesTheMapToTheLoop) {
    TestBridge bridge;
    bridge.addUpPort(3);
    bridge.addUpPort(4);
    bridge.bridge->event = MSTP_EVENT_REINIT | MSTP_EVENT_TICK;
    EXPECT_EQ(set(MSTP_GEN_FASTMAPENABLE, 1), 0);
    EXPECT_EQ(bridge.bridge->portCount, 0);
    EXPECT_EQ(bridge.bridge->isFastMapVlan, 1);
    EXPECT_EQ(gMstp.busyDoing, MSTP_BUSY_FASTMAPVLAN);
    EXPECT_EQ(bridge.bridge->event, MSTP_EVENT_FASTMAP_DONE);
}

TEST(General, FastMapDisablesEachPortBeforeItDeletesIt) {
    TestBridge bridge;
    bridge.addUpPort(3);
    bridge.addUpPort(4);
    bridge.trace(MSTP_DEBUG_OBJECT | MSTP_DEBUG_ACTIVITY);
    set(MSTP_GEN_FASTMAPENABLE, 1);
    EXPECT_THAT(objects::portRemovals(bridge),
                ElementsAre("mstp port port3 disable", "bridge 1 del port port3",
                            "mstp port port4 disable", "bridge 1 del port port4"));
}

TEST(General, FastMapWakesTheLoop) {
    TestBridge bridge;
    timerStop(&gMstp.timerList, &gMstp.msgTimer);
    set(MSTP_GEN_FASTMAPENABLE, 1);
    EXPECT_TRUE(objects::armed(gMstp.msgTimer));
}

TEST(General, FastMapIsOfferedAsANumberWithItsFlag) {
    TestBridge bridge;
    set(MSTP_GEN_FASTMAPENABLE, 1);
    EXPECT_THAT(bridge.sw.calls,
                ElementsAre("kelHwScalarSync index=0 attribute=0x50024 value=1 flag=0x3"));
}

TEST(General, FastMapIsMadeThroughTheSyncEntryToo) {
    TestBridge bridge;
    uint32_t value = 1;
    EXPECT_EQ(mstpGeneralSyncApi(0, MSTP_GEN_FASTMAPENABLE, &value), 0);
    EXPECT_THAT(bridge.sw.calls,
                ElementsAre("kelHwScalarSync index=0 attribute=0x50024 value=1 flag=0x1"));
    EXPECT_EQ(bridge.bridge->event, MSTP_EVENT_FASTMAP_DONE);
}

TEST(General, FastMapNeedsNoValue) {
    TestBridge bridge;
    EXPECT_EQ(mstpGeneralSetApi(0, MSTP_GEN_FASTMAPENABLE, nullptr), 0);
    EXPECT_EQ(bridge.bridge->isFastMapVlan, 1);
}

TEST(General, FastMapDealsTheVlansOverTheInstances) {
    TestBridge bridge;
    set(MSTP_GEN_FASTMAPSETVLANS, Octets::vlans({1, 2, 3, 4, 5, 6}, 1));
    set(MSTP_GEN_FASTMAPSETXSTS, Octets({0xE0}));
    set(MSTP_GEN_FASTMAPENABLE, 1);
    bridge.advance(2);
    EXPECT_EQ(sim::vlanText(bridge.xst(1)->vlanList, bridge.xst(1)->vlanLen), "2,5");
    EXPECT_EQ(sim::vlanText(bridge.xst(2)->vlanList, bridge.xst(2)->vlanLen), "3,6");
    EXPECT_EQ(gMstp.busyDoing, MSTP_BUSY_NULL);
}

TEST(General, DaemonIsBusyWhileAFastMapIsPending) {
    TestBridge bridge;
    EXPECT_EQ(mstpGetBusyErrno(), 0);
    set(MSTP_GEN_FASTMAPENABLE, 1);
    EXPECT_EQ(mstpGetBusyErrno(), -1);
    bridge.advance(2);
    EXPECT_EQ(mstpGetBusyErrno(), 0);
}

TEST(General, RefusedFastMapLeavesThePortsAlone) {
    TestBridge bridge;
    bridge.addUpPort(3);
    bridge.sw.results["kelHwScalarSync"] = 4;
    EXPECT_EQ(set(MSTP_GEN_FASTMAPENABLE, 1), 4);
    EXPECT_EQ(bridge.bridge->portCount, 1);
    EXPECT_EQ(gMstp.busyDoing, MSTP_BUSY_NULL);
}

} // namespace
