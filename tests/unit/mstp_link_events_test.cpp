// Link messages, at the level of datagrams.

#include "mstp_link_events.h"

#include <linux/netlink.h>

#include "management_values.h"
#include "mstp/enums.h"
#include "platform/seam.h"
#include "test_bridge.h"
#include "test_objects.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr uint16_t NEW_LINK = 16;
constexpr uint16_t DEL_LINK = 17;
constexpr uint32_t UNIT = 5;
constexpr uint32_t MEMBER = 40; ///< an interface that is no port and belongs to one
constexpr uint32_t VLAN_INTERFACE = 50;
constexpr uint32_t MSTI = 2;
constexpr uint8_t DOWN = 2;
constexpr uint8_t UP = 6;

void put(std::vector<uint8_t>& bytes, size_t at, uint32_t value, size_t size) {
    memcpy(bytes.data() + at, &value, size);
}

/// One message in host byte order; what it is made of is added in order.
class Message {
  public:
    explicit Message(uint16_t type, uint32_t ifindex, uint32_t change = 1) : m_bytes(32) {
        put(m_bytes, 4, type, 2);
        put(m_bytes, 20, ifindex, 4);
        put(m_bytes, 28, change, 4);
    }

    Message& attribute(uint16_t type, std::vector<uint8_t> data) {
        const size_t at = m_bytes.size();
        m_bytes.resize(at + 4 + (data.size() + 3) / 4 * 4);
        put(m_bytes, at, static_cast<uint32_t>(4 + data.size()), 2);
        put(m_bytes, at + 2, type, 2);
        std::copy(data.begin(), data.end(), m_bytes.begin() + static_cast<long>(at + 4));
        return *this;
    }

    /// The message with its length told as @p less bytes shorter than it is.
    std::vector<uint8_t> bytes(uint32_t less = 0) const {
        std::vector<uint8_t> result = m_bytes;
        put(result, 0, static_cast<uint32_t>(result.size()) - less, 4);
        return result;
    }

  private:
    std::vector<uint8_t> m_bytes;
};

int32_t process(const std::vector<uint8_t>& datagram) {
    return mstpRtmProcess(datagram.data(), static_cast<int32_t>(datagram.size()));
}

int32_t process(const Message& message) {
    return process(message.bytes());
}

Message operState(uint32_t ifindex, uint8_t state) {
    return Message(NEW_LINK, ifindex).attribute(PLATFORM_LINK_OPERSTATE, {state});
}

Message vlanMember(uint32_t ifindex, uint16_t vlan) {
    std::vector<uint8_t> data(2);
    memcpy(data.data(), &vlan, 2);
    return Message(NEW_LINK, ifindex).attribute(PLATFORM_LINK_VLAN, data);
}

/// A bridge with the CIST, one MSTI that holds VLANs 10 and 20, and one port.
class LinkEvents : public testing::Test {
  protected:
    LinkEvents() {
        const Octets vlans = Octets::vlans({10, 20});
        bridge.addInstance(MSTI);
        mstpXstVlanAdd(bridge.xst(MSTI), vlans.buffer().data(), 512);
        mstpXstVlanDelete(bridge.xst(0), vlans.buffer().data(), 512);
        port = bridge.addUpPort(UNIT);
        bridge.sw.add(MEMBER);
        bridge.sw.interfaces[VLAN_INTERFACE].endType = 3;
        bridge.sw.interfaces[VLAN_INTERFACE].number = 20;
        settle();
    }

    void settle() {
        bridge.sw.forget();
        bridge.bridge->event = 0;
        gMstp.debug = MSTP_DEBUG_OBJECT | MSTP_DEBUG_ACTIVITY;
    }

    bool initialised(uint32_t unit) const {
        return bridge.sw.traced("mstp port port" + std::to_string(unit) + " init");
    }
    bool untouched() const {
        return bridge.sw.traces.empty() && bridge.sw.calls.empty() && bridge.bridge->event == 0;
    }

    TestBridge bridge;
    tMstpPort* port;
};

// ---- operational state

