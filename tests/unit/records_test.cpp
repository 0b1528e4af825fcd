// Core records: bytes of identifiers, bit lists, and the numbers that others rely on.

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstring>
#include <vector>

#include "mstp/bit_list.h"
#include "mstp/bpdu.h"
#include "mstp/context.h"
#include "mstp/enums.h"
#include "mstp/records.h"
#include "mstp/values.h"
#include "platform/stg.h"

namespace {

template <class Record> std::vector<uint8_t> bytesOf(const Record& record) {
    std::vector<uint8_t> bytes(sizeof record);
    memcpy(bytes.data(), &record, sizeof record);
    return bytes;
}

using Bytes = std::vector<uint8_t>;
using VlanList = std::array<uint8_t, MSTP_VLAN_LIST_SIZE>;

// ---- Identifiers

TEST(BridgeIdentifier, PriorityInstanceAndAddressStandInWireOrder) {
    tMstpBridgeId id = {};
    id.priority = 8;
    mstpBridgeIdSetExtension(&id, 5);
    const uint8_t mac[] = {0x00, 0x11, 0x22, 0x33, 0x44, 0x55};
    memcpy(id.mac, mac, sizeof mac);

    EXPECT_EQ(bytesOf(id), (Bytes{0x80, 0x05, 0x00, 0x11, 0x22, 0x33, 0x44, 0x55}));
}

TEST(BridgeIdentifier, PriorityIsTheUpperNibbleOfByteZero) {
    tMstpBridgeId id = {};
    id.priority = 0xF;

    EXPECT_EQ(bytesOf(id)[0], 0xF0);
}

TEST(BridgeIdentifier, UpperBitsOfTheExtensionAreTheLowerNibbleOfByteZero) {
    tMstpBridgeId id = {};
    mstpBridgeIdSetExtension(&id, 0xABC);

    EXPECT_EQ(bytesOf(id)[0], 0x0A);
    EXPECT_EQ(bytesOf(id)[1], 0xBC);
}

TEST(BridgeIdentifier, ExtensionIsReadBackWhole) {
    tMstpBridgeId id = {};
    id.priority = 8;
    mstpBridgeIdSetExtension(&id, 0xABC);

    EXPECT_EQ(mstpBridgeIdExtension(&id), 0xABCU);
}

TEST(BridgeIdentifier, ExtensionKeepsItsLowTwelveBits) {
    tMstpBridgeId id = {};
    mstpBridgeIdSetExtension(&id, 0x1002);

    EXPECT_EQ(mstpBridgeIdExtension(&id), 2U);
}

TEST(BridgeIdentifier, SettingTheExtensionLeavesThePriorityAlone) {
    tMstpBridgeId id = {};
    id.priority = 9;
    mstpBridgeIdSetExtension(&id, 0xFFFF);

    EXPECT_EQ(id.priority, 9);
}

TEST(BridgeIdentifier, IdentifiersAreTheSameWhenAllEightBytesAre) {
    tMstpBridgeId a = {};
    tMstpBridgeId b = {};
    EXPECT_TRUE(mstpSameBridgeId(&a, &b));

    b.mac[5] = 1;

    EXPECT_FALSE(mstpSameBridgeId(&a, &b));
}

TEST(PortIdentifier, PriorityAndNumberStandInWireOrder) {
    tMstpPortId id = {};
    id.priority = 128 / 16;
    mstpPortIdSetNumber(&id, 0x123);

    EXPECT_EQ(bytesOf(id), (Bytes{0x81, 0x23}));
}

TEST(PortIdentifier, NumberKeepsItsLowTwelveBits) {
    tMstpPortId id = {};
    id.priority = 8;
    mstpPortIdSetNumber(&id, 0x1FFE);

    EXPECT_EQ(bytesOf(id), (Bytes{0x8F, 0xFE}));
    EXPECT_EQ(mstpPortIdNumber(&id), 0xFFEU);
}

TEST(PortIdentifier, IdentifiersAreTheSameWhenBothBytesAre) {
    tMstpPortId a = {};
    tMstpPortId b = {};
    EXPECT_TRUE(mstpSamePortId(&a, &b));

    b.priority = 1;

    EXPECT_FALSE(mstpSamePortId(&a, &b));
}

TEST(Times, TimesAreTheSameWhenAllEightBytesAre) {
    tMstpTime a = {1, 20, 15, 2, 20, {}};
    tMstpTime b = a;
    EXPECT_TRUE(mstpSameTimes(&a, &b));

    b.remainingHops = 19;

    EXPECT_FALSE(mstpSameTimes(&a, &b));
}

TEST(Times, FieldsStandInTheirOrder) {
    const tMstpTime times = {1, 2, 3, 4, 5, {}};

    EXPECT_EQ(bytesOf(times), (Bytes{1, 2, 3, 4, 5, 0, 0, 0}));
}

TEST(BpduFlags, EveryFlagHasItsBitOnTheWire) {
    const uint8_t expected[] = {0x01, 0x02, 0x10, 0x20, 0x40, 0x80};
    tMstpBpduFlag flags[6] = {};
    flags[0].topologyChange = 1;
    flags[1].proposal = 1;
    flags[2].learning = 1;
    flags[3].forwarding = 1;
    flags[4].agreement = 1;
    flags[5].master = 1;

    for (size_t i = 0; i < 6; i++) {
        EXPECT_EQ(mstpFlagByte(flags[i]), expected[i]) << i;
    }
}

TEST(BpduFlags, RoleIsBitsTwoAndThree) {
    EXPECT_EQ(mstpFlagFromByte(MSTP_FLAG_ROLE_ALTERNATE_BACKUP).portRole, 1);
    EXPECT_EQ(mstpFlagFromByte(MSTP_FLAG_ROLE_ROOT).portRole, 2);
    EXPECT_EQ(mstpFlagFromByte(MSTP_FLAG_ROLE_DESIGNATED).portRole, 3);
}

TEST(BigEndian, SixteenBitsTravelMostSignificantByteFirst) {
    EXPECT_EQ(bytesOf(mstpBig16(0x1234)), (Bytes{0x12, 0x34}));
}

TEST(BigEndian, ThirtyTwoBitsTravelMostSignificantByteFirst) {
    EXPECT_EQ(bytesOf(mstpBig32(0x12345678)), (Bytes{0x12, 0x34, 0x56, 0x78}));
}

// ---- Bit lists

TEST(BitList, VlanOneIsTheMostSignificantBitOfByteZero) {
    VlanList list = {};
    bitListSet(list.data(), 1 - 1);

    EXPECT_EQ(list[0], 0x80);
}

TEST(BitList, VlanEightIsTheLeastSignificantBitOfByteZero) {
    VlanList list = {};
    bitListSet(list.data(), 8 - 1);

    EXPECT_EQ(list[0], 0x01);
}

TEST(BitList, VlanNineIsTheMostSignificantBitOfByteOne) {
    VlanList list = {};
    bitListSet(list.data(), 9 - 1);

    EXPECT_EQ(list[0], 0x00);
    EXPECT_EQ(list[1], 0x80);
}

TEST(BitList, LastBitIsTheLeastSignificantOfTheLastByte) {
    VlanList list = {};
    bitListSet(list.data(), 4095);

    EXPECT_EQ(list[511], 0x01);
}

TEST(BitList, MaskRunsFromTheMostSignificantBit) {
    const uint8_t expected[] = {0x80, 0x40, 0x20, 0x10, 0x08, 0x04, 0x02, 0x01};

    EXPECT_EQ(memcmp(bitMask, expected, sizeof expected), 0);
}

TEST(BitList, TestTellsOnlyTheBitAskedFor) {
    const uint8_t list[] = {0x00, 0x10};

    EXPECT_TRUE(bitListTst(list, 11));
    EXPECT_FALSE(bitListTst(list, 10));
    EXPECT_FALSE(bitListTst(list, 12));
    EXPECT_FALSE(bitListTst(list, 3));
}

TEST(BitList, ClearTakesOutOneBit) {
    uint8_t list[] = {0xFF, 0xFF};
    bitListClr(list, 9);

    EXPECT_EQ(list[0], 0xFF);
    EXPECT_EQ(list[1], 0xBF);
}

TEST(BitList, OrMergesByteByByte) {
    uint8_t list[] = {0x80, 0x01, 0x00};
    const uint8_t from[] = {0x01, 0x01, 0xFF};
    bitListOr(list, from, 3);

    EXPECT_EQ(Bytes(list, list + 3), (Bytes{0x81, 0x01, 0xFF}));
}

TEST(BitList, OrStopsAtTheLengthGiven) {
    uint8_t list[] = {0x00, 0x00};
    const uint8_t from[] = {0xFF, 0xFF};
    bitListOr(list, from, 1);

    EXPECT_EQ(list[1], 0x00);
}

TEST(BitList, MaxBitIsTheHighestNumberSet) {
    const uint8_t list[] = {0x80, 0x28, 0x00};

    EXPECT_EQ(bitListMaxBit(list, 3), 12);
}

TEST(BitList, MaxBitOfAnEmptyListIsNone) {
    const uint8_t list[] = {0x00, 0x00};

    EXPECT_EQ(bitListMaxBit(list, 2), -1);
    EXPECT_EQ(bitListMaxBit(list, 0), -1);
}

TEST(BitList, MaxBitReachesBothEnds) {
    const uint8_t first[] = {0x80, 0x00};
    const uint8_t last[] = {0x00, 0x01};

    EXPECT_EQ(bitListMaxBit(first, 2), 0);
    EXPECT_EQ(bitListMaxBit(last, 2), 15);
}

TEST(BitList, BitCountCountsEveryBitInTheLength) {
    const uint8_t list[] = {0xFF, 0x81, 0xFF};

    EXPECT_EQ(bitListBitCount(list, 2), 10U);
    EXPECT_EQ(bitListBitCount(list, 0), 0U);
}

TEST(BitList, UsedBytesEndWithTheLastThatIsNotZero) {
    const uint8_t list[] = {0x00, 0x01, 0x00};

    EXPECT_EQ(bitListUsedBytes(list, 3), 2U);
    EXPECT_EQ(bitListUsedBytes(list, 1), 0U);
}

// ---- Numbers that management, debug output and hardware see

TEST(Enumerations, PortRoles) {
    EXPECT_EQ(MSTP_PORT_ROLE_DISABLED, 1);
    EXPECT_EQ(MSTP_PORT_ROLE_ALTERNATE, 2);
    EXPECT_EQ(MSTP_PORT_ROLE_BACKUP, 3);
    EXPECT_EQ(MSTP_PORT_ROLE_ROOT, 4);
    EXPECT_EQ(MSTP_PORT_ROLE_DESIGNATED, 5);
    EXPECT_EQ(MSTP_PORT_ROLE_MASTER, 6);
    EXPECT_EQ(MSTP_PORT_ROLE_NONSTP, 7);
    EXPECT_EQ(MSTP_PORT_ROLE_UNKNOWN, 8);
}

TEST(Enumerations, PortRolesUnderTheirOtherNames) {
    EXPECT_EQ(MSTP_DISABLED_PORT, 1);
    EXPECT_EQ(MSTP_ALTERNATE_PORT, 2);
    EXPECT_EQ(MSTP_BACKUP_PORT, 3);
    EXPECT_EQ(MSTP_ROOT_PORT, 4);
    EXPECT_EQ(MSTP_DESIGNATED_PORT, 5);
    EXPECT_EQ(MSTP_MASTER_PORT, 6);
    EXPECT_EQ(MSTP_NONSTP_PORT, 7);
    EXPECT_EQ(MSTP_UNKNOWN_PORT, 8);
}

TEST(Enumerations, PortStates) {
    EXPECT_EQ(MSTP_PORT_STATE_DISABLED, 0);
    EXPECT_EQ(MSTP_PORT_STATE_DISCARDING, 1);
    EXPECT_EQ(MSTP_PORT_STATE_LEARNING, 2);
    EXPECT_EQ(MSTP_PORT_STATE_FORWARDING, 3);
    EXPECT_EQ(MSTP_PORT_STATE_UNKNOWN, 4);
    EXPECT_EQ(MSTP_PORT_DISABLED, 0);
    EXPECT_EQ(MSTP_PORT_DISCARDING, 1);
    EXPECT_EQ(MSTP_PORT_LEARNING, 2);
    EXPECT_EQ(MSTP_PORT_FORWARDING, 3);
    EXPECT_EQ(MSTP_PORT_UNKNOWN, 4);
}

TEST(Enumerations, HardwareGroupStates) {
    EXPECT_EQ(STG_PORT_DISABLE, 1U);
    EXPECT_EQ(STG_PORT_BLOCKING, 2U);
    EXPECT_EQ(STG_PORT_LISTENING, 3U);
    EXPECT_EQ(STG_PORT_LEARNING, 4U);
    EXPECT_EQ(STG_PORT_FORWARDING, 5U);
    EXPECT_EQ(STG_PORT_BROKEN, 6U);
}

TEST(Enumerations, SourcesOfInformation) {
    EXPECT_EQ(MSTP_DISABLED, 0);
    EXPECT_EQ(MSTP_MINE, 1);
    EXPECT_EQ(MSTP_AGED, 2);
    EXPECT_EQ(MSTP_RECEIVED, 3);
}

TEST(Enumerations, ReceivedInformation) {
    EXPECT_EQ(MSTP_SUPERIOR_DESIGNATED_INFO, 0);
    EXPECT_EQ(MSTP_REPEATED_DESIGNATED_INFO, 1);
    EXPECT_EQ(MSTP_INFERIOR_DESIGNATED_INFO, 2);
    EXPECT_EQ(MSTP_INFERIOR_ROOT_ALTERNATE_INFO, 3);
    EXPECT_EQ(MSTP_OTHER_INFO, 4);
}

TEST(Enumerations, ForcedVersions) {
    EXPECT_EQ(MSTP_FORCE_NOTSTP, 0);
    EXPECT_EQ(MSTP_FORCE_LEGACYDOT1D1998, 1);
    EXPECT_EQ(MSTP_FORCE_DOT1W, 2);
    EXPECT_EQ(MSTP_FORCE_ATUODOT1S, 3);
    EXPECT_EQ(MSTP_FORCE_UNKNOWN, 4);
}

TEST(Enumerations, Capabilities) {
    EXPECT_EQ(MSTP_CAPABLE_NOTSTP, 0);
    EXPECT_EQ(MSTP_CAPABLE_DOT1D1998, 1);
    EXPECT_EQ(MSTP_CAPABLE_DOT1W, 2);
    EXPECT_EQ(MSTP_CAPABLE_DOT1D2004, 3);
    EXPECT_EQ(MSTP_CAPABLE_DOT1S, 4);
    EXPECT_EQ(MSTP_CAPABLE_DOT1Q, 5);
    EXPECT_EQ(MSTP_CAPABLE_UNKNOWN, 6);
}

TEST(Enumerations, PathCostMethods) {
    EXPECT_EQ(MSTP_PATHCOST_8021D1998, 1);
    EXPECT_EQ(MSTP_PATHCOST_8021T2001, 2);
}

TEST(Enumerations, RowStates) {
    EXPECT_EQ(MSTP_ACTIVE, 1);
    EXPECT_EQ(MSTP_NOTINSERVICE, 2);
    EXPECT_EQ(MSTP_NOTREADY, 3);
    EXPECT_EQ(MSTP_CREATEANDGO, 4);
    EXPECT_EQ(MSTP_CREATEANDWAIT, 5);
    EXPECT_EQ(MSTP_DESTORY, 6);
}

TEST(Enumerations, BridgeTypes) {
    EXPECT_EQ(MSTP_BRIDGE_CUSTOMER, 0);
    EXPECT_EQ(MSTP_BRIDGE_PROVIDER, 1);
}

TEST(Enumerations, Machines) {
    EXPECT_EQ(MSTP_PORT_TIMER_FSM, 0);
    EXPECT_EQ(MSTP_PORT_RECEIVE_FSM, 1);
    EXPECT_EQ(MSTP_PORT_PROTOCOL_MIGRATION_FSM, 2);
    EXPECT_EQ(MSTP_PORT_INFORMATION_FSM, 3);
    EXPECT_EQ(MSTP_PORT_ROLE_SELECTION_FSM, 4);
    EXPECT_EQ(MSTP_BRIDGE_DETECTION_FSM, 5);
    EXPECT_EQ(MSTP_PORT_ROLE_TRANSITIONS_FSM, 6);
    EXPECT_EQ(MSTP_PORT_STATE_TRANSITION_FSM, 7);
    EXPECT_EQ(MSTP_TOPOLOGY_CHANGE_FSM, 8);
    EXPECT_EQ(MSTP_PORT_TRANSMIT_FSM, 9);
    EXPECT_EQ(sizeof tMstpPort::fsmState, 10U);
    EXPECT_EQ(sizeof tMstpXstPort::fsmState, 10U);
}

TEST(Enumerations, BpduKinds) {
    EXPECT_EQ(MSTP_PROTOCOL_TYPE_MSTP, 0);
    EXPECT_EQ(MSTP_PROTOCOL_TYPE_RSTP, 1);
    EXPECT_EQ(MSTP_PROTOCOL_TYPE_CONFIG, 2);
    EXPECT_EQ(MSTP_PROTOCOL_TYPE_TCN, 3);
}

TEST(Enumerations, PortOperation) {
    EXPECT_EQ(MSTP_PORT_OPERATE_DOWN, 0);
    EXPECT_EQ(MSTP_PORT_OPERATE_UP, 1);
}

TEST(Enumerations, MessagesToTheLoop) {
    EXPECT_EQ(MSTP_MSG_PKTRECV, 0U);
    EXPECT_EQ(MSTP_MSG_PORTUP, 1U);
    EXPECT_EQ(MSTP_MSG_PORTDOWN, 2U);
    EXPECT_EQ(MSTP_MSG_SPEEDCHG, 3U);
    EXPECT_EQ(MSTP_MSG_PORTDISTROY, 4U);
    EXPECT_EQ(MSTP_MSG_NULL, 5U);
}

TEST(Enumerations, BusyReasons) {
    EXPECT_EQ(MSTP_BUSY_NULL, 0U);
    EXPECT_EQ(MSTP_BUSY_CHANGINGMODE, 1U);
    EXPECT_EQ(MSTP_BUSY_FASTMAPVLAN, 2U);
}

TEST(Enumerations, EventBits) {
    EXPECT_EQ(MSTP_EVENT_TICK, 0x01U);
    EXPECT_EQ(MSTP_EVENT_FSM, 0x02U);
    EXPECT_EQ(MSTP_EVENT_INIT_PORTS, 0x04U);
    EXPECT_EQ(MSTP_EVENT_REINIT, 0x08U);
    EXPECT_EQ(MSTP_EVENT_FASTMAP_DONE, 0x10U);
}

// ---- Records

TEST(Records, HoldTheFieldSizesThatOthersCopy) {
    EXPECT_EQ(sizeof tMstpXst::vlanList, 512U);
    EXPECT_EQ(sizeof tMstpBridge::fastVlans, 512U);
    EXPECT_EQ(sizeof tMstpBridge::fastXsts, 8U);
    EXPECT_EQ(sizeof tMstpBridge::cfgIdName, 32U);
    EXPECT_EQ(sizeof tMstpBridge::cfgIdDigest, 16U);
    EXPECT_EQ(sizeof tMstpBridge::bridgeMac, 6U);
    EXPECT_EQ(sizeof tMstpPort::lastPeer, 6U);
    EXPECT_EQ(sizeof tMstpPort::snoopingCfgIdDigest, 16U);
}

// A driver pass reads the flags and counters of every port: they should cost few cache lines.
TEST(Records, FlagsAndCountersOfAPortShareTwoCacheLines) {
    EXPECT_LE(offsetof(tMstpPort, forwardDelay), 128U);
    EXPECT_GT(offsetof(tMstpPort, helloWhenTimer), offsetof(tMstpPort, txMstBpdu));
}

TEST(Records, FlagsAndCountersOfAnInstancePortShareTwoCacheLines) {
    EXPECT_LE(offsetof(tMstpXstPort, rcvdInfoWhile), 128U);
    EXPECT_GT(offsetof(tMstpXstPort, tcWhileTimer), offsetof(tMstpXstPort, msgPriority));
}

TEST(Records, NewInfoOfTheCistIsThePortsNewInfo) {
    tMstpXst xst = {};
    xst.cist = 1;
    tMstpPort port = {};
    tMstpXstPort xstPort = {};
    xstPort.xst = &xst;
    xstPort.host = &port;

    EXPECT_EQ(mstpNewInfoXst(&xstPort), &port.newInfo);
}

TEST(Records, NewInfoOfAnMstiIsThePortsNewInfoMsti) {
    tMstpXst xst = {};
    tMstpPort port = {};
    tMstpXstPort xstPort = {};
    xstPort.xst = &xst;
    xstPort.host = &port;

    EXPECT_EQ(mstpNewInfoXst(&xstPort), &port.newInfoMsti);
}

TEST(Records, PortIsLiveWhileItHasAnUpTime) {
    tMstpPort port = {};
    EXPECT_FALSE(mstpPortIsLive(&port));

    port.upTime = 1;

    EXPECT_TRUE(mstpPortIsLive(&port));
}

} // namespace
