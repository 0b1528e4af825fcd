// Attributes of ports.

#include <functional>

#include "management_values.h"
#include "mstp/enums.h"
#include "mstp_nm.h"
#include "mstp_port_timers_state_machine.h"
#include "test_bridge.h"
#include "test_objects.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr uint32_t UNIT = 5;
constexpr uint32_t ABSENT = 9;
constexpr uint32_t IDLE = 0;

void arm(tTimerNode* timer) {
    mstpRestartTimer(
        timer, 1000, [](void*, void*, void*) {}, nullptr);
}

int32_t set(uint32_t attribute, uint32_t value, uint32_t unit = UNIT) {
    return mstpPortSetApi(unit, attribute, &value);
}

uint32_t get(uint32_t attribute, uint32_t unit = UNIT) {
    uint32_t value = 0xDEADBEEF;
    EXPECT_EQ(mstpPortGetApi(unit, attribute, &value), 0);
    return value;
}

int32_t sync(uint32_t attribute, uint32_t value, uint32_t unit = UNIT) {
    return mstpPortSyncApi(unit, attribute, &value);
}

std::string offer(uint32_t attribute, uint32_t value, uint32_t flag, uint32_t unit = UNIT) {
    char text[96];
    snprintf(text, sizeof text, "kelHwIfSync unit=%u attribute=0x%x value=%u flag=0x%x", unit,
             0x4040000 + attribute, value, flag);
    return text;
}

/// A bridge with one port, of which nothing is recorded or posted yet.
class PortManagement : public testing::Test {
  protected:
    PortManagement() {
        port = bridge.addUpPort(UNIT);
        bridge.sw.forget();
        bridge.bridge->event = IDLE;
        timerStop(&gMstp.timerList, &gMstp.msgTimer);
    }

    static bool posted() { return objects::armed(gMstp.msgTimer); }

    TestBridge bridge;
    tMstpPort* port;
};

// ---- attributes that can be set

struct SettableRow {
    const char* name;
    uint32_t attribute;
    uint32_t set;
    std::function<uint32_t(const tMstpPort*)> field;
    uint32_t stored;
    uint32_t get;
};

const SettableRow SETTABLE[] = {
    {"AdminMacEnable", MSTP_PORT_ADMINMACENABLE, 2, [](auto* p) { return p->adminMacEnabled; }, 2,
     2},
    {"AdminPathCost", MSTP_PORT_ADMINPATHCOST, 123456,
     [](auto* p) { return mstpCistPort(p)->adminPathCost; }, 123456, 123456},
    {"AdminEdgeOn", MSTP_PORT_ADMINEDGE, 1, [](auto* p) { return p->adminEdge; }, 1, 1},
    {"AdminPointToPointOff", MSTP_PORT_ADMINPOINTTOPOINT, 2,
     [](auto* p) { return p->adminPointToPointMAC; }, 0, 2},
    {"ProtocolMigration", MSTP_PORT_PROTOCOLMIGRATION, 1, [](auto* p) { return p->mcheck; }, 1, 1},
    {"SnoopingEnable", MSTP_PORT_BPDUSNOOPINGENABLE, 5, [](auto* p) { return p->snoopingEnable; },
     5, 5},
};

class PortSettable : public PortManagement, public testing::WithParamInterface<SettableRow> {
  protected:
    uint32_t value = GetParam().set;
    uint32_t attribute = GetParam().attribute;
};

TEST_P(PortSettable, SetIsStored) {
    EXPECT_EQ(mstpPortSetApi(UNIT, attribute, &value), 0);
    EXPECT_EQ(GetParam().field(port), GetParam().stored);
}

TEST_P(PortSettable, SyncIsStoredLikeASet) {
    EXPECT_EQ(mstpPortSyncApi(UNIT, attribute, &value), 0);
    EXPECT_EQ(GetParam().field(port), GetParam().stored);
}

TEST_P(PortSettable, GetReadsWhatWasSet) {
    mstpPortSetApi(UNIT, attribute, &value);
    EXPECT_EQ(get(attribute), GetParam().get);
}

TEST_P(PortSettable, SetIsOfferedToThePlatformWithFlag3) {
    mstpPortSetApi(UNIT, attribute, &value);
    EXPECT_EQ(bridge.sw.calls.at(0), offer(attribute, value, 3));
}