TEST_F(LinkEvents, DownReportTakesAnUpPortDown) {
    bridge.sw.interfaces[UNIT].up = false;
    process(operState(UNIT, DOWN));
    EXPECT_TRUE(bridge.sw.traced("port port5 link down"));
    EXPECT_EQ(port->upTime, 0U);
}

TEST_F(LinkEvents, DownReportForAPortThatIsDownDoesNothing) {
    port->operState = MSTP_PORT_OPERATE_DOWN;
    process(operState(UNIT, DOWN));
    EXPECT_TRUE(untouched());
}

TEST_F(LinkEvents, UpReportBringsAPortUp) {
    port->operState = MSTP_PORT_OPERATE_DOWN;
    port->upTime = 0;
    process(operState(UNIT, UP));
    EXPECT_TRUE(bridge.sw.traced("port port5 link up"));
    EXPECT_NE(port->upTime, 0U);
}

TEST_F(LinkEvents, UpReportForAPortThatIsUpDoesNothing) {
    process(operState(UNIT, UP));
    EXPECT_TRUE(untouched());
}

TEST_F(LinkEvents, OtherOperationalStatesDoNothing) {
    for (const uint8_t state : std::vector<uint8_t>{0, 1, 3, 4, 5, 7, 255}) {
        port->operState = state % 2;
        process(operState(UNIT, state));
        EXPECT_TRUE(untouched()) << int{state};
    }
}

TEST_F(LinkEvents, OperationalStateWithoutDataIsIgnored) {
    process(Message(NEW_LINK, UNIT).attribute(PLATFORM_LINK_OPERSTATE, {}));
    EXPECT_TRUE(untouched());
}

TEST_F(LinkEvents, UpReportOfAnInterfaceThatIsNoPortInitialisesThePortThatOwnsIt) {
    bridge.sw.interfaces[MEMBER].ownerUnit = UNIT;
    process(operState(MEMBER, UP));
    EXPECT_TRUE(initialised(UNIT));
    EXPECT_FALSE(bridge.sw.traced("port port5 link up"));
}

TEST_F(LinkEvents, OwnerIsInitialisedWhateverTheReportedState) {
    bridge.sw.interfaces[MEMBER].ownerUnit = UNIT;
    process(operState(MEMBER, 1));
    EXPECT_TRUE(initialised(UNIT));
}

TEST_F(LinkEvents, InterfaceThatBelongsToNoPortIsIgnored) {
    process(operState(MEMBER, UP));
    EXPECT_TRUE(untouched());
}

TEST_F(LinkEvents, OwnerIsLeftAloneWhenEitherOfItsAttributesCannotBeRead) {
    bridge.sw.interfaces[MEMBER].ownerUnit = UNIT;
    for (const char* attribute : {"sysIFGet:160", "sysIFGet:161"}) {
        bridge.sw.results[attribute] = -1;
        process(operState(MEMBER, UP));
        EXPECT_TRUE(untouched());
        bridge.sw.results.clear();
    }
}

TEST_F(LinkEvents, OwnerThatIsNoPortIsIgnored) {
    bridge.sw.interfaces[MEMBER].ownerUnit = 99;
    process(operState(MEMBER, UP));
    EXPECT_TRUE(untouched());
}

// ---- ports that go or change

TEST_F(LinkEvents, PortGoneIsRemovedFromTheBridge) {
    process(Message(NEW_LINK, UNIT).attribute(PLATFORM_LINK_PORT_GONE, {}));
    EXPECT_EQ(bridge.port(UNIT), nullptr);
    EXPECT_EQ(bridge.bridge->portCount, 0);
    EXPECT_TRUE(bridge.sw.traced("mstp port port5 disable"));
    EXPECT_TRUE(bridge.sw.traced("bridge 1 del port port5"));
}

TEST_F(LinkEvents, PortThatIsGoneIsDisabledBeforeItIsDeleted) {
    process(Message(NEW_LINK, UNIT).attribute(PLATFORM_LINK_PORT_GONE, {}));
    EXPECT_THAT(objects::portRemovals(bridge),
                ElementsAre("mstp port port5 disable", "bridge 1 del port port5"));
}

