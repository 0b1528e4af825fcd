// Names, speeds, states, positions and addresses of interfaces.

#include <array>

#include "linux_test.h"
#include "platform/debug.h"
#include "platform/hardware.h"
#include "platform/octets.h"

namespace {

using testing::ElementsAre;

class InterfaceName : public LinuxTest {
  protected:
    static std::string nameOf(uint32_t unit) {
        char name[KEL_IF_NAME_SIZE] = "";
        kelIfUnit2Name(unit, name);
        return name;
    }
};

TEST_F(InterfaceName, IsTheKernels) {
    const uint32_t unit = addWire("wire");
    EXPECT_EQ(nameOf(unit), "wire");
}

TEST_F(InterfaceName, FollowsARename) {
    const uint32_t unit = addWire("wire");
    ip("link set wire down");
    ip("link set wire name other");
    EXPECT_EQ(nameOf(unit), "other");
    ip("link set other name wire");
}

TEST_F(InterfaceName, OfLongestLengthIsWhole) {
    const uint32_t unit = addInterface("fifteenletters1", "fifteenletters1 type bridge");
    EXPECT_EQ(nameOf(unit), "fifteenletters1");
}

TEST_F(InterfaceName, OfVanishedInterfaceIsItsNumber) {
    const uint32_t unit = addWire("wire");
    ip("link del wire");
    EXPECT_EQ(nameOf(unit), std::to_string(unit));
}

TEST_F(InterfaceName, OfVanishedInterfaceIsAFailure) {
    char name[KEL_IF_NAME_SIZE];
    EXPECT_NE(kelIfUnit2Name(0xFFFFFFFF, name), 0);
    EXPECT_STREQ(name, "4294967295");
}

class InterfaceSpeed : public LinuxTest {
  protected:
    static int32_t read(uint32_t unit) { return kelIfGetApi(unit, KEL_IF_SPEED, &speed()); }
    static uint32_t& speed() {
        static uint32_t value;
        return value;
    }
    void SetUp() override {
        LinuxTest::SetUp();
        speed() = 77;
    }
};

TEST_F(InterfaceSpeed, IsWhatTheDriverTells) {
    const uint32_t unit = addWire("wire");
    EXPECT_EQ(read(unit), 0);
    EXPECT_EQ(speed(), 10000U);
}

TEST_F(InterfaceSpeed, ThatIsUnknownIsAFailedRead) {
    const uint32_t unit = addInterface("sw1", "sw1 type bridge");
    EXPECT_NE(read(unit), 0);
    EXPECT_EQ(speed(), 77U);
}

TEST_F(InterfaceSpeed, OfDeviceWithoutSpeedIsAFailedRead) {
    EXPECT_NE(read(indexOf("lo")), 0);
    EXPECT_EQ(speed(), 77U);
}

TEST_F(InterfaceSpeed, OfVanishedInterfaceIsAFailedRead) {
    EXPECT_NE(read(12345), 0);
    EXPECT_EQ(speed(), 77U);
}

class InterfaceState : public LinuxTest {
  protected:
    static uint32_t stateOf(uint32_t unit) {
        uint32_t state = 77;
        return kelIfGetApi(unit, KEL_IF_OPER_STATUS, &state) == 0 ? state : 77;
    }
};

TEST_F(InterfaceState, IsUpOnAWireWithBothEndsUp) {
    EXPECT_EQ(stateOf(addWire("wire")), 1U);
}

TEST_F(InterfaceState, IsDownWhenTheInterfaceIsSetDown) {
    const uint32_t unit = addWire("wire");
    ip("link set wire down");
    EXPECT_EQ(stateOf(unit), 2U);
}

TEST_F(InterfaceState, IsDownWhenTheOtherEndIsSetDown) {
    const uint32_t unit = addWire("wire");
    ip("link set wirep down");
    EXPECT_EQ(stateOf(unit), 2U);
}

TEST_F(InterfaceState, ThatIsUnknownCountsAsUpWhileTheInterfaceRuns) {
    ip("link set lo up");
    EXPECT_EQ(stateOf(indexOf("lo")), 1U);
    ip("link set lo down");
    EXPECT_EQ(stateOf(indexOf("lo")), 2U);
}

TEST_F(InterfaceState, OfVanishedInterfaceIsAFailedRead) {
    EXPECT_EQ(stateOf(12345), 77U);
    EXPECT_EQ(stateOf(0), 77U);
    EXPECT_EQ(stateOf(0xFFFFFFFF), 77U);
}

class InterfaceAttributes : public LinuxTest {};

TEST_F(InterfaceAttributes, ProtocolUseIsNotKept) {
    std::array<uint8_t, KEL_IF_PROTOCOL_USE_SIZE> record = {};
    EXPECT_NE(kelIfGetApi(addWire("wire"), KEL_IF_PROTOCOL_USE, record.data()), 0);
    EXPECT_THAT(record, testing::Each(0));
}

TEST_F(InterfaceAttributes, FlushesHaveNothingToDoOutsideAKernelBridge) {
    const uint32_t unit = addWire("wire");
    std::array<int8_t, 512> list = {};
    octetstring vlans = {list.data(), 512};
    for (uint32_t attribute = KEL_IF_FLUSH_MAC; attribute <= KEL_IF_FLUSH_ARL; attribute++) {
        EXPECT_EQ(kelIfSetApi(unit, attribute, &vlans), 0);
    }
}

TEST_F(InterfaceAttributes, UnknownOnesAreRefused) {
    const uint32_t unit = addWire("wire");
    uint32_t value = 77;
    EXPECT_NE(kelIfGetApi(unit, 9999, &value), 0);
    EXPECT_NE(kelIfSetApi(unit, 9999, &value), 0);
    EXPECT_EQ(value, 77U);
}

class PortNumber : public LinuxTest {
  protected:
    static uint32_t numberOf(uint32_t unit) {
        tPhyIfIndex position = {};
        return sysIndexTrans(unit, KEL_INDEX_POSITION, &position) == 0 ? position.virtualnum : 0;
    }
};

TEST_F(PortNumber, IsTheInterfaceIndexWhereThatFits) {
    const uint32_t unit = addWire("wire", "index 300");
    EXPECT_EQ(unit, 300U);
    EXPECT_EQ(numberOf(unit), 300U);
}

TEST_F(PortNumber, OfHighestIndexThatFitsIsTheIndex) {
    EXPECT_EQ(numberOf(addWire("wire", "index 4095")), 4095U);
}

TEST_F(PortNumber, OfHigherIndexIsCountedRound) {
    EXPECT_EQ(numberOf(addWire("wire", "index 4096")), 1U);
    EXPECT_EQ(numberOf(addWire("wide", "index 9000")), 810U);
}

TEST_F(PortNumber, ThatIsTakenGivesWayToTheNextFreeOne) {
    EXPECT_EQ(numberOf(addWire("one", "index 500")), 500U);
    EXPECT_EQ(numberOf(addWire("two", "index 501")), 501U);
    EXPECT_EQ(numberOf(addWire("three", "index 4595")), 502U);
}

TEST_F(PortNumber, StaysWhenTheInterfaceGoesDownOrIsRenamed) {
    const uint32_t blocker = addWire("one", "index 600");
    const uint32_t unit = addWire("two", "index 4695");
    EXPECT_EQ(numberOf(blocker), 600U);
    EXPECT_EQ(numberOf(unit), 601U);
    ip("link set two down");
    ip("link set two name three");
    EXPECT_EQ(numberOf(unit), 601U);
    ip("link set three name two");
}

TEST_F(PortNumber, StandsInSlotZeroOfAPort) {
    const uint32_t unit = addWire("wire", "index 300");
    tPhyIfIndex position = {9, 9, 9, 9, 9, 9, 9};
    EXPECT_EQ(kelIndexTrans(unit, KEL_INDEX_POSITION, &position), 0);
    EXPECT_EQ(position.unit, 0U);
    EXPECT_EQ(position.slot, 0U);
    EXPECT_EQ(position.virtualnum, 300U);
    EXPECT_EQ(position.endType, KEL_END_PORT);
}

TEST_F(PortNumber, UnknownInterfacesHaveNone) {
    tPhyIfIndex position = {};
    EXPECT_NE(kelIndexTrans(12345, KEL_INDEX_POSITION, &position), 0);
    EXPECT_NE(sysIndexTrans(0, KEL_INDEX_POSITION, &position), 0);
}

TEST_F(PortNumber, OtherTranslationsAreRefused) {
    tPhyIfIndex position = {};
    EXPECT_NE(kelIndexTrans(indexOf("lo"), 99, &position), 0);
    EXPECT_NE(sysIndexTrans(indexOf("lo"), 99, &position), 0);
}

TEST_F(PortNumber, UnitIsTheInterfaceIndex) {
    uint32_t ifindex = 0;
    EXPECT_EQ(sysIndexTrans(42, KEL_INDEX_IFINDEX, &ifindex), 0);
    EXPECT_EQ(ifindex, 42U);
}

TEST_F(PortNumber, NoInterfaceBelongsToAnotherPort) {
    uint32_t value = 77;
    EXPECT_NE(sysIFGet(indexOf("lo"), KEL_IF_IS_MEMBER, &value), 0);
    EXPECT_NE(sysIFGet(indexOf("lo"), KEL_IF_OWNER_UNIT, &value), 0);
    EXPECT_EQ(value, 77U);
}

class SystemMac : public LinuxTest {
  protected:
    std::vector<uint8_t> read(const char* bridgeName) {
        std::string program = "mstp-daemon";
        std::string name = bridgeName;
        char* argv[] = {program.data(), name.data(), nullptr};
        kelCatchSegFault(2, argv);
        std::vector<uint8_t> bytes(6, 0xEE);
        octetstring mac = {reinterpret_cast<int8_t*>(bytes.data()), 6};
        m_result = kelScalarGetApi(0, KEL_SCALAR_SYSTEM_MAC, &mac);
        EXPECT_EQ(mac.len, 6U);
        return bytes;
    }

