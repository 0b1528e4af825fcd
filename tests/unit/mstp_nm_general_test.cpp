// Attributes of the bridge.

#include "mstp_nm.h"

#include <functional>

#include "management_values.h"
#include "mstp/enums.h"
#include "mstp_port_timers_state_machine.h"
#include "platform/hardware.h"
#include "test_bridge.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr uint32_t INDEX = 7;

bool willReset(const tMstpBridge* bridge) {
    return (bridge->event & MSTP_EVENT_REINIT) != 0;
}

std::string offer(uint32_t attribute, const std::string& value, uint32_t flag) {
    char text[64];
    snprintf(text, sizeof text, "kelHwScalarSync index=%u attribute=0x%x value=", INDEX,
             0x50000 + attribute);
    char flagText[32];
    snprintf(flagText, sizeof flagText, " flag=0x%x", flag);
    return text + value + flagText;
}

// ---- numbers that can be set

struct SettableRow {
    const char* name;
    uint32_t attribute;
    uint32_t set;
    std::function<uint32_t(const tMstpBridge*)> field;
    uint32_t stored;
    uint32_t get;
    bool resets;
};

const SettableRow SETTABLE[] = {
    {"MaxAge", MSTP_GEN_BRIDGEMAXAGE, 2599, [](auto* b) { return b->bridgeMaxAge; }, 25, 2500,
     true},
    {"HelloTime", MSTP_GEN_BRIDGEHELLOTIME, 250, [](auto* b) { return b->bridgeHelloTime; }, 2, 200,
     true},
    {"ForwardDelay", MSTP_GEN_BRIDGEFORWARDDELAY, 2100,
     [](auto* b) { return b->bridgeForwardDelay; }, 21, 2100, true},
    {"MaxHops", MSTP_GEN_BRIDGEMAXHOPS, 33, [](auto* b) { return b->bridgeMaxHops; }, 33, 33, true},
    {"HoldTime", MSTP_GEN_HOLDTIME, 9, [](auto* b) { return b->txHoldCount; }, 9, 9, false},
    {"MigrateTime", MSTP_GEN_MIGRATETIME, 450, [](auto* b) { return b->migrateTime; }, 4, 400,
     false},
    {"PathCostDefault", MSTP_GEN_PATHCOSTDEFAULT, 7, [](auto* b) { return b->pathCostDefault; }, 7,
     7, true},
    {"ForceVersion", MSTP_GEN_FORCEVERSION, 2, [](auto* b) { return b->forceVersion; }, 2, 2, true},
    {"FormatSelector", MSTP_GEN_CFGIDFMTSEL, 5, [](auto* b) { return b->cfgIdFmtSel; }, 5, 5, true},
    {"RevisionLevel", MSTP_GEN_CFGIDREVLEVEL, 0xABCD, [](auto* b) { return b->cfgIdRevLevel; },
     0xABCD, 0xABCD, true},
    {"BridgeType", MSTP_GEN_BRIDGETYPE, 1, [](auto* b) { return b->type; }, 1, 1, true},
    {"DebugPriority", MSTP_GEN_DEBUGPRIORITY, 6, [](auto*) { return gMstp.debugPriority; }, 6, 6,
     false},
    {"DebugAction", MSTP_GEN_DEBUGACTION, 4, [](auto*) { return gMstp.debugAction; }, 4, 4, false},
    {"TrapOn", MSTP_GEN_TRAP, 1, [](auto*) { return gMstp.trap; }, 1, 1, false},
    {"BpduGuardOn", MSTP_GEN_BPDUGUARD, 1, [](auto* b) { return b->bpduGuard; }, 1, 1, false},
    {"LoopProtectionOn", MSTP_GEN_LOOPPROTECTION, 1, [](auto* b) { return b->loopProtection; }, 1,
     1, false},
    {"TcProtectionOn", MSTP_GEN_TCPROTECTON, 1, [](auto* b) { return b->tcProtection; }, 1, 1,
     false},
    {"TcHoldOffTimer", MSTP_GEN_TCHOLDOFFTIMER, 30099, [](auto* b) { return b->tcHoldOffTime; },
     300, 30000, false},
    {"P2pDetectionOff", MSTP_GEN_P2PDETECTION, 2, [](auto* b) { return b->p2pDetection; }, 0, 2,
     false},
    {"RcvTcFlushArpOff", MSTP_GEN_RCVTCFLUSHARP, 2, [](auto*) { return gMstp.onlyFlushMac; }, 1, 2,
     false},
};

class GeneralSettable : public testing::TestWithParam<SettableRow> {
  protected:
    TestBridge bridge;
    uint32_t value = GetParam().set;
    uint32_t attribute = GetParam().attribute;
};

TEST_P(GeneralSettable, SetIsStored) {
    EXPECT_EQ(mstpGeneralSetApi(INDEX, attribute, &value), 0);
    EXPECT_EQ(GetParam().field(bridge.bridge), GetParam().stored);
}