TEST_F(LinkEvents, PortGoneOfAnInterfaceThatIsNoPortIsIgnored) {
    process(Message(NEW_LINK, MEMBER).attribute(PLATFORM_LINK_PORT_GONE, {}));
    EXPECT_TRUE(untouched());
}

TEST_F(LinkEvents, ChangedPortIsInitialised) {
    for (const uint16_t type : {PLATFORM_LINK_PORT_CHANGED, PLATFORM_LINK_PORT_RESET}) {
        settle();
        process(Message(NEW_LINK, UNIT).attribute(type, {1, 2}));
        EXPECT_TRUE(initialised(UNIT));
    }
}

TEST_F(LinkEvents, ChangedInterfaceThatIsNoPortIsIgnored) {
    process(Message(NEW_LINK, MEMBER).attribute(PLATFORM_LINK_PORT_RESET, {}));
    EXPECT_TRUE(untouched());
}

TEST_F(LinkEvents, UnknownAttributesAreSkipped) {
    for (uint16_t type = 0; type < 100; type++) {
        if (type != 16 && type != 38 && type != 40 && type != 48 && type != 52 && type != 53) {
            process(Message(NEW_LINK, UNIT).attribute(type, {1, 2, 3, 4}));
        }
    }
    EXPECT_TRUE(untouched());
}

// ---- VLAN membership

TEST_F(LinkEvents, NewVlanMemberHasItsStateProgrammedIntoTheVlansGroup) {
    process(vlanMember(UNIT, 20));
    EXPECT_THAT(bridge.sw.calls, ElementsAre("stgShrProtocolPortStateSet stg=2 unit=5 state=2"));
}

TEST_F(LinkEvents, MemberOfAVlanOfTheCistIsProgrammedIntoItsGroup) {
    process(vlanMember(UNIT, 30));
    EXPECT_THAT(bridge.sw.calls, ElementsAre("stgShrProtocolPortStateSet stg=1 unit=5 state=2"));
}

TEST_F(LinkEvents, VlanNumbersOutsideTheRangeAreIgnored) {
    memset(bridge.xst(0)->vlanList, 0xFF, 512);
    for (const uint16_t vlan : std::vector<uint16_t>{0, 4095, 4096, 65535}) {
        process(vlanMember(UNIT, vlan));
    }
    EXPECT_TRUE(untouched());
}

TEST_F(LinkEvents, VlanThatNoInstanceHoldsIsIgnored) {
    bitListClr(bridge.xst(0)->vlanList, 29);
    process(vlanMember(UNIT, 30));
    EXPECT_TRUE(untouched());
}

TEST_F(LinkEvents, VlanMemberThatIsNoPortIsIgnored) {
    process(vlanMember(MEMBER, 20));
    EXPECT_TRUE(untouched());
}

TEST_F(LinkEvents, VlanOfOneByteIsIgnored) {
    process(Message(NEW_LINK, UNIT).attribute(PLATFORM_LINK_VLAN, {20}));
    EXPECT_TRUE(untouched());
}

TEST_F(LinkEvents, FirstInstanceThatHoldsTheVlanCounts) {
    bitListSet(bridge.xst(0)->vlanList, 19);
    process(vlanMember(UNIT, 20));
    EXPECT_THAT(bridge.sw.calls, ElementsAre("stgShrProtocolPortStateSet stg=1 unit=5 state=2"));
}

// ---- system address

TEST_F(LinkEvents, SystemAddressBecomesTheBridgesAndResetsIt) {
    process(Message(NEW_LINK, MEMBER).attribute(PLATFORM_LINK_SYSTEM_MAC, {1, 2, 3, 4, 5, 6}));
    EXPECT_THAT(bridge.bridge->bridgeMac, ElementsAre(1, 2, 3, 4, 5, 6));
    EXPECT_EQ(bridge.bridge->event, MSTP_EVENT_REINIT);
}

TEST_F(LinkEvents, AddressOf4BytesChangesOnlyTheFirst4AndResetsTheBridge) {
    process(Message(NEW_LINK, MEMBER).attribute(PLATFORM_LINK_SYSTEM_MAC, {1, 2, 3, 4}));
    EXPECT_THAT(bridge.bridge->bridgeMac, ElementsAre(1, 2, 3, 4, 0x44, 0x55));
    EXPECT_EQ(bridge.bridge->event, MSTP_EVENT_REINIT);
}