TEST_P(PortSettable, SyncIsOfferedToThePlatformWithFlag1) {
    mstpPortSyncApi(UNIT, attribute, &value);
    EXPECT_EQ(bridge.sw.calls.at(0), offer(attribute, value, 1));
}

TEST_P(PortSettable, PlatformRefusalIsPassedBackAndNothingChanges) {
    const std::vector<uint8_t> before = bytesOf(*port);
    const std::vector<uint8_t> cistBefore = bytesOf(*mstpCistPort(port));
    bridge.sw.results["kelHwIfSync"] = -8;
    EXPECT_EQ(mstpPortSetApi(UNIT, attribute, &value), -8);
    EXPECT_EQ(bytesOf(*port), before);
    EXPECT_EQ(bytesOf(*mstpCistPort(port)), cistBefore);
    EXPECT_EQ(bridge.bridge->event, IDLE);
}

TEST_P(PortSettable, SetWithoutAValueIsRefusedUnoffered) {
    EXPECT_EQ(mstpPortSetApi(UNIT, attribute, nullptr), -1);
    EXPECT_EQ(mstpPortGetApi(UNIT, attribute, nullptr), -1);
    EXPECT_THAT(bridge.sw.calls, IsEmpty());
}

TEST_P(PortSettable, UnknownPortIsRefusedUnoffered) {
    EXPECT_EQ(mstpPortSetApi(ABSENT, attribute, &value), -1);
    EXPECT_EQ(mstpPortGetApi(ABSENT, attribute, &value), -1);
    EXPECT_THAT(bridge.sw.calls, IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Attributes, PortSettable, testing::ValuesIn(SETTABLE), RowName());

// ---- switches, both ways

struct SwitchRow {
    const char* name;
    uint32_t attribute;
    std::function<uint32_t(const tMstpPort*)> field;
};

const SwitchRow SWITCHES[] = {
    {"AdminEdge", MSTP_PORT_ADMINEDGE, [](auto* p) { return p->adminEdge; }},
    {"AdminPointToPoint", MSTP_PORT_ADMINPOINTTOPOINT,
     [](auto* p) { return p->adminPointToPointMAC; }},
    {"BpduFiltering", MSTP_PORT_BPDUFILTERING, [](auto* p) { return p->filtering; }},
};

class PortSwitch : public PortManagement, public testing::WithParamInterface<SwitchRow> {};

TEST_P(PortSwitch, SwitchedOffReadsFalse) {
    set(GetParam().attribute, MSTP_TRUE);
    EXPECT_EQ(set(GetParam().attribute, MSTP_FALSE), 0);
    EXPECT_EQ(GetParam().field(port), 0U);
    EXPECT_EQ(get(GetParam().attribute), MSTP_FALSE);
}

TEST_P(PortSwitch, SwitchedOnReadsTrue) {
    set(GetParam().attribute, MSTP_FALSE);
    EXPECT_EQ(set(GetParam().attribute, MSTP_TRUE), 0);
    EXPECT_EQ(GetParam().field(port), 1U);
    EXPECT_EQ(get(GetParam().attribute), MSTP_TRUE);
}

INSTANTIATE_TEST_SUITE_P(Attributes, PortSwitch, testing::ValuesIn(SWITCHES), RowName());

// ---- attributes that can only be read

struct ReadOnlyRow {
    const char* name;
    uint32_t attribute;
    std::function<void(tMstpPort*)> prepare;
    uint32_t expected;
};

const ReadOnlyRow READ_ONLY[] = {
    {"OperMacEnable", MSTP_PORT_OPERMACENABLE, [](auto* p) { p->operMacEnabled = 7; }, 7},
    {"OperMacEnableZero", MSTP_PORT_OPERMACENABLE, [](auto* p) { p->operMacEnabled = 0; }, 0},
    {"UpTime", MSTP_PORT_UPTIME, [](auto* p) { p->upTime = 4711; }, 4711},
    {"OperPathCost", MSTP_PORT_OPERPATHCOST,
     [](auto* p) {
         p->operPathCost = 111;
         mstpCistPort(p)->adminPathCost = 222;
         mstpCistPort(p)->pathCost = 333;
         mstpCistPort(p)->operPathCost = 444;
     },
     444},
    {"OperEdgeOn", MSTP_PORT_OPEREDGE, [](auto* p) { p->operEdge = 1; }, 1},
    {"OperEdgeOff", MSTP_PORT_OPEREDGE, [](auto* p) { p->operEdge = 0; }, 2},
    {"AutoEdgeOn", MSTP_PORT_AUTOEDGE, [](auto* p) { p->autoEdge = 1; }, 1},
    {"AutoEdgeOff", MSTP_PORT_AUTOEDGE, [](auto* p) { p->autoEdge = 0; }, 2},
    {"OperPointToPointOn", MSTP_PORT_OPERPOINTTOPOINT, [](auto* p) { p->operPointToPointMAC = 1; },
     1},
    {"OperPointToPointOff", MSTP_PORT_OPERPOINTTOPOINT, [](auto* p) { p->operPointToPointMAC = 0; },
     2},
    {"HelloTime", MSTP_PORT_HELLOTIME, [](auto* p) { mstpCistPort(p)->portTimes.helloTime = 3; },
     300},
    {"RxTcn", MSTP_PORT_RXTCNBPDUCOUNTER, [](auto* p) { p->rxTcnBpdu = 15; }, 15},
    {"RxConfig", MSTP_PORT_RXCFGBPDUCOUNTER, [](auto* p) { p->rxCfgBpdu = 16; }, 16},
    {"RxRst", MSTP_PORT_RXRSTBPDUCOUNTER, [](auto* p) { p->rxRstBpdu = 17; }, 17},
    {"RxMst", MSTP_PORT_RXMSTBPDUCOUNTER, [](auto* p) { p->rxMstBpdu = 18; }, 18},
    {"TxTcn", MSTP_PORT_TXTCNBPDUCOUNTER, [](auto* p) { p->txTcnBpdu = 19; }, 19},
    {"TxConfig", MSTP_PORT_TXCFGBPDUCOUNTER, [](auto* p) { p->txCfgBpdu = 20; }, 20},
    {"TxRst", MSTP_PORT_TXRSTBPDUCOUNTER, [](auto* p) { p->txRstBpdu = 21; }, 21},
    {"TxMst", MSTP_PORT_TXMSTBPDUCOUNTER, [](auto* p) { p->txMstBpdu = 0xFFFFFFFF; }, 0xFFFFFFFF},
    {"ProtectionNone", MSTP_PORT_PROTECTION, [](auto*) {}, 0},
    {"ProtectionBpduGuard", MSTP_PORT_PROTECTION, [](auto* p) { arm(&p->bpduGuardTimer); }, 1},
};

class PortReadOnly : public PortManagement, public testing::WithParamInterface<ReadOnlyRow> {};

TEST_P(PortReadOnly, GetGivesTheValueInForce) {
    GetParam().prepare(port);
    EXPECT_EQ(get(GetParam().attribute), GetParam().expected);
}

TEST_P(PortReadOnly, SetIsRefusedWithoutBeingOffered) {
    uint32_t value = 1;
    EXPECT_EQ(mstpPortSetApi(UNIT, GetParam().attribute, &value), -1);
    EXPECT_EQ(mstpPortSyncApi(UNIT, GetParam().attribute, &value), -1);
    EXPECT_THAT(bridge.sw.calls, IsEmpty());
    EXPECT_EQ(bridge.bridge->event, IDLE);
}

TEST_P(PortReadOnly, GetOfAnUnknownPortIsRefused) {
    uint32_t value = 1;
    EXPECT_EQ(mstpPortGetApi(ABSENT, GetParam().attribute, &value), -1);
}

INSTANTIATE_TEST_SUITE_P(Attributes, PortReadOnly, testing::ValuesIn(READ_ONLY), RowName());

class PortUnknown : public PortManagement, public testing::WithParamInterface<uint32_t> {};

TEST_P(PortUnknown, GetAndSetAreRefusedWithoutBeingOffered) {
    uint32_t value = 1;
    EXPECT_EQ(mstpPortGetApi(UNIT, GetParam(), &value), -1);
    EXPECT_EQ(mstpPortSetApi(UNIT, GetParam(), &value), -1);
    EXPECT_THAT(bridge.sw.calls, IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Numbers, PortUnknown, testing::Values(0, 1, 27, 0xFFFFFFFF));

TEST_F(PortManagement, WithoutBridge1EveryEntryIsRefused) {
    mstpBridgeDelete(bridge.bridge);
    bridge.sw.forget();
    uint32_t value = 2;
    EXPECT_EQ(mstpPortGetApi(UNIT, MSTP_PORT_ADMINNONSTP, &value), -1);
    EXPECT_EQ(mstpPortSetApi(UNIT, MSTP_PORT_ADMINNONSTP, &value), -1);
    EXPECT_EQ(mstpPortSyncApi(UNIT, MSTP_PORT_BPDUFILTERING, &value), -1);
    EXPECT_THAT(bridge.sw.calls, IsEmpty());
}

TEST_F(PortManagement, NoAttributeIsOctets) {
    for (uint32_t attribute = 0; attribute < 30; attribute++) {
        EXPECT_FALSE(mstpPortIsOctets(attribute));
    }
}

// ---- what a set brings about

TEST_F(PortManagement, PathCostInitialisesThePort) {
    port->rxMstBpdu = 7;
    EXPECT_EQ(set(MSTP_PORT_ADMINPATHCOST, 99), 0);
    EXPECT_EQ(port->rxMstBpdu, 0U);
    EXPECT_EQ(mstpCistPort(port)->pathCost, 99U);
}

TEST_F(PortManagement, AdminEdgeInitialisesThePortAsEdge) {
    port->rxMstBpdu = 7;
    EXPECT_EQ(set(MSTP_PORT_ADMINEDGE, MSTP_TRUE), 0);
    EXPECT_EQ(port->rxMstBpdu, 0U);
    EXPECT_EQ(port->operEdge, 1);
}

TEST_F(PortManagement, AdminPointToPointWaitsForTheNextInitialisation) {
    EXPECT_EQ(set(MSTP_PORT_ADMINPOINTTOPOINT, MSTP_FALSE), 0);
    EXPECT_EQ(port->operPointToPointMAC, 1);
    EXPECT_EQ(bridge.bridge->event, IDLE);
}

TEST_F(PortManagement, FilteringIsSetWithoutThePlatform) {
    bridge.sw.results["kelHwIfSync"] = 5;
    EXPECT_EQ(set(MSTP_PORT_BPDUFILTERING, MSTP_TRUE), 0);
    EXPECT_EQ(port->filtering, 1);
    EXPECT_THAT(bridge.sw.calls, IsEmpty());
}

TEST_F(PortManagement, FilteringIsSyncedWithoutThePlatformToo) {
    bridge.sw.results["kelHwIfSync"] = 5;
    EXPECT_EQ(sync(MSTP_PORT_BPDUFILTERING, MSTP_TRUE), 0);
    EXPECT_EQ(port->filtering, 1);
    EXPECT_THAT(bridge.sw.calls, IsEmpty());
}

TEST_F(PortManagement, SnoopingIsTheNumberThatWasSet) {
    for (const uint32_t value : {1U, 2U, 0U}) {
        EXPECT_EQ(set(MSTP_PORT_BPDUSNOOPINGENABLE, value), 0);
        EXPECT_EQ(port->snoopingEnable, value);
        EXPECT_EQ(get(MSTP_PORT_BPDUSNOOPINGENABLE), value);
    }
}

TEST_F(PortManagement, SnoopingDoesNotInitialiseThePort) {
    port->rxMstBpdu = 7;
    set(MSTP_PORT_BPDUSNOOPINGENABLE, 1);
    EXPECT_EQ(port->rxMstBpdu, 7U);
    EXPECT_EQ(bridge.bridge->event, IDLE);
}

// ---- membership of the bridge

TEST_F(PortManagement, NonStpFalseOnAnInterfaceThatIsNoPortAddsIt) {
    bridge.sw.add(ABSENT);
    EXPECT_EQ(set(MSTP_PORT_ADMINNONSTP, MSTP_FALSE, ABSENT), 0);
    tMstpPort* added = bridge.port(ABSENT);
    ASSERT_NE(added, nullptr);
    EXPECT_EQ(added->portEnabled, 1);
    EXPECT_EQ(bridge.bridge->event, MSTP_EVENT_INIT_PORTS);
    EXPECT_EQ(get(MSTP_PORT_ADMINNONSTP, ABSENT), MSTP_FALSE);
}

TEST_F(PortManagement, AddedPortIsInitialisedByTheLoop) {
    bridge.sw.add(ABSENT);
    set(MSTP_PORT_ADMINNONSTP, MSTP_FALSE, ABSENT);
    EXPECT_EQ(bridge.port(ABSENT)->inited, 0);
    bridge.advance(1);
    EXPECT_EQ(bridge.port(ABSENT)->inited, 1);
}

TEST_F(PortManagement, AddingAPortWakesTheLoop) {
    bridge.sw.add(ABSENT);
    set(MSTP_PORT_ADMINNONSTP, MSTP_FALSE, ABSENT);
    EXPECT_TRUE(posted());
}

TEST_F(PortManagement, AddingASecondPortDoesNotPostAgain) {
    bridge.bridge->event = MSTP_EVENT_INIT_PORTS;
    bridge.sw.add(ABSENT);
    set(MSTP_PORT_ADMINNONSTP, MSTP_FALSE, ABSENT);
    EXPECT_FALSE(posted());
}

TEST_F(PortManagement, PortThatCannotBeAddedIsRefused) {
    bridge.sw.add(ABSENT).protocolUse = std::vector<uint8_t>(18, 0xFF);
    EXPECT_EQ(set(MSTP_PORT_ADMINNONSTP, MSTP_FALSE, ABSENT), -1);
    EXPECT_EQ(bridge.port(ABSENT), nullptr);
    EXPECT_EQ(bridge.bridge->event, IDLE);
}

TEST_F(PortManagement, PortThatCannotBeAddedIsOfferedAllTheSame) {
    bridge.sw.add(ABSENT).protocolUse = std::vector<uint8_t>(18, 0xFF);
    set(MSTP_PORT_ADMINNONSTP, MSTP_FALSE, ABSENT);
    EXPECT_THAT(bridge.sw.calls, ElementsAre(offer(MSTP_PORT_ADMINNONSTP, 2, 3, ABSENT)));
}

TEST_F(PortManagement, SyncOfMembershipIsOfferedWithFlag1AndAddsAndRemovesPorts) {
    bridge.sw.add(ABSENT);
    EXPECT_EQ(sync(MSTP_PORT_ADMINNONSTP, MSTP_FALSE, ABSENT), 0);
    EXPECT_EQ(sync(MSTP_PORT_ADMINNONSTP, MSTP_TRUE), 0);
    EXPECT_NE(bridge.port(ABSENT), nullptr);
    EXPECT_EQ(bridge.port(UNIT), nullptr);
    EXPECT_EQ(bridge.sw.count(offer(MSTP_PORT_ADMINNONSTP, 2, 1, ABSENT)), 1U);
    EXPECT_EQ(bridge.sw.count(offer(MSTP_PORT_ADMINNONSTP, 1, 1)), 1U);
}

TEST_F(PortManagement, RemovedPortIsDisabledBeforeItIsDeleted) {
    bridge.trace(MSTP_DEBUG_OBJECT | MSTP_DEBUG_ACTIVITY);
    set(MSTP_PORT_ADMINNONSTP, MSTP_TRUE);
    EXPECT_THAT(objects::portRemovals(bridge),
                ElementsAre("mstp port port5 disable", "bridge 1 del port port5"));
}

TEST_F(PortManagement, NonStpTrueRemovesThePort) {
    EXPECT_EQ(set(MSTP_PORT_ADMINNONSTP, MSTP_TRUE), 0);
    EXPECT_EQ(bridge.port(UNIT), nullptr);
    EXPECT_EQ(bridge.bridge->portCount, 0);
}

TEST_F(PortManagement, EveryValueButFalseRemovesThePort) {
    EXPECT_EQ(set(MSTP_PORT_ADMINNONSTP, 0), 0);
    EXPECT_EQ(bridge.port(UNIT), nullptr);
}

TEST_F(PortManagement, NonStpFalseOnAPortChangesNothing) {
    EXPECT_EQ(set(MSTP_PORT_ADMINNONSTP, MSTP_FALSE), 0);
    EXPECT_EQ(bridge.port(UNIT), port);
    EXPECT_EQ(bridge.bridge->event, IDLE);
}

TEST_F(PortManagement, NonStpTrueOnAnInterfaceThatIsNoPortChangesNothing) {
    EXPECT_EQ(set(MSTP_PORT_ADMINNONSTP, MSTP_TRUE, ABSENT), 0);
    EXPECT_EQ(bridge.bridge->portCount, 1);
    EXPECT_EQ(bridge.bridge->event, IDLE);
}

TEST_F(PortManagement, NonStpOfAnInterfaceThatIsNoPortReadsTrue) {
    EXPECT_EQ(get(MSTP_PORT_ADMINNONSTP, ABSENT), MSTP_TRUE);
}

TEST_F(PortManagement, NonStpOfAPortThatIsNotEnabledReadsTrue) {
    port->portEnabled = 0;
    EXPECT_EQ(get(MSTP_PORT_ADMINNONSTP), MSTP_TRUE);
}

TEST_F(PortManagement, NonStpWithoutAValueIsRefused) {
    EXPECT_EQ(mstpPortGetApi(ABSENT, MSTP_PORT_ADMINNONSTP, nullptr), -1);
    EXPECT_EQ(mstpPortSetApi(ABSENT, MSTP_PORT_ADMINNONSTP, nullptr), -1);
}

TEST_F(PortManagement, MembershipIsOfferedToThePlatformAlsoForNoPort) {
    bridge.sw.add(ABSENT);
    bridge.sw.results["kelHwIfSync"] = 12;
    EXPECT_EQ(set(MSTP_PORT_ADMINNONSTP, MSTP_FALSE, ABSENT), 12);
    EXPECT_EQ(set(MSTP_PORT_ADMINNONSTP, MSTP_TRUE), 12);
    EXPECT_THAT(bridge.sw.calls,
                ElementsAre("kelHwIfSync unit=9 attribute=0x404000d value=2 flag=0x3",
                            "kelHwIfSync unit=5 attribute=0x404000d value=1 flag=0x3"));
    EXPECT_EQ(bridge.port(ABSENT), nullptr);
    EXPECT_EQ(bridge.port(UNIT), port);
}

// ---- protocol migration

TEST_F(PortManagement, ProtocolMigrationSensesAnewAndWakesTheMachines) {
    port->rcvdSTP = 1;
    EXPECT_EQ(set(MSTP_PORT_PROTOCOLMIGRATION, MSTP_TRUE), 0);
    EXPECT_EQ(port->fsmState[MSTP_PORT_PROTOCOL_MIGRATION_FSM],
              MSTP_PORT_PROTOCOL_MIGRATION_SENSING);
    EXPECT_EQ(port->rcvdSTP, 0);
    EXPECT_EQ(bridge.bridge->event, MSTP_EVENT_FSM);
    EXPECT_TRUE(posted());
}

TEST_F(PortManagement, ProtocolMigrationDoesNotPostTwice) {
    bridge.bridge->event = MSTP_EVENT_FSM;
    set(MSTP_PORT_PROTOCOLMIGRATION, MSTP_TRUE);
    EXPECT_FALSE(posted());
}

TEST_F(PortManagement, ProtocolMigrationFalseOnlyClearsMcheck) {
    port->mcheck = 1;
    const uint8_t before = port->fsmState[MSTP_PORT_PROTOCOL_MIGRATION_FSM];
    EXPECT_EQ(set(MSTP_PORT_PROTOCOLMIGRATION, MSTP_FALSE), 0);
    EXPECT_EQ(port->mcheck, 0);
    EXPECT_EQ(port->fsmState[MSTP_PORT_PROTOCOL_MIGRATION_FSM], before);
    EXPECT_EQ(bridge.bridge->event, IDLE);
}

TEST_F(PortManagement, ProtocolMigrationIsRefusedBelowRstp) {
    bridge.bridge->forceVersion = MSTP_FORCE_LEGACYDOT1D1998;
    EXPECT_EQ(set(MSTP_PORT_PROTOCOLMIGRATION, MSTP_TRUE), -1);
    EXPECT_EQ(port->mcheck, 0);
    EXPECT_EQ(bridge.bridge->event, IDLE);
}

TEST_F(PortManagement, ProtocolMigrationIsOfferedAlsoWhereTheVersionThenRefusesIt) {
    bridge.bridge->forceVersion = MSTP_FORCE_LEGACYDOT1D1998;
    set(MSTP_PORT_PROTOCOLMIGRATION, MSTP_TRUE);
    EXPECT_THAT(bridge.sw.calls, ElementsAre(offer(MSTP_PORT_PROTOCOLMIGRATION, 1, 3)));
}

TEST_F(PortManagement, ProtocolMigrationIsTakenFromRstpOn) {
    bridge.bridge->forceVersion = MSTP_FORCE_DOT1W;
    EXPECT_EQ(set(MSTP_PORT_PROTOCOLMIGRATION, MSTP_TRUE), 0);
    EXPECT_EQ(port->mcheck, 1);
}

TEST_F(PortManagement, ProtocolMigrationThatIsNotAskedForReadsZero) {
    port->mcheck = 0;
    EXPECT_EQ(get(MSTP_PORT_PROTOCOLMIGRATION), 0U);
}

// ---- release of a guarded port

TEST_F(PortManagement, GuardForwardReleasesAGuardedPort) {
    arm(&port->bpduGuardTimer);
    mstpCistPort(port)->role = MSTP_PORT_ROLE_DESIGNATED;
    EXPECT_EQ(set(MSTP_PORT_GUARDFORWARD, 1), 0);
    EXPECT_EQ(timerRemain(&port->bpduGuardTimer), 0);
    EXPECT_EQ(mstpCistPort(port)->hwState, MSTP_PORT_STATE_FORWARDING);
}

TEST_F(PortManagement, GuardForwardLeavesAlternatePortsDiscarding) {
    arm(&port->bpduGuardTimer);
    mstpCistPort(port)->role = MSTP_PORT_ROLE_ALTERNATE;
    set(MSTP_PORT_GUARDFORWARD, 1);
    EXPECT_EQ(mstpCistPort(port)->hwState, MSTP_PORT_STATE_DISCARDING);
}

TEST_F(PortManagement, GuardForwardDoesNothingToAnUnguardedPort) {
    mstpCistPort(port)->role = MSTP_PORT_ROLE_DESIGNATED;
    EXPECT_EQ(set(MSTP_PORT_GUARDFORWARD, 1), 0);
    EXPECT_EQ(mstpCistPort(port)->hwState, MSTP_PORT_STATE_DISCARDING);
}

TEST_F(PortManagement, GuardForwardReleasesAPortHeldWithoutEnd) {
    mstpRestartTimer(
        &port->bpduGuardTimer, static_cast<uint32_t>(-100), [](void*, void*, void*) {}, nullptr);
    mstpCistPort(port)->role = MSTP_PORT_ROLE_ROOT;
    EXPECT_EQ(get(MSTP_PORT_PROTECTION), 1U);
    set(MSTP_PORT_GUARDFORWARD, 1);
    EXPECT_EQ(mstpCistPort(port)->hwState, MSTP_PORT_STATE_FORWARDING);
}

TEST_F(PortManagement, GuardForwardThatThePlatformRefusesKeepsTheGuard) {
    arm(&port->bpduGuardTimer);
    mstpCistPort(port)->role = MSTP_PORT_ROLE_DESIGNATED;
    bridge.sw.results["kelHwIfSync"] = 6;
    EXPECT_EQ(set(MSTP_PORT_GUARDFORWARD, 1), 6);
    EXPECT_EQ(timerRemain(&port->bpduGuardTimer), 1000);
    EXPECT_EQ(mstpCistPort(port)->hwState, MSTP_PORT_STATE_DISCARDING);
}

TEST_F(PortManagement, GuardForwardNeedsNoValue) {
    arm(&port->bpduGuardTimer);
    mstpCistPort(port)->role = MSTP_PORT_ROLE_DESIGNATED;
    EXPECT_EQ(mstpPortSetApi(UNIT, MSTP_PORT_GUARDFORWARD, nullptr), 0);
    EXPECT_EQ(mstpCistPort(port)->hwState, MSTP_PORT_STATE_FORWARDING);
}

TEST_F(PortManagement, GuardForwardThroughTheSyncEntryIsOfferedWithFlag1AndReleasesThePort) {
    arm(&port->bpduGuardTimer);
    mstpCistPort(port)->role = MSTP_PORT_ROLE_DESIGNATED;
    EXPECT_EQ(sync(MSTP_PORT_GUARDFORWARD, 1), 0);
    EXPECT_EQ(bridge.sw.calls.at(0), offer(MSTP_PORT_GUARDFORWARD, 1, 1));
    EXPECT_EQ(mstpCistPort(port)->hwState, MSTP_PORT_STATE_FORWARDING);
}

TEST_F(PortManagement, GuardForwardIsOfferedAndCannotBeRead) {
    uint32_t value = 1;
    EXPECT_EQ(mstpPortGetApi(UNIT, MSTP_PORT_GUARDFORWARD, &value), -1);
    bridge.sw.results["kelHwIfSync"] = 6;
    EXPECT_EQ(set(MSTP_PORT_GUARDFORWARD, 1), 6);
    EXPECT_THAT(bridge.sw.calls, ElementsAre(offer(MSTP_PORT_GUARDFORWARD, 1, 3)));
}

} // namespace