TEST_P(GeneralSettable, SyncIsStoredLikeASet) {
    EXPECT_EQ(mstpGeneralSyncApi(INDEX, attribute, &value), 0);
    EXPECT_EQ(GetParam().field(bridge.bridge), GetParam().stored);
}

TEST_P(GeneralSettable, GetReadsWhatWasSet) {
    mstpGeneralSetApi(INDEX, attribute, &value);
    uint32_t read = 0xDEADBEEF;
    EXPECT_EQ(mstpGeneralGetApi(INDEX, attribute, &read), 0);
    EXPECT_EQ(read, GetParam().get);
}

TEST_P(GeneralSettable, SetIsOfferedToThePlatformWithFlag3) {
    mstpGeneralSetApi(INDEX, attribute, &value);
    EXPECT_EQ(bridge.sw.calls.at(0), offer(attribute, std::to_string(value), 3));
}

TEST_P(GeneralSettable, SyncIsOfferedToThePlatformWithFlag1) {
    mstpGeneralSyncApi(INDEX, attribute, &value);
    EXPECT_EQ(bridge.sw.calls.at(0), offer(attribute, std::to_string(value), 1));
}

TEST_P(GeneralSettable, ResetFollowsOnlyWhereMachinesDependOnIt) {
    mstpGeneralSetApi(INDEX, attribute, &value);
    EXPECT_EQ(willReset(bridge.bridge), GetParam().resets);
}

TEST_P(GeneralSettable, PlatformRefusalIsPassedBackUnchanged) {
    bridge.sw.results["kelHwScalarSync"] = 77;
    EXPECT_EQ(mstpGeneralSetApi(INDEX, attribute, &value), 77);
}

TEST_P(GeneralSettable, PlatformRefusalLeavesTheFieldAndTheMachinesAlone) {
    const uint32_t before = GetParam().field(bridge.bridge);
    const uint32_t eventBefore = bridge.bridge->event;
    bridge.sw.results["kelHwScalarSync"] = -5;
    mstpGeneralSetApi(INDEX, attribute, &value);
    EXPECT_EQ(GetParam().field(bridge.bridge), before);
    EXPECT_EQ(bridge.bridge->event, eventBefore);
}

TEST_P(GeneralSettable, SetWithoutAValueIsRefusedBeforeItIsOffered) {
    EXPECT_EQ(mstpGeneralSetApi(INDEX, attribute, nullptr), -1);
    EXPECT_THAT(bridge.sw.calls, IsEmpty());
}

TEST_P(GeneralSettable, GetWithoutAValueIsRefused) {
    EXPECT_EQ(mstpGeneralGetApi(INDEX, attribute, nullptr), -1);
}

INSTANTIATE_TEST_SUITE_P(Attributes, GeneralSettable, testing::ValuesIn(SETTABLE), RowName());

// ---- switches, both ways

struct SwitchRow {
    const char* name;
    uint32_t attribute;
    std::function<uint32_t(const tMstpBridge*)> field;
};

const SwitchRow SWITCHES[] = {
    {"Trap", MSTP_GEN_TRAP, [](auto*) { return gMstp.trap; }},
    {"BpduGuard", MSTP_GEN_BPDUGUARD, [](auto* b) { return b->bpduGuard; }},
    {"LoopProtection", MSTP_GEN_LOOPPROTECTION, [](auto* b) { return b->loopProtection; }},
    {"TcProtection", MSTP_GEN_TCPROTECTON, [](auto* b) { return b->tcProtection; }},
    {"P2pDetection", MSTP_GEN_P2PDETECTION, [](auto* b) { return b->p2pDetection; }},
};

class GeneralSwitch : public testing::TestWithParam<SwitchRow> {
  protected:
    /// Sets the switch to one value after the other. @return what a get reads then
    uint32_t setTwice(uint32_t first, uint32_t second) {
        EXPECT_EQ(mstpGeneralSetApi(INDEX, GetParam().attribute, &first), 0);
        EXPECT_EQ(mstpGeneralSetApi(INDEX, GetParam().attribute, &second), 0);
        uint32_t read = 0xDEADBEEF;
        EXPECT_EQ(mstpGeneralGetApi(INDEX, GetParam().attribute, &read), 0);
        return read;
    }
    TestBridge bridge;
};

TEST_P(GeneralSwitch, SwitchedOffReadsFalse) {
    EXPECT_EQ(setTwice(MSTP_TRUE, MSTP_FALSE), MSTP_FALSE);
    EXPECT_EQ(GetParam().field(bridge.bridge), 0U);
}

TEST_P(GeneralSwitch, SwitchedOnReadsTrue) {
    EXPECT_EQ(setTwice(MSTP_FALSE, MSTP_TRUE), MSTP_TRUE);
    EXPECT_EQ(GetParam().field(bridge.bridge), 1U);
}

INSTANTIATE_TEST_SUITE_P(Attributes, GeneralSwitch, testing::ValuesIn(SWITCHES), RowName());

// ---- numbers that can only be read

struct ReadOnlyRow {
    const char* name;
    uint32_t attribute;
    uint32_t expected;
};