TEST_F(LinkEvents, AddressLongerThan6BytesCountsWithItsFirst6) {
    process(
        Message(NEW_LINK, MEMBER).attribute(PLATFORM_LINK_SYSTEM_MAC, {1, 2, 3, 4, 5, 6, 7, 8}));
    EXPECT_THAT(bridge.bridge->bridgeMac, ElementsAre(1, 2, 3, 4, 5, 6));
}

// ---- interfaces that are registered or vanish

TEST_F(LinkEvents, NewVlanInterfaceAddsItsVlanToTheInstancesGroup) {
    process(Message(NEW_LINK, VLAN_INTERFACE, 0xFFFFFFFF));
    EXPECT_THAT(bridge.sw.calls, ElementsAre("stgShrProtocolVlanAdd stg=2 vlans=20 length=512"));
}

TEST_F(LinkEvents, NewInterfaceHasItsAttributesIgnored) {
    process(Message(NEW_LINK, UNIT, 0xFFFFFFFF)
                .attribute(PLATFORM_LINK_PORT_GONE, {})
                .attribute(PLATFORM_LINK_OPERSTATE, {DOWN}));
    EXPECT_TRUE(untouched());
    EXPECT_NE(bridge.port(UNIT), nullptr);
}

TEST_F(LinkEvents, VanishedVlanInterfaceRemovesItsVlanFromTheInstancesGroup) {
    process(Message(DEL_LINK, VLAN_INTERFACE));
    EXPECT_THAT(bridge.sw.calls, ElementsAre("stgShrProtocolVlanDel stg=2 vlans=20 length=512"));
}

TEST_F(LinkEvents, VlanInterfaceOfVlan4095ChangesNothing) {
    memset(bridge.xst(0)->vlanList, 0xFF, 512);
    for (const uint32_t vlan : {0U, 4095U, 4096U, 0xFFFFFFFFU}) {
        bridge.sw.interfaces[VLAN_INTERFACE].number = vlan;
        process(Message(DEL_LINK, VLAN_INTERFACE));
        process(Message(NEW_LINK, VLAN_INTERFACE, 0xFFFFFFFF));
    }
    EXPECT_TRUE(untouched());
}

TEST_F(LinkEvents, VlanInterfaceOfAnInstanceWithoutAGroupIsIgnored) {
    bridge.xst(MSTI)->stgId = 0;
    process(Message(DEL_LINK, VLAN_INTERFACE));
    process(Message(NEW_LINK, VLAN_INTERFACE, 0xFFFFFFFF));
    EXPECT_TRUE(untouched());
}

TEST_F(LinkEvents, VlanInterfaceOfAVlanThatNoInstanceHoldsIsIgnored) {
    bitListClr(bridge.xst(MSTI)->vlanList, 19);
    process(Message(DEL_LINK, VLAN_INTERFACE));
    EXPECT_TRUE(untouched());
}

TEST_F(LinkEvents, VanishedPortIsRemovedFromTheBridge) {
    process(Message(DEL_LINK, UNIT));
    EXPECT_EQ(bridge.port(UNIT), nullptr);
    EXPECT_EQ(bridge.bridge->portCount, 0);
}

TEST_F(LinkEvents, VanishedPortIsDisabledBeforeItIsDeleted) {
    process(Message(DEL_LINK, UNIT));
    EXPECT_THAT(objects::portRemovals(bridge),
                ElementsAre("mstp port port5 disable", "bridge 1 del port port5"));
}

TEST_F(LinkEvents, VanishedInterfaceOfAnotherKindIsIgnored) {
    bridge.sw.interfaces[UNIT].endType = 1;
    process(Message(DEL_LINK, UNIT));
    process(Message(DEL_LINK, MEMBER));
    EXPECT_TRUE(untouched());
}

TEST_F(LinkEvents, InterfaceThatCannotBeTranslatedIsIgnored) {
    bridge.sw.results["kelIndexTrans"] = -1;
    process(Message(DEL_LINK, UNIT));
    process(Message(DEL_LINK, VLAN_INTERFACE));
    process(Message(NEW_LINK, VLAN_INTERFACE, 0xFFFFFFFF));
    EXPECT_TRUE(untouched());
}

