// Show calls. Long layouts are compared with the files in golden/, which hold the output byte for
// byte; MSTP_WRITE_GOLDEN=1 in the environment writes them anew, to be read with care.

#include "mstp_show.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>

#include "management_values.h"
#include "mstp/enums.h"
#include "mstp_port_timers_state_machine.h"
#include "test_bridge.h"

using testing::EndsWith;
using testing::HasSubstr;

namespace {

std::string printed(const std::function<void()>& show) {
    testing::internal::CaptureStdout();
    show();
    return testing::internal::GetCapturedStdout();
}

/// What the file golden/@p name holds; writes @p actual to it when asked to.
std::string golden(const std::string& name, const std::string& actual) {
    const auto path = std::filesystem::path(MSTP_GOLDEN) / name;
    if (getenv("MSTP_WRITE_GOLDEN") != nullptr) {
        std::ofstream(path, std::ios::binary) << actual;
    }
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void arm(tTimerNode* timer, uint32_t seconds) {
    mstpRestartTimer(
        timer, seconds * 100 + 50, [](void*, void*, void*) {}, nullptr);
}

/// Every byte another, so that no field can be shown for its neighbour.
template <class T> void fill(T* record, uint8_t start) {
    auto* bytes = reinterpret_cast<uint8_t*>(record);
    for (uint32_t i = 0; i < sizeof *record; i++) {
        bytes[i] = static_cast<uint8_t>(start + i);
    }
}

/// The same for a vector, whose costs are numbers and not bytes.
void fillVector(tMstpPriorityVector* vector, uint8_t start) {
    fill(vector, start);
    vector->extRootPathCost = start * 1000U;
    vector->intRootPathCost = start * 10U;
}

/// Numbers that identify their fields.
void fillPort(tMstpPort* port) {
    port->index = 0x123;
    port->sendRSTP = 1;
    port->rcvdRSTP = 2;
    port->rcvdSTP = 3;
    port->upTime = 1000;
    port->speed = 10000;
    port->forwardDelay = 15;
    port->migrateTime = 4;
    port->operPathCost = 2000;
    port->infoInternal = 5;
    port->rcvdInternal = 6;
    port->rxTcnBpdu = 11;
    port->rxCfgBpdu = 12;
    port->rxRstBpdu = 13;
    port->rxMstBpdu = 14;
    port->txTcnBpdu = 15;
    port->txCfgBpdu = 16;
    port->txRstBpdu = 17;
    port->txMstBpdu = 18;
    arm(&port->helloWhenTimer, 21);
    arm(&port->mdelayWhileTimer, 22);
    arm(&port->edgeDelayWhileTimer, 23);
    arm(&port->bpduGuardTimer, 24);
    arm(&port->p2pHoldTimer, 25);
}

void fillXstPort(tMstpXstPort* xstPort) {
    mstpPortIdSetNumber(&xstPort->portId, 291);
    xstPort->fdbFlush = 0;
    xstPort->reRoot = 0;
    xstPort->selected = 0;
    xstPort->sync = 0;
    xstPort->disputed = 1;
    xstPort->allSynced = 1;
    xstPort->adminPathCost = 101;
    xstPort->operPathCost = 102;
    xstPort->pathCost = 103;
    xstPort->hwState = MSTP_PORT_STATE_LEARNING;
    xstPort->role = MSTP_PORT_ROLE_BACKUP;
    xstPort->msgFlag = mstpFlagFromByte(0xA6);
    fillVector(&xstPort->designatedPriority, 0x10);
    fill(&xstPort->designatedTimes, 1);
    fillVector(&xstPort->msgPriority, 0x40);
    fill(&xstPort->msgTimes, 11);
    fillVector(&xstPort->portPriority, 0x70);
    fill(&xstPort->portTimes, 21);
    arm(&xstPort->tcWhileTimer, 31);
    arm(&xstPort->fdWhileTimer, 32);
    arm(&xstPort->rcvdInfoWhileTimer, 33);
    arm(&xstPort->rrWhileTimer, 34);
    arm(&xstPort->rbWhileTimer, 35);
    arm(&xstPort->tcHoldoffTimer, 36);
    arm(&xstPort->rootHoldoffTimer, 37);
    arm(&xstPort->loopHoldTimer, 38);
}

class Show : public testing::Test {
  protected:
    static constexpr uint32_t UNIT = 0x2B;
    static constexpr uint32_t MSTI = 3;

    Show() {
        bridge.addInstance(MSTI);
        port = bridge.addUpPort(UNIT);
    }

    void setVlans(const std::function<bool(uint32_t)>& has) {
        tMstpXst* xst = bridge.xst(MSTI);
        memset(xst->vlanList, 0, sizeof xst->vlanList);
        for (uint32_t vlan = 1; vlan <= 4096; vlan++) {
            if (has(vlan)) {
                bitListSet(xst->vlanList, vlan - 1);
            }
        }
        xst->vlanLen = bitListUsedBytes(xst->vlanList, 512);
    }

    /// The VLAN line of the instance.
    std::string vlanLine() {
        const std::string text = printed([] { mstpXstShow(MSTI); });
        const size_t begin = text.find("\r\nvlan:") + 2;
        return text.substr(begin, text.find("\r\n", begin) - begin);
    }

    TestBridge bridge;
    tMstpPort* port;
};

// ---- values

TEST(ShowValues, BridgeIdentifierLeavesTheInstanceNumberOut) {
    tMstpBridgeId id = {};
    id.priority = 8;
    const uint8_t mac[] = {0x00, 0x11, 0x22, 0x33, 0x44, 0x55};
    memcpy(id.mac, mac, 6);
    for (const uint32_t instance : {0U, 5U, 4095U}) {
        mstpBridgeIdSetExtension(&id, instance);
        EXPECT_EQ(printed([&] { mstpBridgeIdPrint(&id); }), "32768.0011-2233-4455");
    }
}

TEST(ShowValues, BridgeIdentifierOfTheHighestPriorityAndAddress) {
    tMstpBridgeId id;
    memset(&id, 0xFF, sizeof id);
    EXPECT_EQ(printed([&] { mstpBridgeIdPrint(&id); }), "61440.ffff-ffff-ffff");
}

TEST(ShowValues, PortIdentifierIsPriorityAndNumber) {
    tMstpPortId id = {};
    id.priority = 8;
    mstpPortIdSetNumber(&id, 291);
    EXPECT_EQ(printed([&] { mstpPortIdPrint(&id); }), "128.291");
}

TEST(ShowValues, TimesStandOnLinesOfTheirOwn) {
    tMstpTime time;
    fill(&time, 1);
    EXPECT_EQ(printed([&] { mstpTimePrint(&time); }),
              "\r\n {\r\nmessageAge:1\r\nmaxAge:2\r\nforwardDelay:3\r\nhelloTime:4"
              "\r\nremainingHops:5\r\n }");
}

TEST(ShowValues, VectorsStandOnLinesOfTheirOwn) {
    tMstpPriorityVector vector;
    fill(&vector, 0);
    vector.extRootPathCost = 200000;
    vector.intRootPathCost = 20000;
    EXPECT_EQ(printed([&] { mstpVectorPrint(&vector); }),
              "\r\n {\r\n rootId:0.0203-0405-0607\r\n extRootPathCost:200000"
              "\r\n rRootId:0.0e0f-1011-1213\r\n intRootPathCost:20000"
              "\r\n designatedBridgeId:4096.1a1b-1c1d-1e1f\r\n designatedPortId:32.33"
              "\r\n rcvPortId:32.547\r\n }");
}

// ---- resources

TEST_F(Show, ResourcesAreTheSizesAndTheUseOfThePools) {
    char expected[512];
    const auto size = [](size_t bytes) { return static_cast<uint32_t>(bytes); };
    snprintf(expected, sizeof expected,
             "\r\nmstp resource:"
             "\r\n                size    total   used    "
             "\r\nbridge          %-8u1       1       "
             "\r\nport            %-8u8       1       "
             "\r\nxst             %-8u8       2       "
             "\r\nxstPort         %-8u64      2       "
             "\r\ngMstp           %-8u1       0       "
             "\r\ntotal:%u",
             size(sizeof(tMstpBridge)), size(sizeof(tMstpPort)), size(sizeof(tMstpXst)),
             size(sizeof(tMstpXstPort)), size(sizeof(tMstp)),
             size(sizeof(tMstpBridge) + 8 * sizeof(tMstpPort) + 8 * sizeof(tMstpXst) +
                  64 * sizeof(tMstpXstPort)));
    EXPECT_EQ(printed(mstpRscShow), expected);
}

// ---- bridges

TEST_F(Show, BridgeMatchesItsLayout) {
    bridge.addUpPort(0x10);
    bridge.addInstance(7);
    bridge.bridge->type = MSTP_BRIDGE_PROVIDER;
    const std::string text = printed(mstpBridgeShow);
    EXPECT_EQ(text, golden("show_bridge.txt", text));
}

TEST_F(Show, NameOf32CharactersIsShownWhole) {
    memset(bridge.bridge->cfgIdName, 'n', 32);
    EXPECT_THAT(printed(mstpBridgeShow),
                HasSubstr("\r\nname:" + std::string(32, 'n') + "\r\nmac:"));
}

TEST_F(Show, WithoutABridgeNothingIsShown) {
    mstpBridgeDelete(bridge.bridge);
    EXPECT_EQ(printed(mstpBridgeShow), "");
    EXPECT_EQ(printed([] { mstpXstShow(0); }), "");
    EXPECT_EQ(printed([] { mstpPortShow(UNIT); }), "");
    EXPECT_EQ(printed([] { mstpXstPortShow(0, UNIT); }), "");
}

// ---- instances

TEST_F(Show, InstanceMatchesItsLayout) {
    tMstpXst* xst = bridge.xst(MSTI);
    bridge.addUpPort(300);
    xst->stgId = 77;
    fill(&xst->bridgeId, 0x81);
    fillVector(&xst->rootPriority, 0x20);
    fill(&xst->rootTimes, 31);
    mstpPortIdSetNumber(&xst->rootPortId, 291);
    xst->rootPortId.priority = 8;
    setVlans([](uint32_t vlan) { return vlan <= 5 || vlan == 7 || (vlan >= 10 && vlan <= 12); });
    const std::string text = printed([] { mstpXstShow(MSTI); });
    EXPECT_EQ(text, golden("show_xst.txt", text));
}

TEST_F(Show, UnknownInstanceShowsNothing) {
    EXPECT_EQ(printed([] { mstpXstShow(5); }), "");
    EXPECT_EQ(printed([] { mstpXstShow(256 + MSTI); }), "");
}

TEST_F(Show, Vlans1And2And3And5AreShownAsARangeAndOne) {
    setVlans([](uint32_t vlan) { return vlan <= 3 || vlan == 5; });
    EXPECT_EQ(vlanLine(), "vlan:1-3,5");
}

TEST_F(Show, InstanceWithoutVlansHasAnEmptyLine) {
    EXPECT_EQ(vlanLine(), "vlan:");
}

TEST_F(Show, RunsOfTwoAndRunsToTheEndAreRanges) {
    setVlans([](uint32_t vlan) { return vlan == 8 || vlan == 9 || vlan >= 4090; });
    EXPECT_EQ(vlanLine(), "vlan:8-9,4090-4096");
}

TEST_F(Show, VlanTextStopsWithACommaOnceItHas513Characters) {
    setVlans([](uint32_t vlan) { return vlan % 2 == 0; });
    const std::string text = vlanLine().substr(5);
    EXPECT_EQ(text.size(), 514U + 1);
    EXPECT_THAT(text, EndsWith(",280,282,284,"));
    EXPECT_THAT(text, testing::StartsWith("2,4,6,8,10,12,"));
}

TEST_F(Show, VlanTextOfFewerThan513CharactersIsWhole) {
    setVlans([](uint32_t vlan) { return vlan % 2 == 0 && vlan <= 282; });
    EXPECT_EQ(vlanLine().size() - 5, 510U);
    EXPECT_THAT(vlanLine(), EndsWith(",282"));
}

TEST_F(Show, VlanTextOfExactly513CharactersEndsWithAComma) {
    setVlans([](uint32_t vlan) { return vlan % 2 == 0 && vlan <= 286 && vlan != 4 && vlan != 98; });
    const std::string text = vlanLine().substr(5);
    EXPECT_EQ(text.size(), 513U + 1);
    EXPECT_THAT(text, EndsWith(",284,286,"));
}

TEST_F(Show, VlanTextOf512CharactersEndsWithItsLastVlan) {
    setVlans([](uint32_t vlan) { return vlan % 2 == 0 && vlan <= 284 && vlan != 4; });
    const std::string text = vlanLine().substr(5);
    EXPECT_EQ(text.size(), 512U);
    EXPECT_THAT(text, EndsWith(",282,284"));
}

TEST_F(Show, VlanTextOfTheLongestGroupsStaysInItsBuffer) {
    setVlans([](uint32_t vlan) { return vlan >= 1000 && vlan % 3 != 0; });
    const std::string text = vlanLine().substr(5);
    EXPECT_THAT(text, EndsWith(","));
    EXPECT_LE(text.size(), 513U + 10);
}

// ---- ports

TEST_F(Show, PortMatchesItsLayout) {
    fillPort(port);
    const std::string text = printed([] { mstpPortShow(UNIT); });
    EXPECT_EQ(text, golden("show_port.txt", text));
}

TEST_F(Show, UnknownPortShowsNothing) {
    EXPECT_EQ(printed([] { mstpPortShow(UNIT + 1); }), "");
}

// ---- instance ports

TEST_F(Show, InstancePortMatchesItsLayout) {
    fillPort(port);
    fillXstPort(bridge.xstPort(MSTI, UNIT));
    const std::string text = printed([] { mstpXstPortShow(MSTI, UNIT); });
    EXPECT_EQ(text, golden("show_xst_port.txt", text));
}

TEST_F(Show, UnknownInstancePortShowsNothing) {
    EXPECT_EQ(printed([] { mstpXstPortShow(5, UNIT); }), "");
    EXPECT_EQ(printed([] { mstpXstPortShow(MSTI, UNIT + 1); }), "");
}

TEST_F(Show, EveryFlagOfAnInstancePortIsShownUnderItsName) {
    struct Flag {
        const char* name;
        uint8_t tMstpXstPort::*field;
    };
    static constexpr Flag FLAGS[] = {
        {"disputed", &tMstpXstPort::disputed},   {"learn", &tMstpXstPort::learn},
        {"forward", &tMstpXstPort::forward},     {"fdbFlush", &tMstpXstPort::fdbFlush},
        {"agree", &tMstpXstPort::agree},         {"forwarding", &tMstpXstPort::forwarding},
        {"learning", &tMstpXstPort::learning},   {"proposed", &tMstpXstPort::proposed},
        {"proposing", &tMstpXstPort::proposing}, {"rcvdMsg", &tMstpXstPort::rcvdMsg},
        {"rcvdTc", &tMstpXstPort::rcvdTc},       {"rcvdTcAck", &tMstpXstPort::rcvdTcAck},
        {"rcvdTcn", &tMstpXstPort::rcvdTcn},     {"tcAck", &tMstpXstPort::tcAck},
        {"reRoot", &tMstpXstPort::reRoot},       {"reselect", &tMstpXstPort::reselect},
        {"selected", &tMstpXstPort::selected},   {"tcProp", &tMstpXstPort::tcProp},
        {"updtInfo", &tMstpXstPort::updtInfo},   {"agreed", &tMstpXstPort::agreed},
        {"sync", &tMstpXstPort::sync},           {"synced", &tMstpXstPort::synced},
        {"master", &tMstpXstPort::master},       {"mastered", &tMstpXstPort::mastered},
        {"reRooted", &tMstpXstPort::reRooted},   {"allSynced", &tMstpXstPort::allSynced},
    };
    tMstpXstPort* xstPort = bridge.xstPort(MSTI, UNIT);
    for (const Flag& flag : FLAGS) {
        const uint8_t before = xstPort->*flag.field;
        xstPort->*flag.field = 113; // a value that no other item has
        const std::string text = printed([] { mstpXstPortShow(MSTI, UNIT); });
        EXPECT_THAT(text, HasSubstr(std::string("\r\n ") + flag.name + " 113\r\n"));
        xstPort->*flag.field = before;
    }
}

// ---- everything

TEST_F(Show, EverythingIsBridgesInstancesPortsAndPairsBetweenRules) {
    bridge.addUpPort(UNIT + 1);
    const std::string dots = "\r\n" + std::string(48, '.');
    const std::string dashes = "\r\n" + std::string(48, '-');
    std::string expected = printed(mstpBridgeShow) + dashes;
    for (const uint32_t xstId : {0U, MSTI}) {
        expected += printed([&] { mstpXstShow(xstId); }) + dots;
    }
    expected += dashes;
    for (const uint32_t unit : {UNIT, UNIT + 1}) {
        expected += printed([&] { mstpPortShow(unit); }) + dots;
    }
    expected += dashes;
    for (const uint32_t xstId : {0U, MSTI}) {
        for (const uint32_t unit : {UNIT, UNIT + 1}) {
            expected += printed([&] { mstpXstPortShow(xstId, unit); }) + dots;
        }
    }
    EXPECT_EQ(printed(mstpInfoShow), expected);
}

TEST_F(Show, EverythingMatchesItsLayout) {
    bridge.addUpPort(300);
    for (const uint32_t xstId : {0U, MSTI}) {
        tMstpXst* xst = bridge.xst(xstId);
        xst->stgId = 70 + xstId;
        fill(&xst->bridgeId, static_cast<uint8_t>(0x80 + xstId));
        fillVector(&xst->rootPriority, static_cast<uint8_t>(0x20 + xstId));
        fill(&xst->rootTimes, static_cast<uint8_t>(30 + xstId));
        for (const uint32_t unit : {UNIT, 300U}) {
            tMstpXstPort* xstPort = bridge.xstPort(xstId, unit);
            fillXstPort(xstPort);
            xstPort->pathCost = xstId * 1000 + unit;
        }
    }
    fillPort(bridge.port(UNIT));
    fillPort(bridge.port(300));
    const std::string text = printed(mstpInfoShow);
    EXPECT_EQ(text, golden("show_info.txt", text));
}

TEST_F(Show, LookingChangesNothing) {
    const std::vector<uint8_t> before = bytesOf(*port);
    bridge.sw.forget();
    printed(mstpInfoShow);
    printed(mstpRscShow);
    EXPECT_EQ(bytesOf(*port), before);
    EXPECT_TRUE(bridge.sw.calls.empty());
}

// ---- the test hook

TEST_F(Show, TestHookRunsTheMachinesOnceWithBeginAndEveryLinkUp) {
    tMstpPort* down = bridge.addDownPort(UNIT + 1);
    ASSERT_EQ(down->upTime, 0U);
    bridge.trace(MSTP_DEBUG_ACTIVITY);
    bridge.xstPort(0, UNIT)->fsmState[MSTP_TOPOLOGY_CHANGE_FSM] = 5;
    mstpTst();
    EXPECT_EQ(bridge.bridge->begin, 0);
    EXPECT_EQ(down->upTime, mstpGetSysUpTime());
    EXPECT_EQ(port->upTime, mstpGetSysUpTime());
    EXPECT_EQ(std::count(bridge.sw.traces.begin(), bridge.sw.traces.end(), "bridge 1 FSM process"),
              1);
    EXPECT_EQ(bridge.xstPort(0, UNIT)->fsmState[MSTP_TOPOLOGY_CHANGE_FSM], 0);
}

TEST_F(Show, TestHookWithoutABridgeDoesNothing) {
    mstpBridgeDelete(bridge.bridge);
    mstpTst();
    SUCCEED();
}

} // namespace