    void addBridge(const std::string& name, const std::string& address) {
        addInterface(name, name + " address " + address + " type bridge");
    }

    int32_t m_result = 77;
};

TEST_F(SystemMac, IsThatOfTheDeviceWithTheBridgesName) {
    addBridge("sw1", "02:00:00:00:00:09");
    addBridge("other", "02:00:00:00:00:01");
    EXPECT_THAT(read("sw1"), ElementsAre(2, 0, 0, 0, 0, 9));
    EXPECT_EQ(m_result, 0);
}

TEST_F(SystemMac, IsTheLowestEthernetAddressWithoutSuchADevice) {
    addBridge("one", "02:00:00:00:01:00");
    addBridge("two", "02:00:00:00:00:FF");
    addBridge("three", "04:00:00:00:00:00");
    EXPECT_THAT(read("sw1"), ElementsAre(2, 0, 0, 0, 0, 0xFF));
    EXPECT_EQ(m_result, 0);
}

TEST_F(SystemMac, OfTheLoopbackIsNone) {
    EXPECT_THAT(read("lo"), testing::Each(0xEE));
    EXPECT_NE(m_result, 0);
}

TEST_F(SystemMac, IsTheLowestEthernetAddressWhenTheBridgeIsCalledLikeTheLoopback) {
    addBridge("one", "02:00:00:00:00:07");
    EXPECT_THAT(read("lo"), ElementsAre(2, 0, 0, 0, 0, 7));
}

TEST_F(SystemMac, DoesNotMistakeTheBeginningOfALongNameForADevice) {
    addBridge("abcdefghijklmno", "02:00:00:00:00:09");
    addBridge("two", "02:00:00:00:00:03");
    EXPECT_THAT(read("abcdefghijklmnop"), ElementsAre(2, 0, 0, 0, 0, 3));
}

TEST_F(SystemMac, IsFoundWithoutANameToo) {
    addBridge("one", "02:00:00:00:00:07");
    EXPECT_THAT(read(""), ElementsAre(2, 0, 0, 0, 0, 7));
}

TEST_F(SystemMac, IsTheOnlySystemScalar) {
    uint32_t value = 77;
    EXPECT_NE(kelScalarGetApi(0, 9999, &value), 0);
    EXPECT_EQ(value, 77U);
}

} // namespace