// ---- framing

TEST_F(LinkEvents, DatagramOf15BytesIsIgnored) {
    std::vector<uint8_t> datagram = Message(DEL_LINK, UNIT).bytes();
    datagram.resize(15);
    datagram.shrink_to_fit();
    EXPECT_EQ(process(datagram), 0);
    EXPECT_TRUE(untouched());
}

TEST_F(LinkEvents, EveryPrefixOfADatagramIsReadNoFurtherThanItsEnd) {
    const std::vector<uint8_t> whole = Message(NEW_LINK, UNIT)
                                           .attribute(PLATFORM_LINK_VLAN, {20, 0})
                                           .attribute(PLATFORM_LINK_SYSTEM_MAC, {1, 2, 3, 4, 5, 6})
                                           .bytes();
    for (size_t length = 0; length < whole.size(); length++) {
        std::vector<uint8_t> prefix(whole.begin(), whole.begin() + static_cast<long>(length));
        EXPECT_EQ(process(prefix), 0);
        if (length >= 16) { // the same with a message length that fits
            put(prefix, 0, static_cast<uint32_t>(length), 4);
            EXPECT_EQ(process(prefix), 0);
        }
    }
}

TEST_F(LinkEvents, AllMessagesOfADatagramAreServed) {
    bridge.addUpPort(UNIT + 1);
    std::vector<uint8_t> datagram = Message(DEL_LINK, UNIT).bytes();
    const std::vector<uint8_t> second = Message(DEL_LINK, UNIT + 1).bytes();
    datagram.insert(datagram.end(), second.begin(), second.end());
    process(datagram);
    EXPECT_EQ(bridge.bridge->portCount, 0);
}

TEST_F(LinkEvents, MessagesAreAligned) {
    bridge.addUpPort(UNIT + 1);
    std::vector<uint8_t> datagram =
        Message(NEW_LINK, UNIT).attribute(PLATFORM_LINK_OPERSTATE, {UP}).bytes(3);
    const std::vector<uint8_t> second = Message(DEL_LINK, UNIT + 1).bytes();
    datagram.insert(datagram.end(), second.begin(), second.end());
    process(datagram);
    EXPECT_EQ(bridge.port(UNIT + 1), nullptr);
}

TEST_F(LinkEvents, MessagesOfOtherTypesAreSkipped) {
    std::vector<uint8_t> datagram;
    for (const uint16_t type : std::vector<uint16_t>{3, 15, 18, 20}) {
        const std::vector<uint8_t> other = Message(type, UNIT).bytes();
        datagram.insert(datagram.end(), other.begin(), other.end());
    }
    process(datagram);
    EXPECT_TRUE(untouched());
    const std::vector<uint8_t> last = Message(DEL_LINK, UNIT).bytes();
    datagram.insert(datagram.end(), last.begin(), last.end());
    process(datagram);
    EXPECT_EQ(bridge.port(UNIT), nullptr);
}