const ReadOnlyRow READ_ONLY[] = {
    {"MaxAge", MSTP_GEN_MAXAGE, 1900},
    {"HelloTime", MSTP_GEN_HELLOTIME, 300},
    {"ForwardDelay", MSTP_GEN_FORWARDDELAY, 1600},
    {"RemainingHops", MSTP_GEN_REMAININGHOPS, 17},
    {"Capable", MSTP_GEN_CAPABLE, MSTP_CAPABLE_DOT1Q},
    {"MaxMstNum", MSTP_GEN_MAXMSTNUM, 7},
    {"MaxMstId", MSTP_GEN_MAXMSTID, 6},
    {"CurrentMstNumCountsInstancesOutOfService", MSTP_GEN_CURRENTMSTNUM, 3},
    {"CurrentMaxMstIdIsTheThirdByteOfTheAddress", MSTP_GEN_CURRENTMAXMSTID, 0x22},
};

class GeneralReadOnly : public testing::TestWithParam<ReadOnlyRow> {
  protected:
    GeneralReadOnly() {
        bridge.addInstance(3);
        mstpXstAdd(bridge.bridge, 4)->rowStatus = MSTP_NOTINSERVICE;
        tMstpTime& times = bridge.xst(0)->rootTimes;
        times.maxAge = 19;
        times.helloTime = 3;
        times.forwardDelay = 16;
        times.remainingHops = 17;
        bridge.sw.forget();
    }
    TestBridge bridge{TestBridgeOptions{.xstLimit = 7, .portLimit = 9}};
};

TEST_P(GeneralReadOnly, GetGivesTheValueInForce) {
    uint32_t read = 0xDEADBEEF;
    EXPECT_EQ(mstpGeneralGetApi(0, GetParam().attribute, &read), 0);
    EXPECT_EQ(read, GetParam().expected);
}

TEST_P(GeneralReadOnly, SetIsRefusedWithoutBeingOffered) {
    uint32_t value = 1;
    EXPECT_EQ(mstpGeneralSetApi(0, GetParam().attribute, &value), -1);
    EXPECT_EQ(mstpGeneralSyncApi(0, GetParam().attribute, &value), -1);
    EXPECT_THAT(bridge.sw.calls, IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Attributes, GeneralReadOnly, testing::ValuesIn(READ_ONLY), RowName());

TEST(General, RootTimesAreRefusedWhileThereIsNoCist) {
    TestBridge bridge(TestBridgeOptions{.withCist = false});
    uint32_t read = 5;
    for (uint32_t attribute = MSTP_GEN_MAXAGE; attribute <= MSTP_GEN_REMAININGHOPS; attribute++) {
        EXPECT_EQ(mstpGeneralGetApi(0, attribute, &read), -1);
    }
}

// ---- unknown attributes, no bridge

class GeneralUnknown : public testing::TestWithParam<uint32_t> {};

TEST_P(GeneralUnknown, GetAndSetAreRefusedWithoutBeingOffered) {
    TestBridge bridge;
    uint32_t value = 1;
    EXPECT_EQ(mstpGeneralGetApi(0, GetParam(), &value), -1);
    EXPECT_EQ(mstpGeneralSetApi(0, GetParam(), &value), -1);
    EXPECT_THAT(bridge.sw.calls, IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Numbers, GeneralUnknown, testing::Values(0, 37, 39, 100, 0xFFFFFFFF));

TEST(General, WithoutBridge1EveryEntryIsRefused) {
    TestBridge bridge;
    mstpBridgeDelete(bridge.bridge);
    bridge.sw.forget();
    uint32_t value = 1;
    EXPECT_EQ(mstpGeneralGetApi(0, MSTP_GEN_DEBUG, &value), -1);
    EXPECT_EQ(mstpGeneralSetApi(0, MSTP_GEN_DEBUG, &value), -1);
    EXPECT_EQ(mstpGeneralSyncApi(0, MSTP_GEN_HOLDTIME, &value), -1);
    EXPECT_THAT(bridge.sw.calls, IsEmpty());
}

TEST(General, OnlyNameDigestAddressAndMapsAreOctets) {
    std::vector<uint32_t> octets;
    for (uint32_t attribute = 0; attribute < 45; attribute++) {
        if (mstpGeneralIsOctets(attribute)) {
            octets.push_back(attribute);
        }
    }
    EXPECT_THAT(octets, ElementsAre(15, 16, 23, 33, 34, 35));
}

class GeneralWriteOnly : public testing::TestWithParam<uint32_t> {};

TEST_P(GeneralWriteOnly, GetIsRefused) {
    TestBridge bridge;
    Octets octets = Octets::room(600);
    EXPECT_EQ(mstpGeneralGetApi(0, GetParam(), octets.value()), -1);
    EXPECT_THAT(octets.buffer(), testing::Each(0xEE));
}

INSTANTIATE_TEST_SUITE_P(Numbers, GeneralWriteOnly, testing::Range(33U, 38U));

} // namespace