TEST_F(LinkEvents, MessageLengthBelow16OrBeyondTheDatagramEndsTheWalk) {
    for (const uint32_t length : {0U, 15U, 33U, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
        std::vector<uint8_t> datagram = Message(DEL_LINK, UNIT).bytes();
        put(datagram, 0, length, 4);
        process(datagram);
        EXPECT_TRUE(untouched()) << length;
    }
}

TEST_F(LinkEvents, AttributeLengthBelow4OrBeyondTheMessageEndsTheWalk) {
    for (const uint32_t length : {0U, 3U, 30U, 0xFFFFU}) {
        std::vector<uint8_t> datagram = Message(NEW_LINK, UNIT)
                                            .attribute(99, {1, 2, 3, 4})
                                            .attribute(PLATFORM_LINK_PORT_GONE, {})
                                            .bytes();
        put(datagram, 32, length, 2);
        process(datagram);
        EXPECT_TRUE(untouched()) << length;
    }
}

TEST_F(LinkEvents, AttributesAreAligned) {
    process(Message(NEW_LINK, UNIT)
                .attribute(99, {1, 2, 3, 4, 5})
                .attribute(PLATFORM_LINK_PORT_GONE, {}));
    EXPECT_EQ(bridge.port(UNIT), nullptr);
}

TEST_F(LinkEvents, SeveralAttributesAreServedInOrder) {
    bridge.sw.interfaces[UNIT].up = false;
    process(operState(UNIT, DOWN).attribute(PLATFORM_LINK_PORT_GONE, {}));
    EXPECT_TRUE(bridge.sw.traced("port port5 link down"));
    EXPECT_EQ(bridge.port(UNIT), nullptr);
}

// The space of the walk is that of the message less one header of two: it reaches 16 bytes into
// what follows.
TEST_F(LinkEvents, AttributeWalkRunsOneHeaderIntoWhatFollows) {
    process(Message(NEW_LINK, UNIT).attribute(PLATFORM_LINK_PORT_GONE, {}).bytes(4));
    EXPECT_EQ(bridge.port(UNIT), nullptr);
}

TEST_F(LinkEvents, AttributeWalkEndsOneHeaderIntoWhatFollows) {
    // An attribute of 16 bytes fills the space of a message of 32; the next one lies beyond it.
    const Message message = Message(NEW_LINK, UNIT)
                                .attribute(99, std::vector<uint8_t>(12))
                                .attribute(PLATFORM_LINK_PORT_GONE, {});
    process(message.bytes(20));
    EXPECT_TRUE(untouched());
}

TEST_F(LinkEvents, LinkHeaderThatIsNotWholeIsIgnored) {
    std::vector<uint8_t> datagram = Message(DEL_LINK, UNIT).bytes();
    datagram.resize(31);
    put(datagram, 0, 31, 4);
    process(datagram);
    put(datagram, 4, NEW_LINK, 2);
    process(datagram);
    EXPECT_TRUE(untouched());
}

TEST_F(LinkEvents, WithoutBridge1NothingIsDone) {
    mstpBridgeDelete(bridge.bridge);
    settle();
    process(Message(DEL_LINK, VLAN_INTERFACE));
    process(operState(UNIT, DOWN));
    process(Message(NEW_LINK, VLAN_INTERFACE, 0xFFFFFFFF));
    EXPECT_THAT(bridge.sw.calls, IsEmpty());
}

/// Two bridges in the pool, each with a CIST; the port is the first bridge's.
class LinkEventsOfTwoBridges : public testing::Test {
  protected:
    LinkEventsOfTwoBridges() {
        bridge.addUpPort(UNIT);
        bridge.sw.interfaces[VLAN_INTERFACE].endType = 3;
        bridge.sw.interfaces[VLAN_INTERFACE].number = 20;
        tMstpXst* cist = mstpXstAdd(mstpBridgeAdd(2), 0);
        cist->rowStatus = MSTP_ACTIVE;
        mstpXstInit(cist);
        bridge.sw.forget();
    }
    TestBridge bridge{TestBridgeOptions{.bridgeLimit = 2}};
};

TEST_F(LinkEventsOfTwoBridges, FindAVlanInTheFirstBridge) {
    process(Message(NEW_LINK, VLAN_INTERFACE, 0xFFFFFFFF));
    process(Message(DEL_LINK, VLAN_INTERFACE));
    process(vlanMember(UNIT, 20));
    EXPECT_THAT(bridge.sw.calls, ElementsAre("stgShrProtocolVlanAdd stg=1 vlans=20 length=512",
                                             "stgShrProtocolVlanDel stg=1 vlans=20 length=512",
                                             "stgShrProtocolPortStateSet stg=1 unit=5 state=2"));
}

TEST_F(LinkEventsOfTwoBridges, DoNotFindAVlanOfTheSecondBridge) {
    bitListClr(bridge.xst(0)->vlanList, 19);
    process(Message(NEW_LINK, VLAN_INTERFACE, 0xFFFFFFFF));
    process(Message(DEL_LINK, VLAN_INTERFACE));
    process(vlanMember(UNIT, 20));
    EXPECT_THAT(bridge.sw.calls, IsEmpty());
}

} // namespace
